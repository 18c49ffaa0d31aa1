#include "app/curve/CurvePlot.h"

#include "app/dialogs/ShownText.h"

#include <QAccessible>
#include <QApplication>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QRubberBand>
#include <QToolTip>
#include <algorithm>
#include <cmath>
#include <utility>

namespace {

constexpr double kReach = 10;    ///< pixels around a point
constexpr int kLeastBand = 6;    ///< a smaller rubber band is a click
constexpr int kLinesOfRoom = 11; // fewer lines of text than these are too few for a legend
constexpr double kWheelZoom = 0.8;
constexpr double kLeastUpward = 1e-4;
constexpr double kLeastPositions = 3;
constexpr double kLeastPage = 2; // raw steps of Page Up and Down

} // namespace

CurvePlot::CurvePlot(QWidget* parent)
    : QChartView(parent), chart_(new CurveChart), band_(new QRubberBand(QRubberBand::Rectangle, viewport())) {
    setChart(chart_); // takes it over, and its axes and series
    setObjectName("curve_plot");
    setRenderHint(QPainter::Antialiasing);
    setFocusPolicy(Qt::StrongFocus);
    setFrameShape(QFrame::NoFrame);
    setMouseTracking(true);
    setAccessibleName("Curve of the selected item");
}

void CurvePlot::rebuild() {
    chart_->showSet(set_, palette());
    chart_->choose(chosen_ ? &*chosen_ : nullptr);
}

bool CurvePlot::has(CurvePlace place) const {
    return place.curve < set_.curves.size() && place.point < curveOf(place).points.size();
}

void CurvePlot::showSet(CurveSet set) {
    const bool isSame = set.item == set_.item && set.curves.size() == set_.curves.size();
    set_ = std::move(set);
    move_.reset();
    if (!isSame || (chosen_ && !has(*chosen_))) {
        chosen_.reset();
    }
    rebuild();
    if (!isSame) {
        chart_->setView({});
    }
    emit changed();
}

void CurvePlot::choose(std::optional<CurvePlace> place) {
    if (place == chosen_) {
        return;
    }
    finishMove();
    if (place && !has(*place)) {
        return; // what was moved has changed the item
    }
    chosen_ = place;
    chart_->choose(chosen_ ? &*chosen_ : nullptr);
    reveal();
    emit changed();
    setAccessibleDescription(chosenText());
    QAccessibleEvent told(this, QAccessible::DescriptionChanged);
    QAccessible::updateAccessibility(&told);
}

void CurvePlot::chooseField(std::size_t field) {
    for (std::size_t i = 0; i < set_.curves.size(); ++i) {
        const auto found = std::ranges::find(set_.curves[i].points, field, &CurvePoint::field);
        if (found != set_.curves[i].points.end()) {
            choose(CurvePlace{i, static_cast<std::size_t>(found - set_.curves[i].points.begin())});
        }
    }
}

QString CurvePlot::chosenText() const {
    if (!chosen_) {
        return {};
    }
    return textsOf(*chosen_).join("; ") + (set_.editable ? "" : "; read-only");
}

QStringList CurvePlot::textsOf(CurvePlace place) const {
    const std::string text = move_ && place == chosen_ ? move_->text : pointOf(place).text;
    QStringList texts;
    for (const std::string& one : pointTexts(curveOf(place), place.point, text)) {
        texts << shownText(one);
    }
    return texts;
}

std::optional<CurvePlace> CurvePlot::pointAt(const QPointF& position) const {
    std::optional<CurvePlace> nearest;
    double least = kReach;
    for (std::size_t i = 0; i < set_.curves.size(); ++i) {
        for (std::size_t j = 0; j < set_.curves[i].points.size(); ++j) {
            const QPointF way = chart_->positionOf({i, j}) - position;
            const double distance = std::hypot(way.x(), way.y());
            if (distance <= least) {
                least = distance;
                nearest = CurvePlace{i, j};
            }
        }
    }
    return nearest;
}

void CurvePlot::moveChosen(double steps) {
    const std::string& from = move_->from ? pointOf(*chosen_).text : move_->text;
    move_->text = curveOf(*chosen_).stepped(from, steps);
    chart_->movePoint(*chosen_, curveOf(*chosen_).valueOf(pointOf(*chosen_), move_->text));
    emit changed();
}

void CurvePlot::finishMove() {
    if (const auto done = std::exchange(move_, std::nullopt); done && chosen_) {
        const CurvePoint point = pointOf(*chosen_);
        if (done->text != point.text) {
            // Until what comes of it is shown.
            chart_->movePoint(*chosen_, point.value);
            emit edited(point.field, QString::fromStdString(done->text));
        }
        emit changed();
    }
}

void CurvePlot::dropMove() {
    if (std::exchange(move_, std::nullopt) && chosen_) {
        chart_->movePoint(*chosen_, pointOf(*chosen_).value);
        emit changed();
    }
}

void CurvePlot::mousePressEvent(QMouseEvent* event) {
    dropMove();
    if (event->button() == Qt::MiddleButton) {
        panFrom_ = event->pos();
    }
    if (event->button() != Qt::LeftButton) {
        return;
    }
    if (const auto point = pointAt(event->position())) {
        choose(point);
        if (set_.editable) {
            move_ = Move{pointOf(*point).text, event->position(), false};
        }
    } else if (!set_.curves.empty()) {
        bandFrom_ = event->pos();
    }
}

void CurvePlot::mouseMoveEvent(QMouseEvent* event) {
    if (move_ && move_->from) {
        if (!(event->buttons() & Qt::LeftButton)) {
            dropMove(); // its release went somewhere else
            return;
        }
        const double way = event->position().y() - move_->from->y();
        move_->begun = move_->begun || std::abs(way) >= QApplication::startDragDistance() / 2.0;
        if (move_->begun) {
            const double y = move_->from->y();
            const double value = chart_->valueAt(chosen_->curve, y + way) - chart_->valueAt(chosen_->curve, y);
            moveChosen(curveOf(*chosen_).stepsIn(pointOf(*chosen_), value));
            QToolTip::showText(event->globalPosition().toPoint(), plainToolTip(textsOf(*chosen_).join('\n')),
                               viewport());
        }
    } else if (bandFrom_) {
        band_->setGeometry(QRect(*bandFrom_, event->pos()).normalized());
        band_->show();
    } else if (panFrom_) {
        const QPoint way = event->pos() - *std::exchange(panFrom_, event->pos());
        const QRectF area = chart_->plotArea();
        const PlotView& view = chart_->view();
        setView({moved(view.across, -way.x() / area.width() * view.across.span()),
                 moved(view.upward, way.y() / area.height() * view.upward.span())});
    } else if (const auto point = pointAt(event->position())) {
        viewport()->setCursor(set_.editable ? Qt::SizeVerCursor : Qt::PointingHandCursor);
        QToolTip::showText(event->globalPosition().toPoint(), plainToolTip(textsOf(*point).join('\n')), viewport());
    } else {
        viewport()->unsetCursor();
        QToolTip::hideText();
    }
}

void CurvePlot::mouseReleaseEvent(QMouseEvent* event) {
    if (event->button() == Qt::MiddleButton) {
        panFrom_.reset();
    }
    if (event->button() != Qt::LeftButton) {
        return;
    }
    if (move_ && !move_->begun) {
        move_.reset(); // a click
    }
    finishMove();
    if (std::exchange(bandFrom_, std::nullopt) && band_->isVisible()) {
        band_->hide();
        zoomTo(band_->geometry());
    }
}

void CurvePlot::mouseDoubleClickEvent(QMouseEvent* event) {
    if (event->button() == Qt::LeftButton && !pointAt(event->position())) {
        showWhole();
    }
}

void CurvePlot::zoomTo(const QRect& rect) {
    const QRectF area = chart_->plotArea();
    const QRectF seen = area.intersected(QRectF(rect));
    if (seen.isEmpty() || (rect.width() < kLeastBand && rect.height() < kLeastBand)) {
        return;
    }
    const double across = seen.width() / area.width();
    const double upward = seen.height() / area.height();
    const double left = (seen.left() - area.left()) / area.width();
    const double below = (area.bottom() - seen.bottom()) / area.height();
    // A band that is a line in one direction leaves it as it is.
    PlotView view = chart_->view();
    const double least = kLeastPositions / static_cast<double>(chart_->positions());
    if (rect.width() >= kLeastBand && across < 1) {
        view.across = zoomed(view.across, left / (1 - across), across, least);
    }
    if (rect.height() >= kLeastBand && upward < 1) {
        view.upward = zoomed(view.upward, below / (1 - upward), upward, kLeastUpward);
    }
    setView(view);
}

void CurvePlot::setView(const PlotView& view) {
    chart_->setView(view);
    emit changed();
}

void CurvePlot::showWhole() {
    setView({});
}

void CurvePlot::wheelEvent(QWheelEvent* event) {
    const QRectF area = chart_->plotArea();
    if (set_.curves.empty() || !area.contains(event->position())) {
        return;
    }
    const double factor = std::pow(kWheelZoom, event->angleDelta().y() / 120.0);
    const double x = (event->position().x() - area.left()) / area.width();
    const double y = (area.bottom() - event->position().y()) / area.height();
    PlotView view = chart_->view();
    view.across = zoomed(view.across, x, factor, kLeastPositions / static_cast<double>(chart_->positions()));
    view.upward = zoomed(view.upward, y, factor, kLeastUpward);
    setView(view);
    event->accept();
}

void CurvePlot::reveal() {
    if (!chosen_ || !isZoomed()) {
        return;
    }
    const QRectF area = chart_->plotArea();
    const QPointF at = chart_->positionOf(*chosen_);
    const auto beyond = [](double place, double low, double high) {
        return place < low ? (place - low) / (high - low) : place > high ? (place - high) / (high - low) : 0;
    };
    PlotView view = chart_->view();
    view.across = moved(view.across, beyond(at.x(), area.left(), area.right()) * view.across.span());
    view.upward = moved(view.upward, -beyond(at.y(), area.top(), area.bottom()) * view.upward.span());
    chart_->setView(view);
}

void CurvePlot::chooseBeside(int way) {
    const auto now = static_cast<std::ptrdiff_t>(chosen_->point) + way;
    const auto last = std::ssize(curveOf(*chosen_).points) - 1;
    choose(CurvePlace{chosen_->curve, static_cast<std::size_t>(std::clamp<std::ptrdiff_t>(now, 0, last))});
}

void CurvePlot::chooseEnd(bool last) {
    choose(CurvePlace{chosen_->curve, last ? curveOf(*chosen_).points.size() - 1 : 0});
}

void CurvePlot::chooseCurve(int way) {
    const std::size_t count = set_.curves.size();
    const std::size_t curve = (chosen_->curve + (way < 0 ? count - 1 : 1)) % count;
    choose(CurvePlace{curve, std::min(chosen_->point, set_.curves[curve].points.size() - 1)});
}

void CurvePlot::moveByKey(double steps) {
    if (!set_.editable || (move_ && move_->from)) {
        return;
    }
    if (!move_) {
        move_ = Move{pointOf(*chosen_).text, std::nullopt, true};
    }
    moveChosen(curveOf(*chosen_).stepsIn(pointOf(*chosen_), 1) < 0 ? -steps : steps); // up is up, whatever the factor
}

void CurvePlot::keyPressEvent(QKeyEvent* event) {
    if (event->key() == Qt::Key_0 || (event->key() == Qt::Key_Escape && !move_ && isZoomed())) {
        showWhole();
        return;
    }
    if (set_.curves.empty()) {
        QChartView::keyPressEvent(event);
        return;
    }
    if (!chosen_) {
        choose(CurvePlace());
    }
    const bool control = event->modifiers() & Qt::ControlModifier;
    const Curve& curve = curveOf(*chosen_);
    const double tenth = std::abs(curve.stepsIn(pointOf(*chosen_), chart_->gridStep(chosen_->curve))) / 10;
    const double page = std::max(kLeastPage, tenth);
    switch (event->key()) {
    case Qt::Key_Left:
    case Qt::Key_Right:
        chooseBeside(event->key() == Qt::Key_Left ? -1 : 1);
        break;
    case Qt::Key_Home:
    case Qt::Key_End:
        chooseEnd(event->key() == Qt::Key_End);
        break;
    case Qt::Key_Up:
    case Qt::Key_Down:
        if (control) {
            chooseCurve(event->key() == Qt::Key_Up ? -1 : 1);
        } else {
            moveByKey(event->key() == Qt::Key_Up ? 1 : -1);
        }
        break;
    case Qt::Key_Plus:
    case Qt::Key_Minus:
        moveByKey(event->key() == Qt::Key_Plus ? 1 : -1);
        break;
    case Qt::Key_PageUp:
    case Qt::Key_PageDown:
        moveByKey(event->key() == Qt::Key_PageUp ? page : -page);
        break;
    case Qt::Key_Escape:
        dropMove();
        break;
    default:
        QChartView::keyPressEvent(event);
        break;
    }
}

void CurvePlot::keyReleaseEvent(QKeyEvent* event) {
    // A key that is held is one edit.
    if (!event->isAutoRepeat() && move_ && !move_->from) {
        finishMove();
    }
    QChartView::keyReleaseEvent(event);
}

void CurvePlot::focusInEvent(QFocusEvent* event) {
    QChartView::focusInEvent(event);
    if (!chosen_ && !set_.curves.empty() && event->reason() != Qt::MouseFocusReason) {
        choose(CurvePlace());
    }
}

void CurvePlot::focusOutEvent(QFocusEvent* event) {
    finishMove();
    QChartView::focusOutEvent(event);
}

void CurvePlot::leaveEvent(QEvent* event) {
    QToolTip::hideText();
    QChartView::leaveEvent(event);
}

void CurvePlot::changeEvent(QEvent* event) {
    QChartView::changeEvent(event);
    if (event->type() == QEvent::PaletteChange) {
        dropMove();
        rebuild();
    }
}

void CurvePlot::resizeEvent(QResizeEvent* event) {
    chart_->setCompact(height() < kLinesOfRoom * fontMetrics().height());
    QChartView::resizeEvent(event);
}

#include "app/curve/CurveChart.h"

#include "app/curve/CurveColors.h"
#include "app/dialogs/ShownText.h"

#include <QAreaSeries>
#include <QGraphicsLayout>
#include <QLegend>
#include <QLegendMarker>
#include <QLineSeries>
#include <QPalette>
#include <QScatterSeries>
#include <QValueAxis>
#include <cmath>
#include <utility>

namespace {

constexpr double kPointSize = 3.5;
constexpr double kRingSize = 15;
constexpr int kPixelsPerLine = 32;
constexpr int kPixelsPerPosition = 60;
constexpr double kMargin = 0.06; ///< above and below the values, as a part of their range

/// Makes room in `range` for a value.
void widen(std::optional<AxisRange>& range, double value) {
    range = range ? AxisRange{std::min(range->low, value), std::max(range->high, value)} : AxisRange{value, value};
}

/// The whole range of an axis: all values on it, and the ends of the permitted bands that are not far away.
AxisRange rangeOf(const std::vector<const Curve*>& curves) {
    std::optional<AxisRange> values;
    for (const Curve* curve : curves) {
        for (const CurvePoint& point : curve->points) {
            widen(values, point.value);
            for (const auto& beside : {point.known, point.compared}) {
                widen(values, beside.value_or(point.value));
            }
        }
    }
    const AxisRange inner = values.value_or(AxisRange{});
    for (const Curve* curve : curves) {
        for (const CurvePoint& point : curve->points) {
            for (const auto& end : {point.lowest, point.highest}) {
                if (end && *end >= inner.low - inner.span() && *end <= inner.high + inner.span()) {
                    widen(values, *end);
                }
            }
        }
    }
    AxisRange range = values.value_or(AxisRange{});
    const double margin = range.span() > 0 ? range.span() * kMargin : std::max(1.0, std::abs(range.low) * kMargin);
    return {range.low - margin, range.high + margin};
}

/// The chart takes its texts for markup.
QString text(const std::string& string) {
    return shownText(string).toHtmlEscaped();
}

} // namespace

CurveChart::CurveChart() : QChart(nullptr), positions_(new QValueAxis(this)) {
    positions_->setLabelFormat("%.0f");
    positions_->setTitleText("position");
    addAxis(positions_, Qt::AlignBottom);
    legend()->setAlignment(Qt::AlignTop);
    legend()->setShowToolTips(true);
    setMargins({4, 2, 8, 2});
    setBackgroundRoundness(0);
    layout()->setContentsMargins(0, 0, 0, 0);
    connect(this, &QChart::plotAreaChanged, this, &CurveChart::fitTicks);
}

void CurveChart::clear() {
    removeAllSeries();
    for (const Axis& axis : axes_) {
        removeAxis(axis.axis);
        delete axis.axis;
    }
    axes_.clear();
    lines_.clear();
    ring_ = nullptr;
}

std::size_t CurveChart::axisOf(const Curve& curve) const {
    const auto found = std::ranges::find(axes_, curve.axis, &Axis::text);
    return static_cast<std::size_t>(found - axes_.begin());
}

void CurveChart::makeAxes(const CurveSet& set, const QPalette& palette) {
    const auto& colors = curveColors(palette);
    for (std::size_t i = 0; i < set.curves.size(); ++i) {
        const QColor color(colors.at(i % colors.size()));
        const std::size_t index = axisOf(set.curves[i]);
        if (index == axes_.size()) {
            auto* axis = new QValueAxis(this);
            axis->setTitleText(text(set.curves[i].axis));
            addAxis(axis, axes_.empty() ? Qt::AlignLeft : Qt::AlignRight);
            axes_.push_back({set.curves[i].axis, axis, {}, color, false});
        } else {
            axes_[index].isShared = true;
        }
        lines_.push_back({nullptr, index, color});
    }
    for (std::size_t index = 0; index < axes_.size(); ++index) {
        std::vector<const Curve*> curves;
        for (std::size_t i = 0; i < set.curves.size(); ++i) {
            if (lines_[i].axis == index) {
                curves.push_back(&set.curves[i]);
            }
        }
        axes_[index].whole = rangeOf(curves);
    }
}

void CurveChart::add(QAbstractSeries* series, std::size_t axis, const QString& name) {
    series->setName(name);
    addSeries(series);
    series->attachAxis(positions_);
    series->attachAxis(axes_[axis].axis);
    for (QLegendMarker* marker : legend()->markers(series)) {
        marker->setVisible(!name.isEmpty());
    }
}

void CurveChart::setMark(QAbstractSeries* series, const QColor& color) {
    for (QLegendMarker* marker : legend()->markers(series)) {
        marker->setBrush(color);
    }
}

bool CurveChart::addBand(const Curve& curve, const Line& line, const QString& name) {
    const auto isOpen = [](const CurvePoint& point) { return !point.lowest && !point.highest; };
    if (std::ranges::all_of(curve.points, isOpen)) {
        return false;
    }
    // An end without a limit, or one that is far away, lies beyond what can be seen.
    const AxisRange& whole = axes_[line.axis].whole;
    auto* low = new QLineSeries;
    auto* high = new QLineSeries;
    for (std::size_t i = 0; i < curve.points.size(); ++i) {
        const CurvePoint& point = curve.points[i];
        const double least = whole.low - whole.span();
        const double most = whole.high + whole.span();
        const auto x = static_cast<double>(i + 1);
        low->append(x, std::clamp(point.lowest.value_or(least), least, most));
        high->append(x, std::clamp(point.highest.value_or(most), least, most));
    }
    auto* band = new QAreaSeries(high, low);
    low->setParent(band);
    high->setParent(band);
    QColor fill = line.color;
    fill.setAlpha(26);
    QColor edge = line.color;
    edge.setAlpha(110);
    band->setBrush(fill);
    band->setPen(penOf(edge, 1, Qt::DotLine));
    add(band, line.axis, name);
    setMark(band, edge);
    return true;
}

bool CurveChart::addBeside(const Curve& curve, const Line& line, std::optional<double> CurvePoint::*value,
                           const QPen& pen, const QString& name) {
    auto* beside = new QLineSeries;
    bool differs = false;
    for (std::size_t i = 0; i < curve.points.size(); ++i) {
        const CurvePoint& point = curve.points[i];
        if (point.*value) {
            beside->append(static_cast<double>(i + 1), *(point.*value));
            differs = differs || *(point.*value) != point.value;
        }
    }
    if (!differs) {
        delete beside; // it would lie under the curve
        return false;
    }
    beside->setPen(pen);
    add(beside, line.axis, name);
    return true;
}

void CurveChart::addLine(const Curve& curve, Line& line) {
    auto* series = new QLineSeries;
    for (std::size_t i = 0; i < curve.points.size(); ++i) {
        series->append(static_cast<double>(i + 1), curve.points[i].value);
    }
    series->setPen(penOf(line.color, 2));
    series->setPointsVisible(true);
    series->setMarkerSize(kPointSize);
    line.series = series;
    add(series, line.axis, text(curve.name));
}

void CurveChart::addOutside(const CurveSet& set) {
    bool isNamed = false;
    for (std::size_t i = 0; i < set.curves.size(); ++i) {
        auto* outside = new QScatterSeries;
        for (std::size_t j = 0; j < set.curves[i].points.size(); ++j) {
            const CurvePoint& point = set.curves[i].points[j];
            if (!set.curves[i].permits(point, point.value)) {
                outside->append(static_cast<double>(j + 1), point.value);
            }
        }
        if (outside->count() == 0) {
            delete outside;
            continue;
        }
        outside->setMarkerShape(QScatterSeries::MarkerShapeRotatedRectangle);
        outside->setMarkerSize(kRingSize - 4);
        outside->setColor(Qt::transparent);
        outside->setPen(penOf(kOutside, 2));
        add(outside, lines_[i].axis, std::exchange(isNamed, true) ? QString() : QString("not permitted"));
        setMark(outside, kOutside);
    }
}

void CurveChart::showSet(const CurveSet& set, const QPalette& palette) {
    clear();
    makeAxes(set, palette);
    count_ = 1;
    // From the back to the front. What all curves have is named once.
    QString permitted = "permitted";
    QString known = "last known";
    QString compared = "compared: " + text(set.compared);
    const QPen grey = penOf(between(palette, 0.45), 2);
    for (std::size_t i = 0; i < set.curves.size(); ++i) {
        count_ = std::max(count_, set.curves[i].points.size());
        if (addBand(set.curves[i], lines_[i], permitted)) {
            permitted.clear();
        }
    }
    for (std::size_t i = 0; i < set.curves.size(); ++i) {
        if (addBeside(set.curves[i], lines_[i], &CurvePoint::known, grey, known)) {
            known.clear();
        }
        const QPen dashed = penOf(lines_[i].color, 1.5, Qt::DashLine);
        if (addBeside(set.curves[i], lines_[i], &CurvePoint::compared, dashed, compared)) {
            compared.clear();
        }
    }
    for (std::size_t i = 0; i < set.curves.size(); ++i) {
        addLine(set.curves[i], lines_[i]);
    }
    addOutside(set);
    setColors(palette);
    setView(view_);
}

void CurveChart::setColors(const QPalette& palette) {
    const QColor ink = palette.color(QPalette::Text);
    setBackgroundBrush(palette.color(QPalette::Base));
    setTitleBrush(ink);
    legend()->setLabelColor(ink);
    for (QAbstractAxis* axis : axes()) {
        axis->setLabelsColor(ink);
        axis->setTitleBrush(ink);
        axis->setLinePen(penOf(between(palette, 0.5), 1));
        axis->setGridLinePen(penOf(between(palette, 0.15), 1));
        QFont title = axis->titleFont();
        title.setBold(false);
        axis->setTitleFont(title);
    }
    // With several axes the colour says whose they are, and one grid is enough.
    for (std::size_t i = 0; i < axes_.size() && axes_.size() > 1; ++i) {
        if (!axes_[i].isShared) {
            axes_[i].axis->setLabelsColor(axes_[i].color);
            axes_[i].axis->setTitleBrush(axes_[i].color);
        }
        axes_[i].axis->setGridLineVisible(i == 0);
    }
}

void CurveChart::setCompact(bool compact) {
    legend()->setVisible(!compact);
    positions_->setTitleVisible(!compact);
}

void CurveChart::setView(const PlotView& view) {
    view_ = view;
    // With the old distance of ticks, a range that is many times larger would be given as many of them.
    const auto setRange = [](QValueAxis& axis, const AxisRange& range) {
        axis.setTickType(QValueAxis::TicksFixed);
        axis.setRange(range.low, range.high);
    };
    setRange(*positions_, partOf({0.5, static_cast<double>(count_) + 0.5}, view.across));
    for (const Axis& axis : axes_) {
        setRange(*axis.axis, partOf(axis.whole, view.upward));
    }
    fitTicks();
}

void CurveChart::fitTicks() {
    const QRectF area = plotArea();
    const int across = std::max(2, static_cast<int>(area.width()) / kPixelsPerPosition);
    const auto setStep = [](QValueAxis& axis, double step) {
        axis.setTickInterval(step);
        axis.setTickType(QValueAxis::TicksDynamic);
    };
    setStep(*positions_, std::max(1.0, niceStep(positions_->max() - positions_->min(), across)));
    for (const Axis& axis : axes_) {
        const int upward = std::max(3, static_cast<int>(area.height()) / kPixelsPerLine);
        const double step = niceStep(axis.axis->max() - axis.axis->min(), upward);
        const bool isHuge = std::max(std::abs(axis.axis->max()), std::abs(axis.axis->min())) >= 1e8;
        axis.axis->setLabelFormat(isHuge ? QString("%.6g") : QString("%.%1f").arg(decimalsOf(step)));
        setStep(*axis.axis, step);
    }
}

void CurveChart::movePoint(CurvePlace place, double value) {
    QXYSeries* series = lines_[place.curve].series;
    const auto index = static_cast<int>(place.point);
    series->replace(index, {series->at(index).x(), value});
    if (ring_ != nullptr && ring_->count() == 1) {
        ring_->replace(0, series->at(index));
    }
}

void CurveChart::choose(const CurvePlace* place) {
    if (ring_ != nullptr) {
        removeSeries(ring_);
        delete ring_;
        ring_ = nullptr;
    }
    if (place == nullptr) {
        return;
    }
    auto* ring = new QScatterSeries;
    const Line& line = lines_[place->curve];
    ring->append(placeOf(*place));
    ring->setMarkerSize(kRingSize);
    ring->setColor(Qt::transparent);
    ring->setPen(penOf(line.color, 2));
    add(ring, line.axis, {});
    ring_ = ring;
}

QPointF CurveChart::placeOf(CurvePlace place) const {
    return lines_[place.curve].series->at(static_cast<int>(place.point));
}

// Of straight axes; the chart's own functions for it are not const.
QPointF CurveChart::positionOf(CurvePlace place) const {
    const QRectF area = plotArea();
    const QPointF at = placeOf(place);
    const QValueAxis& axis = *axes_[lines_[place.curve].axis].axis;
    return {area.left() + (at.x() - positions_->min()) / (positions_->max() - positions_->min()) * area.width(),
            area.top() + (axis.max() - at.y()) / (axis.max() - axis.min()) * area.height()};
}

double CurveChart::valueAt(std::size_t curve, double y) const {
    const QRectF area = plotArea();
    const QValueAxis& axis = *axes_[lines_[curve].axis].axis;
    return axis.max() - (y - area.top()) / std::max(1.0, area.height()) * (axis.max() - axis.min());
}

double CurveChart::gridStep(std::size_t curve) const {
    return axes_[lines_[curve].axis].axis->tickInterval();
}

#include "app/history/ItemCharts.h"

#include "app/curve/CurveColors.h"
#include "app/curve/CurveScale.h"

#include <QAreaSeries>
#include <QDateTime>
#include <QDateTimeAxis>
#include <QEvent>
#include <QGraphicsLayout>
#include <QLegend>
#include <QLegendMarker>
#include <QLineSeries>
#include <QValueAxis>
#include <algorithm>
#include <cmath>

namespace {

constexpr int kLeastHeight = 150;
constexpr int kLinesUpward = 5;
constexpr int kLinesAcross = 6;
constexpr double kMargin = 0.06; ///< beside the values, as a part of their range
constexpr double kMinuteMs = 60'000;
constexpr double kDayMs = 86'400'000;

AxisRange withMargin(AxisRange range) {
    const double margin = range.span() > 0 ? range.span() * kMargin : std::max(1.0, std::abs(range.low) * kMargin);
    return {range.low - margin, range.high + margin};
}

QValueAxis* valueAxis(AxisRange range, int lines, const QString& title) {
    auto* axis = new QValueAxis;
    axis->setRange(range.low, range.high);
    const double step = niceStep(range.span(), lines);
    axis->setTickInterval(step);
    axis->setTickType(QValueAxis::TicksDynamic);
    const bool isHuge = std::max(std::abs(range.low), std::abs(range.high)) >= 1e8;
    axis->setLabelFormat(isHuge ? QString("%.6g") : QString("%.%1f").arg(decimalsOf(step)));
    axis->setTitleText(title.toHtmlEscaped());
    return axis;
}

} // namespace

ItemChart::ItemChart(QWidget* parent) : QChartView(parent) {
    setRenderHint(QPainter::Antialiasing);
    setMinimumHeight(kLeastHeight);
    setFocusPolicy(Qt::NoFocus);
    setFrameShape(QFrame::NoFrame);
    chart()->legend()->setAlignment(Qt::AlignTop);
    chart()->setMargins({4, 2, 8, 2});
    chart()->setBackgroundRoundness(0);
    chart()->layout()->setContentsMargins(0, 0, 0, 0);
    clear();
}

void ItemChart::showSteps(std::vector<QPointF> values, const QString& axis) {
    draw([this, values = std::move(values), axis] { drawSteps(values, axis); });
}

void ItemChart::showSpread(Spread spread, const QString& axis) {
    draw([this, spread = std::move(spread), axis] { drawSpread(spread, axis); });
}

void ItemChart::clear() {
    draw([] {});
}

void ItemChart::changeEvent(QEvent* event) {
    QChartView::changeEvent(event);
    if (event->type() == QEvent::PaletteChange) {
        draw(drawing_);
    }
}

void ItemChart::draw(std::function<void()> drawing) {
    drawing_ = std::move(drawing);
    chart()->removeAllSeries();
    for (QAbstractAxis* axis : chart()->axes()) {
        chart()->removeAxis(axis);
        delete axis;
    }
    chart()->legend()->show();
    const QColor ink = palette().color(QPalette::Text);
    chart()->setBackgroundBrush(palette().color(QPalette::Base));
    chart()->legend()->setLabelColor(ink);
    drawing_();
    for (QAbstractAxis* axis : chart()->axes()) {
        axis->setLabelsColor(ink);
        axis->setTitleBrush(ink);
        axis->setLinePen(penOf(between(palette(), 0.5), 1));
        axis->setGridLinePen(penOf(between(palette(), 0.15), 1));
        QFont title = axis->titleFont();
        title.setBold(false);
        axis->setTitleFont(title);
    }
}

void ItemChart::setAxes(QAbstractAxis* across, QValueAxis* upward) {
    chart()->addAxis(across, Qt::AlignBottom);
    chart()->addAxis(upward, Qt::AlignLeft);
    for (QAbstractSeries* series : chart()->series()) {
        series->attachAxis(across);
        series->attachAxis(upward);
        for (QLegendMarker* marker : chart()->legend()->markers(series)) {
            marker->setVisible(!series->name().isEmpty());
        }
    }
}

void ItemChart::addLine(const QPointF& from, const QPointF& to, const QPen& pen, const QString& name) {
    auto* line = new QLineSeries;
    line->append(from);
    line->append(to);
    line->setPen(pen);
    line->setName(name);
    chart()->addSeries(line);
}

void ItemChart::drawSteps(const std::vector<QPointF>& values, const QString& axis) {
    if (values.empty()) {
        return;
    }
    chart()->legend()->hide();
    const QColor color(curveColors(palette())[0]);
    AxisRange range{values.front().y(), values.front().y()};
    auto* steps = new QLineSeries;
    for (const QPointF& value : values) {
        if (steps->count() > 0) {
            steps->append(value.x(), steps->at(steps->count() - 1).y());
        }
        steps->append(value);
        range = {std::min(range.low, value.y()), std::max(range.high, value.y())};
    }
    const double now = std::max(values.back().x(), static_cast<double>(QDateTime::currentMSecsSinceEpoch()));
    steps->append(now, values.back().y());
    steps->setPen(penOf(color, 2));
    chart()->addSeries(steps);
    auto* time = new QDateTimeAxis;
    const double begin = values.front().x();
    const AxisRange across = withMargin({begin, std::max(now, begin + 60'000)});
    time->setRange(QDateTime::fromMSecsSinceEpoch(static_cast<qint64>(across.low)),
                   QDateTime::fromMSecsSinceEpoch(static_cast<qint64>(across.high)));
    // As fine as the lines are apart, so that no two have the same text.
    const double apart = across.span() / (kLinesAcross - 1);
    time->setFormat(apart < kMinuteMs ? "HH:mm:ss" : apart < kDayMs ? "MM-dd HH:mm" : "yyyy-MM-dd");
    time->setTickCount(kLinesAcross);
    setAxes(time, valueAxis(withMargin(range), kLinesUpward, axis));
}

void ItemChart::drawSpread(const Spread& spread, const QString& axis) {
    const record::Histogram& histogram = spread.histogram;
    if (histogram.counts.empty()) {
        return;
    }
    const auto placeOf = [&](std::size_t bin) {
        return spread.valueOf(histogram.first + static_cast<double>(bin) * histogram.width - 0.5);
    };
    const auto most = static_cast<double>(std::max<std::size_t>(1, std::ranges::max(histogram.counts)));
    auto* top = new QLineSeries;
    auto* ground = new QLineSeries;
    for (std::size_t bin = 0; bin < histogram.counts.size(); ++bin) {
        const auto count = static_cast<double>(histogram.counts[bin]);
        for (const double place : {placeOf(bin), placeOf(bin + 1)}) {
            top->append(place, count);
            ground->append(place, 0);
        }
    }
    auto* bars = new QAreaSeries(top, ground);
    top->setParent(bars);
    ground->setParent(bars);
    QColor fill(curveColors(palette())[0]);
    bars->setPen(penOf(fill, 1));
    fill.setAlpha(120);
    bars->setBrush(fill);
    const std::size_t fartherOff = histogram.below + histogram.above;
    bars->setName(fartherOff == 0 ? QString("phones") : QString("phones, %1 farther off").arg(fartherOff));
    chart()->addSeries(bars);
    const double left = std::min(placeOf(0), placeOf(histogram.counts.size()));
    const double right = std::max(placeOf(0), placeOf(histogram.counts.size()));
    // What lies far beside the bars is marked at the edge.
    const double farthest = right - left;
    AxisRange seen{left, right};
    for (const double raw : {spread.lowest, spread.highest, spread.own.value_or(spread.median)}) {
        const double place = std::clamp(spread.valueOf(raw), left - farthest, right + farthest);
        seen = {std::min(seen.low, place), std::max(seen.high, place)};
    }
    seen = withMargin(seen);
    const auto addMark = [&](double raw, const QPen& pen, const QString& name) {
        const double place = std::clamp(spread.valueOf(raw), seen.low, seen.high);
        addLine({place, 0}, {place, most}, pen, name);
    };
    if (spread.isKnown) {
        const QPen dotted = penOf(between(palette(), 0.6), 1.5, Qt::DotLine);
        addMark(spread.median, penOf(between(palette(), 0.6), 1.5, Qt::DashLine), "median");
        addMark(spread.lowest, dotted, "usual");
        addMark(spread.highest, dotted, {});
    }
    if (spread.own) {
        const QColor color = spread.isOwnUnusual ? kOutside : QColor(curveColors(palette())[1]);
        const double place = spread.valueOf(*spread.own);
        const bool isFarOff = place < seen.low || place > seen.high;
        addMark(*spread.own, penOf(color, 3),
                QString("this phone") + (spread.isOwnUnusual ? ": " + spread.unusualWord : QString()) +
                    (isFarOff ? ", far beside" : ""));
    }
    auto* phones = valueAxis({0, most * (1 + kMargin)}, kLinesUpward, "phones");
    phones->setTickInterval(std::max(1.0, niceStep(most, kLinesUpward)));
    phones->setLabelFormat("%.0f");
    setAxes(valueAxis(seen, kLinesAcross, axis), phones);
}

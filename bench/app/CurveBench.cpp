// How long a plot of four curves of 128 points, each with its band, its last known and its compared values, makes its
// user wait for a point that is being dragged, beside a frame of a display; and how long an item is awaited that has
// curves.

#include "app/curve/CurvePlot.h"

#include <benchmark/benchmark.h>

#include <QCoreApplication>
#include <cmath>
#include <memory>

namespace {

constexpr std::size_t kCurves = 4;
constexpr std::size_t kPoints = 128;
constexpr QSize kPlotSize{900, 400};

CurveSet fullSet() {
    CurveSet set;
    set.item = 1;
    set.editable = true;
    for (std::size_t i = 0; i < kCurves; ++i) {
        Curve curve{"gain " + std::to_string(i), "dB", SubItemType::SIGNED_WORD, false, {}};
        for (std::size_t j = 0; j < kPoints; ++j) {
            CurvePoint point;
            point.field = i * kPoints + j;
            point.value = std::round(500 * std::sin(static_cast<double>(j) / 20 + static_cast<double>(i)));
            point.text = std::to_string(static_cast<int>(point.value));
            point.known = point.value + 10;
            point.compared = point.value - 10;
            point.lowest = point.value - 100;
            point.highest = point.value + 100;
            curve.points.push_back(std::move(point));
        }
        set.curves.push_back(std::move(curve));
    }
    return set;
}

std::unique_ptr<CurvePlot> shownPlot() {
    auto plot = std::make_unique<CurvePlot>();
    plot->resize(kPlotSize);
    plot->showSet(fullSet());
    plot->show();
    plot->choose(CurvePlace{1, kPoints / 2});
    QCoreApplication::processEvents();
    return plot;
}

void dragPoint(benchmark::State& state) {
    const auto plot = shownPlot();
    double value = 0;
    for (auto _ : state) {
        value = value > 400 ? -400 : value + 7;
        plot->curves().movePoint({1, kPoints / 2}, value);
        plot->viewport()->repaint();
    }
}
BENCHMARK(dragPoint)->Name("CurveDrag")->UseRealTime()->Unit(benchmark::kMillisecond);

void showCurves(benchmark::State& state) {
    const auto plot = shownPlot();
    for (auto _ : state) {
        plot->showSet(fullSet());
        plot->viewport()->repaint();
    }
}
BENCHMARK(showCurves)->Name("CurveShow")->UseRealTime()->Unit(benchmark::kMillisecond);

} // namespace

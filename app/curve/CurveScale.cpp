#include "app/curve/CurveScale.h"

#include <cmath>

double niceStep(double span, int most) {
    const double least = span / std::max(most, 1);
    if (!(least > 0) || !std::isfinite(least)) {
        return 1;
    }
    const double power = std::pow(10.0, std::floor(std::log10(least)));
    for (const double factor : {1.0, 2.0, 5.0}) {
        if (factor * power >= least * (1 - 1e-9)) {
            return factor * power;
        }
    }
    return 10 * power;
}

int decimalsOf(double step) {
    constexpr double kSlack = 1e-9; // 0.1 is a little less than a tenth
    return std::max(0, static_cast<int>(-std::floor(std::log10(step) + kSlack)));
}

AxisRange zoomed(AxisRange seen, double at, double factor, double least) {
    const double span = std::clamp(seen.span() * factor, std::min(least, 1.0), 1.0);
    const double low = seen.low + at * (seen.span() - span);
    return moved({low, low + span}, 0);
}

AxisRange moved(AxisRange seen, double by) {
    const double span = std::min(seen.span(), 1.0);
    const double low = std::clamp(seen.low + by, 0.0, 1.0 - span);
    return {low, low + span};
}

AxisRange partOf(AxisRange whole, AxisRange seen) {
    return {whole.low + seen.low * whole.span(), whole.low + seen.high * whole.span()};
}

#pragma once

#include <algorithm>

/// The distance between two grid lines so that at most `most` (at least 1) are in `span`: 1, 2 or 5 times a power of
/// ten. 1 where there is no span.
double niceStep(double span, int most);
/// How many decimals the multiples of such a step have.
int decimalsOf(double step);

struct AxisRange {
    double low = 0;
    double high = 0;

    double span() const { return high - low; }
};

/// What is to be seen of a plot, as parts of its whole ranges: 0 is the least value of an axis, 1 the greatest.
struct PlotView {
    AxisRange across{0, 1};
    AxisRange upward{0, 1};

    bool isWhole() const { return across.span() >= 1 && upward.span() >= 1; }
};

/// Makes the part of an axis that is seen smaller (`factor` below 1) or larger around the place `at`, which is one of
/// what is seen, from 0 to 1. It stays between `least` and the whole.
AxisRange zoomed(AxisRange seen, double at, double factor, double least);
/// Moves it by a part of the whole, as far as there is something to see.
AxisRange moved(AxisRange seen, double by);
/// The part `of` an axis's whole range.
AxisRange partOf(AxisRange whole, AxisRange seen);

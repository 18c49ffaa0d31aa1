#include "workbench/record/Unusual.h"

#include "workbench/WideNumber.h"

#include <algorithm>
#include <cmath>

namespace record {
namespace {

double doubleOf(const workbench::WideNumber& number) {
    const auto magnitude = static_cast<double>(number.magnitude);
    return number.isNegative ? -magnitude : magnitude;
}

std::vector<double> sortedNumbers(std::span<const PhoneNumber> numbers) {
    std::vector<double> sorted;
    for (const PhoneNumber& number : numbers) {
        sorted.push_back(number.number);
    }
    std::ranges::sort(sorted);
    return sorted;
}

/// The mean of the middle two of an even count; 0 of none.
double medianOf(const std::vector<double>& sorted) {
    if (sorted.empty()) {
        return 0;
    }
    const std::size_t middle = sorted.size() / 2;
    return sorted.size() % 2 == 1 ? sorted[middle] : (sorted[middle - 1] + sorted[middle]) / 2;
}

/// The width after Freedman and Diaconis for what lies within, or a larger one where that would take too many bins.
double binWidth(const std::vector<double>& within) {
    const std::size_t quarter = within.size() / 4;
    const double half = within[within.size() - 1 - quarter] - within[quarter];
    const double width = std::max(1.0, std::ceil(2 * half / std::cbrt(static_cast<double>(within.size()))));
    const double values = within.back() - within.front() + 1;
    const bool isNarrow = values / width > static_cast<double>(kMostBins) || half == 0;
    return isNarrow ? std::max(1.0, std::ceil(values / static_cast<double>(kMostBins))) : width;
}

} // namespace

std::vector<PhoneNumber> numbersOf(std::span<const ValueOfPhone> values, const NvItem& layout, std::size_t field) {
    const auto types = layout.getSubItemTypes();
    if (field >= types.size()) {
        return {};
    }
    std::size_t offset = 0;
    for (std::size_t i = 0; i < field; ++i) {
        offset += subItemTypeInfo(types[i]).bytes;
    }
    std::vector<PhoneNumber> numbers;
    numbers.reserve(values.size());
    for (const ValueOfPhone& value : values) {
        numbers.push_back({value.phone, doubleOf(workbench::numberAt(types[field], value.data.data() + offset))});
    }
    return numbers;
}

Usual::Usual(std::span<const PhoneNumber> numbers) : phones_(numbers.size()) {
    std::vector<double> sorted = sortedNumbers(numbers);
    median_ = medianOf(sorted);
    for (double& number : sorted) {
        number = std::abs(number - median_);
    }
    std::ranges::sort(sorted);
    deviation_ = medianOf(sorted);
}

Verdict Usual::judge(double number) const {
    if (phones_ < kFewestPhones) {
        return Verdict::kNotKnown;
    }
    if (deviation_ == 0) {
        return number == median_ ? Verdict::kUsual : Verdict::kUnlikeMost;
    }
    return std::abs(number - median_) > band() ? Verdict::kUnusual : Verdict::kUsual;
}

Histogram histogramOf(std::span<const PhoneNumber> numbers) {
    constexpr double kShownDeviations = 10;
    Histogram histogram;
    const Usual usual(numbers);
    const double shown = kShownDeviations * kDeviationsPerMad * usual.medianDeviation();
    std::vector<double> within;
    for (const double number : sortedNumbers(numbers)) {
        if (shown > 0 && std::abs(number - usual.median()) > shown) {
            ++(number < usual.median() ? histogram.below : histogram.above);
        } else {
            within.push_back(number);
        }
    }
    if (within.empty()) {
        return histogram;
    }
    histogram.first = within.front();
    histogram.width = binWidth(within);
    for (const double number : within) {
        const auto bin = static_cast<std::size_t>((number - histogram.first) / histogram.width);
        histogram.counts.resize(std::max(histogram.counts.size(), std::min(bin + 1, kMostBins)));
        ++histogram.counts[std::min(bin, kMostBins - 1)];
    }
    return histogram;
}

} // namespace record

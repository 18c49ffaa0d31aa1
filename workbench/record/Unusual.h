#pragma once

#include "engine/NvItem.h"
#include "workbench/record/History.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

/// What is usual among the phones of a record, for one sub-field of an item.
namespace record {

/// Of fewer phones nothing is said: the deviation of so few is itself a matter of chance.
inline constexpr std::size_t kFewestPhones = 20;

/// The number that one phone has in a sub-field. One of more than 53 bits is rounded.
struct PhoneNumber {
    std::int64_t phone = 0;
    double number = 0;
};
/// Of the sub-field at position `field` of `layout`, for each phone in the order of `values`. Empty where the item has
/// no such sub-field.
std::vector<PhoneNumber> numbersOf(std::span<const ValueOfPhone> values, const NvItem& layout, std::size_t field);

enum class Verdict {
    kNotKnown, ///< fewer phones than kFewestPhones
    kUsual,
    kUnusual,    ///< farther from the median than kFarthest standard deviations
    kUnlikeMost, ///< more than half of the phones have one and the same number, and this is another one
};

/// How far a usual number is from the median, in standard deviations as the median absolute deviation estimates them.
/// Of numbers that are spread as errors of measurement are, one in two thousand lies farther.
inline constexpr double kFarthest = 3.5;
/// The standard deviation of such numbers is so many times their median absolute deviation.
inline constexpr double kDeviationsPerMad = 1.4826;

/// The median of numbers, and the median of their distances from it: a few wrong ones move neither, unlike mean and
/// standard deviation. The phone that is judged is one of those counted, so that all are held against one median; with
/// twenty phones a single one hardly moves it.
class Usual {
public:
    explicit Usual(std::span<const PhoneNumber> numbers);

    std::size_t phones() const { return phones_; }
    double median() const { return median_; }             ///< 0 without phones
    double medianDeviation() const { return deviation_; } ///< the median absolute deviation
    /// The band of what is usual.
    double lowest() const { return median_ - band(); }
    double highest() const { return median_ + band(); }
    Verdict judge(double number) const;

private:
    double band() const { return kFarthest * kDeviationsPerMad * deviation_; }

    std::size_t phones_;
    double median_ = 0;
    double deviation_ = 0;
};

/// How many phones have a number from first + i * width to below first + (i + 1) * width, in counts[i]. Bounds and
/// width are whole numbers, as the values of sub-fields are.
struct Histogram {
    double first = 0;
    double width = 1;
    std::vector<std::size_t> counts; ///< kMostBins at most
    /// Phones so far off that the others would fall into a bin or two beside them.
    std::size_t below = 0;
    std::size_t above = 0;
};
inline constexpr std::size_t kMostBins = 40;
Histogram histogramOf(std::span<const PhoneNumber> numbers);

} // namespace record

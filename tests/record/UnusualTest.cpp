// What is usual among phones.

#include "workbench/record/Unusual.h"

#include <gtest/gtest.h>

#include <numeric>

namespace record {
namespace {

std::vector<PhoneNumber> numbers(const std::vector<double>& values) {
    std::vector<PhoneNumber> numbers;
    for (const double value : values) {
        numbers.push_back({static_cast<std::int64_t>(numbers.size()), value});
    }
    return numbers;
}

/// So many phones from `first` on, each with one more than the one before.
std::vector<double> rising(std::size_t count, double first) {
    std::vector<double> values(count);
    std::iota(values.begin(), values.end(), first);
    return values;
}

std::vector<double> with(std::vector<double> values, const std::vector<double>& more) {
    values.insert(values.end(), more.begin(), more.end());
    return values;
}

TEST(Unusual, IsWhatLiesFarFromTheMedianOfTwentyPhones) {
    const struct {
        const char* what;
        std::vector<double> values;
        double median;
        double deviation;
        double judged;
        Verdict verdict;
    } rows[] = {
        {"nobody", {}, 0, 0, 0, Verdict::kNotKnown},
        {"too few", rising(19, 0), 9, 5, 1000, Verdict::kNotKnown},
        {"on the edge", rising(21, -10), 0, 5, 25.9, Verdict::kUsual}, // 3.5 * 1.4826 * 5 = 25.9455
        {"behind it", rising(21, -10), 0, 5, 26, Verdict::kUnusual},
        {"below", rising(21, -10), 0, 5, -26, Verdict::kUnusual},
        {"one that is far off moves nothing", with(rising(20, -10), {65535}), 0, 5, 65535, Verdict::kUnusual},
        {"most are the same", with(std::vector<double>(19, 7), {8, 9}), 7, 0, 8, Verdict::kUnlikeMost},
        {"as most are", with(std::vector<double>(19, 7), {8, 9}), 7, 0, 7, Verdict::kUsual},
        {"an even count", rising(20, 0), 9.5, 5, 9, Verdict::kUsual},
    };
    for (const auto& row : rows) {
        const auto counted = numbers(row.values);
        const Usual usual(counted);
        EXPECT_EQ(usual.median(), row.median) << row.what;
        EXPECT_EQ(usual.medianDeviation(), row.deviation) << row.what;
        EXPECT_EQ(usual.judge(row.judged), row.verdict) << row.what;
    }
}

TEST(Unusual, AHistogramHasWholeBinsAndIsNotCrushedByOneFarOff) {
    const auto textOf = [](const std::vector<double>& values) {
        const auto counted = numbers(values);
        const Histogram histogram = histogramOf(counted);
        std::string text = std::to_string(static_cast<int>(histogram.first)) + "/" +
                           std::to_string(static_cast<int>(histogram.width)) + ":";
        for (const std::size_t count : histogram.counts) {
            text += " " + std::to_string(count);
        }
        return text + " < " + std::to_string(histogram.below) + " > " + std::to_string(histogram.above);
    };
    EXPECT_EQ(textOf({}), "0/1: < 0 > 0");
    EXPECT_EQ(textOf({5}), "5/1: 1 < 0 > 0");
    EXPECT_EQ(textOf({-3, -1, -1, 0}), "-3/1: 1 0 2 1 < 0 > 0") << "half of them lie within 1";
    EXPECT_EQ(textOf(rising(64, 0)), "0/16: 16 16 16 16 < 0 > 0");
    EXPECT_EQ(textOf(with(rising(64, 0), {65535, -40000})), "0/16: 16 16 16 16 < 1 > 1");
    EXPECT_EQ(textOf(with(std::vector<double>(30, 7), {8, 9})), "7/1: 30 1 1 < 0 > 0");
    EXPECT_EQ(textOf(with(std::vector<double>(30, 0), {7999})).substr(0, 9), "0/200: 30");
}

TEST(Unusual, NumbersAreThoseOfTheSubField) {
    const NvItem layout("NV_A,10,ReadWrite,<WORD,a>#<SIGNED_BYTE,b>#");
    const ValueOfPhone values[] = {{.phone = 3, .data = {1, 2, 0xFF}}, {.phone = 4, .data = {0, 0, 5}}};
    const auto second = numbersOf(values, layout, 1);
    ASSERT_EQ(second.size(), 2U);
    EXPECT_EQ(numbersOf(values, layout, 0)[0].number, 513);
    EXPECT_EQ(second[0].number, -1);
    EXPECT_EQ(second[1].phone, 4);
    EXPECT_TRUE(numbersOf(values, layout, 2).empty());
}

} // namespace
} // namespace record

#pragma once

#include <algorithm>
#include <bit>
#include <cstdint>
#include <optional>
#include <vector>

namespace storage {

// A set of numbers that finds its lowest member fast: a bit per number, and a bit per group of 64 above it.
class FreeMap {
public:
    void add(std::uint32_t number) {
        const std::size_t word = number / 64;
        if (word >= bits_.size()) {
            bits_.resize(word + 1 + word / 2);
            groups_.resize(bits_.size() / 64 + 1);
        }
        bits_[word] |= std::uint64_t{1} << number % 64;
        groups_[word / 64] |= std::uint64_t{1} << word % 64;
        firstGroup_ = std::min(firstGroup_, word / 64);
    }

    // Takes the lowest member out.
    std::optional<std::uint32_t> takeFirst() {
        while (firstGroup_ < groups_.size() && groups_[firstGroup_] == 0) {
            ++firstGroup_;
        }
        if (firstGroup_ >= groups_.size()) {
            return std::nullopt;
        }
        const std::size_t word = firstGroup_ * 64 + static_cast<std::size_t>(std::countr_zero(groups_[firstGroup_]));
        const auto bit = static_cast<std::uint32_t>(std::countr_zero(bits_[word]));
        bits_[word] &= bits_[word] - 1;
        if (bits_[word] == 0) {
            groups_[firstGroup_] &= groups_[firstGroup_] - 1;
        }
        return static_cast<std::uint32_t>(word * 64) + bit;
    }

private:
    std::vector<std::uint64_t> bits_;
    std::vector<std::uint64_t> groups_;
    std::size_t firstGroup_ = 0;
};

} // namespace storage

#pragma once

#include "engine/SubItem.h"

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>

namespace workbench {

struct ItemReading;

/// All bytes of one item, those behind its sub-fields included.
using ItemData = std::array<std::uint8_t, items::kItemDataBytes>;

/// How a caller follows work that takes an item after the other from or to a phone, and ends it. The functions may be
/// empty; they are called on the thread of the work.
struct WorkControl {
    /// Before each item: its position from 0, how many there are, its number.
    std::function<void(std::size_t position, std::size_t count, std::uint16_t number)> progress = {};
    /// Asked between two items, and while the work waits for a phone to return. True ends the work there.
    std::function<bool()> isCancelled = {};
    /// Of a read: what an item came to. Where another phone turns out to have answered, the report takes it back.
    std::function<void(const ItemReading& reading)> wasRead = {};
};

/// How long ago `begin` was.
inline std::chrono::microseconds elapsedSince(std::chrono::steady_clock::time_point begin) {
    return std::chrono::duration_cast<std::chrono::microseconds>(std::chrono::steady_clock::now() - begin);
}

/// Adds "3 refused" to an account of such counts, separated by commas; a count of 0 is left out.
inline void addCount(std::string& account, std::size_t count, const char* words) {
    if (count > 0) {
        account += (account.empty() ? "" : ", ") + std::to_string(count) + words;
    }
}

} // namespace workbench

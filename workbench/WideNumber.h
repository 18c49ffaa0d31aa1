#pragma once

#include "engine/SubItem.h"

#include <compare>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace workbench {

/// A whole number of a sign and 64 bits: what a sub-field of any type holds, and what any two of one type differ by.
struct WideNumber {
    bool isNegative = false; ///< false for 0
    std::uint64_t magnitude = 0;

    bool operator==(const WideNumber&) const = default;
    std::strong_ordering operator<=>(const WideNumber& other) const {
        if (isNegative != other.isNegative) {
            return isNegative ? std::strong_ordering::less : std::strong_ordering::greater;
        }
        return isNegative ? other.magnitude <=> magnitude : magnitude <=> other.magnitude;
    }
};

/// The value whose little-endian bytes start at `bytes`.
WideNumber numberAt(SubItemType type, const std::uint8_t* bytes);
/// The number that the whole of `text` is, as items::valueText() prints it.
std::optional<WideNumber> numberOf(std::string_view text);
/// `to` less `from`, both of one type.
WideNumber difference(const WideNumber& from, const WideNumber& to);
/// The nearest floating-point number.
double asDouble(const WideNumber& number);
/// In decimal: "-12", "0", "3".
std::string textOf(const WideNumber& number);

} // namespace workbench

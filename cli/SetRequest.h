#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

/// What the user wants one item to be, or one of its sub-fields.
struct SetRequest {
    std::optional<std::uint16_t> number; ///< of the item; nothing where it is named
    std::string name;
    std::optional<std::size_t> field; ///< the position of the sub-field that is meant alone, from 0
    std::string values;               ///< decimal texts, separated by commas
};

/// Takes "1007=5,11,307", "1007[2]=307" and "NV_X_I=1" apart, or two words that are an item and its values. A value may
/// be hexadecimal behind "0x". What begins with a digit is an item's number, in decimal. Throws std::invalid_argument
/// for words that are none of it.
std::vector<SetRequest> parseSetRequests(const std::vector<std::string>& words);

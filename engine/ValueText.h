#pragma once

#include "engine/SubItem.h"

#include <cstdint>
#include <string>
#include <string_view>

/// One value of a sub-field, between its bytes and its decimal text.
namespace items {

/// The decimal text of the value whose little-endian bytes start at `bytes`: no leading zeros, no plus sign.
std::string valueText(SubItemType type, const std::uint8_t* bytes);

/// Writes the low bytes of `value`, as many as the type has, least significant first.
void storeValue(SubItemType type, std::uint64_t value, std::uint8_t* bytes);

enum class ReadResult {
    kOk,
    kNotANumber, ///< nothing, no decimal number, or something else than white space around it
    kOutOfRange, ///< a number that the type can't take; see smallestText() and largestText()
};

/// Reads the text of one field: white space, an optional sign, decimal digits, white space. On kOk `value` holds the
/// bits whose low bytes are to be stored; otherwise it is untouched.
///
/// What a type takes: the signed types of 2 and 4 bytes their own range. WORD and DWORD any magnitude that fits; a
/// minus negates it modulo 2^16 or 2^32, so that -1 sets all bits. Both byte types what WORD takes, and store the low
/// 8 bits of it. Both types of 8 bytes take every number, modulo 2^64. Whether the stored value is the one that was
/// typed is the caller's business (workbench/TypedValues.h).
ReadResult readValueText(SubItemType type, std::string_view text, std::uint64_t& value);

/// The smallest and the largest number that readValueText() takes for a type other than the two of 8 bytes, in decimal.
std::string smallestText(SubItemType type);
std::string largestText(SubItemType type);

} // namespace items

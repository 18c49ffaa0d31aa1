#pragma once

#include "platform/kernel/Text.h"

#include <cstdint>
#include <string_view>

/// Numbers as they are typed: characters after the number are ignored, and a text without a number is 0.

/// The digits that `text` starts with after its blanks, modulo 2^64.
inline std::uint64_t leadingDigits(std::string_view text) {
    std::uint64_t number = 0;
    for (const char c : kernel::trimmedFront(text)) {
        if (c < '0' || c > '9') {
            break;
        }
        number = number * 10 + static_cast<std::uint64_t>(c - '0');
    }
    return number;
}

/// The same with a sign before the digits; a negative number counts from 2^64 down, as sub-fields of 8 bytes do, so
/// that every bit survives.
inline std::uint64_t leadingDecimal(std::string_view text) {
    text = kernel::trimmedFront(text);
    const bool negative = text.starts_with('-');
    if (!negative && !text.starts_with('+')) {
        return leadingDigits(text);
    }
    text.remove_prefix(1);
    const bool isNumber = !text.empty() && text.front() >= '0' && text.front() <= '9';
    const std::uint64_t number = isNumber ? leadingDigits(text) : 0;
    return negative ? 0 - number : number;
}

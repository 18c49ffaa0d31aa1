#pragma once

#include <algorithm>
#include <string_view>

/// White space and words as the ring and the value texts know them, whatever the locale.
namespace items {

/// Blank, tab, line feed, vertical tab, form feed, carriage return.
constexpr bool isWhiteSpace(char c) {
    return c == ' ' || (c >= '\t' && c <= '\r');
}

/// `text` without the white space at both ends.
constexpr std::string_view trimmed(std::string_view text) {
    while (!text.empty() && isWhiteSpace(text.front())) {
        text.remove_prefix(1);
    }
    while (!text.empty() && isWhiteSpace(text.back())) {
        text.remove_suffix(1);
    }
    return text;
}

/// The first word of `text`, delimited by white space; empty if there is none.
constexpr std::string_view firstWord(std::string_view text) {
    const auto* const start = std::find_if_not(text.begin(), text.end(), isWhiteSpace);
    return {start, std::find_if(start, text.end(), isWhiteSpace)};
}

} // namespace items

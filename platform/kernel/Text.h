#pragma once

#include <algorithm>
#include <array>
#include <charconv>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

/// Text as files, command lines and packets hold it. Letters, digits and white space are those of ASCII, whatever the
/// locale; other bytes pass through.
namespace kernel {

/// `text` without the mark of UTF-8 that some editors put at the front of a file.
constexpr std::string_view withoutByteOrderMark(std::string_view text) {
    constexpr std::string_view kMark = "\xEF\xBB\xBF";
    text.remove_prefix(text.starts_with(kMark) ? kMark.size() : 0);
    return text;
}

/// Blank, tab, line feed, vertical tab, form feed, carriage return.
constexpr bool isWhiteSpace(char c) {
    return c == ' ' || (c >= '\t' && c <= '\r');
}

/// `text` without the white space at its front.
constexpr std::string_view trimmedFront(std::string_view text) {
    while (!text.empty() && isWhiteSpace(text.front())) {
        text.remove_prefix(1);
    }
    return text;
}

/// `text` without the white space at both ends.
constexpr std::string_view trimmed(std::string_view text) {
    text = trimmedFront(text);
    while (!text.empty() && isWhiteSpace(text.back())) {
        text.remove_suffix(1);
    }
    return text;
}

/// The first word of `text`, delimited by white space; empty if there is none.
constexpr std::string_view firstWord(std::string_view text) {
    text = trimmedFront(text);
    return {text.begin(), std::find_if(text.begin(), text.end(), isWhiteSpace)};
}

constexpr char lowerCase(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}
constexpr char upperCase(char c) {
    return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
}
inline std::string lowerCase(std::string_view text) {
    std::string lower(text);
    std::transform(lower.begin(), lower.end(), lower.begin(), [](char c) { return lowerCase(c); });
    return lower;
}
inline std::string upperCase(std::string_view text) {
    std::string upper(text);
    std::transform(upper.begin(), upper.end(), upper.begin(), [](char c) { return upperCase(c); });
    return upper;
}

/// How many bytes the well-formed character of UTF-8 has with which `text` begins; 0 where it begins with none.
constexpr std::size_t utf8Length(std::string_view text) {
    const auto byteAt = [text](std::size_t at) { return static_cast<unsigned char>(text[at]); };
    if (text.empty()) {
        return 0;
    }
    const unsigned char first = byteAt(0);
    const std::size_t bytes = first < 0x80 ? 1 : first < 0xE0 ? 2 : first < 0xF0 ? 3 : 4;
    if ((first >= 0x80 && first < 0xC2) || first > 0xF4 || text.size() < bytes) {
        return 0;
    }
    for (std::size_t next = 1; next < bytes; ++next) {
        if ((byteAt(next) & 0xC0) != 0x80) {
            return 0;
        }
    }
    // The forms that are too long, the halves of pairs of UTF-16, and what lies above U+10FFFF.
    const unsigned char second = bytes > 1 ? byteAt(1) : 0;
    const bool isNone = (first == 0xE0 && second < 0xA0) || (first == 0xED && second > 0x9F) ||
                        (first == 0xF0 && second < 0x90) || (first == 0xF4 && second > 0x8F);
    return isNone ? 0 : bytes;
}

/// Whether `text` is well-formed UTF-8.
constexpr bool isUtf8(std::string_view text) {
    while (const std::size_t bytes = utf8Length(text)) {
        text.remove_prefix(bytes);
    }
    return text.empty();
}

/// `text`, or its first `maxBytes` at most with dots behind them. A character of UTF-8 is not torn.
inline std::string shortened(std::string_view text, std::size_t maxBytes) {
    if (text.size() <= maxBytes) {
        return std::string(text);
    }
    while (maxBytes > 0 && (static_cast<unsigned char>(text[maxBytes]) & 0xC0) == 0x80) {
        --maxBytes;
    }
    return std::string(text.substr(0, maxBytes)) + "...";
}

/// `value` in lower-case hexadecimal digits, at least so many, with zeros in front.
inline std::string hexDigits(std::uint64_t value, std::size_t minDigits = 1) {
    std::array<char, 16> digits{};
    const std::string text(digits.data(), std::to_chars(digits.data(), digits.data() + digits.size(), value, 16).ptr);
    return text.size() < minDigits ? std::string(minDigits - text.size(), '0') + text : text;
}

/// The number that the whole of `text` is, in digits of either case and behind a minus sign where the type has one.
/// Nothing for any other character, blanks included, and for a number that the type can't hold.
template <std::integral Number>
std::optional<Number> wholeNumber(std::string_view text, int base = 10) {
    Number number = 0;
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, number, base);
    if (error != std::errc() || stop != end) {
        return std::nullopt;
    }
    return number;
}

} // namespace kernel

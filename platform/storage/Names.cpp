#include "platform/storage/Names.h"

#include "platform/storage/Status.h"
#include "platform/storage/Storage.h"

#include <algorithm>
#include <string>

namespace storage {
namespace {

constexpr char32_t kReplacement = 0xFFFD;

void appendUtf16(std::u16string& units, char32_t code) {
    if (code < 0x10000) {
        units.push_back(static_cast<char16_t>(code));
    } else {
        units.push_back(static_cast<char16_t>(0xD800 + ((code - 0x10000) >> 10)));
        units.push_back(static_cast<char16_t>(0xDC00 + ((code - 0x10000) & 0x3FF)));
    }
}

void appendUtf8(std::string& text, char32_t code) {
    const auto byte = [&](char32_t value) { text.push_back(static_cast<char>(static_cast<unsigned char>(value))); };
    if (code < 0x80) {
        byte(code);
    } else if (code < 0x800) {
        byte(0xC0 | code >> 6);
        byte(0x80 | (code & 0x3F));
    } else if (code < 0x10000) {
        byte(0xE0 | code >> 12);
        byte(0x80 | (code >> 6 & 0x3F));
        byte(0x80 | (code & 0x3F));
    } else {
        byte(0xF0 | code >> 18);
        byte(0x80 | (code >> 12 & 0x3F));
        byte(0x80 | (code >> 6 & 0x3F));
        byte(0x80 | (code & 0x3F));
    }
}

// Takes one code point off the front of `text`.
char32_t takeCodePoint(std::string_view& text) {
    const auto lead = static_cast<unsigned char>(text.front());
    text.remove_prefix(1);
    if (lead < 0x80) {
        return lead;
    }
    const int more = lead >= 0xC2 && lead < 0xE0   ? 1
                     : lead >= 0xE0 && lead < 0xF0 ? 2
                     : lead >= 0xF0 && lead < 0xF5 ? 3
                                                   : 0;
    if (more == 0 || text.size() < static_cast<std::size_t>(more)) {
        return kReplacement;
    }
    char32_t code = lead & (0x3F >> more);
    for (int at = 0; at < more; ++at) {
        const auto next = static_cast<unsigned char>(text[static_cast<std::size_t>(at)]);
        if ((next & 0xC0) != 0x80) {
            return kReplacement;
        }
        code = code << 6 | (next & 0x3F);
    }
    constexpr char32_t kSmallest[]{0, 0x80, 0x800, 0x10000};
    if (code < kSmallest[more] || code > 0x10FFFF || (code >= 0xD800 && code < 0xE000)) {
        return kReplacement;
    }
    text.remove_prefix(static_cast<std::size_t>(more));
    return code;
}

} // namespace

Name::Name(std::u16string_view units) : length_(static_cast<std::uint16_t>(units.size())) {
    std::ranges::copy(units, units_.begin());
}

Name Name::checked(std::u16string_view units) {
    constexpr std::u16string_view kForbidden(u"/\\:!\0", 5);
    if (units.empty() || units.size() > kMaxNameUnits || units.find_first_of(kForbidden) != units.npos) {
        throw Failure(kInvalidName);
    }
    return Name(units);
}

std::weak_ordering operator<=>(const Name& left, const Name& right) {
    if (left.length_ != right.length_) {
        return left.length_ <=> right.length_;
    }
    for (std::size_t at = 0; at < left.length_; ++at) {
        const char16_t one = left.units_[at];
        const char16_t other = right.units_[at];
        if (one != other && upperCase(one) != upperCase(other)) {
            return upperCase(one) <=> upperCase(other);
        }
    }
    return std::weak_ordering::equivalent;
}

std::u16string toUtf16(std::string_view text) {
    std::u16string units;
    units.reserve(text.size());
    while (!text.empty()) {
        appendUtf16(units, takeCodePoint(text));
    }
    return units;
}

std::string toUtf8(std::u16string_view units) {
    std::string text;
    text.reserve(units.size());
    for (std::size_t at = 0; at < units.size(); ++at) {
        char32_t code = units[at];
        const bool high = code >= 0xD800 && code < 0xDC00;
        if (high && at + 1 < units.size() && units[at + 1] >= 0xDC00 && units[at + 1] < 0xE000) {
            code = 0x10000 + ((code - 0xD800) << 10) + (units[++at] - 0xDC00U);
        } else if (code >= 0xD800 && code < 0xE000) {
            code = kReplacement;
        }
        appendUtf8(text, code);
    }
    return text;
}

} // namespace storage

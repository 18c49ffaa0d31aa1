#include "app/document/SubFieldText.h"

#include "app/document/LeadingNumber.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdint>
#include <ctime>

namespace {

constexpr std::size_t kPartDigits = 8; // of a hexadecimal number that is read in two parts

struct TypeLabel {
    std::string_view typeName;
    std::string_view label;
};

constexpr std::array<TypeLabel, 12> kTypeLabels{{
    {"BYTE", "< unsigned 1 byte  >  "},
    {"SIGNED_BYTE", "<  signed 1 byte   >  "},
    {"SIGNED BYTE", "<  signed 1 byte   >  "},
    {"WORD", "< unsigned 2 bytes >  "},
    {"SIGNED_WORD", "<  signed 2 bytes  >  "},
    {"SIGNED WORD", "<  signed 2 bytes  >  "},
    {"DWORD", "< unsigned 4 bytes >  "},
    {"SIGNED_DWORD", "<  signed 4 bytes  >  "},
    {"SIGNED DWORD", "<  signed 4 bytes  >  "},
    {"QWORD", "< unsigned 8 bytes >  "},
    {"SIGNED_QWORD", "<  signed 8 bytes  >  "},
    {"SIGNED QWORD", "<  signed 8 bytes  >  "},
}};

bool isDigit(char c) {
    return c >= '0' && c <= '9';
}

std::uint32_t leadingHex(std::string_view text) {
    text = kernel::trimmedFront(text);
    if (text.starts_with("0x") || text.starts_with("0X")) {
        text.remove_prefix(2);
    }
    std::uint32_t number = 0;
    for (const char c : text) {
        std::uint32_t digit = 0;
        if (std::from_chars(&c, &c + 1, digit, 16).ec != std::errc{}) {
            break;
        }
        number = number << 4 | digit;
    }
    return number;
}

} // namespace

std::string typeLabel(const std::string& typeName) {
    for (const TypeLabel& row : kTypeLabels) {
        if (row.typeName == typeName) {
            return std::string(row.label);
        }
    }
    return typeName;
}

std::string dateText(const std::string& value) {
    std::int64_t seconds = 0;
    std::string_view digits = kernel::trimmedFront(value);
    if (digits.starts_with('+')) {
        digits.remove_prefix(1);
    }
    if (std::from_chars(digits.data(), digits.data() + digits.size(), seconds).ec != std::errc{}) {
        return value;
    }
    const std::time_t time = seconds;
    std::tm date{};
    if (localtime_r(&time, &date) == nullptr || date.tm_year > 9999 - 1900 || date.tm_year < 1 - 1900) {
        return value;
    }
    return std::to_string(date.tm_mon + 1) + "/" + std::to_string(date.tm_mday) + "/" +
           std::to_string(date.tm_year + 1900);
}

std::string hexFromDecimal(std::string_view text) {
    return kernel::hexDigits(leadingDecimal(text));
}

std::string decimalFromHex(std::string_view text) {
    if (text.size() <= kPartDigits) {
        return std::to_string(leadingHex(text));
    }
    const std::size_t lowDigits = text.size() - kPartDigits;
    const std::uint64_t high =
        lowDigits < 16 ? std::uint64_t{leadingHex(text.substr(0, kPartDigits))} << 4 * lowDigits : 0;
    return std::to_string(static_cast<std::int64_t>(high + leadingHex(text.substr(kPartDigits))));
}

bool isHexNumber(std::string_view text) {
    // In longer texts a blank would count as a digit's place.
    if (text.size() <= kPartDigits) {
        text = kernel::trimmed(text);
    }
    if (text.size() > 2 * kPartDigits) {
        return false;
    }
    if (text.starts_with("0x") || text.starts_with("0X")) {
        text.remove_prefix(2);
    }
    const auto isHexDigit = [](char c) { return isDigit(c) || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F'); };
    return !text.empty() && std::all_of(text.begin(), text.end(), isHexDigit);
}

bool fitsHex(std::string_view text) {
    if (!isDecimalNumber(text)) {
        return false;
    }
    text = kernel::trimmed(text);
    if (text.starts_with('+')) {
        text.remove_prefix(1);
    }
    std::int64_t negative = 0;
    std::uint64_t positive = 0;
    const auto* end = text.data() + text.size();
    return (text.starts_with('-') ? std::from_chars(text.data(), end, negative).ec
                                  : std::from_chars(text.data(), end, positive).ec) == std::errc{};
}

bool isDecimalNumber(std::string_view text) {
    text = kernel::trimmed(text);
    if (text.starts_with('-') || text.starts_with('+')) {
        text.remove_prefix(1);
    }
    return !text.empty() && std::all_of(text.begin(), text.end(), isDigit);
}

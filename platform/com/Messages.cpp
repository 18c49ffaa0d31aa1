#include "platform/com/Messages.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <string_view>

namespace com {
namespace {

struct TableEntry {
    std::uint32_t code;
    std::string_view text;
};

// Ascending by code, so that a look-up is a binary search. The texts are those that programs of this kind have always
// shown for these codes; engineers search their notes for them.
constexpr std::array kMessages{
    TableEntry{0x00000000, "The operation completed successfully.\r\n"},
    TableEntry{0x80004001, "Not implemented\r\n"},
    TableEntry{0x80004002, "No such interface supported\r\n"},
    TableEntry{0x80004003, "Invalid pointer\r\n"},
    TableEntry{0x80004004, "Operation aborted\r\n"},
    TableEntry{0x80004005, "Unspecified error\r\n"},
    TableEntry{0x8000FFFF, "Catastrophic failure\r\n"},
    TableEntry{0x80010108, "The object invoked has disconnected from its clients.\r\n"},
    TableEntry{0x8001010E, "The application called an interface that was marshalled for a different thread.\r\n"},
    TableEntry{0x80040154, "Class not registered\r\n"},
    TableEntry{0x800401F0, "CoInitialize has not been called.\r\n"},
    TableEntry{0x80070005, "Access is denied.\r\n"},
    TableEntry{0x8007000E, "Not enough storage is available to complete this operation.\r\n"},
    TableEntry{0x80070057, "The parameter is incorrect.\r\n"},
};

static_assert(std::is_sorted(kMessages.begin(), kMessages.end(),
                             [](const TableEntry& left, const TableEntry& right) { return left.code < right.code; }));

constexpr std::uint32_t kFirstDispatchCode = 0x80040200;
constexpr std::uint32_t kLastDispatchCode = 0x8004FFFF;

std::string upperHex(std::uint32_t value) {
    std::array<char, 8> digits{};
    const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), value, 16).ptr;
    std::string text(digits.data(), end);
    std::transform(text.begin(), text.end(), text.begin(),
                   [](char digit) { return digit >= 'a' ? static_cast<char>(digit - 'a' + 'A') : digit; });
    return text;
}

} // namespace

std::optional<std::string> systemMessage(Status status) {
    const auto entry = std::lower_bound(kMessages.begin(), kMessages.end(), statusBits(status),
                                        [](const TableEntry& row, std::uint32_t code) { return row.code < code; });
    if (entry == kMessages.end() || entry->code != statusBits(status)) {
        return std::nullopt;
    }
    return std::string(entry->text);
}

std::string standardMessage(Status status) {
    if (auto text = systemMessage(status)) {
        if (text->ends_with('\n')) {
            text->pop_back();
            if (text->ends_with('\r')) {
                text->pop_back();
            }
        }
        return *text;
    }
    const std::uint32_t code = statusBits(status);
    if (code >= kFirstDispatchCode && code <= kLastDispatchCode && (code & 0xFFFF) != 0x200) {
        return "IDispatch error #" + std::to_string(code - kFirstDispatchCode);
    }
    return "Unknown error 0x" + upperHex(code);
}

} // namespace com

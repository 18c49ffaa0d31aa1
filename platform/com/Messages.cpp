#include "platform/com/Messages.h"

#include "platform/kernel/Text.h"

#include <algorithm>
#include <array>
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
    TableEntry{0x80030001, "Unable to perform requested operation.\r\n"},
    TableEntry{0x80030002, "%1 could not be found.\r\n"},
    TableEntry{0x80030003, "The path %1 could not be found.\r\n"},
    TableEntry{0x80030004, "There are insufficient resources to open another file.\r\n"},
    TableEntry{0x80030005, "Access Denied.\r\n"},
    TableEntry{0x80030006, "Attempted an operation on an invalid object.\r\n"},
    TableEntry{0x80030008, "There is insufficient memory available to complete operation.\r\n"},
    TableEntry{0x80030009, "Invalid pointer error.\r\n"},
    TableEntry{0x80030012, "There are no more entries to return.\r\n"},
    TableEntry{0x80030013, "Disk is write-protected.\r\n"},
    TableEntry{0x80030019, "An error occurred during a seek operation.\r\n"},
    TableEntry{0x8003001D, "A disk error occurred during a write operation.\r\n"},
    TableEntry{0x8003001E, "A disk error occurred during a read operation.\r\n"},
    TableEntry{0x80030020, "A share violation has occurred.\r\n"},
    TableEntry{0x80030021, "A lock violation has occurred.\r\n"},
    TableEntry{0x80030050, "%1 already exists.\r\n"},
    TableEntry{0x80030057, "Invalid parameter error.\r\n"},
    TableEntry{0x80030070, "There is insufficient disk space to complete operation.\r\n"},
    TableEntry{0x800300FA, "An API call exited abnormally.\r\n"},
    TableEntry{0x800300FB, "The file %1 is not a valid compound file.\r\n"},
    TableEntry{0x800300FC, "The name %1 is not valid.\r\n"},
    TableEntry{0x800300FD, "An unexpected error occurred.\r\n"},
    TableEntry{0x800300FE, "That function is not implemented.\r\n"},
    TableEntry{0x800300FF, "Invalid flag error.\r\n"},
    TableEntry{0x80030100, "Attempted to use an object that is busy.\r\n"},
    TableEntry{0x80030101, "The storage has been changed since the last commit.\r\n"},
    TableEntry{0x80030102, "Attempted to use an object that has ceased to exist.\r\n"},
    TableEntry{0x80030103, "Can't save.\r\n"},
    TableEntry{0x80030104, "The compound file %1 was produced with an incompatible version of storage.\r\n"},
    TableEntry{0x80030105, "The compound file %1 was produced with a newer version of storage.\r\n"},
    TableEntry{0x80030107, "Illegal operation called on non-file based storage.\r\n"},
    TableEntry{0x80030109, "The docfile has been corrupted.\r\n"},
    TableEntry{0x80030111, "The compound file is too large for the current implementation.\r\n"},
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
    return "Unknown error 0x" + kernel::upperCase(kernel::hexDigits(code));
}

} // namespace com

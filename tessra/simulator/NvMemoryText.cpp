#include "tessra/simulator/NvMemoryText.h"

#include "platform/kernel/Text.h"
#include "tessra/simulator/ConfigError.h"

#include <algorithm>
#include <stdexcept>

namespace tessra {
namespace {

constexpr std::string_view kHeader =
    "// A simulated phone's NV memory: number, NV status of a read, data, marks.\n"
    "// The phone service rewrites this file; edit it only while no program uses the phone.\n";
constexpr std::string_view kReadOnlyMark = "readonly";
constexpr std::string_view kProtectedMark = "protected";
constexpr std::size_t kMaxShownBytes = 40; // of a wrong word
constexpr std::string_view kHexDigits = "0123456789abcdef";

// Cuts the text up to the next blank off the front of `line`; empty at the line's end.
std::string_view nextWord(std::string_view& line) {
    const std::string_view word = kernel::firstWord(line);
    line = kernel::trimmedFront(line).substr(word.size());
    return word;
}

std::uint16_t parseNumber(std::string_view word, const char* what) {
    const auto number = kernel::wholeNumber<std::uint16_t>(word);
    if (!number) {
        throw std::invalid_argument(std::string("the ") + what + " '" + kernel::shortened(word, kMaxShownBytes) +
                                    "' is not a number from 0 to 65535");
    }
    return *number;
}

void parseData(std::string_view word, NvCell& cell) {
    if (word == "-") {
        return;
    }
    if (word.empty() || word.size() % 2 != 0 || word.size() > 2 * kNvDataBytes) {
        throw std::invalid_argument("the data must be \"-\" or 2 to 256 hexadecimal digits, an even number of them");
    }
    for (std::size_t i = 0; i < word.size(); i += 2) {
        const std::size_t high = kHexDigits.find(word[i]);
        const std::size_t low = kHexDigits.find(word[i + 1]);
        if (high == kHexDigits.npos || low == kHexDigits.npos) {
            throw std::invalid_argument("the data has a character that is no lower-case hexadecimal digit");
        }
        cell.data[i / 2] = static_cast<std::uint8_t>(high << 4 | low);
    }
}

void parseMarks(std::string_view word, NvCell& cell) {
    while (!word.empty()) {
        const std::string_view mark = word.substr(0, word.find(','));
        word.remove_prefix(std::min(mark.size() + 1, word.size()));
        if (mark == kReadOnlyMark) {
            cell.readOnly = true;
        } else if (mark == kProtectedMark) {
            cell.isProtected = true;
        } else {
            throw std::invalid_argument("unknown mark '" + kernel::shortened(mark, kMaxShownBytes) + "'");
        }
    }
}

// One item's line with its line feed.
std::string formatLine(std::uint16_t number, const NvCell& cell) {
    std::size_t length = cell.data.size();
    while (length > 1 && cell.data[length - 1] == 0) {
        --length;
    }
    std::string line = std::to_string(number) + ' ' + std::to_string(cell.status) + ' ';
    for (std::size_t i = 0; i < length; ++i) {
        line += kHexDigits[cell.data[i] >> 4];
        line += kHexDigits[cell.data[i] & 0xF];
    }
    if (cell.readOnly || cell.isProtected) {
        line += ' ';
        line += cell.readOnly ? kReadOnlyMark : std::string_view();
        line += cell.readOnly && cell.isProtected ? "," : "";
        line += cell.isProtected ? kProtectedMark : std::string_view();
    }
    line += '\n';
    return line;
}

} // namespace

NvCells parseNvMemory(std::string_view text, const std::filesystem::path& file) {
    NvCells cells;
    for (std::size_t lineNumber = 1; !text.empty(); ++lineNumber) {
        std::string_view line = text.substr(0, text.find('\n'));
        text.remove_prefix(std::min(line.size() + 1, text.size()));
        line = line.substr(0, line.find("//"));
        const std::string_view first = nextWord(line);
        if (first.empty()) {
            continue;
        }
        try {
            const std::uint16_t number = parseNumber(first, "item number");
            NvCell cell;
            cell.status = parseNumber(nextWord(line), "NV status");
            parseData(nextWord(line), cell);
            parseMarks(nextWord(line), cell);
            if (!nextWord(line).empty()) {
                throw std::invalid_argument("more follows after the marks");
            }
            if (!cells.emplace(number, cell).second) {
                throw std::invalid_argument("item " + std::to_string(number) + " stands here a second time");
            }
        } catch (const std::invalid_argument& error) {
            throw ConfigError(file, lineNumber, error.what());
        }
    }
    return cells;
}

std::string formatNvMemory(const NvCells& cells) {
    std::string text(kHeader);
    for (const auto& [number, cell] : cells) {
        text += formatLine(number, cell);
    }
    return text;
}

} // namespace tessra

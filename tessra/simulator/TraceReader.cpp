#include "tessra/simulator/TraceReader.h"

#include "platform/kernel/RegularFile.h"
#include "platform/kernel/Text.h"
#include "tessra/Interfaces.h"
#include "tessra/simulator/ConfigError.h"
#include "tessra/trace/TraceText.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <set>
#include <stdexcept>
#include <string>
#include <system_error>

namespace tessra {
namespace {

// Words that may be anything are shown no longer than this, and what no terminal should get as a question mark.
constexpr std::size_t kShownBytes = 60;

std::string shown(std::string_view word) {
    std::string text = kernel::shortened(word, kShownBytes);
    std::ranges::replace_if(
        text, [](char c) { return c < ' ' || c > '~'; }, '?');
    return "'" + text + "'";
}

// Cuts the text up to the next blank off the front of `line`. Words are parted by one blank each.
std::string_view nextWord(std::string_view& line, const char* what) {
    const std::string_view word = line.substr(0, line.find(' '));
    if (word.empty()) {
        throw std::invalid_argument(std::string("the ") + what + " is missing");
    }
    line.remove_prefix(std::min(word.size() + 1, line.size()));
    return word;
}

std::int64_t parseTime(std::string_view word) {
    constexpr std::size_t kFraction = 7; // with the point
    constexpr std::int64_t kMaxSeconds = 1'000'000'000;
    const std::size_t point = word.size() < kFraction ? 0 : word.size() - kFraction;
    const auto seconds = kernel::wholeNumber<std::int64_t>(word.substr(0, point));
    const auto fraction = kernel::wholeNumber<std::uint32_t>(word.substr(std::min(point + 1, word.size())));
    if (!seconds || *seconds < 0 || *seconds > kMaxSeconds || !fraction || word[point] != '.') {
        throw std::invalid_argument("the time " + shown(word) + " is no number of seconds with six decimals");
    }
    return *seconds * 1'000'000 + *fraction;
}

int hexValue(std::string_view digits) {
    const auto value = kernel::wholeNumber<std::uint8_t>(digits, 16);
    const bool isLower = std::ranges::none_of(digits, [](char c) { return c >= 'A' && c <= 'Z'; });
    return value && isLower && digits.size() == 2 ? *value : -1;
}

std::string parsePort(std::string_view word) {
    std::string name;
    while (!word.empty()) {
        const bool isCode = word.front() == '%';
        const int code = isCode ? hexValue(word.substr(1, 2)) : static_cast<unsigned char>(word.front());
        if (code < 0) {
            throw std::invalid_argument("a per cent sign in the port needs two hexadecimal digits behind it");
        }
        name += static_cast<char>(code);
        word.remove_prefix(isCode ? 3 : 1);
    }
    return name;
}

TraceWay parseWay(std::string_view word) {
    constexpr std::string_view kWays[] = {">", "<", "!"};
    const auto* const found = std::ranges::find(kWays, word);
    if (found == std::end(kWays)) {
        throw std::invalid_argument("the way " + shown(word) + " is none of >, < and !");
    }
    return static_cast<TraceWay>(found - std::begin(kWays));
}

void parseBytes(std::string_view word, TraceRecord& record) {
    if (word == "-") {
        return;
    }
    const std::size_t limit =
        record.way == TraceWay::kDamaged ? TraceRecord::kMaxDamagedBytes : std::size_t{kMaxPacketBytes};
    if (word.size() % 2 != 0 || word.size() > 2 * limit) {
        throw std::invalid_argument("the bytes must be \"-\" or up to " + std::to_string(limit) +
                                    " pairs of hexadecimal digits");
    }
    record.bytes.reserve(word.size() / 2);
    for (; !word.empty(); word.remove_prefix(2)) {
        const std::string_view digits = word.substr(0, 2);
        const bool isBlank = digits == "**";
        const int value = isBlank ? 0 : hexValue(digits);
        if (value < 0 || (!isBlank && record.blankFrom != TraceRecord::kNoBlank)) {
            throw std::invalid_argument(shown(digits) + " is no byte in two lower-case hexadecimal digits" +
                                        (value < 0 ? "" : ", as all behind ** must be **"));
        }
        if (isBlank) {
            record.blankFrom = std::min(record.blankFrom, record.bytes.size());
        }
        record.bytes.push_back(static_cast<std::uint8_t>(value));
    }
}

// The words are for readers; where they differ from the bytes, somebody has changed one of them.
TraceRecord parseLine(std::string_view line) {
    TraceRecord record;
    record.timeUs = parseTime(nextWord(line, "time"));
    record.port = parsePort(nextWord(line, "port"));
    record.way = parseWay(nextWord(line, "way"));
    const TraceWords words{std::string(nextWord(line, "command")), std::string(nextWord(line, "item")),
                           std::string(nextWord(line, "status"))};
    parseBytes(nextWord(line, "packet"), record);
    if (!line.empty()) {
        throw std::invalid_argument("more follows behind the bytes");
    }
    const auto joined = [](const TraceWords& each) { return each.command + ' ' + each.item + ' ' + each.status; };
    if (const std::string own = joined(wordsOf(record)); own != joined(words)) {
        throw std::invalid_argument(shown(joined(words)) + " does not fit the bytes, which are " + shown(own));
    }
    return record;
}

} // namespace

std::vector<TraceRecord> parseTrace(std::string_view text, const std::filesystem::path& file) {
    std::vector<TraceRecord> records;
    if (!text.starts_with(kTraceHead)) {
        throw ConfigError(file, 1, "this is no trace: its first line does not begin with " + shown(kTraceHead));
    }
    for (std::size_t number = 1; !text.empty(); ++number) {
        const std::string_view line = text.substr(0, text.find('\n'));
        if (line.size() == text.size()) {
            throw ConfigError(file, number, "the line is not complete");
        }
        text.remove_prefix(line.size() + 1);
        if (number == 1 || line.empty() || line.front() == '#') {
            continue;
        }
        try {
            records.push_back(parseLine(line));
        } catch (const std::invalid_argument& fault) {
            throw ConfigError(file, number, fault.what());
        }
    }
    return records;
}

std::vector<TraceRecord> loadTrace(const std::filesystem::path& file, std::string_view port) {
    std::string text;
    if (const int error = kernel::readRegularFile(file, kMaxTraceBytes, text); error != 0) {
        const std::string reason = error == EFBIG    ? "it is longer than " + std::to_string(kMaxTraceBytes) + " bytes"
                                   : error == EINVAL ? "it is no regular file"
                                                     : std::generic_category().message(error);
        throw ConfigError(file, 0, "can't be read: " + reason);
    }
    auto records = parseTrace(text, file);
    std::set<std::string> ports;
    for (const TraceRecord& record : records) {
        ports.insert(record.port);
    }
    const bool isKnown = port.empty() ? ports.size() == 1 : ports.contains(std::string(port));
    if (!isKnown) {
        std::string names;
        for (const std::string& name : ports) {
            names += (names.empty() ? "" : ", ") + shown(name);
        }
        throw ConfigError(file, 0,
                          ports.empty()  ? "it has no packets"
                          : port.empty() ? "it has the packets of several ports, and one is to be chosen: " + names
                                         : "it has no packets of " + shown(port) + ", but of " + names);
    }
    std::erase_if(records, [&](const TraceRecord& record) { return !port.empty() && record.port != port; });
    return records;
}

} // namespace tessra

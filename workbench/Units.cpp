#include "workbench/Units.h"

#include "engine/SubItem.h"
#include "platform/kernel/RegularFile.h"
#include "platform/kernel/Text.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <cmath>
#include <span>
#include <system_error>

namespace workbench {

namespace {

constexpr std::size_t kMaxFileBytes = std::size_t{16} << 20;
constexpr std::size_t kMaxLineBytes = 4096;
constexpr std::size_t kMaxUnitBytes = 16;
constexpr std::size_t kMaxFields = items::kItemDataBytes;
/// Beyond these no physical quantity is lost, and none of the sums overflows.
constexpr double kLargest = 1e15;
constexpr double kSmallestFactor = 1e-15;

constexpr int kUsualDecimals = 3;
constexpr int kMostDecimals = 15;

CalvaneException fault(std::string_view what, std::string_view word = {}) {
    return CalvaneException((word.empty() ? "" : "'" + kernel::shortened(word, 60) + "' ") + std::string(what));
}

/// The words of a line, up to the one that begins a comment.
std::vector<std::string_view> wordsOf(std::string_view line) {
    std::vector<std::string_view> words;
    for (;;) {
        line = kernel::trimmedFront(line);
        const std::string_view word = kernel::firstWord(line);
        if (word.empty() || word.starts_with('#')) {
            return words;
        }
        words.push_back(word);
        line.remove_prefix(word.size());
    }
}

std::optional<double> readNumber(std::string_view word) {
    if (word == "-") {
        return std::nullopt;
    }
    double number = 0;
    const auto [stop, error] = std::from_chars(word.data(), word.data() + word.size(), number);
    if (error == std::errc::invalid_argument || stop != word.data() + word.size() || std::isnan(number)) {
        throw fault("is no number", word);
    }
    if (error != std::errc() || std::abs(number) > kLargest) {
        throw fault("is too large or too small", word);
    }
    return number;
}

std::size_t readPosition(std::string_view word, std::string_view whole) {
    const auto position = kernel::wholeNumber<std::size_t>(word);
    if (!position || *position < 1 || *position > kMaxFields) {
        throw fault("is no sub-field or range of sub-fields from 1 to " + std::to_string(kMaxFields), whole);
    }
    return *position - 1;
}

/// The unit and limits that the words from the third on give.
FieldUnit readUnit(std::span<const std::string_view> words) {
    const auto number = [&](std::size_t index) {
        return index < words.size() ? readNumber(words[index]) : std::nullopt;
    };
    FieldUnit unit;
    unit.unit = words[0] == "-" ? "" : words[0];
    unit.factor = number(1).value_or(1);
    unit.offset = number(2).value_or(0);
    unit.least = number(3);
    unit.most = number(4);
    unit.nominal = number(5);
    unit.tolerance = number(6);
    return unit;
}

void check(const FieldUnit& unit) {
    if (unit.unit.size() > kMaxUnitBytes || !kernel::isUtf8(unit.unit) ||
        std::ranges::any_of(unit.unit, [](char c) { return static_cast<unsigned char>(c) < ' ' || c == '\x7F'; })) {
        throw fault("is no unit: it has more than " + std::to_string(kMaxUnitBytes) + " bytes, or is no UTF-8",
                    kernel::isUtf8(unit.unit) ? unit.unit : "");
    }
    if (std::abs(unit.factor) < kSmallestFactor) {
        throw fault("the factor is 0");
    }
    if (unit.least && unit.most && *unit.least > *unit.most) {
        throw fault("the least value is larger than the most");
    }
    if (unit.tolerance && (!unit.nominal || *unit.tolerance < 0)) {
        throw fault(unit.nominal ? "the tolerance is negative" : "there is a tolerance, but no nominal value");
    }
    if (unit.lowest() && unit.highest() && *unit.lowest() > *unit.highest()) {
        throw fault("no value is within the tolerance and between least and most");
    }
}

/// How many digits stand behind the point of the shortest text that is `number`.
int decimalsOf(double number) {
    std::array<char, 64> buffer{};
    const auto [end, error] =
        std::to_chars(buffer.data(), buffer.data() + buffer.size(), number, std::chars_format::fixed);
    if (error != std::errc()) {
        return kMostDecimals;
    }
    const std::string_view text(buffer.data(), static_cast<std::size_t>(end - buffer.data()));
    const std::size_t point = text.find('.');
    return point == std::string_view::npos ? 0 : static_cast<int>(text.size() - point) - 1;
}

int decimalsOf(const FieldUnit& unit) {
    const int exact = std::min(std::max(decimalsOf(unit.factor), decimalsOf(unit.offset)), kUsualDecimals);
    const int distinct = static_cast<int>(std::ceil(-std::log10(std::abs(unit.factor))));
    return std::clamp(std::max(exact, distinct), 0, kMostDecimals);
}

} // namespace

std::optional<double> FieldUnit::lowest() const {
    if (!nominal || !tolerance) {
        return least;
    }
    return std::max(least.value_or(*nominal - *tolerance), *nominal - *tolerance);
}

std::optional<double> FieldUnit::highest() const {
    if (!nominal || !tolerance) {
        return most;
    }
    return std::min(most.value_or(*nominal + *tolerance), *nominal + *tolerance);
}

bool FieldUnit::permits(double physicalValue) const {
    const double slack = std::abs(factor) * 1e-6; // raw values lie a whole factor apart
    return physicalValue >= lowest().value_or(physicalValue) - slack &&
           physicalValue <= highest().value_or(physicalValue) + slack;
}

void Units::takeLine(std::string_view line) {
    constexpr std::size_t kFewestWords = 3;
    constexpr std::size_t kMostWords = 9;
    const std::vector<std::string_view> words = wordsOf(line);
    if (words.empty()) {
        return;
    }
    const auto number = kernel::wholeNumber<std::uint16_t>(words[0]);
    if (!number) {
        throw fault("is no item number from 0 to 65535", words[0]);
    }
    if (words.size() < kFewestWords) {
        throw fault("item, sub-fields and unit are needed");
    }
    if (words.size() > kMostWords) {
        throw fault("is one word too many", words[kMostWords]);
    }
    const std::string_view from = words[1].substr(0, words[1].find('-'));
    Range range;
    range.first = readPosition(from, words[1]);
    range.last =
        from.size() == words[1].size() ? range.first : readPosition(words[1].substr(from.size() + 1), words[1]);
    if (range.last < range.first) {
        throw fault("ends before it begins", words[1]);
    }
    range.unit = readUnit(std::span(words).subspan(2));
    check(range.unit);
    std::vector<Range>& known = items_[*number];
    for (const Range& other : known) {
        if (range.first <= other.last && other.first <= range.last) {
            throw fault("sub-field " + std::to_string(std::max(range.first, other.first) + 1) + " of item " +
                        std::to_string(*number) + " has a unit already");
        }
    }
    known.push_back(std::move(range));
}

Units Units::load(const std::filesystem::path& path) {
    std::string text;
    const int error = kernel::readRegularFile(path, kMaxFileBytes, text);
    if (error == ENOENT) {
        return {};
    }
    if (error != 0) {
        throw CalvaneException(path.string() + " can't be read: " + std::generic_category().message(error));
    }
    std::string_view rest = kernel::withoutByteOrderMark(text);
    Units units;
    for (std::size_t lineNumber = 1; !rest.empty(); ++lineNumber) {
        const std::string_view line = rest.substr(0, rest.find('\n'));
        rest.remove_prefix(std::min(line.size() + 1, rest.size()));
        try {
            if (line.size() > kMaxLineBytes) {
                throw fault("the line has more than " + std::to_string(kMaxLineBytes) + " bytes");
            }
            units.takeLine(line);
        } catch (const CalvaneException& failure) {
            throw CalvaneException(path.string() + ", line " + std::to_string(lineNumber) + ": " + failure.what());
        }
    }
    return units;
}

std::filesystem::path Units::pathBeside(const std::filesystem::path& ring) {
    return std::filesystem::path(ring).replace_extension(".units");
}

const FieldUnit* Units::find(std::uint16_t item, std::size_t field) const {
    const auto found = items_.find(item);
    if (found == items_.end()) {
        return nullptr;
    }
    const auto covers = [field](const Range& range) { return range.first <= field && field <= range.last; };
    const auto range = std::ranges::find_if(found->second, covers);
    return range == found->second.end() ? nullptr : &range->unit;
}

namespace {

std::string numberText(const FieldUnit& unit, double physicalValue) {
    std::array<char, 64> buffer{};
    const auto end = std::to_chars(buffer.data(), buffer.data() + buffer.size(), physicalValue,
                                   std::chars_format::fixed, decimalsOf(unit))
                         .ptr;
    std::string text(buffer.data(), end);
    if (text.find_first_not_of("-0.") == std::string::npos) {
        text.erase(0, text.find_first_not_of('-')); // a little below zero is no other zero
    }
    return text;
}

} // namespace

std::string unitText(const FieldUnit& unit, double physicalValue) {
    return numberText(unit, physicalValue) + (unit.unit.empty() ? "" : " " + unit.unit);
}

std::string physicalNumber(const FieldUnit& unit, double raw) {
    return numberText(unit, unit.physical(raw));
}

std::string physicalText(const FieldUnit& unit, double raw) {
    return unitText(unit, unit.physical(raw));
}

std::string judgedText(const FieldUnit& unit, double raw) {
    const double value = unit.physical(raw);
    const char* const word = unit.permits(value) ? "" : unit.lowest() && value < *unit.lowest() ? ", low" : ", high";
    return unitText(unit, value) + word;
}

std::string bandText(const FieldUnit& unit) {
    const auto lowest = unit.lowest();
    const auto highest = unit.highest();
    if (lowest && highest) {
        return unitText(unit, *lowest) + " to " + unitText(unit, *highest);
    }
    return lowest    ? "at least " + unitText(unit, *lowest)
           : highest ? "at most " + unitText(unit, *highest)
                     : std::string();
}

} // namespace workbench

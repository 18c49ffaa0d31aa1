#include "workbench/TableEdit.h"

#include "engine/CalvaneException.h"
#include "platform/kernel/Text.h"

#include <algorithm>
#include <optional>

namespace workbench {

namespace {

/// Holds each value of a type with or without sign, and each product of two numbers of 64 bits.
__extension__ using Integer = __int128;

constexpr std::size_t kMostDigits = 18; ///< of a number to calculate with
constexpr std::size_t kMostDecimals = 9;
constexpr std::size_t kMostHexDigits = 16;
constexpr std::size_t kQuotedBytes = 40;
constexpr const char* kNothingPasted = ". Nothing was pasted.";
constexpr const char* kNothingChanged = ". Nothing was changed.";

struct Limits {
    Integer smallest;
    Integer largest;
};

Limits limitsOf(SubItemType type) {
    const SubItemTypeInfo& info = subItemTypeInfo(type);
    const Integer count = Integer{1} << (8 * info.bytes);
    return info.ringSpelling.starts_with("SIGNED") ? Limits{-count / 2, count / 2 - 1} : Limits{0, count - 1};
}

bool fits(SubItemType type, Integer value) {
    const Limits limits = limitsOf(type);
    return limits.smallest <= value && value <= limits.largest;
}

std::string decimal(Integer value) {
    const bool negative = value < 0;
    std::string digits;
    do {
        const auto digit = static_cast<int>(value % 10);
        digits += static_cast<char>('0' + (negative ? -digit : digit));
        value /= 10;
    } while (value != 0);
    return (negative ? "-" : "") + std::string(digits.rbegin(), digits.rend());
}

/// As a box shows it.
std::string inBase(int base, Integer value) {
    return base == 16 ? kernel::hexDigits(static_cast<std::uint64_t>(value)) : decimal(value);
}

bool has64Bits(Integer value) {
    return fits(SubItemType::QWORD, value) || fits(SubItemType::SIGNED_QWORD, value);
}

/// The same for a message, where it must be seen what it is; a number beyond 64 bits is decimal.
std::string told(int base, Integer value) {
    return base == 16 && has64Bits(value) ? "0x" + inBase(base, value) : decimal(value);
}

std::string rangeText(SubItemType type, int base) {
    const Limits limits = limitsOf(type);
    return told(base, limits.smallest) + " to " + told(base, limits.largest);
}

std::string shortQuote(std::string_view text) {
    return "\"" + kernel::shortened(text, kQuotedBytes) + "\"";
}

std::optional<Integer> readDecimal(std::string_view text) {
    constexpr std::size_t kDigitsOf64Bits = 20;
    text = kernel::trimmed(text);
    const bool negative = text.starts_with('-');
    text.remove_prefix(negative || text.starts_with('+') ? 1 : 0);
    if (text.empty() || text.find_first_not_of("0123456789") != std::string_view::npos) {
        return std::nullopt;
    }
    text.remove_prefix(std::min(text.find_first_not_of('0'), text.size()));
    Integer value = 0;
    // More digits are out of each type's range, whatever they are.
    for (const char digit : text.substr(0, kDigitsOf64Bits + 1)) {
        value = value * 10 + (digit - '0');
    }
    return negative ? -value : value;
}

/// A value of `type` out of its hexadecimal digits: with 16 of them, a type with a sign has the bits of one.
std::optional<Integer> readHexadecimal(SubItemType type, std::string_view text) {
    text.remove_prefix(text.starts_with("0x") || text.starts_with("0X") ? 2 : 0);
    const auto bits = kernel::wholeNumber<std::uint64_t>(text, 16);
    if (!bits || text.size() > kMostHexDigits) {
        return std::nullopt;
    }
    const bool isSigned = limitsOf(type).smallest < 0;
    return isSigned ? Integer{static_cast<std::int64_t>(*bits)} : Integer{*bits};
}

std::string pastedValue(const TableCell& cell, const std::string& text, const std::string& which, int base) {
    const auto value = base == 16 ? readHexadecimal(cell.type, text) : readDecimal(text);
    if (value && fits(cell.type, *value)) {
        return inBase(base, *value);
    }
    const char* const reason = value          ? ""
                               : text.empty() ? "empty, "
                               : base == 16   ? "no hexadecimal number, "
                                              : "no decimal number, ";
    throw CalvaneException("Value " + which + ", " + shortQuote(text) + ", does not fit " +
                           shortQuote(cell.description) + ": " + reason + rangeText(cell.type, base) + kNothingPasted);
}

Integer valueOf(const TableCell& cell) {
    const auto value = readDecimal(cell.value);
    if (!value || !has64Bits(*value)) {
        throw CalvaneException(shortQuote(cell.description) + " holds no number" + kNothingChanged);
    }
    return *value;
}

/// The text of a new value of `cell`.
std::string newValue(const TableCell& cell, Integer value, int base) {
    if (!fits(cell.type, value)) {
        throw CalvaneException(shortQuote(cell.description) + " would become " + told(base, value) + ", but takes " +
                               rangeText(cell.type, base) + kNothingChanged);
    }
    return inBase(base, value);
}

/// The nearest whole number, halves away from zero. `denominator` is positive.
Integer rounded(Integer numerator, Integer denominator) {
    const Integer half = numerator < 0 ? -denominator : denominator;
    return (2 * numerator + half) / (2 * denominator);
}

/// A decimal number without a loss.
struct Fraction {
    Integer numerator = 0;
    Integer denominator = 1;
};

std::optional<Fraction> readFraction(std::string_view text) {
    const bool negative = text.starts_with('-');
    const std::string_view plain = text.substr(negative || text.starts_with('+') ? 1 : 0);
    Fraction fraction;
    if (plain.starts_with("0x") || plain.starts_with("0X")) {
        const auto number = kernel::wholeNumber<std::uint64_t>(plain.substr(2), 16);
        fraction.numerator = number.value_or(0);
        if (!number || fraction.numerator >> 60 != 0) {
            return std::nullopt;
        }
    } else {
        const std::string_view whole = plain.substr(0, plain.find('.'));
        const std::string_view decimals = plain.substr(std::min(whole.size() + 1, plain.size()));
        const std::string digits = std::string(whole) + std::string(decimals);
        const auto number = readDecimal(digits);
        if (!number || digits.front() == '-' || digits.front() == '+' || digits.size() > kMostDigits ||
            decimals.size() > kMostDecimals) {
            return std::nullopt;
        }
        fraction.numerator = *number;
        for (std::size_t i = 0; i < decimals.size(); ++i) {
            fraction.denominator *= 10;
        }
    }
    fraction.numerator = negative ? -fraction.numerator : fraction.numerator;
    return fraction;
}

void requireAtLeast(std::size_t fewest, std::span<const TableCell> cells, const char* text) {
    if (cells.size() < fewest) {
        throw CalvaneException(std::string(text) + kNothingChanged);
    }
}

constexpr bool endsCell(char c) {
    return c == '\t' || c == '\n' || c == ',';
}

} // namespace

std::vector<std::string> pastedTexts(std::string_view text) {
    std::vector<std::string> texts;
    while (!text.empty() && (kernel::isWhiteSpace(text.back()) || text.back() == ',')) {
        text.remove_suffix(1);
    }
    while (!text.empty()) {
        const auto end = std::find_if(text.begin(), text.end(), endsCell);
        std::string_view cell(text.begin(), end);
        text.remove_prefix(std::min(cell.size() + 1, text.size()));
        std::string_view word = kernel::firstWord(cell);
        do {
            texts.emplace_back(word);
            cell = kernel::trimmedFront(cell);
            cell.remove_prefix(word.size());
            word = kernel::firstWord(cell);
        } while (!word.empty());
    }
    return texts;
}

std::vector<std::string> pastedValues(std::span<const TableCell> cells, std::span<const std::string> texts, int base) {
    if (texts.size() > cells.size()) {
        const std::string from = cells.empty() ? "" : " from " + shortQuote(cells.front().description) + " on";
        throw CalvaneException("There are " + std::to_string(texts.size()) + " values, but only " +
                               std::to_string(cells.size()) + (cells.size() == 1 ? " box" : " boxes") +
                               " in the table" + from + kNothingPasted);
    }
    std::vector<std::string> values;
    for (std::size_t i = 0; i < texts.size(); ++i) {
        const std::string which = std::to_string(i + 1) + " of " + std::to_string(texts.size());
        values.push_back(pastedValue(cells[i], texts[i], which, base));
    }
    return values;
}

std::vector<std::string> filledDown(std::span<const TableCell> cells, int base) {
    requireAtLeast(2, cells, "There is no box to be filled below the first one");
    const Integer value = valueOf(cells.front());
    std::vector<std::string> values;
    for (const TableCell& cell : cells) {
        values.push_back(newValue(cell, value, base));
    }
    return values;
}

std::vector<std::string> interpolated(std::span<const TableCell> cells, int base) {
    requireAtLeast(3, cells, "There is no box between the first and the last one");
    const Integer first = valueOf(cells.front());
    const Integer last = valueOf(cells.back());
    const auto steps = static_cast<Integer>(cells.size() - 1);
    std::vector<std::string> values;
    for (std::size_t i = 0; i < cells.size(); ++i) {
        const auto step = static_cast<Integer>(i);
        values.push_back(newValue(cells[i], rounded(first * (steps - step) + last * step, steps), base));
    }
    return values;
}

std::vector<std::string> calculated(std::span<const TableCell> cells, Arithmetic arithmetic, std::string_view number,
                                    int base) {
    const auto by = readFraction(kernel::trimmed(number));
    if (!by) {
        throw CalvaneException(shortQuote(number) + " is no number such as 12, -0.5 or 0x1f, of " +
                               std::to_string(kMostDigits) + " digits at most and " + std::to_string(kMostDecimals) +
                               " of them behind the point" + kNothingChanged);
    }
    std::vector<std::string> values;
    for (const TableCell& cell : cells) {
        const Integer value = valueOf(cell);
        const Integer result =
            arithmetic == Arithmetic::kAdd ? value * by->denominator + by->numerator : value * by->numerator;
        values.push_back(newValue(cell, rounded(result, by->denominator), base));
    }
    return values;
}

std::string copiedText(std::span<const TableLine> lines, bool withDescriptions, int base) {
    std::string text;
    for (const TableLine& line : lines) {
        if (withDescriptions) {
            std::string description = line.description;
            std::ranges::replace_if(
                description, [](char c) { return c == '\t' || c == '\n' || c == '\r'; }, ' ');
            const bool isQuoted = description.find_first_of("=+-@'\"") == 0;
            text += (isQuoted ? "'" : "") + description + "\t";
        }
        const bool isHexadecimal = base == 16 && kernel::wholeNumber<std::uint64_t>(line.text, 16).has_value();
        text += (isHexadecimal ? "0x" : "") + line.text + "\n";
    }
    return text;
}

} // namespace workbench

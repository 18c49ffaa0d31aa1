#include "workbench/TypedValues.h"

#include "engine/ValueText.h"
#include "platform/kernel/Text.h"

#include <array>

namespace workbench {

namespace {

using Bytes = std::array<std::uint8_t, 8>;

bool isSigned(SubItemType type) {
    return subItemTypeInfo(type).ringSpelling.starts_with("SIGNED");
}

/// The text of a value whose bytes are all `fill`, save its highest one.
std::string textOf(SubItemType type, std::uint8_t fill, std::uint8_t highest) {
    Bytes bytes;
    bytes.fill(fill);
    bytes.at(subItemTypeInfo(type).bytes - 1) = highest;
    return items::valueText(type, bytes.data());
}

/// The number as it is printed: without blanks around it, plus sign and leading zeros.
std::string plain(std::string_view text) {
    std::string number(kernel::trimmed(text));
    const bool negative = number.starts_with('-');
    if (negative || number.starts_with('+')) {
        number.erase(0, 1);
    }
    number.erase(0, number.find_first_not_of('0'));
    return number.empty() ? "0" : (negative ? "-" : "") + number;
}

} // namespace

TypedValue checkTypedValue(SubItemType type, std::string_view text) {
    using Verdict = TypedValue::Verdict;
    TypedValue typed;
    typed.smallest = isSigned(type) ? textOf(type, 0x00, 0x80) : "0";
    typed.largest = isSigned(type) ? textOf(type, 0xFF, 0x7F) : textOf(type, 0xFF, 0xFF);
    std::uint64_t value = 0;
    switch (items::readValueText(type, text, value)) {
    case items::ReadResult::kNotANumber:
        typed.verdict = kernel::trimmed(text).empty() ? Verdict::kEmpty : Verdict::kNoNumber;
        break;
    case items::ReadResult::kOutOfRange:
        typed.verdict = Verdict::kChanged;
        break;
    case items::ReadResult::kOk: {
        Bytes bytes{};
        items::storeValue(type, value, bytes.data());
        const std::string stored = items::valueText(type, bytes.data());
        if (stored != plain(text)) {
            typed.verdict = Verdict::kChanged;
            typed.stored = stored;
        }
        break;
    }
    }
    return typed;
}

} // namespace workbench

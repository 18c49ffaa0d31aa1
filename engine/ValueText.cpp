#include "engine/ValueText.h"

#include "platform/kernel/LittleEndian.h"
#include "platform/kernel/Text.h"

#include <algorithm>
#include <array>
#include <charconv>

namespace items {

namespace {

/// The magnitudes that a type's text may have below and above zero. Not used for the types of 8 bytes, which wrap.
struct Magnitudes {
    std::uint64_t negative;
    std::uint64_t positive;
};

constexpr std::array<Magnitudes, kSubItemTypes.size()> kMagnitudes{{
    {0xFFFF, 0xFFFF},
    {0xFFFF, 0xFFFF},
    {0xFFFF, 0xFFFF},
    {0x8000, 0x7FFF},
    {0xFFFFFFFF, 0xFFFFFFFF},
    {0x80000000, 0x7FFFFFFF},
    {},
    {},
}};

constexpr const Magnitudes& magnitudes(SubItemType type) {
    return kMagnitudes[static_cast<std::size_t>(type)];
}

template <typename T>
std::string decimal(T value) {
    std::array<char, 24> digits; // 20 digits and a sign are the longest that 64 bits can give
    return {digits.data(), std::to_chars(digits.data(), digits.data() + digits.size(), value).ptr};
}

bool wraps(SubItemType type) {
    return type == SubItemType::QWORD || type == SubItemType::SIGNED_QWORD;
}

} // namespace

std::string valueText(SubItemType type, const std::uint8_t* bytes) {
    switch (type) {
    case SubItemType::BYTE:
        return decimal(bytes[0]);
    case SubItemType::SIGNED_BYTE:
        return decimal(static_cast<std::int8_t>(bytes[0]));
    case SubItemType::WORD:
        return decimal(kernel::get16(bytes));
    case SubItemType::SIGNED_WORD:
        return decimal(static_cast<std::int16_t>(kernel::get16(bytes)));
    case SubItemType::DWORD:
        return decimal(kernel::get32(bytes));
    case SubItemType::SIGNED_DWORD:
        return decimal(static_cast<std::int32_t>(kernel::get32(bytes)));
    case SubItemType::QWORD:
        return decimal(kernel::get64(bytes));
    case SubItemType::SIGNED_QWORD:
        return decimal(static_cast<std::int64_t>(kernel::get64(bytes)));
    }
    return {};
}

void storeValue(SubItemType type, std::uint64_t value, std::uint8_t* bytes) {
    std::array<std::uint8_t, sizeof value> all{};
    kernel::put64(all.data(), value);
    std::copy_n(all.begin(), subItemTypeInfo(type).bytes, bytes);
}

ReadResult readValueText(SubItemType type, std::string_view text, std::uint64_t& value) {
    text = kernel::trimmed(text);
    const bool negative = text.starts_with('-');
    if (negative || text.starts_with('+')) {
        text.remove_prefix(1);
    }
    if (text.empty() || text.find_first_not_of("0123456789") != std::string_view::npos) {
        return ReadResult::kNotANumber;
    }

    const bool wrapping = wraps(type);
    const std::uint64_t limit = negative ? magnitudes(type).negative : magnitudes(type).positive;
    std::uint64_t magnitude = 0;
    for (const char digit : text) {
        // Without wrapping the limit is below 2^32, and the check after each digit keeps this far from 2^64.
        magnitude = magnitude * 10 + static_cast<std::uint64_t>(digit - '0');
        if (!wrapping && magnitude > limit) {
            return ReadResult::kOutOfRange;
        }
    }
    value = negative ? 0 - magnitude : magnitude;
    return ReadResult::kOk;
}

std::string smallestText(SubItemType type) {
    return "-" + decimal(magnitudes(type).negative);
}

std::string largestText(SubItemType type) {
    return decimal(magnitudes(type).positive);
}

} // namespace items

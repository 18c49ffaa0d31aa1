#include "engine/ValueText.h"

#include "engine/LittleEndian.h"
#include "platform/kernel/Text.h"

#include <array>
#include <bit>
#include <charconv>

namespace items {

namespace {

/// The magnitudes that a type's text may have below and above zero. Not used for the types of 8 bytes, which wrap.
struct Magnitudes {
    std::uint64_t negative;
    std::uint64_t positive;
};

constexpr std::array<Magnitudes, kSubItemTypes.size()> kMagnitudes{{
    {0x80, 0xFF},
    {0x80, 0xFF},
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

/// The bytes as T, which may be signed: two's complement.
template <typename T>
T loadAs(const unsigned char* bytes) {
    return std::bit_cast<T>(loadLittleEndian<std::make_unsigned_t<T>>(bytes));
}

bool wraps(SubItemType type) {
    return type == SubItemType::QWORD || type == SubItemType::SIGNED_QWORD;
}

} // namespace

std::string valueText(SubItemType type, const unsigned char* bytes) {
    switch (type) {
    case SubItemType::BYTE:
        return decimal(loadAs<std::uint8_t>(bytes));
    case SubItemType::SIGNED_BYTE:
        return decimal(loadAs<std::int8_t>(bytes));
    case SubItemType::WORD:
        return decimal(loadAs<std::uint16_t>(bytes));
    case SubItemType::SIGNED_WORD:
        return decimal(loadAs<std::int16_t>(bytes));
    case SubItemType::DWORD:
        return decimal(loadAs<std::uint32_t>(bytes));
    case SubItemType::SIGNED_DWORD:
        return decimal(loadAs<std::int32_t>(bytes));
    case SubItemType::QWORD:
        return decimal(loadAs<std::uint64_t>(bytes));
    case SubItemType::SIGNED_QWORD:
        return decimal(loadAs<std::int64_t>(bytes));
    }
    return {};
}

void storeValue(SubItemType type, std::uint64_t value, unsigned char* bytes) {
    switch (subItemTypeInfo(type).bytes) {
    case 1:
        return storeLittleEndian(static_cast<std::uint8_t>(value), bytes);
    case 2:
        return storeLittleEndian(static_cast<std::uint16_t>(value), bytes);
    case 4:
        return storeLittleEndian(static_cast<std::uint32_t>(value), bytes);
    default:
        return storeLittleEndian(value, bytes);
    }
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

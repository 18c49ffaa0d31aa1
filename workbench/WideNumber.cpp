#include "workbench/WideNumber.h"

#include "platform/kernel/Text.h"

namespace workbench {

WideNumber numberAt(SubItemType type, const std::uint8_t* bytes) {
    const SubItemTypeInfo& info = subItemTypeInfo(type);
    const bool isNegative = info.ringSpelling.starts_with("SIGNED") && (bytes[info.bytes - 1] & 0x80U) != 0;
    std::uint64_t value = isNegative ? ~std::uint64_t{0} : 0;
    for (std::size_t i = info.bytes; i > 0; --i) {
        value = value << 8U | bytes[i - 1];
    }
    return {isNegative, isNegative ? 0 - value : value};
}

std::optional<WideNumber> numberOf(std::string_view text) {
    const bool isNegative = text.starts_with('-');
    const auto magnitude = kernel::wholeNumber<std::uint64_t>(text.substr(isNegative ? 1 : 0));
    if (!magnitude) {
        return std::nullopt;
    }
    return WideNumber{isNegative && *magnitude > 0, *magnitude};
}

WideNumber difference(const WideNumber& from, const WideNumber& to) {
    const bool isNegative = to < from;
    const WideNumber& low = isNegative ? to : from;
    const WideNumber& high = isNegative ? from : to;
    // Modulo 2^64 the distance is right whatever the signs, as that of two values of one type fits.
    const auto wrapped = [](const WideNumber& number) {
        return number.isNegative ? 0 - number.magnitude : number.magnitude;
    };
    return {isNegative, wrapped(high) - wrapped(low)};
}

double asDouble(const WideNumber& number) {
    const auto magnitude = static_cast<double>(number.magnitude);
    return number.isNegative ? -magnitude : magnitude;
}

std::string textOf(const WideNumber& number) {
    return (number.isNegative ? "-" : "") + std::to_string(number.magnitude);
}

} // namespace workbench

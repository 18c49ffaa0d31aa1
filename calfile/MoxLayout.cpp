#include "calfile/MoxLayout.h"

#include "platform/kernel/LittleEndian.h"

#include <algorithm>

namespace mox {
namespace {

using kernel::get16;
using kernel::put16;
using kernel::put32;

std::uint8_t* putText(std::uint8_t* at, const std::string& text) {
    put16(at, static_cast<std::uint16_t>(text.size()));
    return std::copy(text.begin(), text.end(), at + 2);
}

} // namespace

NumberName::NumberName(std::uint16_t number) {
    unsigned rest = number;
    for (auto unit = units_.rbegin(); unit != units_.rend(); ++unit) {
        *unit = static_cast<char16_t>(u'0' + rest % 10);
        rest /= 10;
    }
}

bool isNumberName(std::u16string_view name) {
    return !name.empty() &&
           std::all_of(name.begin(), name.end(), [](char16_t unit) { return unit >= u'0' && unit <= u'9'; });
}

std::optional<std::uint16_t> numberOf(std::u16string_view name) {
    if (!isNumberName(name)) {
        return std::nullopt;
    }
    std::uint32_t number = 0;
    for (const char16_t unit : name) {
        number = number * 10 + (unit - u'0');
        if (number > 0xFFFF) {
            return std::nullopt;
        }
    }
    return static_cast<std::uint16_t>(number);
}

std::array<std::uint8_t, kItemStreamBytes> itemBytes(const Record& record) {
    std::array<std::uint8_t, kItemStreamBytes> bytes{};
    put16(&bytes[0], record.id);
    put16(&bytes[2], record.status);
    put16(&bytes[4], static_cast<std::uint16_t>(kItemStreamBytes));
    std::copy(record.data.begin(), record.data.end(), bytes.begin() + kItemDataOffset);
    return bytes;
}

std::vector<std::uint8_t> propertyBytes(const Properties& properties) {
    std::vector<std::uint8_t> bytes(12 + properties.softwareVersion.size() + properties.clientName.size());
    put32(&bytes[0], properties.esn);
    put16(&bytes[4], properties.phoneModelId);
    bytes[6] = properties.nvMajorVersion;
    bytes[7] = properties.nvMinorVersion;
    putText(putText(&bytes[8], properties.softwareVersion), properties.clientName);
    return bytes;
}

std::optional<Properties> propertiesOf(std::span<const std::uint8_t> bytes) {
    if (bytes.size() < 12) {
        return std::nullopt;
    }
    Properties properties{.esn = kernel::get32(&bytes[0]),
                          .phoneModelId = get16(&bytes[4]),
                          .nvMajorVersion = bytes[6],
                          .nvMinorVersion = bytes[7],
                          .softwareVersion = {},
                          .clientName = {}};
    auto rest = bytes.subspan(8);
    for (std::string* const text : {&properties.softwareVersion, &properties.clientName}) {
        const std::size_t end = rest.size() < 2 ? 0 : 2 + std::size_t{get16(rest.data())};
        if (end == 0 || end > rest.size()) {
            return std::nullopt;
        }
        text->assign(rest.begin() + 2, rest.begin() + static_cast<std::ptrdiff_t>(end));
        rest = rest.subspan(end);
    }
    return properties;
}

} // namespace mox

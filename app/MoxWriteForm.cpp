#include "app/MoxWriteForm.h"

#include <algorithm>
#include <initializer_list>

namespace {

bool isGiven(const std::string& field) {
    return field != kOptionalPlaceholder;
}

std::string_view withoutLeadingBlanks(std::string_view text) {
    return text.substr(std::min(text.find_first_not_of(" \t"), text.size()));
}

/// The number that `text` starts with, modulo 2^64; 0 without digits.
std::uint64_t leadingDigits(std::string_view text) {
    std::uint64_t number = 0;
    for (std::size_t i = 0; i < text.size() && text[i] >= '0' && text[i] <= '9'; ++i)
        number = number * 10 + static_cast<std::uint64_t>(text[i] - '0');
    return number;
}

std::uint64_t plainNumber(std::string_view text) {
    return leadingDigits(withoutLeadingBlanks(text));
}

std::uint8_t versionNumber(std::string_view text) {
    text = withoutLeadingBlanks(text);
    const bool negative = text.starts_with('-');
    if (negative || text.starts_with('+'))
        text.remove_prefix(1);
    const std::uint64_t digits = leadingDigits(text);
    return static_cast<std::uint8_t>(negative ? 0 - digits : digits);
}

} // namespace

void MoxWriteForm::write(Calvane& catalog, const std::string& fileName, const std::vector<NvItem>& nvItems) const {
    if (properties && phoneModelId)
        catalog.createMoxFile(fileName, nvItems, *phoneModelId, properties->esn, properties->nvMajorVersion,
                              properties->nvMinorVersion, properties->softwareVersion, properties->clientName);
    else if (properties)
        catalog.createMoxFile(fileName, nvItems, properties->esn, properties->nvMajorVersion,
                              properties->nvMinorVersion, properties->softwareVersion, properties->clientName);
    else if (phoneModelId)
        catalog.createMoxFile(fileName, nvItems, *phoneModelId);
    else
        catalog.createMoxFile(fileName, nvItems);
}

MoxWriteForm chooseMoxWriteForm(const FileProperties& typed) {
    MoxWriteForm form;
    if (isGiven(typed.phoneModelId))
        form.phoneModelId = static_cast<std::uint16_t>(plainNumber(typed.phoneModelId));
    bool allGiven = true;
    for (const std::string* field :
         {&typed.esn, &typed.nvMajorVersion, &typed.nvMinorVersion, &typed.softwareVersion, &typed.clientName})
        allGiven = allGiven && isGiven(*field);
    if (allGiven) {
        form.properties =
            PhoneProperties{static_cast<std::uint32_t>(plainNumber(typed.esn)), versionNumber(typed.nvMajorVersion),
                            versionNumber(typed.nvMinorVersion), typed.softwareVersion, typed.clientName};
    }
    return form;
}

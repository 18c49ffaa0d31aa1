#include "app/MoxWriteForm.h"

#include <initializer_list>

namespace {

bool isGiven(const std::string& field) {
    return field != kOptionalPlaceholder;
}

/// The leading decimal digits of `text` behind blanks, modulo 2^64.
std::uint64_t leadingDigits(std::string_view text) {
    const std::size_t start = text.find_first_not_of(" \t");
    std::uint64_t number = 0;
    for (std::size_t i = start; i < text.size() && text[i] >= '0' && text[i] <= '9'; ++i)
        number = number * 10 + static_cast<std::uint64_t>(text[i] - '0');
    return number;
}

std::uint8_t versionNumber(std::string_view text) {
    const std::size_t start = text.find_first_not_of(" \t");
    const bool hasSign = start != std::string_view::npos && (text[start] == '-' || text[start] == '+');
    const std::uint64_t digits = leadingDigits(hasSign ? text.substr(start + 1) : text);
    return static_cast<std::uint8_t>(hasSign && text[start] == '-' ? 0 - digits : digits);
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
        form.phoneModelId = static_cast<std::uint16_t>(leadingDigits(typed.phoneModelId));
    bool allGiven = true;
    for (const std::string* field :
         {&typed.esn, &typed.nvMajorVersion, &typed.nvMinorVersion, &typed.softwareVersion, &typed.clientName})
        allGiven = allGiven && isGiven(*field);
    if (allGiven) {
        form.properties =
            PhoneProperties{static_cast<std::uint32_t>(leadingDigits(typed.esn)), versionNumber(typed.nvMajorVersion),
                            versionNumber(typed.nvMinorVersion), typed.softwareVersion, typed.clientName};
    }
    return form;
}

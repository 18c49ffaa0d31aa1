#include "app/document/MoxWriteForm.h"

#include "app/document/LeadingNumber.h"

namespace {

bool isGiven(const std::string& field) {
    return field != kOptionalPlaceholder;
}

} // namespace

void MoxWriteForm::write(Calvane& catalog, const std::string& fileName, const std::vector<NvItem>& nvItems) const {
    if (properties && phoneModelId) {
        catalog.createMoxFile(fileName, nvItems, *phoneModelId, properties->esn, properties->nvMajorVersion,
                              properties->nvMinorVersion, properties->softwareVersion, properties->clientName);
    } else if (properties) {
        catalog.createMoxFile(fileName, nvItems, properties->esn, properties->nvMajorVersion,
                              properties->nvMinorVersion, properties->softwareVersion, properties->clientName);
    } else if (phoneModelId) {
        catalog.createMoxFile(fileName, nvItems, *phoneModelId);
    } else {
        catalog.createMoxFile(fileName, nvItems);
    }
}

MoxWriteForm chooseMoxWriteForm(const FileProperties& typed) {
    MoxWriteForm form;
    if (isGiven(typed.phoneModelId)) {
        form.phoneModelId = static_cast<std::uint16_t>(leadingDigits(typed.phoneModelId));
    }
    bool allGiven = true;
    for (const std::string* field :
         {&typed.esn, &typed.nvMajorVersion, &typed.nvMinorVersion, &typed.softwareVersion, &typed.clientName}) {
        allGiven = allGiven && isGiven(*field);
    }
    if (allGiven) {
        form.properties = PhoneProperties{static_cast<std::uint32_t>(leadingDigits(typed.esn)),
                                          static_cast<std::uint8_t>(leadingDecimal(typed.nvMajorVersion)),
                                          static_cast<std::uint8_t>(leadingDecimal(typed.nvMinorVersion)),
                                          typed.softwareVersion, typed.clientName};
    }
    return form;
}

OfferedProperties offeredProperties(const DocumentBaseline& baseline) {
    OfferedProperties offered;
    const workbench::PhoneSource* phone = baseline.lastPhone();
    if (phone != nullptr && !phone->phone.softwareVersion.empty()) {
        PropertyOffer& offer = offered.fromPhone.emplace();
        offer.source = workbench::shortName(phone->phone) + " on " + phone->comPort;
        offer.properties.softwareVersion = phone->phone.softwareVersion;
    }
    const workbench::FileSource* file = baseline.lastFile();
    if (file == nullptr || (!file->phoneModelId && !file->properties)) {
        return offered;
    }
    PropertyOffer& offer = offered.fromFile.emplace();
    offer.source = file->path;
    if (file->phoneModelId) {
        offer.properties.phoneModelId = std::to_string(*file->phoneModelId);
    }
    if (const auto& record = file->properties) {
        offer.properties.esn = std::to_string(record->esn);
        offer.properties.nvMajorVersion = std::to_string(record->nvMajorVersion);
        offer.properties.nvMinorVersion = std::to_string(record->nvMinorVersion);
        offer.properties.softwareVersion = record->softwareVersion;
        offer.properties.clientName = record->clientName;
    }
    return offered;
}

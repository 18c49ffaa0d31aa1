#include "app/MoxTransfers.h"

namespace {

// Templates, so that a catalog without calibration files compiles as well; such a one refuses them.
template <typename Catalog>
std::vector<NvItem> readFrom(Catalog& catalog, const std::string& fileName) {
    if constexpr (requires { catalog.getNvItemFrompMoxFile(fileName); })
        return catalog.getNvItemFrompMoxFile(fileName);
    else
        throw Calvane::Exception("This build reads no calibration files.");
}

template <typename Catalog>
void writeTo(Catalog& catalog, const std::string& fileName, const std::vector<NvItem>& nvItems,
             const MoxWriteForm& form) {
    if constexpr (requires { catalog.createMoxFile(fileName, nvItems); }) {
        const auto& id = form.phoneModelId;
        const auto& properties = form.properties;
        if (properties && id)
            catalog.createMoxFile(fileName, nvItems, *id, properties->esn, properties->nvMajorVersion,
                                  properties->nvMinorVersion, properties->softwareVersion, properties->clientName);
        else if (properties)
            catalog.createMoxFile(fileName, nvItems, properties->esn, properties->nvMajorVersion,
                                  properties->nvMinorVersion, properties->softwareVersion, properties->clientName);
        else if (id)
            catalog.createMoxFile(fileName, nvItems, *id);
        else
            catalog.createMoxFile(fileName, nvItems);
    } else {
        throw Calvane::Exception("This build writes no calibration files.");
    }
}

} // namespace

std::vector<NvItem> readMoxFile(Calvane& catalog, const std::string& fileName) {
    return readFrom(catalog, fileName);
}

void writeMoxFile(Calvane& catalog, const std::string& fileName, const std::vector<NvItem>& nvItems,
                  const MoxWriteForm& form) {
    writeTo(catalog, fileName, nvItems, form);
}

#pragma once

#include "app/document/DocumentBaseline.h"
#include "app/document/UserInterface.h"
#include "engine/Calvane.h"
#include "engine/PhoneProperties.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

/// What a calibration file is to be written with besides the items: one of the four forms in which the catalog writes
/// a list.
struct MoxWriteForm {
    std::optional<std::uint16_t> phoneModelId;
    std::optional<PhoneProperties> properties;

    bool operator==(const MoxWriteForm&) const = default;

    /// Writes `nvItems` to the file in this form. Throws Calvane::Exception.
    void write(Calvane& catalog, const std::string& fileName, const std::vector<NvItem>& nvItems) const;
};

/// Chooses the form by the fields that were given, that is, no longer hold the placeholder: the model id where it was
/// given, the properties where all five of their fields were. An emptied field is given.
///
/// Model id and ESN are their leading decimal digits (none: 0), the versions decimal integers; of each the low bits
/// that there is room for are taken.
MoxWriteForm chooseMoxWriteForm(const FileProperties& typed);

/// What the phone and the file last read have told, as the user would type it. A phone tells its software version
/// alone: its serial number is no ESN, and its model is a name.
OfferedProperties offeredProperties(const DocumentBaseline& baseline);

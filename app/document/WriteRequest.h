#pragma once

#include "workbench/Baseline.h"
#include "workbench/WritePlan.h"
#include "workbench/record/Session.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

class CCalvaneDoc;
class UserInterface;

/// What a write command wants to write to the phone, as copies: the document stays as it is until take().
struct WriteRequest {
    enum class Kind { kChanged, kListed, kOne, kValues };

    Kind kind = Kind::kListed;
    std::vector<workbench::WantedItem> wanted = {};
    /// The number of the loaded-date item among them, which has the stamp.
    std::optional<std::uint16_t> date = {};
    /// Where the values come from; null: from where the document's baseline says.
    std::shared_ptr<const workbench::Source> source = {};
    /// Called by take() with the items of the plan that are written, save the date; may be empty.
    std::function<void(const std::vector<NvItem>&)> takeValues = {};
    /// Those of the wanted items that the list has more than once: nobody can say which value is meant.
    std::set<std::uint16_t> repeated = {};
    /// What the record says of it.
    std::string asked = {};
    record::SessionKind recordedAs = record::SessionKind::kWrite;

    /// Makes the document what it is where the command goes on: the list's date has its stamp, and a list without a
    /// date gets it where the list is written. A date that `plan` leaves out is left alone.
    void take(CCalvaneDoc& document, const workbench::WritePlan& plan) const;
};

/// The numbers that the document's list has more than once, as a calibration file can bring them.
std::set<std::uint16_t> repeatedNumbers(const CCalvaneDoc& document);

/// The changed items, or all of the list, with the stamped date as the bare commands add it. Where neither the list
/// nor the catalog has a date, the user is told, and the request goes without one. Empty where nothing is to be
/// written.
WriteRequest requestForChanged(CCalvaneDoc& document, UserInterface& userInterface);
WriteRequest requestForListed(CCalvaneDoc& document, UserInterface& userInterface);
/// The item at `position` of the list, which is there.
WriteRequest requestForOne(CCalvaneDoc& document, UserInterface& userInterface, std::size_t position);
/// Values that are not the document's own. `bringsAllBytes`: those behind the sub-fields are meant, too; `keepsDate`:
/// a loaded date among them is written as it is.
WriteRequest requestForValues(CCalvaneDoc& document, UserInterface& userInterface, std::vector<NvItem> values,
                              bool bringsAllBytes, bool keepsDate = false);

/// Whether the values of the item at `position` of the list are more than the zeros with which the catalog begins.
/// Zeros count where they were read, or typed.
bool hasValue(const CCalvaneDoc& document, std::size_t position);

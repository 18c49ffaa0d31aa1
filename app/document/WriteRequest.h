#pragma once

#include "workbench/WritePlan.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <vector>

class CCalvaneDoc;
class UserInterface;

/// What a write command wants to write to the phone, as copies: the document stays as it is until take().
struct WriteRequest {
    enum class Kind { kChanged, kListed, kOne };

    Kind kind = Kind::kListed;
    std::vector<workbench::WantedItem> wanted = {};
    /// The number of the loaded-date item among them, which has the stamp.
    std::optional<std::uint16_t> date = {};
    /// Those of the wanted items that the list has more than once: nobody can say which value is meant.
    std::set<std::uint16_t> repeated = {};

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

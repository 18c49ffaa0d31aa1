#pragma once

#include "cli/Arguments.h"
#include "engine/Calvane.h"
#include "workbench/ItemSet.h"
#include "workbench/Units.h"

#include <set>
#include <string>
#include <vector>

/// Items that are looked at and not written, and where they come from: a phone, a calibration file or JSON.
struct ItemSide {
    /// The unknown numbers among it: the phone refused or did not answer, or the file has the item more than once.
    workbench::ItemSet::About about;
    std::vector<NvItem> items; ///< with all bytes also those that the ring does not describe
    std::vector<std::uint16_t> undescribed;
    bool bringsUndescribed = false;        ///< it would have had more of these, had there been any
    std::set<std::uint16_t> refused;       ///< of the unknown numbers, the ones that the phone refused
    ExitStatus status = ExitStatus::kDone; ///< how what is wrong with the side ends the program; no refusal counts
};

/// Whether the item is among those that the arguments name; each is where they name none.
bool isNamed(const Arguments& arguments, std::uint16_t number);

/// The items of the phone on arguments.comPort, as readItems() reads them, and those of `undescribed`. What is missing
/// is told on standard error.
ItemSide sideOfPort(Calvane& catalog, const Arguments& arguments, const std::vector<std::uint16_t>& undescribed = {});
/// Those items of a file of either kind that the arguments name. What is wrong with a calibration file is told on
/// standard error.
/// Throws a BatchFailure where the file can't be read, and for values that don't fit the ring.
ItemSide sideOfFile(Calvane& catalog, const std::string& path, const Arguments& arguments);

/// The units and limits of arguments.unitsPath, or of the file beside the ring. Throws a BatchFailure for a file that
/// can't be used, and for one without any where they are needed or the file is named.
workbench::Units loadUnits(const Arguments& arguments, bool areNeeded);

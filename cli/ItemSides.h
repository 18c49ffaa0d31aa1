#pragma once

#include "cli/Arguments.h"
#include "engine/Calvane.h"
#include "workbench/ItemSet.h"

#include <set>
#include <string>
#include <vector>

/// Items that are looked at and not written, and where they come from: a phone, a calibration file or JSON.
struct ItemSide {
    workbench::ItemSet::About about;
    std::vector<NvItem> items;
    /// The numbers of which nobody knows what is there: the phone refused or did not answer, the file has the item more
    /// than once, or the ring does not describe it.
    std::set<std::uint16_t> unknown;
    std::set<std::uint16_t> refused;       ///< of these, the ones that the phone refused
    ExitStatus status = ExitStatus::kDone; ///< how what is wrong with the side ends the program; no refusal counts
};

/// Whether the item is among those that the arguments name; each is where they name none.
bool isNamed(const Arguments& arguments, std::uint16_t number);

/// Whether the file has the signature of calibration files, or the ending of their names. Of a pipe nothing is taken.
bool isCalibrationFile(const std::string& path);

/// The items of the phone on arguments.comPort, as readItems() reads them. What is missing is told on standard error.
ItemSide sideOfPort(Calvane& catalog, const Arguments& arguments);
/// Those items of a file of either kind that the arguments name. What is wrong with a calibration file is told on
/// standard error. `withUndescribed`: the items of a calibration file that the ring does not describe are there too,
/// with all their bytes.
/// Throws a BatchFailure where the file can't be read, and for values that don't fit the ring.
ItemSide sideOfFile(Calvane& catalog, const std::string& path, const Arguments& arguments, bool withUndescribed);

#pragma once

#include "cli/Arguments.h"
#include "engine/Calvane.h"

#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <vector>

/// Calibration files on the way from and to a phone. Both throw a BatchFailure where the file refuses.

/// The items of a whole file that the ring describes, each with all bytes that the file has of it. Says on standard
/// error how many others the file has. Refuses a file of which something can't be read.
std::vector<NvItem> itemsOfMox(Calvane& catalog, Run& run, const std::string& path);

/// What a file has, damaged or not.
struct MoxItems {
    std::vector<NvItem> items; ///< with all bytes, each number once; "No Name" where the ring does not describe it
    std::set<std::uint16_t> repeated; ///< the numbers that stand there more than once, which are left out
    std::optional<PhoneProperties> properties;
    std::uint16_t phoneModelId = 0;
    bool isSound = true; ///< all of it could be read, and no item stands there more than once
};
/// Says on standard error what is wrong with the file.
MoxItems readMoxItems(Calvane& catalog, const std::string& path);

/// Writes the writable ones of `items` that the ring describes to arguments.moxPath, each with all its bytes, and with
/// the property record where one was asked for. Answers an account of it for the user.
std::string saveToMox(Calvane& catalog, const std::vector<NvItem>& items, const Arguments& arguments);

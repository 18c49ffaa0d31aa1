#pragma once

#include "cli/Arguments.h"
#include "engine/Calvane.h"

#include <string>
#include <vector>

/// Calibration files on the way from and to a phone. Both throw what the catalog or the file refuses.

/// The items of a file that the ring describes. Says on standard error how many others the file has.
std::vector<NvItem> itemsOfMox(Calvane& catalog, const std::string& path);

/// Writes the writable ones of `items` that the ring describes to arguments.moxPath, with the property record where one
/// was asked for. Answers an account of it for the user.
std::string saveToMox(Calvane& catalog, const std::vector<NvItem>& items, const Arguments& arguments);

#pragma once

#include "cli/Arguments.h"
#include "engine/Calvane.h"

#include <string>
#include <vector>

/// The verbs on calibration files and what the phone's verbs need of them. Each verb answers the program's exit status;
/// all throw what the catalog or the file refuses.

/// The items of a file that the ring describes. Says on standard error how many others the file has.
std::vector<NvItem> itemsOfMox(Calvane& catalog, const std::string& path);
/// Writes the writable ones of `items` that the ring describes to arguments.moxPath, with the property record where one
/// was asked for. Answers what is to be said about it.
std::string saveToMox(Calvane& catalog, const std::vector<NvItem>& items, const Arguments& arguments);

int showMox(Calvane& catalog, const Arguments& arguments);
/// Removes all items from the file but those of arguments.itemNumbers; what stays is not touched. Refuses where nothing
/// would stay.
int pruneMox(const Arguments& arguments);

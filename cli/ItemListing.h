#pragma once

#include "engine/NvItem.h"

#include <iosfwd>
#include <span>

/// Prints the items for a reader at a terminal: a line with number, name and access mark each, then a line per
/// sub-field with its type, its value (where the item has one) and its description.
void printItems(std::ostream& out, std::span<const NvItem> items);

#pragma once

#include "engine/NvItem.h"

#include <iosfwd>
#include <span>

namespace items {

/// Writes the items in their order as plain text for people and spreadsheets: per item a line with its name, a line
/// with the value of each sub-field followed by ", " (the last one too), and an empty line. Lines end in carriage
/// return and line feed on every system, so `out` must have been opened in binary mode. The caller checks the state of
/// `out`.
void writeTextExport(std::ostream& out, std::span<const NvItem> nvItems);

} // namespace items

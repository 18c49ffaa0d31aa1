#pragma once

#include "cli/Arguments.h"
#include "cli/ExitStatus.h"
#include "engine/Calvane.h"
#include "workbench/WritePlan.h"

#include <cstdint>
#include <optional>
#include <vector>

/// Writes the items to the phone of the arguments, or prints what it would do. The item numbered `stamp`, one of them,
/// says when the others were written, and is not written alone.
ExitStatus writeItems(Calvane& catalog, const Arguments& arguments, std::vector<workbench::WantedItem> wanted,
                      std::optional<std::uint16_t> stamp);

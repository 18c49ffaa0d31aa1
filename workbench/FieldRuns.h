#pragma once

#include "engine/NvItem.h"

#include <cstddef>
#include <vector>

namespace workbench {

/// Sub-fields of one type that follow each other in an item, as the values of a table do.
struct FieldRun {
    std::size_t first = 0; ///< the position of the first in the item, from 0
    std::size_t count = 0;
    SubItemType type{};

    bool operator==(const FieldRun&) const = default;
};

/// Fewer sub-fields than these are no table.
inline constexpr std::size_t kShortestRun = 4;

/// The runs of an item, in order, none of which shares a sub-field with another. Where the descriptions of a run tell
/// several tables apart, which differ in more than their numbers ("gain at point 1", "offset at point 1"), each of them
/// is a run, unless that would leave one shorter than kShortestRun.
std::vector<FieldRun> fieldRuns(const NvItem& item);

} // namespace workbench

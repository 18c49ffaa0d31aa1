#pragma once

#include "engine/NvItem.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace workbench {

/// Which bytes of two items are compared.
enum class ComparedBytes {
    kAll,
    kDescribed, ///< those of the sub-fields alone; all of an item without any
};

enum class RowState {
    kEqual,
    kDiffers,
    kOnlyLeft,
    kOnlyRight,
    kOtherLayout,
    kNotCompared, ///< nobody knows what a side has of the item (SetComparison)
};

/// One item in two sets of items.
struct ItemRow {
    std::uint16_t number = 0;
    RowState state = RowState::kEqual;
    const NvItem* left = nullptr;  ///< into the set on the left; null where it has no such item
    const NvItem* right = nullptr; ///< likewise
};

/// One sub-field of such an item.
struct SubFieldRow {
    std::string description;
    std::string typeName;
    std::string left; ///< empty where that side has no such sub-field
    std::string right;
    RowState state = RowState::kEqual;
};

/// What the row of the bytes that no sub-field covers is called.
inline constexpr const char* kRestDescription = "bytes behind the sub-fields";

/// Compares two sets of items by their bytes and layouts alone: no text is made. A row per number, ascending; of two
/// items with one number in a set, the first counts. The sets outlive the rows and are not changed meanwhile. The cost
/// is that of sorting the two sets, none where they are sorted by number.
std::vector<ItemRow> compareItems(std::span<const NvItem> left, std::span<const NvItem> right,
                                  ComparedBytes bytes = ComparedBytes::kAll);

/// The sub-fields of one item, in order, where at least one side is not null. Where the bytes behind the sub-fields
/// differ and are compared, they are a last row, in hexadecimal. Two layouts give the sub-fields of both, in pairs by
/// position.
std::vector<SubFieldRow> compareSubFields(const NvItem* left, const NvItem* right,
                                          ComparedBytes bytes = ComparedBytes::kAll);

} // namespace workbench

#pragma once

#include "workbench/SetComparison.h"
#include "workbench/Units.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>
#include <string>

namespace workbench {

/// Rows of a comparison as texts for other programs: a line per sub-field with number, name, sub-field, left, right,
/// difference and state. Of an item that has none, the item's own. The texts are UTF-8 (utf8Text() in ItemJson.h).

/// An item of the comparison, as a position in its rows, and which of its sub-fields is meant; all of those that are
/// shown where none is.
struct ComparedLine {
    std::uint32_t row = 0;
    std::optional<std::size_t> field = {};
};

/// For a spreadsheet's cells, separated by tabs, without a head. `differencesOnly`: of a whole item, the sub-fields
/// that differ.
std::string comparisonCells(const SetComparison& comparison, std::span<const ComparedLine> lines, bool differencesOnly);

/// RFC 4180, with a head. Text that a spreadsheet would take for a formula, as it begins with = + - @, has a ' in
/// front; numbers are left alone. So do the cells of comparisonCells(). The last three columns are both values in their
/// unit, and the unit, where `units` has one.
std::string comparisonCsv(const SetComparison& comparison, std::span<const std::uint32_t> rows, bool differencesOnly,
                          const Units& units);

/// For people: two lines that say what is compared, then for each item a line with number and name, and below it what
/// each sub-field is on the left (-) and on the right (+), behind its number from 1.
std::string comparisonUnified(const SetComparison& comparison, std::span<const std::uint32_t> rows);

/// { "left": "...", "right": "...", "items": [ { "id": 10, "name": "...", "state": "different", "fields": [ {
/// "field": 1, "description": "...", "type": "WORD", "left": "1", "right": "3", "difference": "2", "state": "different"
/// } ] } ] } "field" is the sub-field's number from 1; the bytes behind the sub-fields have none.
/// Where `units` has a unit, the values in it follow: "leftValue": 0.1, "rightValue": 0.3, "unit": "dBm"; null for a
/// side that has no number.
std::string comparisonJson(const SetComparison& comparison, std::span<const std::uint32_t> rows, bool differencesOnly,
                           const Units& units);

} // namespace workbench

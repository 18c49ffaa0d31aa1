#pragma once

#include "engine/SubItem.h"

#include <span>
#include <string>
#include <string_view>
#include <vector>

/// What is done to several values of a table at once. Nothing here stores anything: each function gives the texts for
/// all its cells, or throws CalvaneException, whose message names the first value that does not fit.
///
/// `base` is the one in which values are shown and typed, 10 or 16. In base 16 a negative value has 16 digits, those of
/// its 64-bit two's complement, as in the editor.
namespace workbench {

/// One box of a table.
struct TableCell {
    SubItemType type{};
    std::string description;
    std::string value; ///< what it holds, in decimal; empty where that is no number
};

/// The numbers of a text, as a spreadsheet or a program's listing has them: separated by tabs, line ends, commas or
/// blanks. An empty place between two of these is an empty text, as the values behind it would move up otherwise; what
/// separates at the end of the text does not count.
std::vector<std::string> pastedTexts(std::string_view text);
/// `cells`: all that may be filled, of which the first `texts.size()` are.
std::vector<std::string> pastedValues(std::span<const TableCell> cells, std::span<const std::string> texts, int base);

/// The value of the first cell for all of them.
std::vector<std::string> filledDown(std::span<const TableCell> cells, int base);
/// The values in even steps from the first to the last cell, which keep theirs; rounded to the nearest number.
std::vector<std::string> interpolated(std::span<const TableCell> cells, int base);

enum class Arithmetic { kAdd, kMultiply };
/// `number` has up to 18 digits, 9 of them behind a point, or is hexadecimal behind "0x". The results are rounded to
/// the nearest number, halves away from zero; the calculation itself is exact.
std::vector<std::string> calculated(std::span<const TableCell> cells, Arithmetic arithmetic, std::string_view number,
                                    int base);

/// One line of a copied table.
struct TableLine {
    std::string description;
    std::string text; ///< as it is shown
};

/// A line per value, which a spreadsheet takes as they are: hexadecimal numbers begin with 0x, as 1e5 would be another
/// number. With descriptions, these stand before the values, with a tab between; one that a spreadsheet would take for
/// a formula begins with an apostrophe.
std::string copiedText(std::span<const TableLine> lines, bool withDescriptions, int base);

} // namespace workbench

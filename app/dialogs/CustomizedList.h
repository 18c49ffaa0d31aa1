#pragma once

#include "engine/NvItem.h"

#include <cstddef>
#include <vector>

/// The two lists of the customized list dialog and what its buttons do to them. Items are copies. One thread at a time.
///
/// Sorting sets NvItem's process-wide comparison mode and leaves it so. It is stable, and of items with equal keys the
/// first stays.
class CustomizedList {
public:
    enum class Order { ById, ByName };

    CustomizedList() = default;

    /// Takes the lists of an opening dialog. `customized` is sorted by number, duplicates stay; `available` is kept in
    /// its order.
    CustomizedList(std::vector<NvItem> available, std::vector<NvItem> customized);

    const std::vector<NvItem>& available() const { return available_; }
    const std::vector<NvItem>& customized() const { return customized_; }

    /// Copies the available items at `lines` (ascending, each within the list) to the customized ones, which are by
    /// number then. Nothing happens without lines.
    void add(const std::vector<std::size_t>& lines);
    void addAll();

    /// Removes the customized items at `lines` (ascending, each within the list). The others keep their order.
    void remove(const std::vector<std::size_t>& lines);
    void removeAll();

    /// Sorts both lists; items with equal keys become one, in each list.
    void sort(Order order);

private:
    std::vector<NvItem> available_;
    std::vector<NvItem> customized_;
};

/// What happens to the selection of a list when the user chooses a line.
struct SelectionChange {
    bool deselectOthers;
    std::size_t first; ///< the lines to select, both included
    std::size_t last;
};

/// Turns the choice of one line after the other into a selection as Shift and Ctrl ask for it. One object per list and
/// opening of the dialog.
class LineSelector {
public:
    /// The user chose `line` out of `lineCount` lines. Shift selects all from the line chosen before (the first one, at
    /// the start) to this one, Ctrl adds this one, neither selects it alone.
    SelectionChange choose(std::size_t line, std::size_t lineCount, bool shift, bool control);

private:
    std::size_t anchor_ = 0;
};

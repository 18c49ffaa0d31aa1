#pragma once

#include "engine/NvItem.h"

#include <cstdint>
#include <filesystem>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace workbench {

/// A list of items as a text file keeps it, by number; docs/item-lists.md describes the file. The names in it are there
/// for people, and to be held against those of a decoder ring.
struct ItemList {
    struct Entry {
        std::uint16_t number = 0;
        std::string name; ///< empty where the file has none
        std::size_t line = 0;
    };

    std::vector<Entry> entries; ///< in the order of the file, each number once

    /// The numbers, ascending.
    std::vector<std::uint16_t> numbers() const;
};

/// The list that the text of such a file says. Throws std::runtime_error for the first line that is none of it: no
/// number, a number of an earlier line.
ItemList parseItemList(std::string_view text);
/// The text of the list of these items, in their order.
std::string itemListText(std::span<const NvItem> items);

/// The list of a file. Throws std::runtime_error, with the path, and the line where it is one that is wrong; an empty
/// list is refused as well.
ItemList loadItemList(const std::filesystem::path& path);
/// Writes the file as a whole or not at all. Throws std::runtime_error with the path and the reason.
void writeItemList(const std::filesystem::path& path, std::span<const NvItem> items);

/// What is to be told of a list beside a decoder ring, a line each: numbers that `ring` lacks, and names that are
/// others there. `ring` is ascending by number.
std::vector<std::string> doubtsOf(const ItemList& list, std::span<const NvItem> ring);

} // namespace workbench

#pragma once

#include "engine/NvItem.h"

#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <string_view>

/// The line under which lists show an item: its number, a tab, its name.
std::string itemLine(const NvItem& item);

/// What a search has found: the position of an item, and how many characters of the query fit it.
struct FoundItem {
    std::size_t position = 0;
    std::size_t length = 0;
};

/// The item that a search for `query` finds; nullopt for none. Letters of `query` count as upper case.
///
/// The item whose line starts with the longest leading part of the query wins (whatever the case), counted from the
/// second item on, the first one last. Where no line starts with even its first character, the first item whose name
/// contains the longest leading part of the query wins, this time with regard to case.
std::optional<FoundItem> findLongest(std::span<const NvItem> items, std::string_view query);
/// Its position alone.
std::optional<std::size_t> findItem(std::span<const NvItem> items, std::string_view query);

/// The position of the next item behind `from`, or before it, that fits all of `query`: its line starts with it, or its
/// name contains it, as above. At the end of the list the search goes on at its other end, and finds the item at `from`
/// at last; a `from` outside the list is before its beginning, or behind its end. nullopt for none.
std::optional<std::size_t> findNext(std::span<const NvItem> items, std::string_view query, std::ptrdiff_t from,
                                    bool forward);

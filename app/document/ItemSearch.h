#pragma once

#include "engine/NvItem.h"

#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <string_view>

/// The line under which lists show an item: its number, a tab, its name.
std::string itemLine(const NvItem& item);

/// The position of the item that a search for `query` finds; nullopt for none. Letters of `query` count as upper case.
///
/// The item whose line starts with the longest leading part of the query wins (whatever the case), counted from the
/// second item on, the first one last. Where no line starts with even its first character, the first item whose name
/// contains the longest leading part of the query wins, this time with regard to case.
std::optional<std::size_t> findItem(std::span<const NvItem> items, std::string_view query);

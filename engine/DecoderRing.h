#pragma once

#include "engine/ItemLayout.h"
#include "engine/NvItem.h"

#include <cstdint>
#include <map>
#include <string>

/// The decoder ring: the text file that says which NV items exist and how each is laid out. docs/decoder-ring.md is the
/// grammar for those who write one.
namespace items {

/// Takes the line of `layout`, which is new, apart.
/// Throws CalvaneException if the line is malformed, with the line and the first word that was not read any more in the
/// message; `layout` then holds what was read up to there.
void parseRingLine(ItemLayout& layout);

/// Reads the ring file at `path` and adds each of its items to `items`, which is normally empty before.
/// Throws CalvaneException if the file is missing, can't be read or is no regular file, at the first line that is
/// malformed or longer than 65536 bytes, and at a number that `items` holds already; the items of the lines before the
/// failure stay in `items`. A byte order mark of UTF-8 is skipped; a file in UTF-16 is refused as such.
void loadDecoderRing(const std::string& path, std::map<std::uint16_t, NvItem>& items);

} // namespace items

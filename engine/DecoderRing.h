#pragma once

#include "engine/ItemLayout.h"
#include "engine/NvItem.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>

/// The decoder ring: the text file that says which NV items exist and how each is laid out. docs/decoder-ring.md is the
/// grammar for those who write one.
namespace items {

/// One item line taken apart. The texts are views into the line that was parsed and live as long as it does.
struct RingLine {
    std::string_view name;
    std::optional<std::uint16_t> number; ///< empty if the line has no number that can be read
    std::string_view accessMark;         ///< as written, not yet in lower case
    std::array<ItemLayout::Field, kMaxSubItems> fields;
    std::size_t fieldCount = 0;

    /// Its memory comes from `pool` if there is one.
    ItemLayout layout(ItemLayout::Pool* pool = nullptr) const;
};

/// Takes an item line apart. `result` may have been used before.
/// Throws CalvaneException if the line is malformed, with the line and the first word that was not read any more in the
/// message; `result` then holds what was read up to there.
void parseRingLine(std::string_view line, RingLine& result);

/// Reads the ring file at `path` and adds each of its items to `items`, which is normally empty before.
/// Throws CalvaneException if the file is missing or cannot be read, at the first malformed line, and at a number that
/// `items` holds already; the items of the lines before the failure stay in `items`.
void loadDecoderRing(const std::string& path, std::map<std::uint16_t, NvItem>& items);

} // namespace items

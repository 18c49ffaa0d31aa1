#pragma once

#include "engine/SubItem.h"

#include <cstddef>
#include <memory>
#include <span>
#include <string_view>

namespace items {

/// The size of every item's data block.
inline constexpr std::size_t kItemDataBytes = 128;

/// A sub-field is at least one byte wide, so an item never has more of them than it has bytes.
inline constexpr std::size_t kMaxSubItems = kItemDataBytes;

/// What the ring says about one item, save its number: name, access mark, and type and description of each sub-field.
///
/// A layout never changes once made, and copies of it share one block of memory: the catalog hands out vectors of item
/// copies by the ten thousand, and all of them describe the same few layouts. The block is a single allocation, because
/// allocations would take most of the time of loading a ring. Copying and reading are safe on any thread.
class ItemLayout {
public:
    struct Field {
        std::string_view description;
        SubItemType type;
    };

    /// Memory for many layouts made one after the other: they stand in large common blocks, each of which lives until
    /// the last of its layouts has gone. That a single long-lived layout may keep a whole block is the price, and a
    /// small one: whoever loads a ring keeps it. One thread at a time; the layouts made from it are free of that.
    class Pool {
    public:
        /// Room for so many words, to be written before anybody else sees it.
        std::shared_ptr<std::size_t[]> take(std::size_t words);

    private:
        static constexpr std::size_t kBlockWords = std::size_t{8} * 1024;

        std::shared_ptr<std::size_t[]> block_;
        std::size_t used_ = kBlockWords;
    };

    /// Empty name, empty access mark, no sub-fields.
    ItemLayout() = default;

    /// Copies all texts; the access mark in lower case (letters A to Z; no locale takes part). The widths of `fields`
    /// must add up to 128 bytes at most. The memory comes from `pool`, or is the layout's own if that is null.
    ItemLayout(std::string_view name, std::string_view accessMark, std::span<const Field> fields, Pool* pool);

    std::string_view name() const;
    std::string_view accessMark() const;

    std::size_t fieldCount() const;
    /// `index` below fieldCount(), here and in description().
    SubItemType type(std::size_t index) const;
    std::string_view description(std::size_t index) const;

    /// The bytes from 0 on that belong to sub-fields.
    std::size_t dataBytes() const;

private:
    std::size_t textStart(std::size_t text) const;
    std::string_view textAt(std::size_t text) const;

    /// Null for the empty layout. The order of the block stands in ItemLayout.cpp.
    std::shared_ptr<const std::size_t[]> block_;
};

} // namespace items

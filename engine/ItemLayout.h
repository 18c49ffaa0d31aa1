#pragma once

#include "engine/SubItem.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace items {

/// What one line of the decoder ring says about an item. Copies of the item share one, which nobody changes. It keeps
/// the line and looks into it: an allocation per text would take most of the time of loading a ring.
struct ItemLayout {
    struct Field {
        SubItemType type;
        std::string_view description;
    };

    explicit ItemLayout(std::string_view ringLine) : line(ringLine) {}
    ItemLayout(const ItemLayout&) = delete;
    ItemLayout& operator=(const ItemLayout&) = delete;

    const std::string line;
    std::string_view name;
    std::uint16_t number = 0;
    std::string accessMark; ///< in lower case
    std::vector<Field> fields;
    std::size_t dataBytes = 0; ///< the bytes from 0 on that belong to sub-fields; kItemDataBytes at most
};

} // namespace items

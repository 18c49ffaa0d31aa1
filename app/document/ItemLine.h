#pragma once

#include "engine/NvItem.h"

#include <string>

/// The line under which lists show an item: its number, a tab, its name.
inline std::string itemLine(const NvItem& item) {
    return std::to_string(item.getId()) + "\t" + item.getName();
}

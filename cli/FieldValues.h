#pragma once

#include "engine/NvItem.h"

#include <string>

/// Stores one decimal text per sub-field, separated by commas. All of them are checked before: a text that is no
/// number, or that its type stores as another number (300 in a BYTE), throws a BatchFailure with field, value and
/// range. With `wrap` the latter is stored as the type table says, where that takes it. What NvItem::setData() throws
/// comes through.
void setTypedValues(NvItem& item, const std::string& values, bool wrap);

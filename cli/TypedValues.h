#pragma once

#include "engine/NvItem.h"

/// Throws std::runtime_error where a sub-field's value text names another number than its bytes hold. An item takes
/// such a text and wraps it: -1 for a WORD, more than 64 bits for a QWORD. Users of the batch tool hardly mean the
/// number that would be stored.
void requireStoredAsTyped(const NvItem& item);

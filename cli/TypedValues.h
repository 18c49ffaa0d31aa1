#pragma once

#include "engine/NvItem.h"

/// Throws std::runtime_error where a sub-field's value text names another number than its bytes hold: one that an item
/// takes and wraps, such as -1 for a WORD or a number of more than 64 bits for a QWORD. Who types such a value here
/// hardly means the one that would be stored.
void requireStoredAsTyped(const NvItem& item);

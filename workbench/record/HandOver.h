#pragma once

#include "workbench/record/Store.h"

#include <cstddef>
#include <functional>

namespace record {

/// Hands over to `shared` what has ended in `own`, the oldest first, each session in a transaction of its own: one that
/// is there already, as its mark in `own` was lost, is marked and no more; its note follows. Asks `mayGoOn` before each
/// one. Answers how many sessions were taken. Throws a DatabaseError where either store fails; what was handed over
/// until then is marked.
std::size_t handOver(Store& own, Store& shared, const std::function<bool()>& mayGoOn);

} // namespace record

#pragma once

#include "workbench/record/Store.h"

#include <cstddef>
#include <functional>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace record {

/// The uuids of the sessions that alone may be handed over; nothing: all of them.
using OnlyThese = std::optional<std::set<std::string>>;

struct HandedOver {
    std::size_t taken = 0;
    std::vector<std::string> skipped = {}; ///< the uuid of each that can't be handed over, and why
};

/// What has ended in `own` and was not handed over, the oldest first.
std::vector<std::string> pendingIn(Store& own, const OnlyThese& only);

/// Hands over to `shared` what has ended in `own`, the oldest first, each session in a transaction of its own: one that
/// is there already, as its mark in `own` was lost, is marked and no more; its note follows, a cleared one, too. Asks
/// `mayGoOn` before each one. One that is damaged, or that the shared store does not take, is skipped, and does not
/// keep the others. Throws a DatabaseError where a store can't be used at all; what was handed over until then is
/// marked.
HandedOver handOver(Store& own, Store& shared, const std::function<bool()>& mayGoOn, const OnlyThese& only = {});

} // namespace record

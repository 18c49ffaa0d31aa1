#pragma once

#include "workbench/record/Database.h"
#include "workbench/record/Session.h"

#include <cstdint>
#include <map>
#include <optional>
#include <span>

namespace record {

/// One item as a read found it.
struct SnapshotItem {
    ItemState state = ItemState::kNotTried;
    std::uint16_t status = 0;
    std::optional<Bytes> bytes = {}; ///< without the zeros at their end

    bool operator==(const SnapshotItem&) const = default;
};

/// What a read found, by the items' numbers. Stored once, however often it is found, and as the differences to what an
/// earlier read found where these are fewer.
using Snapshot = std::map<std::uint16_t, SnapshotItem>;

Snapshot snapshotOf(std::span<const SessionItem> items);
/// Its id in the store, to which it is added where it is not there. `base`: a snapshot that is probably like it.
std::int64_t putSnapshot(Database& database, const Snapshot& snapshot, std::optional<std::int64_t> base);
Snapshot loadSnapshot(Database& database, std::int64_t id);

} // namespace record

#include "workbench/record/Snapshots.h"

#include "workbench/record/Contents.h"
#include "workbench/record/Rows.h"

#include <sha2.h>

#include <array>

namespace record {
namespace {

/// Reading a snapshot takes a question for each base below it.
constexpr std::int64_t kDeepest = 16;
/// In place of a state: the base has the item, and the snapshot has not.
constexpr std::int64_t kNoMore = -1;

Bytes hashOf(const Snapshot& snapshot) {
    SHA2_CTX context;
    SHA256Init(&context);
    for (const auto& [number, item] : snapshot) {
        // Each length is told, so that no two sets have the same bytes.
        const std::array<std::uint8_t, 7> head{static_cast<std::uint8_t>(number),
                                               static_cast<std::uint8_t>(number >> 8),
                                               static_cast<std::uint8_t>(item.state),
                                               static_cast<std::uint8_t>(item.status),
                                               static_cast<std::uint8_t>(item.status >> 8),
                                               static_cast<std::uint8_t>(item.bytes.has_value()),
                                               static_cast<std::uint8_t>(item.bytes ? item.bytes->size() : 0)};
        SHA256Update(&context, head.data(), head.size());
        if (item.bytes) {
            SHA256Update(&context, item.bytes->data(), item.bytes->size());
        }
    }
    Bytes hash(SHA256_DIGEST_LENGTH);
    SHA256Final(hash.data(), &context);
    return hash;
}

/// What makes `base` a snapshot like `whole`: an item without a state is no more.
std::map<std::uint16_t, std::optional<SnapshotItem>> differences(const Snapshot& base, const Snapshot& whole) {
    std::map<std::uint16_t, std::optional<SnapshotItem>> different;
    for (const auto& [number, item] : whole) {
        const auto known = base.find(number);
        if (known == base.end() || !(known->second == item)) {
            different.emplace(number, item);
        }
    }
    for (const auto& [number, item] : base) {
        if (!whole.contains(number)) {
            different.emplace(number, std::nullopt);
        }
    }
    return different;
}

/// The snapshot to store differences to; none where it would lie too deep, or is damaged.
struct Base {
    Value id = {};
    std::int64_t depth = -1;
    Snapshot items = {};
};

Base baseFrom(Database& database, std::optional<std::int64_t> id) {
    if (!id) {
        return {};
    }
    const auto rows = database.run("SELECT depth FROM snapshot WHERE id = ?1", {*id});
    const std::int64_t depth = rows.empty() ? kDeepest : numberIn(rows[0].at(0));
    if (depth >= kDeepest) {
        return {};
    }
    try {
        return {.id = *id, .depth = depth, .items = loadSnapshot(database, *id)};
    } catch (const DatabaseError& error) {
        if (error.kind() != DatabaseError::Kind::kDamaged) {
            throw;
        }
        return {}; // a damaged read before it keeps no new one
    }
}

} // namespace

Snapshot snapshotOf(std::span<const SessionItem> items) {
    Snapshot snapshot;
    for (const SessionItem& item : items) {
        snapshot[item.number] = {.state = item.state,
                                 .status = item.status,
                                 .bytes = item.after ? std::optional(storedBytes(*item.after)) : std::nullopt};
    }
    return snapshot;
}

std::int64_t putSnapshot(Database& database, const Snapshot& snapshot, std::optional<std::int64_t> base) {
    const Bytes hash = hashOf(snapshot);
    const auto known = database.run("SELECT id FROM snapshot WHERE hash = ?1", {hash});
    if (!known.empty()) {
        return numberIn(known[0].at(0));
    }
    Base from = baseFrom(database, base);
    auto rows = differences(from.items, snapshot);
    if (rows.size() * 2 > snapshot.size()) {
        from = {};
        rows = differences({}, snapshot);
    }
    const auto added = database.run("INSERT INTO snapshot (hash, base, depth) VALUES (?1, ?2, ?3) RETURNING id",
                                    {hash, from.id, from.depth + 1});
    const std::int64_t id = numberIn(added.at(0).at(0));

    std::set<Bytes> contents;
    for (const auto& [number, item] : rows) {
        if (item && item->bytes) {
            contents.insert(*item->bytes);
        }
    }
    const ContentIds ids = contentIds(database, contents);
    std::vector<Row> stored;
    for (const auto& [number, item] : rows) {
        const Value content = item && item->bytes ? Value(ids.at(*item->bytes)) : Value();
        stored.push_back({id, std::int64_t{number}, item ? static_cast<std::int64_t>(item->state) : kNoMore,
                          std::int64_t{item ? item->status : std::uint16_t{0}}, content});
    }
    insertRows(database, "INSERT INTO snapshot_item (snapshot, item, state, status, content) VALUES", stored);
    return id;
}

Snapshot loadSnapshot(Database& database, std::int64_t id) {
    std::vector<std::int64_t> chain{id};
    for (;;) {
        const auto rows = database.run("SELECT base FROM snapshot WHERE id = ?1", {chain.back()});
        if (rows.empty() || chain.size() > kDeepest + 1) {
            throw DatabaseError(DatabaseError::Kind::kDamaged, "the record lacks what a read was based on");
        }
        if (std::holds_alternative<std::monostate>(rows[0].at(0))) {
            break;
        }
        chain.push_back(numberIn(rows[0].at(0)));
    }
    Snapshot snapshot;
    for (; !chain.empty(); chain.pop_back()) {
        for (const Row& row : database.run("SELECT i.item, i.state, i.status, c.bytes FROM snapshot_item i"
                                           " LEFT JOIN content c ON c.id = i.content WHERE i.snapshot = ?1",
                                           {chain.back()})) {
            const auto number = static_cast<std::uint16_t>(numberIn(row.at(0)));
            if (numberIn(row.at(1)) == kNoMore) {
                snapshot.erase(number);
                continue;
            }
            const bool hasBytes = !std::holds_alternative<std::monostate>(row.at(3));
            snapshot[number] = {.state = static_cast<ItemState>(numberIn(row.at(1))),
                                .status = static_cast<std::uint16_t>(numberIn(row.at(2))),
                                .bytes = hasBytes ? std::optional(bytesIn(row.at(3))) : std::nullopt};
        }
    }
    return snapshot;
}

} // namespace record

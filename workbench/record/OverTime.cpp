#include "workbench/record/OverTime.h"

#include "workbench/record/Contents.h"
#include "workbench/record/Rows.h"

#include <string>
#include <vector>

namespace record {
namespace {

/// Up to so many items are asked for one by one, and more as all of the phone.
constexpr std::size_t kFewItems = 8;

struct Known {
    std::int64_t since = 0;
    Bytes bytes;
};
using KnownValues = std::map<std::uint16_t, Known>;

/// Of each item the last value at `atMs` or before it.
constexpr const char* kUntil = "SELECT o.item, o.since, c.bytes FROM over_time o JOIN content c ON c.id = o.content"
                               " WHERE o.phone = ?1 AND o.since <= ?2 AND NOT EXISTS (SELECT 1 FROM over_time n"
                               " WHERE n.phone = ?1 AND n.item = o.item AND n.since > o.since AND n.since <= ?2)";
/// Of each item the first value behind it.
constexpr const char* kBehind = "SELECT o.item, o.since, c.bytes FROM over_time o JOIN content c ON c.id = o.content"
                                " WHERE o.phone = ?1 AND o.since > ?2 AND NOT EXISTS (SELECT 1 FROM over_time n"
                                " WHERE n.phone = ?1 AND n.item = o.item AND n.since < o.since AND n.since > ?2)";

KnownValues ask(Database& database, const std::string& sql, std::int64_t phone, std::int64_t atMs,
                const Values& values) {
    std::vector<Row> rows;
    if (values.size() > kFewItems) {
        rows = database.run(sql, {phone, atMs});
    } else {
        for (const auto& [number, bytes] : values) {
            for (Row& row : database.run(sql + " AND o.item = ?3", {phone, atMs, std::int64_t{number}})) {
                rows.push_back(std::move(row));
            }
        }
    }
    KnownValues known;
    for (const Row& row : rows) {
        known[static_cast<std::uint16_t>(numberIn(row.at(0)))] = {numberIn(row.at(1)), bytesIn(row.at(2))};
    }
    return known;
}

constexpr const char* kIntoLatest = "INSERT INTO latest (item, phone, since, bytes) VALUES";
constexpr const char* kOrReplace =
    "ON CONFLICT (item, phone) DO UPDATE SET since = excluded.since, bytes = excluded.bytes";

} // namespace

std::size_t putValues(Database& database, std::int64_t phone, std::int64_t session, std::int64_t atMs,
                      const Values& values) {
    const KnownValues until = ask(database, kUntil, phone, atMs, values);
    const KnownValues behind = ask(database, kBehind, phone, atMs, values);
    Values fresh;
    std::set<Bytes> contents;
    std::size_t changed = 0;
    for (const auto& [number, bytes] : values) {
        const auto known = until.find(number);
        const bool isKnown = known != until.end();
        if (isKnown && known->second.bytes == bytes) {
            continue;
        }
        changed += isKnown ? 1 : 0;
        // Two sessions of one phone that began in the same millisecond: the one that came first stays.
        if (!isKnown || known->second.since < atMs) {
            fresh.emplace(number, bytes);
            contents.insert(bytes);
        }
    }

    const ContentIds ids = contentIds(database, contents);
    std::vector<Row> rows;
    std::vector<Row> newest;
    std::set<std::uint16_t> between;
    for (const auto& [number, bytes] : fresh) {
        rows.push_back({phone, std::int64_t{number}, atMs, session, ids.at(bytes)});
        const auto next = behind.find(number);
        if (next == behind.end()) {
            newest.push_back({std::int64_t{number}, phone, atMs, bytes});
        } else if (next->second.bytes == bytes) {
            database.run("DELETE FROM over_time WHERE phone = ?1 AND item = ?2 AND since = ?3",
                         {phone, std::int64_t{number}, next->second.since});
            between.insert(number);
        }
    }
    insertRows(database, "INSERT INTO over_time (phone, item, since, session, content) VALUES", rows);
    insertRows(database, kIntoLatest, newest, kOrReplace);
    renewLatest(database, phone, between);
    return changed;
}

void renewLatest(Database& database, std::int64_t phone, const std::set<std::uint16_t>& numbers) {
    for (const std::uint16_t number : numbers) {
        const std::int64_t item = number;
        const auto last = database.run("SELECT o.since, c.bytes FROM over_time o JOIN content c ON c.id = o.content"
                                       " WHERE o.phone = ?1 AND o.item = ?2 ORDER BY o.since DESC LIMIT 1",
                                       {phone, item});
        if (last.empty()) {
            database.run("DELETE FROM latest WHERE item = ?1 AND phone = ?2", {item, phone});
        } else {
            insertRows(database, kIntoLatest, std::vector<Row>{{item, phone, last[0].at(0), last[0].at(1)}},
                       kOrReplace);
        }
    }
}

} // namespace record

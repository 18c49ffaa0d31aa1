#include "workbench/record/Store.h"

#include <set>

namespace record {
namespace {

/// So many sessions go at once, so that whoever begins a write meanwhile waits for no more than these.
constexpr std::int64_t kSessionsAtOnce = 100;

/// A phone without sessions goes with its values; of another one the value that it had at the limit stays.
void prunePhone(Database& database, std::int64_t phone, std::int64_t limitMs) {
    const auto left = database.run("SELECT count(*), COALESCE(max(begun), 0) FROM session WHERE phone = ?1", {phone});
    if (numberIn(left.at(0).at(0)) == 0) {
        database.run("DELETE FROM latest WHERE phone = ?1 AND item IN (SELECT item FROM over_time WHERE phone = ?1)",
                     {phone});
        database.run("DELETE FROM over_time WHERE phone = ?1", {phone});
        database.run("DELETE FROM phone WHERE id = ?1", {phone});
        return;
    }
    database.run("UPDATE phone SET sessions = ?2, last_seen = ?3 WHERE id = ?1",
                 {phone, left.at(0).at(0), left.at(0).at(1)});
    database.run("DELETE FROM over_time AS o WHERE o.phone = ?1 AND o.session IS NULL AND EXISTS (SELECT 1 FROM"
                 " over_time n WHERE n.phone = ?1 AND n.item = o.item AND n.since > o.since AND n.since < ?2)",
                 {phone, limitMs});
}

/// Removes some of the sessions; answers how many.
std::size_t pruneSome(Database& database, std::int64_t limitMs, bool keepPending) {
    Transaction transaction(database);
    const auto rows = database.run("SELECT id, phone FROM session WHERE begun < ?1 AND state <> 0 AND handed_over >= ?2"
                                   " ORDER BY begun LIMIT ?3",
                                   {limitMs, std::int64_t{keepPending ? 1 : 0}, kSessionsAtOnce});
    std::set<std::int64_t> phones;
    for (const Row& row : rows) {
        database.run("DELETE FROM session_item WHERE session = ?1", {row.at(0)});
        database.run("UPDATE over_time SET session = NULL WHERE phone = ?1 AND session = ?2", {row.at(1), row.at(0)});
        database.run("DELETE FROM session WHERE id = ?1", {row.at(0)});
        phones.insert(numberIn(row.at(1)));
    }
    for (const std::int64_t phone : phones) {
        prunePhone(database, phone, limitMs);
    }
    transaction.commit();
    return rows.size();
}

/// Removes what no session needs any more.
void sweep(Database& database) {
    Transaction transaction(database);
    constexpr const char* kUnused = " FROM snapshot WHERE id NOT IN (SELECT snapshot FROM session WHERE snapshot IS NOT"
                                    " NULL) AND id NOT IN (SELECT base FROM snapshot WHERE base IS NOT NULL)";
    // Each round shows bases that were needed by what the last one has removed.
    while (numberIn(database.run(std::string("SELECT count(*)") + kUnused).at(0).at(0)) > 0) {
        database.run(std::string("DELETE FROM snapshot_item WHERE snapshot IN (SELECT id") + kUnused + ")");
        database.run(std::string("DELETE") + kUnused);
    }
    database.run("DELETE FROM ring WHERE id NOT IN (SELECT ring FROM session WHERE ring IS NOT NULL)");
    database.run("DELETE FROM content WHERE id NOT IN (SELECT content FROM snapshot_item WHERE content IS NOT NULL"
                 " UNION ALL SELECT content FROM over_time"
                 " UNION ALL SELECT before FROM session_item WHERE before IS NOT NULL"
                 " UNION ALL SELECT wanted FROM session_item WHERE wanted IS NOT NULL"
                 " UNION ALL SELECT after FROM session_item WHERE after IS NOT NULL)");
    transaction.commit();
}

} // namespace

std::size_t Store::prune(Time limit, bool keepPending) {
    requireWritable();
    std::size_t gone = 0;
    while (const std::size_t some = pruneSome(*database_, msOf(limit), keepPending)) {
        gone += some;
    }
    if (gone > 0) {
        sweep(*database_);
        database_->giveBackRoom();
    }
    return gone;
}

} // namespace record

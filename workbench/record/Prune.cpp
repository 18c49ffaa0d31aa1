#include "platform/kernel/Text.h"
#include "workbench/record/Store.h"

#include <set>

namespace record {
namespace {

/// So many sessions go at once, so that whoever begins a write meanwhile waits for no more than these.
constexpr std::int64_t kSessionsAtOnce = 100;
/// What nobody needs any more is found by a look at everything, during which nobody else writes: a second or two with
/// 10,000 phones. So this waits until one of so many sessions is gone.
constexpr std::int64_t kSweptShare = 20;

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

/// How many sessions have gone since the last sweep.
std::int64_t unsweptIn(Database& database) {
    const auto rows = database.run("SELECT value FROM meta WHERE name = 'unswept'");
    return rows.empty() ? 0 : kernel::wholeNumber<std::int64_t>(textIn(rows[0].at(0))).value_or(0);
}

void setUnswept(Database& database, std::int64_t unswept) {
    database.run("DELETE FROM meta WHERE name = 'unswept'");
    if (unswept > 0) {
        database.run("INSERT INTO meta (name, value) VALUES ('unswept', ?1)", {std::to_string(unswept)});
    }
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
    if (!rows.empty()) {
        setUnswept(database, unsweptIn(database) + static_cast<std::int64_t>(rows.size()));
    }
    transaction.commit();
    return rows.size();
}

/// Within a transaction.
void sweep(Database& database) {
    const std::string unused =
        "SELECT id FROM snapshot EXCEPT SELECT snapshot FROM session EXCEPT SELECT base FROM snapshot";
    // Each round shows bases that were needed by what the last one has removed.
    while (!database.run(unused + " LIMIT 1").empty()) {
        database.run("DELETE FROM snapshot_item WHERE snapshot IN (" + unused + ")");
        database.run("DELETE FROM snapshot WHERE id IN (" + unused + ")");
    }
    database.run("DELETE FROM ring WHERE id IN (SELECT id FROM ring EXCEPT SELECT ring FROM session)");
    database.run("DELETE FROM content WHERE id IN (SELECT id FROM content EXCEPT SELECT content FROM snapshot_item"
                 " EXCEPT SELECT content FROM over_time EXCEPT SELECT before FROM session_item"
                 " EXCEPT SELECT wanted FROM session_item EXCEPT SELECT after FROM session_item)");
}

/// Removes what no session needs any more, once so many sessions have gone since the last time.
void sweepIfDue(Database& database) {
    Transaction transaction(database);
    const std::int64_t unswept = unsweptIn(database);
    const std::int64_t left = numberIn(database.run("SELECT count(*) FROM session").at(0).at(0));
    if (unswept == 0 || unswept < left / kSweptShare) {
        return;
    }
    sweep(database);
    setUnswept(database, 0); // with the sweep: one that is cut short is due again
    transaction.commit();
}

} // namespace

std::size_t Store::prune(Time limit, bool keepPending) {
    requireWritable();
    std::size_t gone = 0;
    while (const std::size_t some = pruneSome(*database_, msOf(limit), keepPending)) {
        gone += some;
    }
    // Where none are gone as well: an earlier process may have ended before it came to these.
    sweepIfDue(*database_);
    database_->giveBackRoom();
    return gone;
}

} // namespace record

#include "workbench/record/Store.h"

#include "workbench/record/Contents.h"
#include "workbench/record/OverTime.h"
#include "workbench/record/ProcessMark.h"
#include "workbench/record/Rows.h"
#include "workbench/record/SessionRow.h"
#include "workbench/record/Snapshots.h"

#include <set>

namespace record {
namespace {

using Kind = DatabaseError::Kind;

/// For no longer than this, what was committed may wait for the disk while a write is under way.
constexpr std::chrono::seconds kLongestUnsaved{1};
/// The values that a write leaves are those of the time behind its begin, so that they follow the values before it in
/// every store, whenever it comes there.
constexpr std::int64_t kAfterMs = 1;

Value optionalTime(const std::optional<Time>& time) {
    return time ? Value(msOf(*time)) : Value();
}

/// `text` as an index of every database takes it, three of them in a row: a server has a limit for that.
std::string indexedText(const std::string& text) {
    constexpr std::size_t kMostBytes = 800;
    std::string indexed = storableText(text);
    if (indexed.size() > kMostBytes) {
        std::size_t size = kMostBytes;
        while ((static_cast<unsigned char>(indexed[size]) & 0xC0) == 0x80) {
            --size; // a character goes as a whole
        }
        indexed.resize(size);
    }
    return indexed;
}

/// The phone's row; one without a serial number goes under model and port.
std::int64_t phoneOf(Database& database, const Session& session) {
    const auto& phone = session.phone;
    const std::vector<Value> key{indexedText(phone.model), indexedText(phone.serialNumber),
                                 indexedText(phone.isKnown() ? "" : session.port)};
    const auto known = database.run("SELECT id FROM phone WHERE model = ?1 AND serial = ?2 AND port = ?3", key);
    if (!known.empty()) {
        return numberIn(known[0].at(0));
    }
    const auto added = database.run("INSERT INTO phone (model, serial, port, last_seen, sessions)"
                                    " VALUES (?1, ?2, ?3, 0, 0) RETURNING id",
                                    key);
    return numberIn(added.at(0).at(0));
}

/// Makes what is told of the phone's sessions true. A phone that has none is gone.
void renewPhone(Database& database, std::int64_t phone) {
    database.run("UPDATE phone SET sessions = (SELECT count(*) FROM session WHERE phone = ?1),"
                 " last_seen = COALESCE((SELECT max(begun) FROM session WHERE phone = ?1), 0) WHERE id = ?1",
                 {phone});
    database.run("DELETE FROM phone WHERE id = ?1 AND sessions = 0", {phone});
}

Value ringOf(Database& database, const Session& session) {
    if (session.ringPath.empty() && session.ringSha256.empty()) {
        return {};
    }
    const std::vector<Value> key{indexedText(session.ringPath), indexedText(session.ringSha256)};
    auto rows = database.run("SELECT id FROM ring WHERE path = ?1 AND sha256 = ?2", key);
    if (rows.empty()) {
        rows = database.run("INSERT INTO ring (path, sha256) VALUES (?1, ?2) RETURNING id", key);
    }
    return rows.at(0).at(0);
}

/// Adds the row of a session without its items; answers its id.
std::int64_t addSession(Database& database, const Session& session, std::int64_t phone, Value snapshot,
                        const ProcessMark& process) {
    const Value ring = ringOf(database, session);
    const auto received = database.isShared() ? Value(database.nowMs()) : optionalTime(session.received);
    const Row row{session.uuid,
                  phone,
                  static_cast<std::int64_t>(session.kind),
                  static_cast<std::int64_t>(session.state),
                  msOf(session.begun),
                  optionalTime(session.ended),
                  received,
                  session.program,
                  ring,
                  session.port,
                  session.phone.softwareVersion,
                  session.user,
                  session.host,
                  process.pid == 0 ? Value() : Value(process.pid),
                  process.pid == 0 ? Value() : Value(process.start),
                  session.asked,
                  std::move(snapshot),
                  session.failure,
                  session.note};
    const auto added =
        database.run("INSERT INTO session (uuid, phone, kind, state, begun, ended, received, program, ring, port, "
                     "software, user_name,"
                     " host, pid, pid_start, asked, snapshot, failure, note, items, changed, handed_over) VALUES (?1, "
                     "?2, ?3, ?4, ?5,"
                     " ?6, ?7, ?8, ?9, ?10, ?11, ?12, ?13, ?14, ?15, ?16, ?17, ?18, ?19, 0, 0, 0) RETURNING id",
                     row);
    database.run("UPDATE phone SET sessions = sessions + 1, last_seen = CASE WHEN last_seen < ?2 THEN ?2 ELSE last_seen"
                 " END WHERE id = ?1",
                 {phone, msOf(session.begun)});
    return numberIn(added.at(0).at(0));
}

/// Adds the contents that the items of a write have, and says where they stand.
ContentIds contentsOf(Database& database, std::span<const SessionItem> items) {
    std::set<Bytes> contents;
    for (const SessionItem& item : items) {
        for (const auto& data : {item.before, item.wanted, item.after}) {
            if (data) {
                contents.insert(storedBytes(*data));
            }
        }
    }
    return contentIds(database, contents);
}

/// Adds the items of a write, or says anew what became of them: what was known before stays where nothing is told.
void putItems(Database& database, std::int64_t session, std::span<const SessionItem> items, std::int64_t position) {
    const ContentIds ids = contentsOf(database, items);
    const auto idOf = [&ids](const std::optional<ItemData>& data) {
        return data ? Value(ids.at(storedBytes(*data))) : Value();
    };
    std::map<std::uint16_t, Row> rows; // an item is there once
    for (const SessionItem& item : items) {
        rows[item.number] = {session,
                             std::int64_t{item.number},
                             position++,
                             static_cast<std::int64_t>(item.state),
                             std::int64_t{item.status},
                             idOf(item.before),
                             idOf(item.wanted),
                             idOf(item.after),
                             item.reason};
    }
    std::vector<Row> all;
    all.reserve(rows.size());
    for (auto& [number, row] : rows) {
        all.push_back(std::move(row));
    }
    insertRows(
        database,
        "INSERT INTO session_item (session, item, position, state, status, before, wanted, after, reason) VALUES", all,
        "ON CONFLICT (session, item) DO UPDATE SET state = excluded.state, status = excluded.status,"
        " before = COALESCE(excluded.before, session_item.before),"
        " wanted = COALESCE(excluded.wanted, session_item.wanted), after = excluded.after,"
        " reason = excluded.reason");
}

using ItemValue = std::optional<ItemData> SessionItem::*;

/// What is known of the values of these items.
Values valuesOf(std::span<const SessionItem> items, ItemValue value) {
    Values values;
    for (const SessionItem& item : items) {
        if (item.*value) {
            values[item.number] = storedBytes(*(item.*value));
        }
    }
    return values;
}

void putWrittenValues(Database& database, std::int64_t phone, std::int64_t session, std::int64_t begunMs,
                      std::span<const SessionItem> items) {
    putValues(database, phone, session, begunMs, valuesOf(items, &SessionItem::before));
    putValues(database, phone, session, begunMs + kAfterMs, valuesOf(items, &SessionItem::after));
}

/// Counts the items of a write, and those that it has changed.
void countItems(Database& database, std::int64_t session) {
    database.run("UPDATE session SET items = (SELECT count(*) FROM session_item WHERE session = ?1),"
                 " changed = (SELECT count(*) FROM session_item WHERE session = ?1 AND before <> after) WHERE id = ?1",
                 {session});
}

/// A write whose phone was learnt at its end: its values were those of another one.
void moveSession(Database& database, std::int64_t session, std::int64_t begunMs, std::int64_t from, std::int64_t to) {
    const auto rows = database.run("SELECT i.item, b.bytes, a.bytes FROM session_item i"
                                   " LEFT JOIN content b ON b.id = i.before LEFT JOIN content a ON a.id = i.after"
                                   " WHERE i.session = ?1",
                                   {session});
    std::vector<SessionItem> items;
    std::set<std::uint16_t> numbers;
    for (const Row& row : rows) {
        SessionItem item{.number = static_cast<std::uint16_t>(numberIn(row.at(0)))};
        item.before = itemDataIn(row.at(1));
        item.after = itemDataIn(row.at(2));
        numbers.insert(item.number);
        items.push_back(std::move(item));
    }
    database.run("DELETE FROM over_time WHERE phone = ?1 AND session = ?2", {from, session});
    renewLatest(database, from, numbers);
    database.run("UPDATE session SET phone = ?2 WHERE id = ?1", {session, to});
    renewPhone(database, from);
    renewPhone(database, to);
    putWrittenValues(database, to, session, begunMs, items);
}

} // namespace

Store::Store(std::unique_ptr<Database> database) : database_(std::move(database)), access_(openSchema(*database_)) {}

void Store::begin(const Session& session, std::span<const SessionItem> items) {
    requireWritable();
    Transaction transaction(*database_, true);
    const std::int64_t phone = phoneOf(*database_, session);
    const std::int64_t id = addSession(*database_, session, phone, {}, thisProcess());
    putItems(*database_, id, items, 0);
    countItems(*database_, id);
    putWrittenValues(*database_, phone, id, msOf(session.begun), items);
    transaction.commit();
    onDisk_ = std::chrono::steady_clock::now();
}

void Store::setItem(const std::string& uuid, const SessionItem& item) {
    requireWritable();
    const auto now = std::chrono::steady_clock::now();
    const bool isDue = now - onDisk_ >= kLongestUnsaved;
    Transaction transaction(*database_, isDue);
    const auto rows = database_->run("SELECT s.id, s.phone, s.begun, (SELECT count(*) FROM session_item i WHERE"
                                     " i.session = s.id AND i.item = ?2), s.items FROM session s WHERE s.uuid = ?1",
                                     {uuid, std::int64_t{item.number}});
    if (rows.empty()) {
        throw DatabaseError(Kind::kOther, "the record has no session " + uuid);
    }
    const Row& session = rows[0];
    const std::span one(&item, 1);
    putItems(*database_, numberIn(session.at(0)), one, numberIn(session.at(4)));
    if (numberIn(session.at(3)) == 0) {
        database_->run("UPDATE session SET items = items + 1 WHERE id = ?1", {session.at(0)});
    }
    putWrittenValues(*database_, numberIn(session.at(1)), numberIn(session.at(0)), numberIn(session.at(2)), one);
    transaction.commit();
    if (isDue) {
        onDisk_ = now;
    }
}

void Store::end(const Session& session) {
    requireWritable();
    Transaction transaction(*database_, true);
    const std::int64_t id = idOf(session.uuid);
    const auto row = database_->run("SELECT phone, begun FROM session WHERE id = ?1", {id}).at(0);
    const std::int64_t phone = phoneOf(*database_, session);
    if (phone != numberIn(row.at(0))) {
        moveSession(*database_, id, numberIn(row.at(1)), numberIn(row.at(0)), phone);
    }
    database_->run("UPDATE session SET state = ?2, ended = ?3, failure = ?4, software = ?5 WHERE id = ?1",
                   {id, static_cast<std::int64_t>(session.state), optionalTime(session.ended), session.failure,
                    session.phone.softwareVersion});
    countItems(*database_, id);
    transaction.commit();
    onDisk_ = std::chrono::steady_clock::now();
}

bool Store::add(const Session& session, std::span<const SessionItem> items) {
    requireWritable();
    Transaction transaction(*database_, true);
    if (!database_->run("SELECT id FROM session WHERE uuid = ?1", {session.uuid}).empty()) {
        return false;
    }
    const std::int64_t phone = phoneOf(*database_, session);
    if (session.kind == SessionKind::kRead) {
        const auto last = database_->run("SELECT snapshot FROM session WHERE phone = ?1 AND snapshot IS NOT NULL"
                                         " ORDER BY begun DESC LIMIT 1",
                                         {phone});
        const auto base = last.empty() ? std::nullopt : std::optional(numberIn(last[0].at(0)));
        const Snapshot snapshot = snapshotOf(items);
        const std::int64_t id = addSession(*database_, session, phone, putSnapshot(*database_, snapshot, base), {});
        const std::size_t changed =
            putValues(*database_, phone, id, msOf(session.begun), valuesOf(items, &SessionItem::after));
        database_->run("UPDATE session SET items = ?2, changed = ?3 WHERE id = ?1",
                       {id, static_cast<std::int64_t>(snapshot.size()), static_cast<std::int64_t>(changed)});
    } else {
        const std::int64_t id = addSession(*database_, session, phone, {}, {});
        putItems(*database_, id, items, 0);
        countItems(*database_, id);
        putWrittenValues(*database_, phone, id, msOf(session.begun), items);
    }
    transaction.commit();
    return true;
}

void Store::setNote(const std::string& uuid, const std::string& note) {
    requireWritable();
    Transaction transaction(*database_, true);
    database_->run("UPDATE session SET note = ?2, handed_over = 0 WHERE id = ?1", {idOf(uuid), note});
    transaction.commit();
}

std::vector<Session> Store::takeInterrupted() {
    std::vector<Session> interrupted;
    if (access_ == Access::kReadOnly) {
        return interrupted;
    }
    const std::string open = std::string("SELECT ") + kSessionColumns + ", s.id, s.pid, s.pid_start" + kSessionTables +
                             " WHERE s.state = 0 AND s.host = ?1 AND s.pid IS NOT NULL ORDER BY s.begun";
    if (database_->run(open, {hostName()}).empty()) {
        return interrupted;
    }
    Transaction transaction(*database_, true);
    for (const Row& row : database_->run(open, {hostName()})) {
        const std::size_t own = row.size() - 3;
        if (isAlive({.pid = numberIn(row.at(own + 1)), .start = textIn(row.at(own + 2))})) {
            continue;
        }
        countItems(*database_, numberIn(row.at(own)));
        database_->run("UPDATE session SET state = ?2 WHERE id = ?1",
                       {row.at(own), static_cast<std::int64_t>(SessionState::kInterrupted)});
        const std::string one = std::string("SELECT ") + kSessionColumns + kSessionTables + " WHERE s.id = ?1";
        interrupted.push_back(sessionOf(database_->run(one, {row.at(own)}).at(0)));
    }
    transaction.commit();
    return interrupted;
}

std::vector<std::string> Store::pending() {
    std::vector<std::string> uuids;
    for (const Row& row :
         database_->run("SELECT uuid FROM session WHERE handed_over = 0 AND state <> 0 ORDER BY begun, id")) {
        uuids.push_back(textIn(row.at(0)));
    }
    return uuids;
}

void Store::markHandedOver(const std::string& uuid) {
    requireWritable();
    Transaction transaction(*database_);
    database_->run("UPDATE session SET handed_over = 1 WHERE uuid = ?1", {uuid});
    transaction.commit();
}

void Store::requireWritable() const {
    if (access_ == Access::kReadOnly) {
        throw DatabaseError(Kind::kOther, "the record can only be read: a newer version of the program has made it, or"
                                          " its owner lets nobody write");
    }
}

std::int64_t Store::idOf(const std::string& uuid) {
    const auto rows = database_->run("SELECT id FROM session WHERE uuid = ?1", {uuid});
    if (rows.empty()) {
        throw DatabaseError(Kind::kOther, "the record has no session " + uuid);
    }
    return numberIn(rows[0].at(0));
}

} // namespace record

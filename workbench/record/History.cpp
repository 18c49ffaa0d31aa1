#include "workbench/record/History.h"

#include "platform/kernel/Text.h"
#include "workbench/record/Contents.h"
#include "workbench/record/SessionRow.h"
#include "workbench/record/Snapshots.h"

#include <algorithm>
#include <functional>
#include <iterator>
#include <utility>

namespace record {
namespace {

const std::string kPhones = "SELECT id, model, serial, port, last_seen, sessions FROM phone";
const std::string kSessions = std::string("SELECT ") + kSessionColumns + kSessionTables;

PhoneRow phoneOf(const Row& row) {
    return {.id = numberIn(row.at(0)),
            .model = textIn(row.at(1)),
            .serial = textIn(row.at(2)),
            .port = textIn(row.at(3)),
            .lastSeen = timeOf(numberIn(row.at(4))),
            .sessions = static_cast<std::size_t>(std::max(numberIn(row.at(5)), std::int64_t{0}))};
}

/// A number of an item, or a status.
std::uint16_t shortIn(const Value& column) {
    const std::int64_t number = numberIn(column);
    if (!std::in_range<std::uint16_t>(number)) {
        throw DatabaseError(DatabaseError::Kind::kDamaged, "the record has an item or a status that is none");
    }
    return static_cast<std::uint16_t>(number);
}

std::vector<SessionItem> itemsOfRead(Database& database, std::int64_t snapshot) {
    std::vector<SessionItem> items;
    for (const auto& [number, item] : loadSnapshot(database, snapshot)) {
        const Value state = static_cast<std::int64_t>(item.state); // as the store has it, whatever it is
        items.push_back({.number = number, .state = enumeratorIn(state, ItemState::kNotKnown), .status = item.status});
        if (item.bytes) {
            items.back().after = itemDataOf(*item.bytes);
        }
    }
    return items;
}

std::vector<SessionItem> itemsOfWrite(Database& database, std::int64_t session) {
    std::vector<SessionItem> items;
    for (const Row& row : database.run("SELECT i.item, i.state, i.status, i.reason, b.bytes, w.bytes, a.bytes "
                                       "FROM session_item i LEFT JOIN content b ON b.id = i.before "
                                       "LEFT JOIN content w ON w.id = i.wanted LEFT JOIN content a ON a.id = i.after "
                                       "WHERE i.session = ?1 ORDER BY i.position, i.item",
                                       {session})) {
        items.push_back({.number = shortIn(row.at(0)),
                         .state = enumeratorIn(row.at(1), ItemState::kNotKnown),
                         .status = shortIn(row.at(2)),
                         .before = itemDataIn(row.at(4)),
                         .wanted = itemDataIn(row.at(5)),
                         .after = itemDataIn(row.at(6)),
                         .reason = textIn(row.at(3))});
    }
    return items;
}

/// Of a write whose program died: what it had not told of until then may have left it all the same.
void takeAsSent(std::vector<SessionItem>& items) {
    for (SessionItem& item : items) {
        if (item.state == ItemState::kNotTried) {
            item.state = ItemState::kNotKnown;
        }
    }
}

} // namespace

std::vector<PhoneRow> History::phones() {
    std::vector<PhoneRow> phones;
    for (const Row& row : database_->run(kPhones + " ORDER BY last_seen DESC, id DESC")) {
        phones.push_back(phoneOf(row));
    }
    return phones;
}

std::vector<Session> History::sessions(const SessionQuery& query) {
    if (!query.serial) {
        return sessionsOf(query);
    }
    // One phone after the other: an index has the sessions of each in their order.
    std::vector<Session> sessions;
    SessionQuery ofPhone = query;
    for (const Row& row :
         database_->run("SELECT id FROM phone WHERE lower(serial) = ?1", {kernel::lowerCase(*query.serial)})) {
        ofPhone.phone = numberIn(row.at(0));
        std::ranges::move(sessionsOf(ofPhone), std::back_inserter(sessions));
    }
    std::ranges::stable_sort(sessions, std::greater(), &Session::begun);
    sessions.resize(std::min(sessions.size(), query.limit));
    return sessions;
}

std::vector<Session> History::sessionsOf(const SessionQuery& query) {
    std::string conditions;
    std::vector<Value> parameters;
    const auto add = [&](const std::string& condition, Value value) {
        parameters.push_back(std::move(value));
        conditions += (conditions.empty() ? " WHERE " : " AND ") + condition + std::to_string(parameters.size());
    };
    if (query.phone) {
        add("s.phone = ?", *query.phone);
    }
    if (query.port) {
        add("s.port = ?", *query.port);
    }
    if (query.since) {
        add("s.begun >= ?", msOf(*query.since));
    }
    constexpr std::size_t kMost = 1'000'000;
    parameters.emplace_back(static_cast<std::int64_t>(std::min(query.limit, kMost)));
    // No index has the ports: to go through all sessions as they lie there is quicker than to fetch them by their
    // times.
    const bool isPortAlone = query.port && !query.phone && !query.since;
    const std::string order = isPortAlone ? " ORDER BY s.begun + 0" : " ORDER BY s.begun";
    const std::string sql =
        kSessions + conditions + order + " DESC, s.id DESC LIMIT ?" + std::to_string(parameters.size());
    std::vector<Session> sessions;
    for (const Row& row : database_->run(sql, parameters)) {
        sessions.push_back(sessionOf(row));
    }
    return sessions;
}

std::optional<Session> History::session(const std::string& uuid) {
    const std::string begin = kernel::lowerCase(uuid);
    if (begin.empty() || begin.find_first_not_of("0123456789abcdef-") != std::string::npos) {
        return std::nullopt;
    }
    // No digit comes behind a "g".
    const auto rows = database_->run(kSessions + " WHERE s.uuid >= ?1 AND s.uuid < ?2 LIMIT 2", {begin, begin + "g"});
    return rows.size() == 1 ? std::optional(sessionOf(rows.front())) : std::nullopt;
}

std::vector<SessionItem> History::items(const std::string& uuid) {
    const auto rows = database_->run("SELECT id, snapshot, kind, state FROM session WHERE uuid = ?1", {uuid});
    if (rows.empty()) {
        return {};
    }
    const Row& row = rows.front();
    if (!std::holds_alternative<std::monostate>(row.at(1))) {
        return itemsOfRead(*database_, numberIn(row.at(1)));
    }
    auto items = itemsOfWrite(*database_, numberIn(row.at(0)));
    const bool isWrite = enumeratorIn(row.at(2), SessionKind::kRestore) != SessionKind::kRead;
    if (isWrite && enumeratorIn(row.at(3), SessionState::kInterrupted) == SessionState::kInterrupted) {
        takeAsSent(items);
    }
    return items;
}

std::vector<ValueSince> History::overTime(std::int64_t phone, std::uint16_t number) {
    std::vector<ValueSince> values;
    const auto read = static_cast<std::int64_t>(SessionKind::kRead);
    for (const Row& row : database_->run("SELECT o.since, s.uuid, c.bytes, s.begun, s.kind FROM over_time o "
                                         "LEFT JOIN session s ON s.id = o.session JOIN content c ON c.id = o.content "
                                         "WHERE o.phone = ?1 AND o.item = ?2 ORDER BY o.since",
                                         {phone, std::int64_t{number}})) {
        const std::int64_t since = numberIn(row.at(0));
        const bool isGone = std::holds_alternative<std::monostate>(row.at(3));
        // What a write leaves is later than its begin.
        values.push_back({.since = timeOf(since),
                          .session = textIn(row.at(1)),
                          .data = itemDataIn(row.at(2)).value_or(ItemData{}),
                          .isFound = isGone || numberIn(row.at(4)) == read || since <= numberIn(row.at(3))});
    }
    return values;
}

std::vector<ValueOfPhone> History::overPhones(std::uint16_t number) {
    std::vector<ValueOfPhone> values;
    for (const Row& row : database_->run("SELECT phone, since, bytes FROM latest WHERE item = ?1 ORDER BY phone",
                                         {std::int64_t{number}})) {
        values.push_back({.phone = numberIn(row.at(0)),
                          .since = timeOf(numberIn(row.at(1))),
                          .data = itemDataIn(row.at(2)).value_or(ItemData{})});
    }
    return values;
}

std::map<std::uint16_t, ItemData> History::valuesBefore(std::int64_t phone, Time when) {
    std::map<std::uint16_t, ItemData> values;
    // In the order of time: the last one of an item stays.
    for (const Row& row : database_->run("SELECT o.item, c.bytes FROM over_time o JOIN content c ON c.id = o.content "
                                         "WHERE o.phone = ?1 AND o.since < ?2 ORDER BY o.item, o.since",
                                         {phone, msOf(when)})) {
        values[static_cast<std::uint16_t>(numberIn(row.at(0)))] = itemDataIn(row.at(1)).value_or(ItemData{});
    }
    return values;
}

std::optional<PhoneRow> History::findPhone(const workbench::PhoneIdentity& phone, const std::string& port) {
    const auto rows = database_->run(kPhones + " WHERE model = ?1 AND serial = ?2 AND port = ?3",
                                     {phone.model, phone.serialNumber, phone.isKnown() ? "" : port});
    return rows.empty() ? std::nullopt : std::optional(phoneOf(rows.front()));
}

} // namespace record

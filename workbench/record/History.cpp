#include "workbench/record/History.h"

#include "platform/kernel/Text.h"

#include <algorithm>
#include <chrono>
#include <utility>

namespace record {
namespace {

const std::string kPhoneColumns = "id, model, serial, port, last_seen, sessions";

const std::string kSessions =
    "SELECT s.uuid, s.kind, s.state, s.begun, s.ended, s.received, s.program, r.path, r.sha256, s.port, p.model, "
    "p.serial, s.software, s.user_name, s.host, s.asked, s.failure, s.note, s.items, s.changed "
    "FROM session s LEFT JOIN phone p ON p.id = s.phone LEFT JOIN ring r ON r.id = s.ring";

[[noreturn]] void refuse(const std::string& what) {
    throw DatabaseError(DatabaseError::Kind::kDamaged, "the record holds " + what);
}

/// Takes a row apart, a column after the other.
class Columns {
public:
    explicit Columns(const Row& row) : row_(row) {}

    bool isNull() const { return std::holds_alternative<std::monostate>(next()); }
    std::int64_t number() { return isNull() ? skip<std::int64_t>() : take<std::int64_t>(); }
    std::string text() { return isNull() ? skip<std::string>() : take<std::string>(); }
    Time time() { return Time(std::chrono::milliseconds(number())); }
    std::optional<Time> optionalTime() { return isNull() ? skip<std::optional<Time>>() : time(); }

    /// One of an enumeration whose last is `last`.
    template <class Enum>
    Enum one(Enum last) {
        const std::int64_t value = number();
        if (value < 0 || value > static_cast<std::int64_t>(last)) {
            refuse("a state or kind of which this program does not know what it means: " + std::to_string(value));
        }
        return static_cast<Enum>(value);
    }

    std::uint16_t shortNumber() {
        const std::int64_t value = number();
        if (!std::in_range<std::uint16_t>(value)) {
            refuse("an item number or a status of " + std::to_string(value));
        }
        return static_cast<std::uint16_t>(value);
    }

    /// The bytes of an item, of which trailing zeros are left away.
    std::optional<ItemData> data() {
        if (isNull()) {
            return skip<std::optional<ItemData>>();
        }
        const Bytes bytes = take<Bytes>();
        ItemData data{};
        if (bytes.size() > data.size()) {
            refuse("an item of " + std::to_string(bytes.size()) + " bytes");
        }
        std::ranges::copy(bytes, data.begin());
        return data;
    }

private:
    const Value& next() const {
        if (at_ >= row_.size()) {
            refuse("rows without all their columns");
        }
        return row_[at_];
    }
    template <class Type>
    Type take() {
        const Type* const value = std::get_if<Type>(&next());
        if (value == nullptr) {
            refuse("a value of another type than its column's");
        }
        ++at_;
        return *value;
    }
    template <class Type>
    Type skip() {
        ++at_;
        return {};
    }

    const Row& row_;
    std::size_t at_ = 0;
};

Value millisecondsOf(Time time) {
    return std::chrono::duration_cast<std::chrono::milliseconds>(time.time_since_epoch()).count();
}

PhoneRow phoneOf(const Row& row) {
    Columns columns(row);
    PhoneRow phone;
    phone.id = columns.number();
    phone.model = columns.text();
    phone.serial = columns.text();
    phone.port = columns.text();
    phone.lastSeen = columns.time();
    phone.sessions = static_cast<std::size_t>(columns.number());
    return phone;
}

Session sessionOf(const Row& row) {
    Columns columns(row);
    Session session;
    session.uuid = columns.text();
    session.kind = columns.one(SessionKind::kRestore);
    session.state = columns.one(SessionState::kInterrupted);
    session.begun = columns.time();
    session.ended = columns.optionalTime();
    session.received = columns.optionalTime();
    session.program = columns.text();
    session.ringPath = columns.text();
    session.ringSha256 = columns.text();
    session.port = columns.text();
    session.phone.model = columns.text();
    session.phone.serialNumber = columns.text();
    session.phone.softwareVersion = columns.text();
    session.user = columns.text();
    session.host = columns.text();
    session.asked = columns.text();
    session.failure = columns.text();
    session.note = columns.text();
    session.items = static_cast<std::size_t>(columns.number());
    session.changed = static_cast<std::size_t>(columns.number());
    return session;
}

/// What a read found: its snapshot, and those below it for what that one leaves out.
std::vector<SessionItem> itemsOfSnapshot(Database& database, std::int64_t snapshot) {
    // The bound is far above the depth of any chain; it keeps a damaged one from having no end.
    const auto rows = database.run("WITH RECURSIVE chain(id, base, level) AS ("
                                   "SELECT id, base, 0 FROM snapshot WHERE id = ?1 UNION ALL "
                                   "SELECT s.id, s.base, chain.level + 1 FROM snapshot s "
                                   "JOIN chain ON s.id = chain.base WHERE chain.level < 1000) "
                                   "SELECT i.item, i.state, i.status, c.bytes FROM chain "
                                   "JOIN snapshot_item i ON i.snapshot = chain.id "
                                   "LEFT JOIN content c ON c.id = i.content ORDER BY i.item, chain.level",
                                   {Value(snapshot)});
    std::vector<SessionItem> items;
    std::optional<std::uint16_t> last;
    for (const Row& row : rows) {
        Columns columns(row);
        SessionItem item{.number = columns.shortNumber()};
        const bool isCovered = std::exchange(last, item.number) == item.number;
        const bool isNoMore = std::get_if<std::int64_t>(&row[1]) != nullptr && std::get<std::int64_t>(row[1]) == -1;
        if (!isCovered && !isNoMore) {
            item.state = columns.one(ItemState::kNotKnown);
            item.status = columns.shortNumber();
            item.after = columns.data();
            items.push_back(std::move(item));
        }
    }
    return items;
}

std::vector<SessionItem> itemsOfWrite(Database& database, std::int64_t session) {
    const auto rows = database.run("SELECT i.item, i.state, i.status, i.reason, b.bytes, w.bytes, a.bytes "
                                   "FROM session_item i LEFT JOIN content b ON b.id = i.before "
                                   "LEFT JOIN content w ON w.id = i.wanted LEFT JOIN content a ON a.id = i.after "
                                   "WHERE i.session = ?1 ORDER BY i.position",
                                   {Value(session)});
    std::vector<SessionItem> items;
    for (const Row& row : rows) {
        Columns columns(row);
        SessionItem item{.number = columns.shortNumber()};
        item.state = columns.one(ItemState::kNotKnown);
        item.status = columns.shortNumber();
        item.reason = columns.text();
        item.before = columns.data();
        item.wanted = columns.data();
        item.after = columns.data();
        items.push_back(std::move(item));
    }
    return items;
}

} // namespace

std::vector<PhoneRow> History::phones() {
    std::vector<PhoneRow> phones;
    for (const Row& row : database_->run("SELECT " + kPhoneColumns + " FROM phone ORDER BY last_seen DESC, id DESC")) {
        phones.push_back(phoneOf(row));
    }
    return phones;
}

std::vector<Session> History::sessions(const SessionQuery& query) {
    if (!query.serial) {
        return sessionsOf(query);
    }
    // A phone after the other: those of one phone are found by an index, in their order.
    std::vector<Session> sessions;
    SessionQuery ofPhone = query;
    for (const Row& row :
         database_->run("SELECT id FROM phone WHERE lower(serial) = ?1", {Value(kernel::lowerCase(*query.serial))})) {
        ofPhone.phone = Columns(row).number();
        std::ranges::move(sessionsOf(ofPhone), std::back_inserter(sessions));
    }
    std::ranges::stable_sort(sessions, std::greater(), &Session::begun);
    sessions.resize(std::min(sessions.size(), query.limit));
    return sessions;
}

std::vector<Session> History::sessionsOf(const SessionQuery& query) {
    std::string conditions;
    std::vector<Value> parameters;
    const auto add = [&](const char* condition, Value value) {
        parameters.push_back(std::move(value));
        conditions += (conditions.empty() ? " WHERE " : " AND ") + std::string(condition) + " ?" +
                      std::to_string(parameters.size());
    };
    if (query.phone) {
        add("s.phone =", *query.phone);
    }
    if (query.port) {
        add("s.port =", *query.port);
    }
    if (query.since) {
        add("s.begun >=", millisecondsOf(*query.since));
    }
    parameters.emplace_back(static_cast<std::int64_t>(query.limit));
    const std::string sql =
        kSessions + conditions + " ORDER BY s.begun DESC LIMIT ?" + std::to_string(parameters.size());
    std::vector<Session> sessions;
    for (const Row& row : database_->run(sql, parameters)) {
        sessions.push_back(sessionOf(row));
    }
    return sessions;
}

std::optional<Session> History::session(const std::string& uuid) {
    const std::string wanted = kernel::lowerCase(uuid);
    auto rows = database_->run(kSessions + " WHERE s.uuid = ?1", {Value(wanted)});
    if (rows.empty() && !wanted.empty()) {
        // The order of an index is another one on each server, so that a range in it would be no answer.
        rows =
            database_->run(kSessions + " WHERE substr(s.uuid, 1, " + std::to_string(wanted.size()) + ") = ?1 LIMIT 2",
                           {Value(wanted)});
    }
    return rows.size() == 1 ? std::optional(sessionOf(rows.front())) : std::nullopt;
}

std::vector<SessionItem> History::items(const std::string& uuid) {
    const auto rows = database_->run("SELECT id, snapshot FROM session WHERE uuid = ?1", {Value(uuid)});
    if (rows.empty()) {
        return {};
    }
    Columns columns(rows.front());
    const std::int64_t id = columns.number();
    return columns.isNull() ? itemsOfWrite(*database_, id) : itemsOfSnapshot(*database_, columns.number());
}

std::vector<ValueSince> History::overTime(std::int64_t phone, std::uint16_t number) {
    std::vector<ValueSince> values;
    for (const Row& row : database_->run("SELECT o.since, s.uuid, c.bytes FROM over_time o "
                                         "LEFT JOIN session s ON s.id = o.session JOIN content c ON c.id = o.content "
                                         "WHERE o.phone = ?1 AND o.item = ?2 ORDER BY o.since",
                                         {Value(phone), Value(std::int64_t{number})})) {
        Columns columns(row);
        ValueSince& value = values.emplace_back();
        value.since = columns.time();
        value.session = columns.text();
        value.data = columns.data().value_or(ItemData{});
    }
    return values;
}

std::vector<ValueOfPhone> History::overPhones(std::uint16_t number) {
    std::vector<ValueOfPhone> values;
    for (const Row& row : database_->run("SELECT l.phone, l.since, c.bytes FROM latest l "
                                         "JOIN content c ON c.id = l.content WHERE l.item = ?1 ORDER BY l.phone",
                                         {Value(std::int64_t{number})})) {
        Columns columns(row);
        ValueOfPhone& value = values.emplace_back();
        value.phone = columns.number();
        value.since = columns.time();
        value.data = columns.data().value_or(ItemData{});
    }
    return values;
}

std::optional<PhoneRow> History::findPhone(const workbench::PhoneIdentity& phone, const std::string& port) {
    const auto rows =
        database_->run("SELECT " + kPhoneColumns + " FROM phone WHERE model = ?1 AND serial = ?2 AND port = ?3",
                       {Value(phone.model), Value(phone.serialNumber), Value(phone.isKnown() ? "" : port)});
    return rows.empty() ? std::nullopt : std::optional(phoneOf(rows.front()));
}

} // namespace record

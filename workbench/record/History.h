#pragma once

#include "workbench/record/Database.h"
#include "workbench/record/Session.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace record {

struct PhoneRow {
    std::int64_t id = 0; ///< in this store alone
    std::string model;
    std::string serial; ///< empty: the phone tells none, and goes under model and port
    std::string port;   ///< of such a phone
    Time lastSeen = {};
    std::size_t sessions = 0;
};

struct SessionQuery {
    std::optional<std::int64_t> phone = {};
    std::optional<std::string> serial = {}; ///< whole, in any case
    std::optional<std::string> port = {};   ///< over which the phone was reached
    std::optional<Time> since = {};
    std::size_t limit = 1000;
};

/// From `since` on the phone had `data`, as far as the record knows.
struct ValueSince {
    Time since;
    std::string session; ///< its uuid; empty where that session is no more in the store
    ItemData data{};
    /// The session has found the value and not written it: a read, or a write before which somebody else has. Who
    /// brought it there is not known.
    bool isFound = true;
};

struct ValueOfPhone {
    std::int64_t phone = 0;
    Time since = {};
    ItemData data{};
};

/// Asks a store. One thread at a time; the database outlives it. Every call may throw a DatabaseError: kDamaged where
/// the store holds what no program of ours has put there.
class History {
public:
    explicit History(Database& database) : database_(&database) {}

    /// All of them, the one that was seen last first.
    std::vector<PhoneRow> phones();
    /// The newest first.
    std::vector<Session> sessions(const SessionQuery& query);
    /// By the whole uuid, or by the first characters where only one begins so.
    std::optional<Session> session(const std::string& uuid);
    /// In the order in which they were asked for or written: a read's by ascending number. Those that an interrupted
    /// write has not told of are kNotKnown: they may have been sent.
    std::vector<SessionItem> items(const std::string& uuid);
    /// The values that one item of one phone has had, the oldest first; only changes.
    std::vector<ValueSince> overTime(std::int64_t phone, std::uint16_t number);
    /// The latest value of one item on every phone that has one.
    std::vector<ValueOfPhone> overPhones(std::uint16_t number);
    /// What was known of the phone's items before that time, by their numbers.
    std::map<std::uint16_t, ItemData> valuesBefore(std::int64_t phone, Time when);
    /// The phone that answers so on `port`; one without a serial number is told by its model and that port.
    std::optional<PhoneRow> findPhone(const workbench::PhoneIdentity& phone, const std::string& port);

private:
    std::vector<Session> sessionsOf(const SessionQuery& query);

    Database* database_;
};

} // namespace record

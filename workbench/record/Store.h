#pragma once

#include "workbench/record/Database.h"
#include "workbench/record/Schema.h"
#include "workbench/record/Session.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

namespace record {

/// Sessions go into a store by this, and come out by History. One thread at a time; any number of processes. Every
/// call may throw a DatabaseError, and then has changed nothing.
class Store {
public:
    explicit Store(std::unique_ptr<Database> database);

    Access access() const { return access_; }
    Database& database() { return *database_; }

    /// Records that a write is about to begin, with the old values; committed for good when it returns. The session is
    /// this process's own until it ends.
    void begin(const Session& session, std::span<const SessionItem> items);
    /// What became of one item of a session that has begun. A power cut may lose those of the last second.
    void setItem(const std::string& uuid, const SessionItem& item);
    /// How a session that has begun has ended: state, end, failure, and the phone where it was learnt only then;
    /// committed for good.
    void end(const Session& session);
    /// A session as a whole: a read, one from another store, one of a file; committed for good. False where the store
    /// has it already; nothing is changed then.
    bool add(const Session& session, std::span<const SessionItem> items);

    /// The note goes to the shared store, too, when the session is handed over, and again where it was already.
    void setNote(const std::string& uuid, const std::string& note);
    /// Removes the sessions that began before `limit`, with what nobody else needs, and gives the room back. Sessions
    /// that were not handed over (with `keepPending`), and those under way stay. Values that only they had go when a
    /// twentieth of the sessions has gone. Answers how many sessions went.
    std::size_t prune(Time limit, bool keepPending);

    /// Sessions that were begun on this computer by a process that lives no more: marked as interrupted, and answered
    /// once, by whoever asks first.
    std::vector<Session> takeInterrupted();

    /// The uuids of what has ended and was not handed over, the oldest first.
    std::vector<std::string> pending();
    void markHandedOver(const std::string& uuid);

private:
    void requireWritable() const;
    /// The number that the session has in this store. Throws a DatabaseError where it has none.
    std::int64_t idOf(const std::string& uuid);

    std::unique_ptr<Database> database_;
    Access access_;
    /// When the disk last had everything.
    std::chrono::steady_clock::time_point onDisk_ = {};
};

} // namespace record

#pragma once

#include "workbench/record/HistorySettings.h"
#include "workbench/record/Session.h"
#include "workbench/record/Store.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

namespace record {

/// A write whose end is not in the record, and whose program lives no more: it died in the write, or could not record
/// the end.
struct InterruptedWrite {
    Session session;
    std::size_t verified = 0; ///< of its items, those that are known to have been written
};

/// "The write to Sample 0000000001 on COM1 of 2026-11-24 10:12 is not known to have come to its end: 12 of 40 items are
/// recorded as verified." In local time.
std::string textOf(const InterruptedWrite& write);

/// Where the items stand, by their numbers.
using Positions = std::unordered_map<std::uint16_t, std::size_t>;
Positions positionsOf(const std::vector<SessionItem>& items);

/// Puts sessions into this computer's store as they happen. What the store does not take stays here, and is tried again
/// until the session has ended, and once at the very end: what a session came to is in the store as a whole, or its end
/// says why not.
///
/// One thread.
class SessionWriter {
public:
    /// Opens nothing yet.
    explicit SessionWriter(HistorySettings settings) : settings_(std::move(settings)) {}

    /// Answers why the store has not got it, empty where it has.
    std::string begin(Session session, std::vector<SessionItem> items);
    void item(const std::string& uuid, SessionItem item);
    /// Answers why the store lacks something of it; empty where it lacks nothing.
    std::string end(const Session& session);
    std::string add(const Session& session, const std::vector<SessionItem>& items);
    /// A last try to put in what the store has refused at the end of a session; of kMostRefused sessions at most.
    void retryEnded();

    /// Writes that have been left in the middle; by one program of this computer once. Those of a store that can't be
    /// asked are left to the next one.
    std::vector<InterruptedWrite> takeInterrupted();
    /// What was done to the store when it was opened, such as a damaged one that was put aside; then empty.
    std::string takeTold() { return std::exchange(told_, {}); }

private:
    static constexpr std::size_t kMostRefused = 8;

    /// A session under way.
    struct Open {
        Session session;
        std::vector<SessionItem> items; ///< as they are by now
        Positions positions = positionsOf(items);
        std::set<std::size_t> unsaved = {}; ///< positions in items that the store does not have so
        bool isStored = false;
        std::optional<Session> ended = {}; ///< as the store has refused it
        std::chrono::steady_clock::time_point lastTry = {};
    };

    Store& store();
    bool isReplaced() const;
    void save(Open& open);
    void forgetStore();
    template <typename Step>
    std::string trying(Step step);

    const HistorySettings settings_;
    std::unique_ptr<Store> store_;
    std::pair<std::uintmax_t, std::uintmax_t> identity_{}; ///< device and inode of the store that is open
    bool isSuspect_ = false;                               ///< the store was found damaged while it was open
    std::map<std::string, Open> open_;
    std::string told_;
};

} // namespace record

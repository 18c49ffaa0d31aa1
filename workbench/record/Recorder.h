#pragma once

#include "workbench/record/HistorySettings.h"
#include "workbench/record/Session.h"

#include <chrono>
#include <memory>
#include <span>
#include <string>
#include <vector>

namespace record {

inline constexpr std::chrono::milliseconds kLongestBegin{500};

/// Records sessions beside the work: a thread of its own writes to this computer's store, and hands over to the shared
/// one what has ended, when nobody writes to a phone. Any thread may call; nothing but begin() and the destructor
/// waits.
///
/// Never throws for the store's sake: what could not be recorded is told by takeLosses().
class Recorder {
public:
    explicit Recorder(HistorySettings settings);
    /// Waits a bounded time for what was recorded to be in the store of this computer.
    ~Recorder();
    Recorder(const Recorder&) = delete;
    Recorder& operator=(const Recorder&) = delete;

    bool isOn() const;

    /// Waits until the store has the session and its old values for good, kLongestBegin at most. Answers why it has
    /// not, empty where it has. A session that came too late is recorded all the same where the store comes to it.
    std::string begin(const Session& session, std::vector<SessionItem> items);
    void item(const std::string& uuid, SessionItem item);
    void end(Session session);
    /// A whole session, a read for instance.
    void add(Session session, std::vector<SessionItem> items);

    /// What could not be recorded since it was last asked, each a sentence for people; empty: nothing was lost.
    std::vector<std::string> takeLosses();
    /// Waits until everything that was given so far is in the store or lost.
    bool flush(std::chrono::milliseconds longest);

    /// Writes that the last run has left in the middle; answered once.
    std::vector<Session> takeInterrupted();

private:
    struct Impl;
    std::unique_ptr<Impl> impl_;
};

} // namespace record

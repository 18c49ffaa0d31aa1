#pragma once

#include "workbench/record/HistorySettings.h"
#include "workbench/record/Housekeeper.h"
#include "workbench/record/Session.h"
#include "workbench/record/SessionWriter.h"

#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace record {

inline constexpr std::chrono::milliseconds kLongestBegin{500};
/// How long a recorder that ends waits for its store, and for the shared one.
inline constexpr std::chrono::seconds kLongestEnd{2};
/// So many items may wait for the store: two reads of all numbers that there are, some 60 megabytes.
inline constexpr std::size_t kMostWaiting = std::size_t{2} * 65536;

/// Records sessions beside the work: a thread of its own writes to this computer's store. Another one hands over to the
/// shared store what has ended, and removes what is older than the settings say, while this recorder has no write
/// under way: a server that is slow or gone keeps nobody waiting. Any thread may call; nothing but begin(), flush(),
/// close() and the destructor waits.
///
/// Never throws for the store's sake: what could not be recorded is told by takeLosses().
class Recorder {
public:
    explicit Recorder(HistorySettings settings);
    /// Waits as close() does, kLongestEnd at most; not at all after a close().
    ~Recorder();
    Recorder(const Recorder&) = delete;
    Recorder& operator=(const Recorder&) = delete;

    bool isOn() const;
    /// What counts from the next session on; the file stays.
    void setSettings(const HistorySettings& settings);
    HistorySettings settings() const;

    /// Waits until the store has the session and its old values for good, kLongestBegin at most. Answers why it has
    /// not, empty where it has, and where recording is switched off. A session that came too late is recorded all the
    /// same where the store comes to it.
    std::string begin(const Session& session, std::vector<SessionItem> items);
    void item(const std::string& uuid, SessionItem item);
    /// Where that can't be recorded, it is told, but for a session whose begin has said so already, and for one of
    /// which nothing was sent. It is tried again when the recorder ends.
    void end(Session session, bool wasSent = true);
    /// A whole session, a read for instance.
    void add(Session session, std::vector<SessionItem> items);

    /// What could not be recorded since it was last asked, each a sentence for people; empty: nothing was lost.
    std::vector<std::string> takeLosses();
    /// To be called when nothing more will be given: waits for what was recorded to be in the store of this computer,
    /// and for that to be handed over. Answers whether all of that is done; may be called again, to go on waiting.
    bool close(std::chrono::milliseconds longest);
    /// Waits until everything that was given so far is in the store or lost.
    bool flush(std::chrono::milliseconds longest);

    /// Writes that were left in the middle; answered once. They are known some time after the start.
    std::vector<InterruptedWrite> takeInterrupted();
    /// Called, on a thread of the recorder, whenever there is something for one of the two to take; empty for nobody.
    /// Once it has been replaced, the one before is called no more.
    void setNews(std::function<void()> news);

    /// As the last round of handing over has left it; nothing before the first.
    std::optional<Waiting> waiting() const;

private:
    std::string tryBegin(const Session& session, std::vector<SessionItem> items);

    struct Impl;
    std::shared_ptr<Impl> impl_; ///< shared with threads that the store or the server keeps longer than the destructor
};

} // namespace record

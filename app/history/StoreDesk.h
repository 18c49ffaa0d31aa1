#pragma once

#include "app/document/UserInterface.h"
#include "engine/Calvane.h"
#include "workbench/Units.h"
#include "workbench/record/History.h"
#include "workbench/record/ShownStore.h"

#include <atomic>
#include <chrono>
#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

/// How long a window that goes waits for a question to the store, such as one that stores a note.
inline constexpr std::chrono::seconds kLongestAnswer{2};

/// Where windows of the record find it, and what gives its bytes a meaning.
struct HistorySource {
    /// Opens the store; may take seconds. Any thread, one at a time. Throws std::exception with a text for the user.
    std::function<record::ShownStore()> open;
    std::string ringPath = {}; ///< of the decoder ring that names the items
    workbench::Units units = {};
    /// Opens this computer's own store, for what the one above does not have yet; as above. Empty: there is none.
    std::function<record::ShownStore()> openOwn = {};
};

/// What questions to the store use: a connection and a catalog, made when the first one needs them. One thread at a
/// time.
class StoreLink {
public:
    StoreLink(std::function<record::ShownStore()> open, std::string ringPath,
              std::function<record::ShownStore()> openOwn = {})
        : open_(std::move(open)), openOwn_(std::move(openOwn)), ringPath_(std::move(ringPath)) {}

    const record::ShownStore& opened();
    record::Store& store() { return *opened().store; }
    record::History history() { return record::History(store().database()); }
    /// The session with this uuid. One that the shared store does not have is looked for in this computer's own, which
    /// is the opened one then, up to openAnew().
    std::optional<record::Session> sessionWherever(const std::string& uuid);
    bool isOwnInstead() const { return isOwnInstead_; }
    /// The items of the session. Of one whose end is not recorded nobody knows what became of those that it has not
    /// reported: the one under way may be on the phone, and a power cut takes the last second of the record.
    std::vector<record::SessionItem> itemsOf(const record::Session& session);
    /// Of a ring that can't be read to its end, what stands before the fault.
    Calvane& catalog();
    /// The next question opens the same store anew.
    void close() { opened_.reset(); }
    /// The next question opens the store that is to be had then.
    void openAnew() {
        isOwnInstead_ = false;
        close();
    }
    /// Nobody waits for an answer any more: what is asked from now on throws. Any thread.
    void leave() { isLeft_ = true; }

private:
    void requireAsker() const;

    const std::function<record::ShownStore()> open_;
    const std::function<record::ShownStore()> openOwn_;
    const std::string ringPath_;
    std::atomic<bool> isLeft_ = false;
    bool isOwnInstead_ = false;
    std::optional<record::ShownStore> opened_;
    std::unique_ptr<Calvane> catalog_;
};

/// Asks the store on a thread of its own, one question after the other, so that no window waits for a disk or a server.
/// Of questions with one topic that still wait, the newest is asked alone. A store that does not answer keeps nobody at
/// the end: its thread is left to itself then, with all that it uses. User-interface thread.
class StoreDesk {
public:
    /// `changed` is called when isAsking() may have changed; `failed` with a text for the user where a question could
    /// not be answered. The user interface outlives the desk, not a thread that was left.
    StoreDesk(UserInterface& userInterface, const HistorySource& source, std::function<void()> changed,
              std::function<void(const std::string&)> failed);
    /// Waits for an answer kLongestAnswer at most, and reports none.
    ~StoreDesk();
    StoreDesk(const StoreDesk&) = delete;
    StoreDesk& operator=(const StoreDesk&) = delete;

    /// `find` runs on the thread, with a StoreLink&; `take` gets here what it answered, unless the desk is gone.
    template <typename Find, typename Take>
    void ask(int topic, Find find, Take take) {
        using Answer = decltype(find(std::declval<StoreLink&>()));
        auto answer = std::make_shared<std::optional<Answer>>();
        add({topic, [answer, find = std::move(find)](StoreLink& link) { answer->emplace(find(link)); },
             [answer, take = std::move(take)] { take(std::move(**answer)); }});
    }
    bool isAsking() const { return thread_.joinable(); }

private:
    struct Question {
        int topic;
        std::function<void(StoreLink&)> find;
        std::function<void()> take;
    };

    struct Asking;

    void add(Question question);
    void askNext();
    void end(const std::string& failure, const std::function<void()>& take);

    const std::function<void()> changed_;
    const std::function<void(const std::string&)> failed_;
    const std::shared_ptr<StoreLink> link_;
    const std::shared_ptr<Asking> asking_; ///< shared with the thread, as the link is
    std::deque<Question> waiting_;
    std::thread thread_;
};

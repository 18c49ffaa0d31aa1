#pragma once

#include "app/document/PhoneJobs.h"
#include "engine/Calvane.h"
#include "workbench/Units.h"
#include "workbench/record/History.h"
#include "workbench/record/ShownStore.h"

#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>

/// Where windows of the record find it, and what gives its bytes a meaning.
struct HistorySource {
    /// Opens the store; may take seconds. Any thread, one at a time. Throws std::exception with a text for the user.
    std::function<record::ShownStore()> open;
    std::string ringPath; ///< of the decoder ring that names the items
    workbench::Units units;
};

/// What questions to the store use: a connection and a catalog, made when the first one needs them. One thread at a
/// time.
class StoreLink {
public:
    explicit StoreLink(std::function<record::ShownStore()> open, std::string ringPath)
        : open_(std::move(open)), ringPath_(std::move(ringPath)) {}

    const record::ShownStore& opened();
    record::Store& store() { return *opened().store; }
    record::History history() { return record::History(store().database()); }
    /// Of a ring that can't be read to its end, what stands before the fault.
    Calvane& catalog();
    /// The next question opens the store anew.
    void close() { opened_.reset(); }

private:
    const std::function<record::ShownStore()> open_;
    const std::string ringPath_;
    std::optional<record::ShownStore> opened_;
    std::unique_ptr<Calvane> catalog_;
};

/// Asks the store on a thread of its own, one question after the other, so that no window waits for a disk or a server.
/// Of questions with one topic that still wait, the newest is asked alone. User-interface thread.
class StoreDesk {
public:
    /// `changed` is called when isAsking() may have changed; `failed` with a text for the user where a question could
    /// not be answered. The user interface outlives the desk.
    StoreDesk(UserInterface& userInterface, const HistorySource& source, std::function<void()> changed,
              std::function<void(const std::string&)> failed);

    /// `find` runs on the thread, with a StoreLink&; `take` gets here what it answered, unless the desk is gone.
    template <typename Find, typename Take>
    void ask(int topic, Find find, Take take) {
        using Answer = decltype(find(std::declval<StoreLink&>()));
        auto answer = std::make_shared<std::optional<Answer>>();
        add({topic, [answer, find = std::move(find)](StoreLink& link) { answer->emplace(find(link)); },
             [answer, take = std::move(take)] { take(std::move(**answer)); }});
    }
    bool isAsking() const { return jobs_.isRunning(); }

private:
    struct Question {
        int topic;
        std::function<void(StoreLink&)> find;
        std::function<void()> take;
    };

    void add(Question question);
    void askNext();

    const std::function<void()> changed_;
    const std::function<void(const std::string&)> failed_;
    const std::shared_ptr<StoreLink> link_;
    std::deque<Question> waiting_;
    PhoneJobs jobs_; ///< last: its thread uses the link
};

#include "app/history/StoreDesk.h"

#include <algorithm>
#include <condition_variable>
#include <exception>
#include <mutex>
#include <stdexcept>
#include <system_error>

void StoreLink::requireAsker() const {
    if (isLeft_) {
        throw std::runtime_error("The window that asked the store is gone.");
    }
}

const record::ShownStore& StoreLink::opened() {
    requireAsker();
    if (!opened_) {
        opened_ = isOwnInstead_ ? openOwn_() : open_();
    }
    return *opened_;
}

std::optional<record::Session> StoreLink::sessionWherever(const std::string& uuid) {
    auto found = history().session(uuid);
    if (!found && opened().isShared && openOwn_) {
        try {
            record::ShownStore own = openOwn_();
            found = record::History(own.store->database()).session(uuid);
            if (found) {
                own.remark = "The shared record does not have the session yet.";
                opened_ = std::move(own);
                isOwnInstead_ = true;
            }
        } catch (const record::DatabaseError&) { // NOLINT(bugprone-empty-catch): then nobody has it
        }
    }
    return found;
}

std::vector<record::SessionItem> StoreLink::itemsOf(const record::Session& session) {
    auto items = history().items(session.uuid);
    requireAsker(); // the store may have kept the answer back until now
    return items;
}

Calvane& StoreLink::catalog() {
    if (!catalog_) {
        catalog_ = std::make_unique<Calvane>();
        try {
            catalog_->loadDecoderRingFile(ringPath_);
        } catch (const CalvaneException&) { // NOLINT(bugprone-empty-catch): the document has told it
        }
    }
    return *catalog_;
}

/// What the thread and the desk share.
struct StoreDesk::Asking {
    explicit Asking(UserInterface& userInterface) : reportTo(&userInterface) {}

    std::mutex mutex;
    std::condition_variable changed;
    UserInterface* reportTo; ///< null once the desk is gone
    bool isUnderWay = false;
};

StoreDesk::StoreDesk(UserInterface& userInterface, const HistorySource& source, std::function<void()> changed,
                     std::function<void(const std::string&)> failed)
    : changed_(std::move(changed)), failed_(std::move(failed)),
      link_(std::make_shared<StoreLink>(source.open, source.ringPath, source.openOwn)),
      asking_(std::make_shared<Asking>(userInterface)) {}

StoreDesk::~StoreDesk() {
    link_->leave();
    std::unique_lock lock(asking_->mutex);
    asking_->reportTo = nullptr;
    const bool hasEnded = asking_->changed.wait_for(lock, kLongestAnswer, [this] { return !asking_->isUnderWay; });
    lock.unlock();
    if (thread_.joinable()) {
        if (hasEnded) {
            thread_.join();
        } else {
            thread_.detach();
        }
    }
}

void StoreDesk::add(Question question) {
    std::erase_if(waiting_, [&](const Question& other) { return other.topic == question.topic; });
    waiting_.push_back(std::move(question));
    askNext();
}

void StoreDesk::askNext() {
    if (!isAsking() && !waiting_.empty()) {
        Question next = std::move(waiting_.front());
        waiting_.pop_front();
        // Only by shared ownership: the desk may be gone before the answer is there.
        const auto work = [this, asking = asking_, link = link_, find = std::move(next.find), take = next.take] {
            std::string failure;
            try {
                find(*link);
            } catch (const std::exception& reason) {
                failure = reason.what();
                if (dynamic_cast<const record::DatabaseError*>(&reason) != nullptr) {
                    link->close(); // whoever asks next may find a server that is back
                }
            }
            const std::scoped_lock lock(asking->mutex);
            asking->isUnderWay = false;
            asking->changed.notify_all();
            if (asking->reportTo != nullptr) {
                asking->reportTo->post([this, asking, failure, take] {
                    if (asking->reportTo != nullptr) { // no other thread changes it
                        end(failure, take);
                    }
                });
            }
        };
        asking_->isUnderWay = true; // no thread runs that could read it
        try {
            thread_ = std::thread(work);
        } catch (const std::system_error& failure) {
            asking_->isUnderWay = false;
            end(failure.what(), next.take);
        }
    }
    changed_();
}

void StoreDesk::end(const std::string& failure, const std::function<void()>& take) {
    if (thread_.joinable()) {
        thread_.join();
    }
    changed_(); // before what may show a dialog
    if (failure.empty()) {
        take();
    } else {
        failed_(failure);
    }
    askNext();
}

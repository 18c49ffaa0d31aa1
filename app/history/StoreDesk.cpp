#include "app/history/StoreDesk.h"

#include <algorithm>

const record::ShownStore& StoreLink::opened() {
    if (!opened_) {
        opened_ = open_();
    }
    return *opened_;
}

std::vector<record::SessionItem> StoreLink::itemsOf(const record::Session& session) {
    return history().items(session.uuid);
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

StoreDesk::StoreDesk(UserInterface& userInterface, const HistorySource& source, std::function<void()> changed,
                     std::function<void(const std::string&)> failed)
    : changed_(std::move(changed)), failed_(std::move(failed)),
      link_(std::make_shared<StoreLink>(source.open, source.ringPath)), jobs_(userInterface) {}

void StoreDesk::add(Question question) {
    std::erase_if(waiting_, [&](const Question& other) { return other.topic == question.topic; });
    waiting_.push_back(std::move(question));
    askNext();
}

void StoreDesk::askNext() {
    if (!jobs_.isRunning() && !waiting_.empty()) {
        Question next = std::move(waiting_.front());
        waiting_.pop_front();
        const auto work = [link = link_, find = std::move(next.find)](const workbench::WorkControl&) {
            try {
                find(*link);
            } catch (const record::DatabaseError&) {
                link->close(); // whoever asks next may find a server that is back
                throw;
            }
        };
        jobs_.start(work, [this, take = std::move(next.take)](const std::string& failure) {
            changed_(); // before what may show a dialog
            if (failure.empty()) {
                take();
            } else {
                failed_(failure);
            }
            askNext();
        });
    }
    changed_();
}

#include "workbench/record/WriteRecording.h"

#include "workbench/record/ReportItems.h"

namespace record {

std::string WriteRecording::begin() {
    return recorder_ == nullptr ? std::string() : recorder_->begin(session_, items_);
}

void WriteRecording::wrote(const workbench::WriteResult& result) {
    const auto position = positions_.find(result.number);
    if (recorder_ == nullptr || position == positions_.end()) {
        return;
    }
    SessionItem& known = items_[position->second];
    SessionItem now = itemWritten(known, result);
    if (now != known) {
        known = now;
        recorder_->item(session_.uuid, std::move(now));
    }
}

void WriteRecording::end(const workbench::WriteReport& report, const std::string& failure) {
    if (recorder_ == nullptr) {
        return;
    }
    for (const workbench::WriteResult& result : report.results) {
        wrote(result);
    }
    describe(session_, report);
    if (!failure.empty()) {
        session_.failure = failure;
        session_.state = session_.state == SessionState::kComplete ? SessionState::kIncomplete : session_.state;
    }
    recorder_->end(session_);
}

void WriteRecording::dropped() {
    if (recorder_ != nullptr) {
        session_.state = SessionState::kCancelled;
        session_.ended = std::chrono::system_clock::now();
        session_.failure = "Nothing was sent.";
        recorder_->end(session_, false);
    }
}

} // namespace record

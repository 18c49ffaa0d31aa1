#pragma once

#include "workbench/PhoneWriter.h"
#include "workbench/record/Recorder.h"
#include "workbench/record/Session.h"

#include <string>
#include <vector>

namespace record {

/// One write on its way into the record. It is begun before the first packet of the write leaves, told each row as it
/// was written, and ended with the report. Without a recorder it does nothing.
///
/// One thread at a time; the recorder, which may be null, outlives it.
class WriteRecording {
public:
    /// Records nothing.
    WriteRecording() = default;
    /// `items`: those that are about to be written (ReportItems.h).
    WriteRecording(Recorder* recorder, Session session, std::vector<SessionItem> items)
        : recorder_(recorder), session_(std::move(session)), items_(std::move(items)), positions_(positionsOf(items_)) {
    }

    /// Answers why the record does not have it, empty where it does. Either way the write may go on.
    std::string begin();
    void wrote(const workbench::WriteResult& result);
    /// `failure`: what was thrown on the way to the report's end; empty for nothing.
    void end(const workbench::WriteReport& report, const std::string& failure = {});
    /// Nothing was sent, as somebody has decided otherwise.
    void dropped();

    const Session& session() const { return session_; }

private:
    Recorder* recorder_ = nullptr;
    Session session_;
    std::vector<SessionItem> items_; ///< as the recorder knows them
    Positions positions_;
};

} // namespace record

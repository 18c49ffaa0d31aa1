#pragma once

#include "cli/Arguments.h"
#include "cli/ExitStatus.h"
#include "workbench/PhoneReader.h"
#include "workbench/PhoneWriter.h"
#include "workbench/RingInfo.h"
#include "workbench/record/Recorder.h"
#include "workbench/record/WriteRecording.h"

#include <memory>
#include <optional>
#include <string>

/// What a run on a phone leaves in the record: its reads, and its write. Without a recorder, as on a verb without a
/// phone, it does nothing.
class RunRecord {
public:
    /// Opens the record that the arguments and the user's settings name. Why that can't be is told where something is
    /// to be recorded.
    void open(const Arguments& arguments);
    bool isOpen() const { return recorder_ != nullptr; }
    void setRing(const workbench::RingInfo& ring) { ring_ = ring; }
    /// What the sessions of this run are, where the verb alone does not say it.
    void setKind(record::SessionKind kind, const std::string& asked);

    /// What was read, where the phone has answered anything.
    void add(const workbench::ReadReport& read);

    /// To be called before the first packet of the write leaves. Where it is not recorded, people are told, or, where
    /// the arguments require a record, a BatchFailure ends the run.
    void begin(const workbench::WritePlan& plan);
    void wrote(const workbench::WriteResult& result);
    void end(const workbench::WriteReport& report, const std::string& failure = {});

    /// Waits a bounded time for all of it to be recorded and handed over, and tells what is not, and of which earlier
    /// writes the end is not known. Answers kFile where the arguments require a record that lacks something. An
    /// Interruption lives meanwhile: a signal ends the waiting, and is answered.
    ExitStatus finish();

private:
    void tellWaiting(bool isThrough) const;
    record::Session newSession(const std::string& port) const;

    std::unique_ptr<record::Recorder> recorder_;
    std::optional<record::WriteRecording> write_;
    workbench::RingInfo ring_;
    record::SessionKind kind_ = record::SessionKind::kWrite;
    std::string asked_;
    std::string reason_; ///< why nothing can be recorded; empty: it can
    bool isRequired_ = false;
    bool isTold_ = false;          ///< the write is not recorded, or comes late
    bool isServerToBeTold_ = true; ///< why a shared store has not got what it should
};

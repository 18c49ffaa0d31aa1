#pragma once

#include "cli/ExitStatus.h"
#include "tessra/trace/PacketRecorder.h"
#include "tessra/trace/TraceFile.h"

#include <memory>
#include <string>

/// The file of a run's packets, where one is asked for: the service gives it what goes over its ports.
class RunTrace {
public:
    /// Makes the file; an empty path stands for none. A BatchFailure where it can't be written.
    explicit RunTrace(const std::string& path);

    /// Null where there is no trace.
    const std::shared_ptr<tessra::PacketRecorder>& recorder() const { return recorder_; }
    /// How the program ends because of the trace: kDone unless a packet could not be written.
    ExitStatus status() const;

private:
    std::shared_ptr<tessra::TraceFile> file_;
    std::shared_ptr<tessra::PacketRecorder> recorder_;
};

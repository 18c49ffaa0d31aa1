#include "cli/RunTrace.h"

#include "cli/CommandText.h"

#include <chrono>
#include <system_error>

RunTrace::RunTrace(const std::string& path) {
    if (path.empty()) {
        return;
    }
    try {
        file_ = std::make_shared<tessra::TraceFile>(path, std::chrono::system_clock::now());
    } catch (const std::system_error& failure) {
        throw BatchFailure(ExitStatus::kFile, "Can't write " + quoted(path) + ": " +
                                                  outputProblem(failure.code().value()) +
                                                  ". Nothing was sent to a phone.");
    }
    recorder_ = std::make_shared<tessra::PacketRecorder>(
        [file = file_](const tessra::TraceRecord& record) { file->add(record); });
}

ExitStatus RunTrace::status() const {
    if (!file_ || file_->isWhole()) {
        return ExitStatus::kDone;
    }
    tellFailure(file_->failure());
    return ExitStatus::kFile;
}

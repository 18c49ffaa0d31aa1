#pragma once

#include "platform/kernel/FileDescriptor.h"
#include "tessra/trace/TraceRecord.h"

#include <atomic>
#include <chrono>
#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>

namespace tessra {

/// A trace that is written as it comes: each line is with the operating system before the next packet, so that a crash
/// of the program leaves what was recorded. One thread at a time adds records.
class TraceFile {
public:
    /// Makes the file anew; "-" is standard output. std::system_error where it can't be written.
    TraceFile(const std::filesystem::path& path, std::chrono::system_clock::time_point begin);

    /// A line that can't be written ends the trace: the error log is told once, and what is added later is dropped.
    void add(const TraceRecord& record);
    /// Whether everything that was added has been written. Any thread may ask.
    bool isWhole() const { return error_ == 0; }
    /// Why it is not, for people.
    std::string failure() const;

private:
    int append(std::string_view line);

    const std::string path_;
    kernel::FileDescriptor file_;
    std::int64_t bytes_ = 0;     ///< of whole lines
    std::atomic<int> error_ = 0; ///< of the record that could not be written
};

} // namespace tessra

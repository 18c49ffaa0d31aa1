#pragma once

#include "tessra/trace/TraceRecord.h"

#include <cstddef>
#include <cstdint>
#include <deque>
#include <mutex>

namespace tessra {

/// Records on their way from the threads that talk to phones to a window that shows them. When it is full, the oldest
/// make room. Any thread may call it.
class TraceBuffer {
public:
    static constexpr std::size_t kMaxRecords = 100'000;

    struct Batch {
        std::deque<TraceRecord> records; ///< the oldest first
        std::uint64_t dropped = 0;       ///< so many older ones had to make room
    };

    void add(TraceRecord&& record);
    /// What has come since the last call.
    Batch takeAll();

private:
    std::mutex lock_;
    Batch batch_; ///< guarded by lock_
};

} // namespace tessra

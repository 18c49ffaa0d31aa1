#pragma once

#include <compare>
#include <cstdint>

namespace kernel {

/// Names a thread of this process. Numbers are handed out once and never again, so the id of a thread that has ended
/// never comes to mean another thread. 0 is no thread.
struct ThreadId {
    std::uint32_t value = 0;

    friend auto operator<=>(const ThreadId&, const ThreadId&) = default;
};

/// The calling thread's id; also for threads that were not started by kernel::Thread.
ThreadId currentThreadId();

} // namespace kernel

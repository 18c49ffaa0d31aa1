#pragma once

#include <atomic>

namespace kernel {

/// While one lives, its thread writes to what may keep it waiting for ever: a pipe whose reader stands still. Any
/// thread may have some.
class PendingWrite {
public:
    PendingWrite() { ++begun_; }
    ~PendingWrite() { ++ended_; }
    PendingWrite(const PendingWrite&) = delete;
    PendingWrite& operator=(const PendingWrite&) = delete;

    /// For handlers of signals too: a number that changes with each write that begins; 0 where none is under way.
    static unsigned current() {
        const unsigned ended = ended_;
        const unsigned begun = begun_;
        return begun == ended ? 0 : begun;
    }

private:
    static_assert(std::atomic<unsigned>::is_always_lock_free);
    static inline std::atomic<unsigned> begun_ = 0;
    static inline std::atomic<unsigned> ended_ = 0;
};

} // namespace kernel

#pragma once

#include "platform/kernel/Waitable.h"

#include <cstdint>

namespace kernel {

/// A recursive mutex that threads can wait for with a time-out, alone or among other objects. Created not owned.
///
/// A wait that ends with `signalled` makes the calling thread the owner; the owner's further waits succeed at once and
/// each needs a `release` of its own. Ownership passes on in the order of arrival. A thread must release what it owns
/// before it ends: nothing does it in its place.
class Mutex : public Waitable {
public:
    /// Undoes one wait of the calling thread. False, and nothing changed, if that thread does not own the mutex.
    bool release();

private:
    bool isSignalledFor(ThreadId thread) const override;
    void take(ThreadId thread) override;

    /// Guarded by the dispatcher lock.
    ThreadId owner_;          ///< no thread: free
    std::uint32_t count_ = 0; ///< waits of the owner that are not yet released
};

/// Owns a mutex for a scope; waits for it without limit.
class MutexLock {
public:
    explicit MutexLock(Mutex& mutex) : mutex_(mutex) { mutex_.wait(); }
    ~MutexLock() { mutex_.release(); }
    MutexLock(const MutexLock&) = delete;
    MutexLock& operator=(const MutexLock&) = delete;

private:
    Mutex& mutex_;
};

} // namespace kernel

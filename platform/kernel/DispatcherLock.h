#pragma once

#include <memory>
#include <mutex>

namespace kernel {

struct Waiter;

/// Holds the dispatcher lock (see Waitable) for a scope. Only the kernel objects use it.
///
/// Of the threads whose waits are satisfied meanwhile, the last (mostly the only one) is woken after the lock has been
/// let go, so that it does not wake only to wait for the lock; those before it are woken under the lock. Nothing of the
/// object that was signalled is touched once the lock is free: the woken thread may already have destroyed it.
class DispatcherLock {
public:
    DispatcherLock();
    ~DispatcherLock();
    DispatcherLock(const DispatcherLock&) = delete;
    DispatcherLock& operator=(const DispatcherLock&) = delete;

    void wakeLater(std::shared_ptr<Waiter> waiter);
    /// For a wait, which wakes nobody: between the two the lock is free.
    void letGo();
    void takeAgain();
    std::unique_lock<std::mutex>& held() { return lock_; }

private:
    static void wake(Waiter& waiter);

    std::unique_lock<std::mutex> lock_;
    /// The last of the threads to wake; those before it, if any, have been woken already.
    std::shared_ptr<Waiter> toWake_;
};

} // namespace kernel

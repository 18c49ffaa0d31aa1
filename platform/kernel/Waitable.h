#pragma once

#include <compare>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <stdexcept>

namespace kernel {

/// Names a thread of this process. Numbers are handed out once and never again, so the id of a thread that has ended
/// never comes to mean another thread. 0 is no thread.
struct ThreadId {
    std::uint32_t value = 0;

    friend auto operator<=>(const ThreadId&, const ThreadId&) = default; // NOLINT(modernize-use-nullptr)
};

/// The calling thread's id; also for threads that were not started by kernel::Thread.
ThreadId currentThreadId();

/// As a time-out in milliseconds: no limit.
inline constexpr std::uint32_t kInfinite = 0xFFFFFFFF;

enum class WaitResult { kSignalled, kTimedOut };

/// A kernel object could not be made.
class ObjectCreationError : public std::runtime_error {
public:
    ObjectCreationError() : std::runtime_error("A kernel object could not be created.") {}
};

/// For tests of what callers do then: the `count`-th object created from now on, by any thread, throws
/// ObjectCreationError (1: the very next one). 0 takes the order back.
void failCreationForTests(std::uint32_t count);

struct WaitNode;
class DispatcherLock;

/// What a thread can wait for: an object that is signalled or not, and that a satisfied wait may change (an event is
/// reset, a mutex owned).
///
/// One process-wide lock, the dispatcher lock, guards the state of every waitable and the lists of their waiters. It is
/// held for a few instructions at a time, where one signal serves several threads also while all of them but the last
/// are woken, and never while something sleeps or calls out; a wait for several objects is thereby one atomic step, and
/// an object may be destroyed as soon as the wait for it has returned. Waiters are served in the order of their
/// arrival: who signals an object takes it at once on behalf of the first waiter, so a signal can neither be lost nor
/// be snatched away by a later comer.
///
/// Any thread may call any operation. An object must not be destroyed while a thread waits for it.
class Waitable {
public:
    Waitable(const Waitable&) = delete;
    Waitable& operator=(const Waitable&) = delete;
    virtual ~Waitable();

    /// Waits up to `timeoutMs` milliseconds until the object is signalled, and takes it. Runs no messages meanwhile.
    /// timedOut leaves the object as it is.
    WaitResult wait(std::uint32_t timeoutMs = kInfinite);
    /// Takes the object if it is signalled; never waits.
    [[nodiscard]] bool tryWait();

protected:
    /// Throws ObjectCreationError; see failCreationForTests.
    Waitable();

    /// Gives the object to the waiters that can have it now. Call it after each change that may have signalled the
    /// object, under the same `lock`.
    void serveWaiters(DispatcherLock& lock);

private:
    friend std::optional<std::size_t> waitForAny(std::span<Waitable* const> objects, std::uint32_t timeoutMs);

    /// Both are called under the dispatcher lock; `take` only when `isSignalledFor` the same thread.
    virtual bool isSignalledFor(ThreadId thread) const = 0;
    virtual void take(ThreadId thread) = 0;

    void link(WaitNode& node);
    void unlink(WaitNode& node);

    /// The waiters in the order of their arrival. Guarded by the dispatcher lock.
    WaitNode* first_ = nullptr;
    WaitNode* last_ = nullptr;
};

/// Waits up to `timeoutMs` milliseconds until one of `objects` (at most 8, none twice) is signalled, and takes that one
/// alone. Returns its index; the lowest one when several are signalled at the start. Empty after a time-out, with no
/// object taken.
std::optional<std::size_t> waitForAny(std::span<Waitable* const> objects, std::uint32_t timeoutMs);

} // namespace kernel

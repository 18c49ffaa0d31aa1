#include "platform/kernel/Waitable.h"

#include "platform/kernel/DispatcherLock.h"
#include "platform/kernel/Spin.h"

#include <array>
#include <atomic>
#include <cassert>
#include <chrono>
#include <condition_variable>
#include <utility>

namespace kernel {

namespace {

constexpr std::size_t kNotSatisfied = static_cast<std::size_t>(-1);
constexpr std::size_t kMostObjects = 8;
// The dispatcher lock is held for less time than so many tries take, unless its holder has lost its processor.
constexpr int kTriesBeforeSleep = 40;

constinit std::mutex dispatcherMutex;
std::atomic<std::uint32_t> creationsUntilFailure{0};

} // namespace

/// One thread's part in its current wait. A thread waits once at a time, so each has one for its whole life; who wakes
/// it holds a reference, as the thread may be gone by then.
struct Waiter {
    std::condition_variable wake;
    const ThreadId thread = currentThreadId();
    // Index of the object that ended the wait. Guarded by the dispatcher lock.
    std::size_t satisfiedBy = kNotSatisfied;
    // A hint for the thread while it spins: satisfiedBy is worth a look. Set once the dispatcher lock is free again, or
    // before, where another thread is woken by the same signal; one that belongs to the wait before only ends the
    // spinning early.
    std::atomic<bool> wakeHint{false};
    SpinPatience patience; // the thread's own
};

/// A waiter's place in one object's list; lives on the waiting thread's stack. Guarded by the dispatcher lock.
struct WaitNode {
    const std::shared_ptr<Waiter>* waiter = nullptr;
    std::size_t index = 0;
    WaitNode* previous = nullptr;
    WaitNode* next = nullptr;
};

namespace {

/// Whether the calling thread has destroyed its waiter. It needs no destruction itself, so it can be asked to the end.
thread_local bool waiterIsGone = false;

struct OwnWaiter {
    const std::shared_ptr<Waiter> waiter = std::make_shared<Waiter>();
    ~OwnWaiter() { waiterIsGone = true; }
};

/// The calling thread's waiter. A thread in its last moments, such as the main thread when it destroys static objects,
/// has none any more and gets one for the one wait.
std::shared_ptr<Waiter> ownWaiter() {
    if (waiterIsGone) {
        return std::make_shared<Waiter>();
    }
    thread_local const OwnWaiter own;
    return own.waiter;
}

/// Waits until the waiter is satisfied or the time is up, letting go of the dispatcher lock meanwhile: spins at first
/// where that promises to be enough, and then sleeps.
void waitUntilSatisfied(Waiter& waiter, DispatcherLock& lock, std::uint32_t timeoutMs) {
    const auto satisfied = [&waiter] { return waiter.satisfiedBy != kNotSatisfied; };
    waiter.wakeHint.store(false, std::memory_order_relaxed);
    lock.letGo();
    waiter.patience.spin(waiter.wakeHint);
    lock.takeAgain();
    if (timeoutMs == kInfinite) {
        waiter.wake.wait(lock.held(), satisfied);
    } else {
        waiter.wake.wait_for(lock.held(), std::chrono::milliseconds(timeoutMs), satisfied);
    }
}

} // namespace

DispatcherLock::DispatcherLock() : lock_(dispatcherMutex, std::defer_lock) {
    takeAgain();
}

DispatcherLock::~DispatcherLock() {
    lock_.unlock();
    if (toWake_) {
        wake(*toWake_);
    }
}

void DispatcherLock::letGo() {
    lock_.unlock();
}

void DispatcherLock::takeAgain() {
    for (int tries = canSpin() ? kTriesBeforeSleep : 0; tries > 0; --tries) {
        if (lock_.try_lock()) {
            return;
        }
        pauseProcessor();
    }
    lock_.lock();
}

void DispatcherLock::wake(Waiter& waiter) {
    waiter.wakeHint.store(true, std::memory_order_release);
    waiter.wake.notify_one();
}

void DispatcherLock::wakeLater(std::shared_ptr<Waiter> waiter) {
    if (toWake_) {
        wake(*toWake_);
    }
    toWake_ = std::move(waiter);
}

ThreadId currentThreadId() {
    static constinit std::atomic<std::uint32_t> last{0};
    thread_local const ThreadId id{++last};
    return id;
}

void failCreationForTests(std::uint32_t count) {
    creationsUntilFailure = count;
}

Waitable::Waitable() {
    std::uint32_t left = creationsUntilFailure;
    while (left != 0 && !creationsUntilFailure.compare_exchange_weak(left, left - 1)) {
    }
    if (left == 1) {
        throw ObjectCreationError();
    }
}

Waitable::~Waitable() {
    assert(first_ == nullptr && "destroyed while a thread waits for it");
}

WaitResult Waitable::wait(std::uint32_t timeoutMs) {
    Waitable* const self[] = {this};
    return waitForAny(self, timeoutMs) ? WaitResult::kSignalled : WaitResult::kTimedOut;
}

bool Waitable::tryWait() {
    return wait(0) == WaitResult::kSignalled;
}

void Waitable::serveWaiters(DispatcherLock& lock) {
    for (WaitNode* node = first_; node != nullptr; node = node->next) {
        Waiter& waiter = **node->waiter;
        if (waiter.satisfiedBy != kNotSatisfied) {
            continue; // it has what it waited for, and has only not come round to unlinking itself
        }
        if (!isSignalledFor(waiter.thread)) {
            return;
        }
        take(waiter.thread);
        waiter.satisfiedBy = node->index;
        lock.wakeLater(*node->waiter);
    }
}

void Waitable::link(WaitNode& node) {
    node.previous = last_;
    (last_ != nullptr ? last_->next : first_) = &node;
    last_ = &node;
}

void Waitable::unlink(WaitNode& node) {
    (node.previous != nullptr ? node.previous->next : first_) = node.next;
    (node.next != nullptr ? node.next->previous : last_) = node.previous;
}

std::optional<std::size_t> waitForAny(std::span<Waitable* const> objects, std::uint32_t timeoutMs) {
    assert(objects.size() <= kMostObjects);
    const std::shared_ptr<Waiter> waiter = ownWaiter();
    std::array<WaitNode, kMostObjects> nodes;

    DispatcherLock lock;
    for (std::size_t i = 0; i < objects.size(); ++i) {
        if (objects[i]->isSignalledFor(waiter->thread)) {
            objects[i]->take(waiter->thread);
            return i;
        }
    }
    if (timeoutMs == 0) {
        return std::nullopt;
    }

    waiter->satisfiedBy = kNotSatisfied;
    for (std::size_t i = 0; i < objects.size(); ++i) {
        nodes[i].waiter = &waiter;
        nodes[i].index = i;
        objects[i]->link(nodes[i]);
    }
    waitUntilSatisfied(*waiter, lock, timeoutMs);
    for (std::size_t i = 0; i < objects.size(); ++i) {
        objects[i]->unlink(nodes[i]);
    }
    if (waiter->satisfiedBy == kNotSatisfied) {
        return std::nullopt;
    }
    return waiter->satisfiedBy;
}

} // namespace kernel

#include "tessra/EventThread.h"

#include "platform/kernel/Trace.h"
#include "tessra/Port.h"

#include <chrono>
#include <exception>
#include <optional>
#include <utility>

namespace tessra {

void EventThread::post(std::function<void()> delivery) {
    const std::lock_guard guard(lock_);
    if (closed_) {
        return;
    }
    posted_.push_back(std::move(delivery));
    startLocked();
    woken_.notify_one();
}

void EventThread::wake() noexcept {
    const std::lock_guard guard(lock_);
    if (closed_) {
        return;
    }
    isWoken_ = true;
    startLocked();
    woken_.notify_one();
}

void EventThread::close() {
    std::thread ended;
    std::vector<std::function<void()>> dropped; // destroyed after the lock has gone
    {
        const std::lock_guard guard(lock_);
        closed_ = true;
        ended.swap(thread_);
        dropped.swap(posted_);
        woken_.notify_one();
    }
    if (ended.joinable()) {
        ended.join();
    }
}

void EventThread::startLocked() noexcept {
    if (thread_.joinable()) {
        return;
    }
    try {
        thread_ = std::thread([this] { run(); });
        hasFailed_ = false;
    } catch (const std::exception&) {
        if (!std::exchange(hasFailed_, true)) {
            kernel::logError("Tessra: there is no thread for events to be had; they wait for one.");
        }
    }
}

void EventThread::run() {
    std::optional<std::chrono::steady_clock::time_point> due;
    const auto hasWork = [this] { return isWoken_ || closed_ || !posted_.empty(); };
    std::unique_lock guard(lock_);
    while (!closed_) {
        if (!posted_.empty()) {
            auto deliveries = std::exchange(posted_, {});
            guard.unlock();
            for (const auto& delivery : deliveries) {
                delivery();
            }
            deliveries.clear();
            guard.lock();
        } else if (isWoken_ || (due && *due <= std::chrono::steady_clock::now())) {
            isWoken_ = false;
            guard.unlock();
            due = look();
            guard.lock();
        } else if (due) {
            woken_.wait_until(guard, *due, hasWork);
        } else {
            woken_.wait(guard, hasWork);
        }
    }
}

/// Has each port tell its subscribers what has changed; when to do so again.
std::optional<std::chrono::steady_clock::time_point> EventThread::look() const {
    std::optional<std::chrono::steady_clock::time_point> due;
    for (const auto& held : ports_) {
        if (const auto port = held.lock()) {
            const auto next = port->watch();
            due = next && (!due || *next < *due) ? next : due;
        }
    }
    return due;
}

} // namespace tessra

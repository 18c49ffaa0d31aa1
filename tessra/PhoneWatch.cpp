#include "tessra/PhoneWatch.h"

#include "tessra/Port.h"

#include <chrono>
#include <optional>
#include <utility>

namespace tessra {

void PhoneWatch::wake() {
    const std::lock_guard guard(lock_);
    if (closed_) {
        return;
    }
    isWoken_ = true;
    if (!thread_.joinable()) {
        thread_ = std::thread([this] { run(); });
    }
    woken_.notify_one();
}

void PhoneWatch::close() {
    std::thread ended;
    {
        const std::lock_guard guard(lock_);
        closed_ = true;
        ended.swap(thread_);
        woken_.notify_one();
    }
    if (ended.joinable()) {
        ended.join();
    }
}

void PhoneWatch::run() {
    const auto isDone = [this] { return isWoken_ || closed_; };
    std::unique_lock guard(lock_);
    while (!closed_) {
        isWoken_ = false;
        guard.unlock();
        std::optional<std::chrono::steady_clock::time_point> due;
        for (const auto& held : ports_) {
            if (const auto port = held.lock()) {
                const auto next = port->watch();
                due = next && (!due || *next < *due) ? next : due;
            }
        }
        guard.lock();
        if (due) {
            woken_.wait_until(guard, *due, isDone);
        } else {
            woken_.wait(guard, isDone);
        }
    }
}

} // namespace tessra

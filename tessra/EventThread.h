#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>
#include <vector>

namespace tessra {

class Port;

/// The service's own thread behind the events of its ports. It hands on the events that ports post, in the order in
/// which they were posted, so that no call of a client does it; and it looks at phones that will change by themselves
/// at a known time, for those who have subscribed to their events. Meanwhile it sleeps.
///
/// The first post() or wake() starts the thread, so a service that never had a subscriber has none; it stays until
/// close(). Any thread may call any method, with whatever lock held; where the system gives no thread, that is logged,
/// and each later call tries again.
class EventThread {
public:
    ~EventThread() { close(); }

    /// Before all else.
    void add(const std::shared_ptr<Port>& port) { ports_.push_back(port); }
    /// Runs `delivery`, which must neither block nor throw, on the thread.
    void post(std::function<void()> delivery);
    /// Something has happened that may bring the next change of a phone forward.
    void wake() noexcept;
    /// Ends the thread, and drops what is still posted; nothing starts it again.
    void close();

private:
    void startLocked() noexcept;
    void run();
    std::optional<std::chrono::steady_clock::time_point> look() const;

    std::vector<std::weak_ptr<Port>> ports_;
    std::mutex lock_; ///< guards all that follows
    std::condition_variable woken_;
    std::vector<std::function<void()>> posted_;
    bool isWoken_ = false;
    bool closed_ = false;
    bool hasFailed_ = false; ///< to start, and has said so
    std::thread thread_;
};

} // namespace tessra

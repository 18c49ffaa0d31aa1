#pragma once

#include <condition_variable>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

namespace tessra {

class Port;

/// Looks at phones that will change by themselves at a known time, for those who have subscribed to their events: a
/// thread that sleeps until the next such moment, or until there is one. Any thread may call any method.
class PhoneWatch {
public:
    ~PhoneWatch() { close(); }

    /// Before the first wake().
    void add(const std::shared_ptr<Port>& port) { ports_.push_back(port); }
    /// Something has happened that may bring the next moment forward. The first call starts the thread: a service
    /// without subscribers has none.
    void wake();
    /// Ends the thread; nothing starts it again.
    void close();

private:
    void run();

    std::vector<std::weak_ptr<Port>> ports_;
    std::mutex lock_; // guards all that follows
    std::condition_variable woken_;
    bool isWoken_ = false;
    bool closed_ = false;
    std::thread thread_;
};

} // namespace tessra

#pragma once

#include "platform/kernel/FileDescriptor.h"

#include <sys/eventfd.h>

#include <cerrno>
#include <cstdint>
#include <system_error>

namespace kernel {

/// Wakes a thread that sleeps in poll(): signalled until it is cleared. Any thread may call any method, and a signal
/// handler may call signal().
class WakeEvent {
public:
    WakeEvent() : event_(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
        if (!event_) {
            throw std::system_error(errno, std::generic_category(), "eventfd");
        }
    }

    void signal() {
        const std::uint64_t one = 1;
        [[maybe_unused]] const auto written = ::write(event_.number(), &one, sizeof one);
    }
    void clear() {
        std::uint64_t count = 0;
        [[maybe_unused]] const auto taken = ::read(event_.number(), &count, sizeof count);
    }
    int number() const { return event_.number(); }

private:
    FileDescriptor event_;
};

} // namespace kernel

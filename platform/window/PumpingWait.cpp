#include "platform/window/PumpingWait.h"

#include "platform/window/MessageQueue.h"

#include <chrono>

namespace window {

namespace {

/// The time that is left of a time-out which began when this object was made.
class TimeLeft {
public:
    explicit TimeLeft(std::uint32_t timeoutMs) : timeoutMs_(timeoutMs) {}

    std::uint32_t ms() const {
        if (timeoutMs_ == kernel::kInfinite || timeoutMs_ == 0) {
            return timeoutMs_;
        }
        const auto elapsed = std::chrono::steady_clock::now() - start_;
        const auto elapsedMs = std::chrono::duration_cast<std::chrono::milliseconds>(elapsed).count();
        return elapsedMs < timeoutMs_ ? timeoutMs_ - static_cast<std::uint32_t>(elapsedMs) : 0;
    }

private:
    std::uint32_t timeoutMs_;
    std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
};

/// Dispatches what the queue holds, until it is empty or the time is up. True if `pump` made it look at the object in
/// between and the object was taken.
bool runMessages(kernel::Waitable& object, Pump pump, const TimeLeft& left) {
    Message message;
    while (peek(message)) {
        dispatch(message);
        message = nullptr; // what it owns goes before the next wait
        if (pump == Pump::kOneByOne && object.tryWait()) {
            return true;
        }
        if (left.ms() == 0) {
            return false;
        }
    }
    return false;
}

} // namespace

WaitOutcome waitForObjectOrInput(kernel::Waitable& object, std::uint32_t timeoutMs) {
    kernel::Waitable* const objects[] = {&object, &input()};
    const auto signalled = kernel::waitForAny(objects, timeoutMs);
    if (!signalled) {
        return WaitOutcome::kTimedOut;
    }
    // Input may have ended the wait with the object following before this thread ran again.
    return *signalled == 0 || object.tryWait() ? WaitOutcome::kObject : WaitOutcome::kInput;
}

kernel::WaitResult pumpingWait(kernel::Waitable& object, std::uint32_t timeoutMs, Pump pump) {
    const TimeLeft left(timeoutMs);
    while (true) {
        switch (waitForObjectOrInput(object, left.ms())) {
        case WaitOutcome::kObject:
            return kernel::WaitResult::kSignalled;
        case WaitOutcome::kTimedOut:
            return kernel::WaitResult::kTimedOut;
        case WaitOutcome::kInput:
            if (runMessages(object, pump, left)) {
                return kernel::WaitResult::kSignalled;
            }
            if (left.ms() == 0) {
                return object.wait(0);
            }
        }
    }
}

} // namespace window

#pragma once

#include "tessra/SerialLine.h"

namespace tessra {

/// Has the line while it lives, if it has got it.
class SerialLine::Turn {
public:
    /// A client's: waits for it until `deadline`.
    Turn(SerialLine& line, Clock::time_point deadline) : line_(line) {
        Guard guard(line.lock_);
        ++line.waiting_;
        if (line.keeperAsks_) {
            line.turnWake_.signal();
        }
        line.turnFree_.wait_until(guard, deadline, [&line] { return !line.taken_ || line.closed_; });
        --line.waiting_;
        take();
    }
    /// The keeper's: has it at once or not at all; with `asking`, a client that comes takes it away.
    Turn(SerialLine& line, bool asking) : line_(line) {
        const Guard guard(line.lock_);
        if (line.waiting_ == 0 || !asking) {
            take();
            line.keeperAsks_ = taken_ && asking;
        }
    }
    ~Turn() {
        if (taken_) {
            {
                const Guard guard(line_.lock_);
                line_.taken_ = false;
                line_.keeperAsks_ = false;
            }
            line_.turnFree_.notify_one();
        }
    }
    Turn(const Turn&) = delete;
    Turn& operator=(const Turn&) = delete;

    explicit operator bool() const { return taken_; }

private:
    void take() {
        taken_ = !line_.taken_ && !line_.closed_;
        line_.taken_ = line_.taken_ || taken_;
        if (taken_) {
            line_.turnWake_.clear();
        }
    }

    SerialLine& line_;
    bool taken_ = false;
};

} // namespace tessra

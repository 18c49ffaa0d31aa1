#pragma once

#include "platform/kernel/Trace.h"

#include <mutex>
#include <string>
#include <string_view>

/// Collects the error log, from any thread, as long as this object lives.
class ErrorLog {
public:
    ErrorLog() {
        kernel::setErrorLog([this](std::string_view line) {
            const std::lock_guard guard(lock_);
            text_ += std::string(line) + "\n";
        });
    }
    ~ErrorLog() { kernel::setErrorLog({}); }
    ErrorLog(const ErrorLog&) = delete;
    ErrorLog& operator=(const ErrorLog&) = delete;

    /// All lines so far, each with a line feed.
    std::string text() const {
        const std::lock_guard guard(lock_);
        return text_;
    }
    bool contains(std::string_view part) const { return text().find(part) != std::string::npos; }

private:
    mutable std::mutex lock_; ///< guards text_
    std::string text_;
};

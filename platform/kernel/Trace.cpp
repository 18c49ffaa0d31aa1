#include "platform/kernel/Trace.h"

#include <cstdio>
#include <mutex>
#include <utility>

namespace kernel {

namespace {

/// A replaceable sink. Its lock is held during the call, so that a sink that was replaced is not in use any more.
class Channel {
public:
    void replace(TextSink sink) {
        const std::lock_guard lock(lock_);
        sink_.swap(sink);
    }

    /// False when there is no sink.
    bool write(std::string_view text) noexcept {
        try {
            const std::lock_guard lock(lock_);
            if (!sink_) {
                return false;
            }
            sink_(text);
        } catch (...) {
            // Nowhere is left to report a trace that fails.
        }
        return true;
    }

private:
    std::mutex lock_;
    TextSink sink_; // guarded by lock_
};

Channel& debugChannel() {
    static Channel channel;
    return channel;
}

Channel& errorChannel() {
    static Channel channel;
    return channel;
}

} // namespace

void debugOutput(std::string_view text) {
    debugChannel().write(text);
}

void setDebugOutput(TextSink sink) {
    debugChannel().replace(std::move(sink));
}

void logError(std::string_view message) noexcept {
    if (!errorChannel().write(message)) {
        std::fprintf(stderr, "%.*s\n", static_cast<int>(message.size()), message.data());
    }
}

void setErrorLog(TextSink sink) {
    errorChannel().replace(std::move(sink));
}

} // namespace kernel

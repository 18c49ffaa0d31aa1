#include "platform/kernel/TickCount.h"

#include <atomic>
#include <chrono>
#include <thread>

namespace kernel {

namespace {

constinit std::atomic<std::uint32_t> offset{0};

std::uint32_t systemTicks() {
    const auto sinceStart = std::chrono::steady_clock::now().time_since_epoch();
    return static_cast<std::uint32_t>(std::chrono::duration_cast<std::chrono::milliseconds>(sinceStart).count());
}

} // namespace

std::uint32_t tickCount() {
    return systemTicks() + offset;
}

void setTickCountForTests(std::uint32_t now) {
    offset = now - systemTicks();
}

void resetTickCountForTests() {
    offset = 0;
}

void sleepMs(std::uint32_t ms) {
    std::this_thread::sleep_for(std::chrono::milliseconds(ms));
}

} // namespace kernel

#pragma once

#include <cstdint>

namespace kernel {

/// Milliseconds since some moment in the past, modulo 2^32: the counter wraps to 0 every 49.7 days. It runs evenly
/// whatever happens to the time of day.
std::uint32_t tickCount();

/// Milliseconds from `start` to `now`, two readings of the counter. When the counter has passed zero in between (`now`
/// is below `start`) this is (now - start - 1) modulo 2^32.
constexpr std::uint32_t elapsedMs(std::uint32_t start, std::uint32_t now) {
    return now < start ? now - start - 1 : now - start;
}

/// Puts the counter on `now`, from where it goes on counting; for tests of what happens around the wrap.
void setTickCountForTests(std::uint32_t now);
/// Back to the counter as it would read without setTickCountForTests.
void resetTickCountForTests();

/// Blocks the calling thread for at least `ms` milliseconds; runs no messages meanwhile.
void sleepMs(std::uint32_t ms);

} // namespace kernel

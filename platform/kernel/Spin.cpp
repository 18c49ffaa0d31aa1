#include "platform/kernel/Spin.h"

#include <sched.h>

#include <algorithm>
#include <chrono>

namespace kernel {

namespace {

// Looks at the flag between two looks at the clock.
constexpr int kLooksPerRound = 16;

} // namespace

void pauseProcessor() {
#if defined(__x86_64__) || defined(__i386__)
    __builtin_ia32_pause();
#elif defined(__aarch64__) || defined(__arm__)
    asm volatile("yield");
#endif
}

bool canSpin() {
    static const bool hasSeveral = [] {
        cpu_set_t processors;
        CPU_ZERO(&processors);
        // Fails for a machine of more processors than the set can hold.
        return ::sched_getaffinity(0, sizeof processors, &processors) != 0 || CPU_COUNT(&processors) > 1;
    }();
    return hasSeveral;
}

bool SpinPatience::spin(const std::atomic<bool>& flag) {
    if (!canSpin()) {
        return false;
    }
    if (toSkip_ > 0) {
        --toSkip_;
        return false;
    }
    const auto end = std::chrono::steady_clock::now() + std::chrono::microseconds(kSpinUs);
    do {
        for (int look = 0; look < kLooksPerRound; ++look) {
            if (flag.load(std::memory_order_acquire)) {
                skipNext_ = 0;
                return true;
            }
            pauseProcessor();
        }
    } while (std::chrono::steady_clock::now() < end);
    toSkip_ = skipNext_;
    skipNext_ = std::min(2 * skipNext_ + 1, kMostSkipped);
    return false;
}

} // namespace kernel

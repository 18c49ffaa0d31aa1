#pragma once

#include <atomic>
#include <cstdint>

namespace kernel {

/// Tells the processor that the calling thread does nothing but look at memory again and again.
void pauseProcessor();

/// Whether the process may run on more than one processor. With one alone, what a thread spins for can't happen.
bool canSpin();

/// The patience of one thread: before it goes to sleep, it spins for a while in which another thread may well do what
/// is waited for, as going to sleep and being woken costs several times a short wait.
///
/// Spins that are in vain make it spin more rarely, down to one wait in kMostSkipped + 1; one that was not makes it
/// spin again each time. So a thread whose waits are long spins for less than kSpinUs / kMostSkipped per wait, and an
/// idle one, or one on a machine that has no processor to spare, costs next to nothing.
class SpinPatience {
public:
    static constexpr std::uint32_t kSpinUs = 20;
    static constexpr std::uint32_t kMostSkipped = 63;

    /// Spins until `flag` is set, for kSpinUs at most, or not at all. Whether it saw the flag set; what was written
    /// before that is visible then.
    bool spin(const std::atomic<bool>& flag);

private:
    std::uint32_t toSkip_ = 0;   ///< waits that will not spin
    std::uint32_t skipNext_ = 0; ///< waits that will not spin after the next spin in vain
};

} // namespace kernel

#include "platform/kernel/SignalHold.h"

#include <array>
#include <atomic>
#include <csignal>

namespace kernel {
namespace {

constexpr std::array kHeldSignals{SIGINT, SIGTERM, SIGHUP};

// Without locks, as the handler uses them.
std::atomic<int> holds = 0;
std::atomic<unsigned> waiting = 0; // a bit for each signal
static_assert(std::atomic<int>::is_always_lock_free && std::atomic<unsigned>::is_always_lock_free);

// Ends the process by the signal if that waits. Of a handler and the end of a hold in another thread, one finds it.
void endIfWaiting(int signal) {
    const unsigned bit = 1U << static_cast<unsigned>(signal);
    if ((waiting.fetch_and(~bit) & bit) != 0) {
        (void)std::signal(signal, SIG_DFL);
        (void)std::raise(signal); // in a handler, at its end
    }
}

void holdOrEnd(int signal) {
    waiting.fetch_or(1U << static_cast<unsigned>(signal));
    if (holds == 0) {
        endIfWaiting(signal);
    }
}

// The handler stays, and without a hold does what the system would: nobody who has saved it puts back a wrong one.
void handle(int signal) {
    struct sigaction present {};
    if (::sigaction(signal, nullptr, &present) == 0 && present.sa_handler == SIG_DFL) {
        present = {};
        present.sa_handler = holdOrEnd;
        present.sa_flags = SA_RESTART;
        (void)::sigaction(signal, &present, nullptr);
    }
}

} // namespace

SignalHold::SignalHold() {
    ++holds;
    for (const int signal : kHeldSignals) {
        handle(signal);
    }
}

SignalHold::~SignalHold() {
    if (--holds == 0) {
        for (const int signal : kHeldSignals) {
            endIfWaiting(signal);
        }
    }
}

} // namespace kernel

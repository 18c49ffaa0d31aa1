#include "cli/Interruption.h"

#include "platform/kernel/SignalHold.h"

#include <csignal>

namespace {

constexpr std::array kSignals{SIGINT, SIGTERM, SIGHUP, SIGPIPE};

volatile std::sig_atomic_t signalCame = 0;

// Of several signals the first counts.
void remember(int signal) {
    signalCame = signalCame == 0 ? signal : signalCame;
}

} // namespace

Interruption::Interruption() {
    // What is put back at the end has to hold the signals for a file that is written just then.
    { const kernel::SignalHold installed; }
    for (std::size_t at = 0; at < kSignals.size(); ++at) {
        oldHandlers_[at] = std::signal(kSignals[at], remember);
        if (kSignals[at] == SIGHUP && oldHandlers_[at] == SIG_IGN) {
            (void)std::signal(SIGHUP, SIG_IGN);
        }
    }
}

Interruption::~Interruption() {
    for (std::size_t at = 0; at < kSignals.size(); ++at) {
        (void)std::signal(kSignals[at], oldHandlers_[at]);
    }
}

bool Interruption::came() {
    return signalCame != 0;
}

int Interruption::signal() {
    return signalCame;
}

ExitStatus Interruption::status() {
    return !came() ? ExitStatus::kDone : signalCame == SIGINT ? ExitStatus::kInterrupted : ExitStatus::kTerminated;
}

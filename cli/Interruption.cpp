#include "cli/Interruption.h"

#include "platform/kernel/PendingWrite.h"
#include "platform/kernel/SignalHold.h"

#include <unistd.h>

#include <csignal>

namespace {

constexpr std::array kSignals{SIGINT, SIGTERM, SIGHUP, SIGPIPE};

volatile std::sig_atomic_t signalCame = 0;

/// How long whoever reads our output may stand still, at least, once the program is to end.
constexpr unsigned kReaderSeconds = 2;

volatile std::sig_atomic_t noticedWrite = 0;

// Of several signals the first counts.
void remember(int signal) {
    signalCame = signalCame == 0 ? signal : signalCame;
    noticedWrite = static_cast<std::sig_atomic_t>(kernel::PendingWrite::current());
    ::alarm(kReaderSeconds);
}

// A write that nobody takes would never come to where the signal is looked at.
void endIfStuck(int) {
    const auto write = static_cast<std::sig_atomic_t>(kernel::PendingWrite::current());
    if (write != 0 && write == noticedWrite) {
        ::_exit(static_cast<int>(Interruption::status()));
    }
    noticedWrite = write;
    ::alarm(kReaderSeconds);
}

} // namespace

Interruption::Interruption() {
    // What is put back at the end has to hold the signals for a file that is written just then.
    { const kernel::SignalHold installed; }
    (void)std::signal(SIGALRM, endIfStuck); // and stays: what is told after this object's end may be stuck, too
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

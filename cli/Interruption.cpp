#include "cli/Interruption.h"

#include <csignal>

namespace {

volatile std::sig_atomic_t signalCame = 0;

// Of several signals the first counts.
void remember(int signal) {
    signalCame = signalCame == 0 ? signal : signalCame;
}

} // namespace

Interruption::Interruption()
    : oldInterrupt_(std::signal(SIGINT, remember)), oldTermination_(std::signal(SIGTERM, remember)) {}

Interruption::~Interruption() {
    std::signal(SIGINT, oldInterrupt_);
    std::signal(SIGTERM, oldTermination_);
}

bool Interruption::came() {
    return signalCame != 0;
}

ExitStatus Interruption::status() {
    return !came() ? ExitStatus::kDone : signalCame == SIGTERM ? ExitStatus::kTerminated : ExitStatus::kInterrupted;
}

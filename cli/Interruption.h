#pragma once

#include "cli/ExitStatus.h"

#include <array>

/// While it lives, SIGINT, SIGTERM, SIGHUP and SIGPIPE wait for the item that is under way, so that the account of a
/// read or a write is complete. A SIGHUP that the program was started to ignore stays ignored. Where nobody takes what
/// is written to a pipe then, the program ends after some seconds. One at a time.
class Interruption {
public:
    Interruption();
    ~Interruption();
    Interruption(const Interruption&) = delete;
    Interruption& operator=(const Interruption&) = delete;

    /// Whether a signal came.
    static bool came();
    /// Which one; 0 for none.
    static int signal();
    /// How the program ends because of it: kDone where none came.
    static ExitStatus status();

private:
    std::array<void (*)(int), 4> oldHandlers_{};
};

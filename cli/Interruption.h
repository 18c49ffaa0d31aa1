#pragma once

#include "cli/ExitStatus.h"

/// While it lives, SIGINT and SIGTERM wait for the item that is under way, so that the account of a read or a write is
/// complete. One at a time.
class Interruption {
public:
    Interruption();
    ~Interruption();
    Interruption(const Interruption&) = delete;
    Interruption& operator=(const Interruption&) = delete;

    /// Whether a signal came.
    static bool came();
    /// How the program ends because of it: kDone where none came.
    static ExitStatus status();

private:
    void (*oldInterrupt_)(int);
    void (*oldTermination_)(int);
};

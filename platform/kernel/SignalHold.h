#pragma once

namespace kernel {

/// While one lives, SIGINT, SIGTERM and SIGHUP wait: ending in the midst of some work would leave half of it behind.
/// When the last one goes, the process ends by the signal that came. A signal that the program handles or ignores by
/// itself is left to it. Any thread may have one, for a short piece of work that waits for nobody.
class SignalHold {
public:
    SignalHold();
    ~SignalHold();
    SignalHold(const SignalHold&) = delete;
    SignalHold& operator=(const SignalHold&) = delete;
};

} // namespace kernel

#pragma once

#include "platform/kernel/Waitable.h"

namespace kernel {

/// An event that lets one wait through per signal and is then not signalled again. Created not signalled.
class AutoResetEvent : public Waitable {
public:
    /// Releases the thread that has waited longest, or, if none waits, the next one to come. Setting an event that is
    /// set already changes nothing.
    void set();
    /// Takes a signal back that nobody has waited for yet.
    void reset();

private:
    bool isSignalledFor(ThreadId thread) const override;
    void take(ThreadId thread) override;

    bool signalled_ = false; // guarded by the dispatcher lock
};

} // namespace kernel

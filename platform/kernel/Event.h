#pragma once

#include "platform/kernel/Waitable.h"

namespace kernel {

/// What the two kinds of events have in common: a signal that anybody gives and takes back. They differ in what a wait
/// does to it. Created not signalled.
class Event : public Waitable {
public:
    /// Releases the threads that the kind of event lets through, the one that has waited longest first; where none
    /// waits, the next to come. Setting an event that is set already changes nothing.
    void set();
    /// Takes a signal back.
    void reset();

protected:
    Event() = default;

    bool signalled_ = false; ///< guarded by the dispatcher lock

private:
    bool isSignalledFor(ThreadId) const final { return signalled_; }
};

/// An event that lets one wait through per signal and is then not signalled again.
class AutoResetEvent : public Event {
private:
    void take(ThreadId) override { signalled_ = false; }
};

/// An event that lets every wait through from `set` until `reset`.
class ManualResetEvent : public Event {
private:
    void take(ThreadId) override {}
};

} // namespace kernel

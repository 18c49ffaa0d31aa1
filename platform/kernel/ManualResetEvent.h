#pragma once

#include "platform/kernel/Waitable.h"

namespace kernel {

/// An event that lets every wait through from `set` until `reset`. Created not signalled.
class ManualResetEvent : public Waitable {
public:
    void set();
    void reset();

private:
    bool isSignalledFor(ThreadId thread) const override;
    void take(ThreadId thread) override;

    bool signalled_ = false; // guarded by the dispatcher lock
};

} // namespace kernel

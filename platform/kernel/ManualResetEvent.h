#pragma once

#include "platform/kernel/Event.h"

namespace kernel {

/// An event that lets every wait through from `set` until `reset`.
class ManualResetEvent : public Event {
private:
    void take(ThreadId) override {}
};

} // namespace kernel

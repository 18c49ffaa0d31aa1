#pragma once

#include "platform/kernel/Event.h"

namespace kernel {

/// An event that lets one wait through per signal and is then not signalled again.
class AutoResetEvent : public Event {
private:
    void take(ThreadId) override { signalled_ = false; }
};

} // namespace kernel

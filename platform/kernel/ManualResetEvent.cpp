#include "platform/kernel/ManualResetEvent.h"

#include "platform/kernel/DispatcherLock.h"

namespace kernel {

void ManualResetEvent::set() {
    DispatcherLock lock;
    signalled_ = true;
    serveWaiters(lock);
}

void ManualResetEvent::reset() {
    DispatcherLock lock;
    signalled_ = false;
}

bool ManualResetEvent::isSignalledFor(ThreadId) const {
    return signalled_;
}

void ManualResetEvent::take(ThreadId) {}

} // namespace kernel

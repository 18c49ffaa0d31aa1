#include "platform/kernel/AutoResetEvent.h"

#include "platform/kernel/DispatcherLock.h"

namespace kernel {

void AutoResetEvent::set() {
    DispatcherLock lock;
    signalled_ = true;
    serveWaiters(lock);
}

void AutoResetEvent::reset() {
    DispatcherLock lock;
    signalled_ = false;
}

bool AutoResetEvent::isSignalledFor(ThreadId) const {
    return signalled_;
}

void AutoResetEvent::take(ThreadId) {
    signalled_ = false;
}

} // namespace kernel

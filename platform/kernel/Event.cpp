#include "platform/kernel/Event.h"

#include "platform/kernel/DispatcherLock.h"

namespace kernel {

void Event::set() {
    DispatcherLock lock;
    signalled_ = true;
    serveWaiters(lock);
}

void Event::reset() {
    DispatcherLock lock;
    signalled_ = false;
}

} // namespace kernel

#include "platform/kernel/Mutex.h"

#include "platform/kernel/DispatcherLock.h"

namespace kernel {

bool Mutex::release() {
    DispatcherLock lock;
    if (owner_ != currentThreadId()) {
        return false;
    }
    if (--count_ == 0) {
        owner_ = ThreadId{};
        serveWaiters(lock);
    }
    return true;
}

bool Mutex::isSignalledFor(ThreadId thread) const {
    return owner_ == ThreadId{} || owner_ == thread;
}

void Mutex::take(ThreadId thread) {
    owner_ = thread;
    ++count_;
}

} // namespace kernel

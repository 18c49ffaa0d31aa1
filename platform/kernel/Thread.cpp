#include "platform/kernel/Thread.h"

#include "platform/kernel/Trace.h"

#include <cassert>
#include <exception>
#include <string>
#include <utility>

namespace kernel {

Thread::Thread(std::function<void()> function) : thread_([this, moved = std::move(function)] { run(moved); }) {
    started_.wait();
}

Thread::~Thread() {
    join();
}

void Thread::join() {
    assert(id_ != currentThreadId() && "a thread cannot wait for itself");
    if (thread_.joinable()) {
        thread_.join();
    }
}

void Thread::run(const std::function<void()>& function) {
    id_ = currentThreadId();
    started_.set();
    try {
        function();
    } catch (const std::exception& error) {
        logError(std::string("kernel::Thread - An exception ended the thread: ") + error.what());
    } catch (...) {
        logError("kernel::Thread - An unknown exception ended the thread.");
    }
    ended_.set();
}

} // namespace kernel

#pragma once

#include "platform/kernel/Event.h"

#include <functional>
#include <thread>

namespace kernel {

/// A thread and, as a waitable, the end of its work: signalled for good once the function has returned.
///
/// An exception that leaves the function ends the thread and is written to the error log. Destroying the object waits
/// for the thread; it must not happen on the thread itself.
class Thread {
public:
    /// Starts `function` on a new thread. Throws ObjectCreationError or std::system_error if there is none to be had.
    explicit Thread(std::function<void()> function);
    ~Thread();
    Thread(const Thread&) = delete;
    Thread& operator=(const Thread&) = delete;

    /// Waits without limit until the thread itself is gone, with all that is local to it. Once is enough; more do no
    /// harm.
    void join();

    /// The end of the function, to be waited for with a time-out or among other objects.
    Waitable& ended() { return ended_; }
    ThreadId id() const { return id_; }

private:
    void run(const std::function<void()>& function);

    ManualResetEvent ended_;
    ManualResetEvent started_;
    ThreadId id_; ///< written by the new thread before started_, constant from then on
    std::thread thread_;
};

} // namespace kernel

#include "platform/window/MessageQueue.h"

#include "platform/kernel/Event.h"
#include "platform/kernel/Trace.h"

#include <deque>
#include <exception>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <utility>

namespace window {

namespace {

/// One thread's messages. `pop` belongs to that thread, `push` to anybody who holds a reference.
class Queue {
public:
    bool push(Message message) {
        {
            const std::lock_guard lock(lock_);
            if (closed_) {
                return false;
            }
            messages_.push_back(std::move(message));
        }
        // After the lock, so that the woken thread finds it free. The event may thereby be set for a message that has
        // gone already, which costs one look into an empty queue; the other way round cannot be, as only a `pop` that
        // finds the queue empty resets it.
        input_.set();
        return true;
    }

    bool pop(Message& message) {
        const std::lock_guard lock(lock_);
        const bool found = !messages_.empty();
        if (found) {
            message = std::move(messages_.front());
            messages_.pop_front();
        }
        if (messages_.empty()) {
            input_.reset();
        }
        return found;
    }

    void close() {
        std::deque<Message> left; // destroyed after the lock has gone: a message may own whatever it likes
        const std::lock_guard lock(lock_);
        closed_ = true;
        left.swap(messages_);
    }

    kernel::Waitable& input() { return input_; }

private:
    kernel::ManualResetEvent input_;
    std::mutex lock_;
    std::deque<Message> messages_; // guarded by lock_
    bool closed_ = false;          // guarded by lock_
};

struct Registry {
    std::mutex lock;
    std::map<kernel::ThreadId, std::shared_ptr<Queue>> queues; // guarded by lock
};

Registry& registry() {
    static Registry instance;
    return instance;
}

/// Registers the calling thread's queue, and closes it when the thread ends.
class OwnQueue {
public:
    OwnQueue() {
        // Makes this thread's part in waits outlive the queue: a message that is destroyed with it may wait.
        static_cast<void>(queue->input().tryWait());
        Registry& all = registry();
        const std::lock_guard lock(all.lock);
        all.queues.emplace(kernel::currentThreadId(), queue);
    }
    ~OwnQueue() {
        {
            Registry& all = registry();
            const std::lock_guard lock(all.lock);
            all.queues.erase(kernel::currentThreadId());
        }
        queue->close();
    }
    OwnQueue(const OwnQueue&) = delete;
    OwnQueue& operator=(const OwnQueue&) = delete;

    const std::shared_ptr<Queue> queue = std::make_shared<Queue>();
};

Queue& ownQueue() {
    thread_local const OwnQueue own;
    return *own.queue;
}

} // namespace

void createQueue() {
    ownQueue();
}

bool post(kernel::ThreadId thread, Message message) {
    std::shared_ptr<Queue> queue;
    {
        Registry& all = registry();
        const std::lock_guard lock(all.lock);
        const auto found = all.queues.find(thread);
        if (found == all.queues.end()) {
            return false;
        }
        queue = found->second;
    }
    return queue->push(std::move(message));
}

bool peek(Message& message) {
    Message found; // so that what `message` held before is destroyed without the queue's lock
    if (!ownQueue().pop(found)) {
        return false;
    }
    message = std::move(found);
    return true;
}

void dispatch(const Message& message) noexcept {
    try {
        message();
    } catch (const std::exception& error) {
        kernel::logError(std::string("window::dispatch - A message threw an exception: ") + error.what());
    } catch (...) {
        kernel::logError("window::dispatch - A message threw an unknown exception.");
    }
}

kernel::Waitable& input() {
    return ownQueue().input();
}

} // namespace window

#pragma once

#include "platform/kernel/Waitable.h"

#include <functional>

namespace window {

/// What is posted to a thread: a piece of work that the thread runs when it dispatches its messages.
using Message = std::function<void()>;

/// Gives the calling thread a message queue, for the rest of its life, if it has none. `peek` and the waits for input
/// do it too; a thread that wants to be posted to before it calls those announces itself after this call.
void createQueue();

/// Appends `message` to the queue of `thread`. Any thread may call it. False, with the message destroyed unrun, when
/// that thread has no queue (it has made none, or has ended). True promises that the message is in the queue, not that
/// it will be run: what is left when the thread ends is destroyed unrun.
bool post(kernel::ThreadId thread, Message message);

/// Removes the oldest message of the calling thread's queue into `message`. False, with `message` unchanged, when the
/// queue is empty.
bool peek(Message& message);

/// Runs `message` on the calling thread. What it throws ends in the error log.
void dispatch(const Message& message) noexcept;

/// Signalled while the calling thread's queue has messages. To be waited for by the calling thread only.
kernel::Waitable& input();

} // namespace window

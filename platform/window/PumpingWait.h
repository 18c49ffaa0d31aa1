#pragma once

#include "platform/kernel/Waitable.h"

#include <cstdint>

namespace window {

enum class WaitOutcome { kObject, kInput, kTimedOut };

/// Waits up to `timeoutMs` milliseconds until `object` is signalled or the calling thread's queue has messages.
/// `object` is taken; input stays in the queue. When both are there the object wins.
WaitOutcome waitForObjectOrInput(kernel::Waitable& object, std::uint32_t timeoutMs = kernel::kInfinite);

/// How a pumping wait runs the messages it meets: all that the queue holds before it looks at the object again, or
/// with a look at the object after each.
enum class Pump { kWholeQueue, kOneByOne };

/// Waits up to `timeoutMs` milliseconds for `object` and dispatches the calling thread's messages meanwhile. The object
/// is taken when it is signalled; messages still queued then stay queued. The time-out covers the whole wait, messages
/// included; a message that is running is not cut short.
kernel::WaitResult pumpingWait(kernel::Waitable& object, std::uint32_t timeoutMs = kernel::kInfinite,
                               Pump pump = Pump::kWholeQueue);

} // namespace window

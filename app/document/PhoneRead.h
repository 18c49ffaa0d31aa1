#pragma once

#include "app/document/ProgressLines.h"
#include "engine/Calvane.h"
#include "platform/kernel/Thread.h"

#include <atomic>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

/// The result of a read from the phone: the items, or why there are none.
struct PhoneReadResult {
    std::vector<NvItem> items;
    std::optional<std::string> failure; ///< the catalog's message
    std::string reason;                 ///< of the failure, where the port has told it
    bool cancelled = false;
};

/// One read of a phone on a thread of its own. The catalog is that thread's alone until the read has ended. The result
/// crosses as a value; nothing of the document is touched here.
///
/// Owned by the document, which makes, cancels and destroys it on the user-interface thread.
class PhoneRead {
public:
    using Ended = std::function<void(PhoneReadResult)>;

    /// Starts to read. `progress` gets a line per item before the item is asked for. `ended` is called on the read's
    /// thread as the last thing that it does. The catalog and `progress` outlive this object. Throws std::system_error
    /// or kernel::ObjectCreationError if no thread can be had.
    PhoneRead(Calvane& catalog, std::string comPort, ProgressWindow& progress, Ended ended);
    /// Cancels, and waits for the thread.
    ~PhoneRead();
    PhoneRead(const PhoneRead&) = delete;
    PhoneRead& operator=(const PhoneRead&) = delete;

    /// Ends the read before its next item.
    void cancel() { cancelled_ = true; }

private:
    struct Cancelled {};

    static void reportProgress(void* context, std::uint16_t nvItemId, std::string nvItemName, std::uint32_t count,
                               std::uint32_t position);
    PhoneReadResult read();

    Calvane& catalog_;
    const std::string comPort_;
    ProgressWindow& progress_;
    std::atomic<bool> cancelled_ = false;
    kernel::Thread thread_; ///< last, so that it starts when all else is there
};

#include "app/document/PhoneRead.h"

#include "workbench/PortReason.h"

PhoneRead::PhoneRead(Calvane& catalog, std::string comPort, ProgressWindow& progress, Ended ended)
    : catalog_(catalog), comPort_(std::move(comPort)), progress_(progress),
      thread_([this, ended = std::move(ended)] { ended(read()); }) {}

PhoneRead::~PhoneRead() {
    cancel();
}

void PhoneRead::reportProgress(void* context, std::uint16_t nvItemId, std::string nvItemName, std::uint32_t count,
                               std::uint32_t position) {
    auto& self = *static_cast<PhoneRead*>(context);
    if (self.cancelled_) {
        throw Cancelled{};
    }
    self.progress_.addLine(formatProgressLine(count, position, nvItemId, nvItemName));
}

PhoneReadResult PhoneRead::read() {
    PhoneReadResult result;
    try {
        result.items = catalog_.getNvItemsFromPhone(comPort_, this, &PhoneRead::reportProgress);
    } catch (const Cancelled&) {
        result.cancelled = true;
    } catch (const std::exception& error) {
        // The catalog's failures, those of the worker thread, and a lack of memory: none may end the program. A
        // cancelled read reports no failure.
        if (cancelled_) {
            result.cancelled = true;
        } else {
            result.failure = error.what();
            result.reason = workbench::portReason(*catalog_.getTessraServer(), comPort_);
        }
    }
    return result;
}

// The session's part in the events of its phone; TessraEvents delivers them.

#include "phonelink/ServerLink.h"
#include "phonelink/TessraEvents.h"
#include "phonelink/TessraServer.h"
#include "platform/kernel/Trace.h"

#include <utility>

void TessraServer::addEventListener(TessraEventListener* listener, TessraEventFilter* filter) {
    requireConnected("addEventListener");
    events_->addEventListener(listener, filter);
}

void TessraServer::removeEventListener(TessraEventListener* listener) {
    requireConnected("removeEventListener");
    events_->removeEventListener(listener);
}

void TessraServer::connectToTessraEvents() {
    recordingFailures("TessraServer::connectToTessraEvents - ",
                      "TessraServer::connectToTessraEvents - Unable to connect to Tessra Server Events",
                      [this] { link_->eventSubscription.start(link_->port->phone(), events_); });
}

void TessraServer::disconnectFromTessraEvents() {
    if (auto failure = link_->endSubscription()) {
        recordFailure(std::move(*failure));
    }
}

void TessraServer::unsubscribeFromEvents() {
    disconnectFromTessraEvents();
    if (std::exchange(failed_, false)) {
        kernel::logError(errorMessage_);
    }
}

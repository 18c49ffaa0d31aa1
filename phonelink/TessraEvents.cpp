#include "phonelink/TessraEvents.h"

#include "phonelink/ComThreadManager.h"
#include "phonelink/ServerLink.h"
#include "phonelink/TessraServer.h"
#include "platform/kernel/Trace.h"
#include "platform/window/PumpingWait.h"

#include <algorithm>
#include <cassert>
#include <exception>
#include <new>
#include <utility>

namespace {

/// Owns a mutex for a scope; runs the calling thread's messages while it waits for it.
class PumpingLock {
public:
    explicit PumpingLock(kernel::Mutex& mutex) : mutex_(mutex) {
        window::pumpingWait(mutex_, kernel::kInfinite, window::Pump::kOneByOne);
    }
    ~PumpingLock() { mutex_.release(); }
    PumpingLock(const PumpingLock&) = delete;
    PumpingLock& operator=(const PumpingLock&) = delete;

private:
    kernel::Mutex& mutex_;
};

} // namespace

TessraEvents::TessraEvents(TessraServer& session) : session_(session) {
    noneEnding_.set();
}

TessraEvents::~TessraEvents() {
    joinNotifier();
}

com::Status TessraEvents::queryInterface(const com::InterfaceId& id, void** out) {
    if (out == nullptr) {
        return com::kPointer;
    }
    *out = nullptr;
    if (id != com::Unknown::kId && id != tessra::IEventSink::kId) {
        return com::kNoInterface;
    }
    *out = static_cast<tessra::IEventSink*>(this);
    return com::kOk;
}

com::Status TessraEvents::onEvent(std::uint32_t dataLength, const std::uint8_t* data, std::uint32_t first,
                                  std::uint32_t second, std::uint16_t third, std::uint32_t fourth) {
    if (data == nullptr && dataLength > 0) {
        return com::kPointer;
    }
    try {
        arriving_.push_back({{data, data + dataLength}, first, second, third, fourth});
        const PumpingLock lock(queueLock_);
        for (; !arriving_.empty(); arriving_.pop_front()) {
            if (accepting_) {
                queue_.push_back(std::move(arriving_.front()));
            }
        }
    } catch (const std::bad_alloc&) {
        return com::kOutOfMemory;
    }
    queued_.set();
    return com::kOk;
}

void TessraEvents::addEventListener(TessraEventListener* listener, TessraEventFilter* filter) {
    assert(listener != nullptr);
    refuseOwnThreads("addEventListener");
    const std::lock_guard control(controlLock_);
    startNotifier();
    const std::lock_guard guard(listenerLock_);
    listeners_.push_back({listener, filter});
}

void TessraEvents::removeEventListener(TessraEventListener* listener) {
    refuseOwnThreads("removeEventListener");
    const std::lock_guard guard(listenerLock_);
    const auto isWanted = [listener](const Registration& each) { return each.listener == listener; };
    const auto found = std::find_if(listeners_.begin(), listeners_.end(), isWanted);
    if (found != listeners_.end()) {
        listeners_.erase(found);
    }
}

void TessraEvents::stop() {
    if (session_.isOnWorker()) {
        stopOnWorker();
        return;
    }
    const std::lock_guard control(controlLock_);
    requestQuit();
    joinNotifier();
}

void TessraEvents::awaitEnd() {
    if (notifierId_.load() != kernel::currentThreadId()) {
        noneEnding_.wait();
    }
}

void TessraEvents::refuseOwnThreads(const char* member) const {
    if (notifierId_.load() == kernel::currentThreadId() || session_.isOnWorker()) {
        throw TessraServer::Exception(std::string("TessraEvents::") + member +
                                      " - Neither a listener nor the COM worker can do this.");
    }
}

void TessraEvents::startNotifier() {
    if (running_) {
        return;
    }
    joinNotifier();
    startFailure_ = "TessraEvents::notifyListeners - The notifier ended at its start.";
    started_.reset();
    quit_.reset();
    queued_.reset();
    unsubscribed_ = false;
    try {
        notifier_ = std::make_unique<kernel::Thread>([this] { notifyListeners(); });
    } catch (const std::exception& error) {
        throw TessraServer::Exception(std::string("TessraEvents::addEventListener - ") + error.what());
    }
    kernel::Waitable* const startOrEnd[] = {&started_, &notifier_->ended()};
    if (kernel::waitForAny(startOrEnd, kernel::kInfinite) != 0) {
        joinNotifier();
        throw TessraServer::Exception(startFailure_);
    }
}

void TessraEvents::joinNotifier() {
    notifier_.reset();
}

/// The notifier can't hand over its last step to the worker while the worker waits here: it is done in its place.
void TessraEvents::stopOnWorker() {
    if (!running_) {
        return;
    }
    unsubscribed_ = true;
    session_.unsubscribeFromEvents();
    requestQuit();
}

void TessraEvents::requestQuit() {
    if (!running_.exchange(false)) {
        return;
    }
    noneEnding_.reset();
    setAccepting(false);
    quit_.set();
    queued_.set();
}

/// Opens the queue, or closes it and drops what it holds.
void TessraEvents::setAccepting(bool accepting) {
    std::deque<ServerEventRecord> dropped;
    const kernel::MutexLock lock(queueLock_);
    accepting_ = accepting;
    dropped.swap(queue_);
}

void TessraEvents::notifyListeners() {
    notifierId_ = kernel::currentThreadId();
    if (!subscribe()) {
        return;
    }
    started_.set();
    for (;;) {
        queued_.wait();
        if (quit_.tryWait()) {
            break;
        }
        while (const auto event = takeRecord()) {
            deliver(*event);
        }
    }
    unsubscribe();
    noneEnding_.set();
}

/// Whether the session is subscribed; otherwise startFailure_ says why not.
bool TessraEvents::subscribe() {
    try {
        const kernel::MutexLock sessionLock(session_.sessionLock_);
        // The session may have lost its port while this thread waited for it.
        if (!session_.connected_) {
            throw TessraServer::Exception("TessraEvents::notifyListeners - TessraServer::connect must be called before "
                                          "calling this member function.");
        }
        setAccepting(true);
        session_.runOnWorker(&TessraServer::connectToTessraEvents);
        running_ = true;
        return true;
    } catch (const TessraServer::Exception& error) {
        startFailure_ = error.what();
    } catch (const std::exception& error) {
        startFailure_ = std::string("TessraEvents::notifyListeners - ") + error.what();
    }
    setAccepting(false);
    return false;
}

void TessraEvents::unsubscribe() {
    if (unsubscribed_) {
        return;
    }
    try {
        const kernel::MutexLock sessionLock(session_.sessionLock_);
        // The link's own member, as the session may be gone before a service that hangs has let go.
        session_.threadManager_.executeFunction(session_.link_, &ServerLink::endSubscription,
                                                TessraServer::kTeardownTimeoutMs);
    } catch (const ComThreadManager::TimeoutException&) {
        kernel::logError("TessraEvents::notifyListeners - The service does not answer; its events end later.");
    } catch (const std::exception& error) {
        kernel::logError(error.what());
    }
}

std::optional<ServerEventRecord> TessraEvents::takeRecord() {
    const kernel::MutexLock lock(queueLock_);
    if (queue_.empty()) {
        return std::nullopt;
    }
    std::optional<ServerEventRecord> record(std::move(queue_.front()));
    queue_.pop_front();
    return record;
}

void TessraEvents::deliver(const ServerEventRecord& event) {
    const auto log = [](const char* reason) {
        kernel::logError(std::string("TessraEvents::notifyListeners - A listener threw an exception: ") + reason);
    };
    const auto dataLength = static_cast<std::uint32_t>(event.data.size());
    const std::lock_guard guard(listenerLock_);
    for (const auto& [listener, filter] : listeners_) {
        if (!running_) {
            return;
        }
        try {
            const bool accepted = filter == nullptr || filter->accepts(dataLength, event.data.data(), event.first,
                                                                       event.second, event.third, event.fourth);
            // Again: the filter may have used the session, and stopped the notifier by a connect that failed.
            if (accepted && running_) {
                listener->onEvent(dataLength, event.data.data(), event.first, event.second, event.third, event.fourth);
            }
        } catch (const std::exception& error) {
            log(error.what());
        } catch (...) {
            log("not a standard exception");
        }
    }
}

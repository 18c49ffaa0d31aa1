#include "phonelink/TessraServer.h"

#include "phonelink/ComThreadManager.h"
#include "phonelink/ServerErrorText.h"
#include "phonelink/ServerLink.h"
#include "phonelink/TessraEvents.h"
#include "platform/kernel/Trace.h"

#include <utility>

TessraServer::TessraServer(std::string clientName) try
    : clientName_(std::move(clientName)), link_(std::make_shared<ServerLink>()),
      events_(std::make_shared<TessraEvents>(*this)) {
} catch (const std::exception& error) {
    throw Exception(std::string("TessraServer::TessraServer - ") + error.what());
}

TessraServer::~TessraServer() {
    events_->stop();
    events_->awaitEnd();
    events_.reset();
    try {
        threadManager_.executeFunction(std::move(link_), &ServerLink::releaseServer, kTeardownTimeoutMs);
    } catch (const ComThreadManager::TimeoutException&) {
        // The service is slow to let go. The worker still holds the link and finishes with it.
    } catch (const std::exception& error) {
        kernel::logError(std::string("TessraServer::~TessraServer - ") + error.what());
    }
}

void TessraServer::connect(const std::string comPort) {
    const AttachLock guard(*this);
    comPort_ = comPort;
    initializeIfNeeded();
    attachWith(connected_);
}

void TessraServer::initialize() {
    recordAttachFailures("TessraServer::initialize", "Unable to connect to the Tessra server",
                         [this] { attachServer(); });
    initialized_ = !errorPending_;
}

void TessraServer::attachServer() {
    releaseServer(); // an attempt before this one may have got half-way
    link_->serverConnection = std::make_unique<ServerConnection>();
    if (const com::Status attached = link_->serverConnection->attach(clientName_); com::failed(attached)) {
        throw Exception("TessraServer::initialize - Unable to attach to the Tessra server.", attached);
    }
    link_->port = std::make_unique<CTESSRAPort>();
    com::ComPtr<com::Unknown> agent;
    std::uint16_t handle = 0;
    com::throwIfFailed(link_->server()->createAgent(tessra::kConfigurationAgentName, -1, handle, agent));
    link_->agentHandle = handle;
    const com::Status queried = agent.query(link_->agent);
    if (com::failed(queried)) {
        throw queried; // a bare status code: it ends in the handler for anything else
    }
}

void TessraServer::releaseServer() {
    link_->releaseServer();
    initialized_ = false;
    connected_ = false;
}

void TessraServer::changeComPortImpl() {
    recordAttachFailures("TessraServer::changeComPortImpl", "Unable to change COM ports.", [this] {
        link_->phoneConnection->detach();
        link_->attachPort(comPort_);
        // The listeners asked for the events of the phone that the session is attached to.
        link_->eventSubscription.follow(link_->port->phone());
    });
    connected_ = !errorPending_;
}

void TessraServer::connectWithComPortImpl() {
    recordServerFailures("TessraServer::connectWithComPortImpl",
                         "Unknow exception throw.  Caught in (...) catch block.", [this] {
                             link_->phoneConnection = std::make_unique<PhoneConnection>();
                             link_->attachPort(comPort_);
                             connected_ = true;
                         });
}

TessraServer::AttachLock::AttachLock(TessraServer& session) : session_(session) {
    session_.sessionLock_.wait();
}

TessraServer::AttachLock::~AttachLock() {
    session_.sessionLock_.release();
    const bool hasFailed = std::uncaught_exceptions() > exceptions_;
    if (hasFailed && !session_.isOnWorker()) {
        session_.events_->awaitEnd();
    }
}

bool TessraServer::isOnWorker() const {
    return threadManager_.workerThread() == kernel::currentThreadId();
}

void TessraServer::initializeIfNeeded() {
    if (!initialized_) {
        runOnWorker(&TessraServer::initialize);
    }
}

void TessraServer::requireConnected(const char* member) const {
    if (!connected_) {
        throw Exception(std::string("TessraServer::") + member +
                        " - TessraServer::connect must be called before calling this member function.");
    }
}

void TessraServer::attachWith(bool wasConnected) {
    runOnWorker(wasConnected ? &TessraServer::changeComPortImpl : &TessraServer::connectWithComPortImpl);
}

void TessraServer::recordServerFailures(const char* function, const char* unhandled,
                                        const std::function<void()>& work) {
    bool isWithoutPhone = false; // has no text of its own here
    recordFailures({function, unhandled, serverErrorText}, [&] {
        try {
            work();
        } catch (const CTESSRAPort::CTESSRAPortException&) {
            isWithoutPhone = true;
            throw;
        }
    });
    if (isWithoutPhone) {
        errorStatus_ = tessra::kPhoneNotPresent;
    }
}

void TessraServer::recordAttachFailures(const std::string& function, const char* unhandled,
                                        const std::function<void()>& work) {
    std::string message;
    com::Status status = com::kOk;
    try {
        work();
        return;
    } catch (const Exception& error) {
        recordFailure(error.what(), error.status()); // no server, so no events either
        return;
    } catch (const com::ComError& error) {
        message = isUnspecifiedError(error) ? comPort_ + " is an invalid COM port.  Please choose a different COM port."
                                            : function + " - " + error.what();
        status = error.code();
    } catch (const CTESSRAPort::CTESSRAPortException& error) {
        message = function + " - " + error.message();
        status = tessra::kPhoneNotPresent;
    } catch (...) {
        message = function + " - " + unhandled;
    }
    events_->stop();
    recordFailure(std::move(message), status);
}

void TessraServer::addEventListener(TessraEventListener* listener, TessraEventFilter* filter) {
    requireConnected("addEventListener");
    events_->addEventListener(listener, filter);
}

void TessraServer::removeEventListener(TessraEventListener* listener) {
    requireConnected("removeEventListener");
    events_->removeEventListener(listener);
}

void TessraServer::connectToTessraEvents() {
    recordServerFailures("TessraServer::connectToTessraEvents", "Unable to connect to Tessra Server Events",
                         [this] { link_->eventSubscription.start(link_->port->phone(), events_); });
}

void TessraServer::disconnectFromTessraEvents() {
    recordServerFailures("TessraServer::disconnectFromTessraEvents", EventSubscription::kCannotEnd,
                         [this] { link_->eventSubscription.end(); });
}

void TessraServer::unsubscribeFromEvents() {
    disconnectFromTessraEvents();
    if (std::exchange(errorPending_, false)) {
        kernel::logError(errorMessage_);
    }
}

#include "phonelink/TessraServer.h"

#include "phonelink/ComThreadManager.h"
#include "phonelink/ServerErrorText.h"
#include "phonelink/ServerLink.h"
#include "phonelink/TessraEvents.h"
#include "platform/kernel/Trace.h"

#include <utility>

namespace {

std::string invalidPortText(const std::string& comPort) {
    return comPort + " is an invalid COM port.  Please choose a different COM port.";
}

} // namespace

TessraServer::TessraServer(std::string clientName) try
    : clientName_(std::move(clientName)), link_(std::make_shared<ServerLink>()),
      events_(std::make_shared<TessraEvents>(*this)), manager_(*ComThreadManager::acquire()) {
} catch (const std::exception& error) {
    throw Exception(std::string("TessraServer::TessraServer - ") + error.what());
}

TessraServer::~TessraServer() {
    events_->stop();
    events_->awaitEnd();
    events_.reset();
    try {
        manager_.executeFunction(std::move(link_), &ServerLink::releaseServer, kTeardownTimeoutMs);
    } catch (const ComThreadManager::TimeoutException&) {
        // The service is slow to let go. The worker still holds the link and finishes with it.
    } catch (const std::exception& error) {
        kernel::logError(std::string("TessraServer::~TessraServer - ") + error.what());
    }
    ComThreadManager::release();
}

void TessraServer::invoke(FunctionWithArgument function, std::uintptr_t argument) {
    (this->*function)(argument);
}

void TessraServer::invoke(Function function) {
    (this->*function)();
}

void TessraServer::connect(const std::string comPort) {
    const AttachLock guard(*this);
    comPort_ = comPort;
    initializeIfNeeded();
    attachWith(connected_);
}

void TessraServer::initialize() {
    try {
        attachServer();
    } catch (const com::ComError& error) {
        recordInitializeFailure(isUnspecifiedError(error) ? invalidPortText(comPort_)
                                                          : std::string("TessraServer::initialize - ") + error.what());
    } catch (const CTESSRAPort::CTESSRAPortException& error) {
        recordInitializeFailure("TessraServer::initialize - " + error.message());
    } catch (const Exception& error) {
        recordFailure(error.what());
        initialized_ = false;
    } catch (...) {
        recordInitializeFailure("TessraServer::initialize - Unable to connect to the Tessra server");
    }
}

void TessraServer::attachServer() {
    // An attempt before this one may have got half-way.
    link_->releaseServer();
    link_->serverConnection = std::make_unique<ServerConnection>();
    if (com::failed(link_->serverConnection->attach(clientName_))) {
        throw Exception("TessraServer::initialize - Unable to attach to the Tessra server.");
    }
    link_->port = std::make_unique<CTESSRAPort>();
    com::ComPtr<com::Unknown> agent;
    com::throwIfFailed(link_->server()->createAgent(tessra::kConfigurationAgentName, -1, link_->agentHandle, agent));
    link_->agentCreated = true;
    const com::Status queried = agent.query(link_->agent);
    if (com::failed(queried)) {
        throw queried; // a bare status code: it ends in the handler for anything else
    }
    initialized_ = true;
}

void TessraServer::changeComPortImpl() {
    try {
        link_->phoneConnection->detach();
        link_->attachPort(comPort_);
        // The listeners asked for the events of the phone that the session is attached to.
        link_->eventSubscription.follow(link_->port->phone());
    } catch (const CTESSRAPort::CTESSRAPortException& error) {
        recordChangeFailure("TessraServer::changeComPortImpl - " + error.message());
    } catch (const com::ComError& error) {
        recordChangeFailure(isUnspecifiedError(error)
                                ? invalidPortText(comPort_)
                                : std::string("TessraServer::changeComPortImpl - ") + error.what());
    } catch (...) {
        recordChangeFailure("TessraServer::changeComPortImpl - Unable to change COM ports.");
    }
}

void TessraServer::connectWithComPortImpl() {
    recordingFailures("TessraServer::connectWithComPortImpl - ",
                      "TessraServer::connectWithComPortImpl - Unknow exception throw.  Caught in (...) catch block.",
                      [this] {
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
    return manager_.workerThread() == kernel::currentThreadId();
}

void TessraServer::runOnWorker(Member member) {
    manager_.executeFunction(*this, member, kernel::kInfinite);
    throwIfFailed();
}

void TessraServer::runOnWorker(MemberWithArgument member, std::uintptr_t argument) {
    manager_.executeFunction(*this, member, argument, kernel::kInfinite);
    throwIfFailed();
}

void TessraServer::throwIfFailed() {
    if (std::exchange(failed_, false)) {
        throw Exception(errorMessage_);
    }
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

void TessraServer::recordFailure(std::string message) {
    errorMessage_ = std::move(message);
    failed_ = true;
}

void TessraServer::recordInitializeFailure(std::string message) {
    events_->stop();
    recordFailure(std::move(message));
    initialized_ = false;
}

void TessraServer::recordChangeFailure(std::string message) {
    events_->stop();
    recordFailure(std::move(message));
    connected_ = false;
}

void TessraServer::recordingFailures(const char* prefix, const char* otherwise, const std::function<void()>& work) {
    try {
        work();
    } catch (const com::ComError& error) {
        recordFailure(prefix + serverErrorText(error));
    } catch (...) {
        recordFailure(otherwise);
    }
}

// How the session finds ports that carry a phone, and waits for one to appear.

#include "phonelink/ServerLink.h"
#include "phonelink/TessraServer.h"
#include "platform/kernel/TickCount.h"

#include <algorithm>

namespace {

constexpr std::uint32_t kPollIntervalMs = 20;
constexpr const char* kTimedConnectPrefix = "TessraServer::connectWithTimeoutAndComPortImpl - ";
constexpr const char* kUnknownException = "Unknown exception thrown, caught in the (...) catch block.";

// Whether the service's description of a phone tells of one that is there: it runs its loader, or it answers, or has
// answered since it appeared.
bool showsPhone(const tessra::PhoneDescription& phone) {
    return phone.mode == tessra::PhoneMode::kDownload || phone.mode == tessra::PhoneMode::kStreamDownload ||
           phone.answering || phone.answeredCount >= 1;
}

} // namespace

bool TessraServer::connect(std::uint32_t timeoutMs) {
    const std::uint32_t start = kernel::tickCount();
    const AttachLock guard(*this);
    initializeIfNeeded();
    return connectWithin(timeoutMs, start, false);
}

bool TessraServer::connect(const std::string comPort, std::uint32_t timeoutMs) {
    const std::uint32_t start = kernel::tickCount();
    const AttachLock guard(*this);
    comPort_ = comPort;
    initializeIfNeeded();
    return connectWithin(timeoutMs, start, true);
}

bool TessraServer::connectWithin(std::uint32_t timeoutMs, std::uint32_t startTick, bool onPort) {
    const bool wasConnected = connected_;
    for (;;) {
        if (onPort) {
            runOnWorker(&TessraServer::connectWithTimeoutAndComPortImpl, reinterpret_cast<std::uintptr_t>(&comPort_));
        } else {
            runOnWorker(&TessraServer::connectWithTimeoutAndComPortImpl);
        }
        // Without time there is one poll, also when the clock has not moved since the start.
        if (phoneFound_ || timeoutMs == 0 || kernel::elapsedMs(startTick, kernel::tickCount()) > timeoutMs) {
            break;
        }
        kernel::sleepMs(kPollIntervalMs);
    }
    if (phoneFound_) {
        attachWith(wasConnected);
    } else if (!onPort) {
        runOnWorker(&TessraServer::closeOtherPortsImpl);
    }
    return phoneFound_;
}

std::vector<std::string> TessraServer::getActiveComPorts() {
    const kernel::MutexLock guard(sessionLock_);
    initializeIfNeeded();
    runOnWorker(&TessraServer::getActiveComPortsImpl);
    return activeComPorts_;
}

std::vector<PhoneRecord> TessraServer::waitForActivePhone() {
    const kernel::MutexLock guard(sessionLock_);
    initializeIfNeeded();
    runOnWorker(&TessraServer::waitForActivePhoneImpl);
    return activePhones_;
}

std::string TessraServer::portProblem(const std::string& comPort) {
    // Whoever has a failure to tell is not kept waiting by another caller, who has the phone then.
    if (sessionLock_.wait(0) != kernel::WaitResult::kSignalled) {
        return {};
    }
    const kernel::MutexLock guard(sessionLock_);
    sessionLock_.release(); // the lock counts its owner's waits
    portProblem_.clear();
    if (initialized_) {
        runOnWorker(&TessraServer::portProblemImpl, reinterpret_cast<std::uintptr_t>(&comPort));
    }
    return portProblem_;
}

void TessraServer::portProblemImpl(std::uintptr_t comPort) {
    recordServerFailures("TessraServer::portProblemImpl", kUnknownException, [this, comPort] {
        portProblem_ = link_->portProblem(*reinterpret_cast<const std::string*>(comPort));
    });
}

void TessraServer::connectWithTimeoutAndComPortImpl(std::uintptr_t comPort) {
    const auto& wanted = *reinterpret_cast<const std::string*>(comPort);
    scanPhones([&] { link_->openOwnPort(wanted); });
    if (errorPending_) {
        errorMessage_ = kTimedConnectPrefix + errorMessage_;
        return;
    }
    phoneFound_ = std::any_of(activePhones_.begin(), activePhones_.end(),
                              [&wanted](const PhoneRecord& phone) { return phone.portName == wanted; });
}

void TessraServer::connectWithTimeoutAndComPortImpl() {
    phoneFound_ = false;
    scanPhones([this] { link_->openAllPorts(); });
    if (errorPending_) {
        link_->closeOtherPorts();
        errorMessage_ = kTimedConnectPrefix + errorMessage_;
        return;
    }
    if (activePhones_.size() == 1) {
        comPort_ = activePhones_.front().portName;
        phoneFound_ = true;
    } else if (activePhones_.size() > 1) {
        std::string ports;
        for (const PhoneRecord& phone : activePhones_) {
            ports += (ports.empty() ? "" : " ") + phone.portName;
        }
        link_->closeOtherPorts();
        recordFailure(kTimedConnectPrefix + ("More than one phone is active on COM ports: " + ports));
    }
}

void TessraServer::getActiveComPortsImpl() {
    activeComPorts_.clear();
    recordServerFailures("TessraServer::getActiveComPortsImpl", kUnknownException, [this] {
        link_->openAllPorts();
        link_->forEachPortWithPhone(
            [this](std::uint16_t, const tessra::PortDescription& port) { activeComPorts_.push_back(port.portName); });
    });
    link_->closeOtherPorts();
}

void TessraServer::waitForActivePhoneImpl() {
    if (connected_) {
        scanPhones([] {}); // a reset watches its own phone: others' devices are none of its business
        return;
    }
    scanPhones([this] { link_->openAllPorts(); });
    link_->closeOtherPorts();
}

void TessraServer::closeOtherPortsImpl() {
    link_->closeOtherPorts();
}

void TessraServer::scanPhones(const std::function<void()>& open) {
    activePhones_.clear();
    recordServerFailures("TessraServer::waitForActivePhoneImpl", kUnknownException, [this, &open] {
        open();
        link_->forEachPortWithPhone([this](std::uint16_t number, const tessra::PortDescription& port) {
            tessra::PhoneDescription phone;
            const com::Status described = link_->agent->describePhone(number, phone);
            if (described == tessra::kPhoneNotPresent) {
                return; // it left between the two questions, which a scan is there to notice
            }
            com::throwIfFailed(described);
            if (showsPhone(phone)) {
                activePhones_.push_back({port.portName, phone.model, phone.softwareVersion, phone.serialNumber});
            }
        });
    });
}

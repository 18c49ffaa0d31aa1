// The session's operations on the phone that it is connected to.

#include "phonelink/ServerLink.h"
#include "phonelink/TessraServer.h"
#include "platform/kernel/LittleEndian.h"
#include "platform/kernel/TickCount.h"

#include <algorithm>
#include <array>

namespace {

constexpr std::uint32_t kAnswerTimeoutMs = 2000;
constexpr std::uint32_t kScanIntervalMs = 20;

using NvPacket = std::array<std::uint8_t, tessra::kNvPacketBytes>;

constexpr std::uint8_t commandByte(tessra::Command command) {
    return static_cast<std::uint8_t>(command);
}

std::uint16_t modeCode(tessra::PhoneMode mode) {
    return static_cast<std::uint16_t>(mode);
}

} // namespace

void TessraServer::runOperation(const char* name, const Operation& operation, Member member) {
    requireConnected(name);
    const kernel::MutexLock guard(sessionLock_);
    requireConnected(name); // again: the call that held the lock may have lost the phone
    operation_ = operation;
    runOnWorker(member);
}

void TessraServer::sendSync(std::uint32_t requestLength, const std::uint8_t* request, std::uint32_t& responseLength,
                            std::uint8_t* response, std::uint32_t timeoutMs) {
    runOperation("sendSync",
                 {.requestLength = requestLength,
                  .request = request,
                  .responseLength = &responseLength,
                  .response = response,
                  .timeoutMs = timeoutMs},
                 &TessraServer::sendSyncImpl);
}

void TessraServer::offline() {
    runOperation("offline", {}, &TessraServer::offlineImpl);
}

void TessraServer::lock() {
    runOperation("lock", {}, &TessraServer::lockImpl);
}

void TessraServer::unlock() {
    runOperation("unlock", {}, &TessraServer::unlockImpl);
}

void TessraServer::detectBadPhoneMode() {
    runOperation("detectBadPhoneMode", {}, &TessraServer::detectBadPhoneModeImpl);
}

void TessraServer::sendSpc(const char* accessCode) {
    runOperation("sendSpc", {.accessCode = accessCode}, &TessraServer::sendSpcImpl);
}

void TessraServer::getDiagVerno(std::uint8_t* version) {
    runOperation("getDiagVerno", {.version = version}, &TessraServer::getDiagVernoImpl);
}

void TessraServer::sendTmob(std::uint32_t payloadLength, const std::uint8_t* payload, std::uint32_t& responseLength,
                            std::uint8_t* response) {
    runOperation(
        "sendTmob",
        {.requestLength = payloadLength, .request = payload, .responseLength = &responseLength, .response = response},
        &TessraServer::sendTmobImpl);
}

void TessraServer::readNv(std::uint16_t number, std::uint8_t* data, std::uint16_t& status) {
    exchangeNv("readNv", tessra::Command::kNvRead, number, nullptr, data, status);
}

void TessraServer::writeNv(std::uint16_t number, const std::uint8_t* data, std::uint16_t& status) {
    exchangeNv("writeNv", tessra::Command::kNvWrite, number, data, nullptr, status);
}

void TessraServer::exchangeNv(const char* name, tessra::Command command, std::uint16_t number,
                              const std::uint8_t* requestData, std::uint8_t* responseData, std::uint16_t& status) {
    status = tessra::kNvFailed;
    requireConnected(name);
    const kernel::MutexLock guard(sessionLock_);
    requireConnected(name);
    NvPacket request{};
    request[0] = commandByte(command);
    kernel::put16(request.data() + tessra::kNvItemOffset, number);
    if (requestData != nullptr) {
        std::copy_n(requestData, kNvDataBytes, request.begin() + tessra::kNvDataOffset);
    }
    NvPacket answer{};
    auto answerBytes = static_cast<std::uint32_t>(answer.size());
    sendSync(static_cast<std::uint32_t>(request.size()), request.data(), answerBytes, answer.data(), kAnswerTimeoutMs);
    // A byte of another item's answer, or one that never came, must not pass for this item's value.
    if (answerBytes != answer.size() ||
        !std::equal(request.begin(), request.begin() + tessra::kNvDataOffset, answer.begin())) {
        throw Exception(std::string("TessraServer::") + name + " - The phone's answer of " +
                            std::to_string(answerBytes) + " bytes is not the answer for NV item " +
                            std::to_string(number) + ".",
                        com::kUnexpected);
    }
    if (responseData != nullptr) {
        std::copy_n(answer.begin() + tessra::kNvDataOffset, kNvDataBytes, responseData);
    }
    status = kernel::get16(answer.data() + tessra::kNvStatusOffset);
}

void TessraServer::reset(std::uint32_t timeoutMs) {
    reset(timeoutMs, timeoutMs);
}

void TessraServer::reset(std::uint32_t resetTimeoutMs, std::uint32_t recoveryTimeoutMs) {
    const std::uint32_t start = kernel::tickCount();
    requireConnected("reset");
    const kernel::MutexLock guard(sessionLock_);
    requireConnected("reset");
    runOnWorker(&TessraServer::resetImpl);
    if (resetTimeoutMs > 0) {
        waitForPhoneToLeave(start, resetTimeoutMs);
    }
    if (recoveryTimeoutMs > 0) {
        // A phone that nobody watched going counts as present: one scan, for its failure, ends the call.
        waitForPhoneToReturn(start, recoveryTimeoutMs, resetTimeoutMs == 0);
    }
}

bool TessraServer::phoneSeenOnPort() {
    runOnWorker(&TessraServer::waitForActivePhoneImpl);
    return std::any_of(activePhones_.begin(), activePhones_.end(),
                       [this](const PhoneRecord& phone) { return phone.portName == comPort_; });
}

void TessraServer::waitForPhoneToLeave(std::uint32_t startTick, std::uint32_t timeoutMs) {
    while (phoneSeenOnPort()) {
        if (kernel::elapsedMs(startTick, kernel::tickCount()) > timeoutMs) {
            throw Exception("TessraServer::reset - The phone never reset.");
        }
        kernel::sleepMs(kScanIntervalMs);
    }
}

void TessraServer::waitForPhoneToReturn(std::uint32_t startTick, std::uint32_t timeoutMs, bool present) {
    while (!(phoneSeenOnPort() || present)) {
        if (kernel::elapsedMs(startTick, kernel::tickCount()) > timeoutMs) {
            throw Exception("TessraServer::reset - The phone never recovered from the reset", tessra::kPhoneNotPresent);
        }
        kernel::sleepMs(kScanIntervalMs);
    }
}

void TessraServer::sendSyncImpl() {
    recordServerFailures("TessraServer::sendSyncImpl", "Unable to SendSync.", [this] {
        link_->phoneConnection->sendSync(operation_.requestLength, operation_.request, *operation_.responseLength,
                                         operation_.response, operation_.timeoutMs);
    });
}

void TessraServer::offlineImpl() {
    recordServerFailures("TessraServer::offlineImpl", "Unable to go Offline.", [this] {
        com::throwIfFailed(link_->phoneConnection->phone()->changeMode(modeCode(tessra::PhoneMode::kOffline)));
    });
}

void TessraServer::resetImpl() {
    recordServerFailures("TessraServer::resetImpl", "Unable to reset.", [this] {
        com::throwIfFailed(link_->phoneConnection->phone()->changeMode(modeCode(tessra::PhoneMode::kReset)));
    });
}

void TessraServer::lockImpl() {
    recordServerFailures("TessraServer::lockImpl", "Unable to lock.",
                         [this] { com::throwIfFailed(link_->phoneConnection->phone()->lock(1)); });
}

void TessraServer::unlockImpl() {
    recordServerFailures("TessraServer::unlockImpl", "Unable to unlock",
                         [this] { com::throwIfFailed(link_->phoneConnection->phone()->unlock()); });
}

void TessraServer::detectBadPhoneModeImpl() {
    recordServerFailures("TessraServer::detectBadPhoneModeImpl", "Unable to detect bad phone mode",
                         [this] { link_->phoneConnection->checkMode(); });
}

void TessraServer::sendSpcImpl() {
    recordServerFailures("TessraServer::sendSpcImpl", "Unable to send Spc",
                         [this] { link_->phoneConnection->sendAccessCode(operation_.accessCode); });
}

void TessraServer::getDiagVernoImpl() {
    recordServerFailures("TessraServer::getDiagVernoImpl", "Unable to get diag version", [this] {
        std::fill_n(operation_.version, kDiagVersionBytes, std::uint8_t{0});
        const std::uint8_t request = commandByte(tessra::Command::kVersion);
        std::uint32_t received = kDiagVersionBytes;
        link_->phoneConnection->sendSync(1, &request, received, operation_.version, kAnswerTimeoutMs);
        if (received != kDiagVersionBytes) {
            com::raise(com::kFail);
        }
    });
}

void TessraServer::sendTmobImpl() {
    recordServerFailures("TessraServer::sendTmobImpl", "Unable to send TMOD", [this] {
        std::vector<std::uint8_t> packet{commandByte(tessra::Command::kTmob)};
        packet.insert(packet.end(), operation_.request, operation_.request + operation_.requestLength);
        link_->phoneConnection->sendSync(static_cast<std::uint32_t>(packet.size()), packet.data(),
                                         *operation_.responseLength, operation_.response, kAnswerTimeoutMs);
    });
}

#include "tessra/simulator/FaultyLink.h"

#include "tessra/Packet.h"

#include <utility>

namespace tessra {

FaultyLink::FaultyLink(std::shared_ptr<PhoneLink> link, bool present, const std::vector<FaultRule>& rules,
                       std::function<void()> putBack)
    : link_(std::move(link)), putBack_(std::move(putBack)), gate_(FaultScope::kPort, rules), present_(present) {}

void FaultyLink::start(std::function<void()> changed) {
    changed_ = std::move(changed);
    link_->start(changed_);
}

void FaultyLink::close() {
    gate_.close();
    link_->close();
}

PhoneView FaultyLink::look() {
    PhoneView view = link_->look();
    const std::lock_guard guard(lock_);
    view.appearance += returns_;
    if (!present_) {
        view.state = PhoneState::kNone;
        view.mode = PhoneMode::kNone;
        view.appearance = 0;
        view.problem.clear();
    }
    return view;
}

Status FaultyLink::exchange(std::span<const std::uint8_t> request, std::uint32_t timeoutMs,
                            std::vector<std::uint8_t>& answer) {
    const Fault* const fault = ClientPacket::current;
    answer.clear();
    if (!logIfPresent(request, fault != nullptr)) {
        return kPhoneNotPresent;
    }
    if (fault != nullptr && fault->kind == FaultKind::kNvStatus && nvItemOf(request)) {
        answer.assign(request.begin(), request.end());
        kernel::put16(answer.data() + kNvStatusOffset, static_cast<std::uint16_t>(fault->value));
        return com::kOk;
    }
    const Status status = link_->exchange(request, timeoutMs, answer);
    if (fault != nullptr && fault->kind == FaultKind::kShortAnswer && answer.size() > fault->value) {
        answer.resize(fault->value);
    }
    return status;
}

Status FaultyLink::enter(Call call, Fault& fault, std::optional<std::uint16_t> item, std::uint32_t timeoutMs) {
    const Status status = gate_.enter(call, fault, item, timeoutMs);
    if (com::succeeded(status) && fault.kind == FaultKind::kVanish) {
        setPresent(false);
    }
    return status;
}

void FaultyLink::setPresent(bool present) {
    std::unique_lock guard(lock_);
    if (present == present_) {
        return;
    }
    if (present) {
        putBack_(); // before anybody sees it
        ++returns_;
    }
    present_ = present;
    guard.unlock();
    changed_();
}

Status FaultyLink::setMode(PhoneMode mode) {
    std::uint8_t request[kModePacketBytes] = {static_cast<std::uint8_t>(Command::kChangeMode)};
    kernel::put16(request + 1, static_cast<std::uint16_t>(mode));
    std::vector<std::uint8_t> answer;
    const Status status = exchange(request, 2000, answer);
    changed_();
    return com::succeeded(status) && !hasCommand(answer, Command::kChangeMode) ? kDifferentMode : status;
}

void FaultyLink::overrideState(std::optional<std::uint16_t> state) {
    const std::lock_guard guard(lock_);
    stateOverride_ = state;
}

std::optional<std::uint16_t> FaultyLink::stateOverride() const {
    const std::lock_guard guard(lock_);
    return stateOverride_;
}

std::vector<std::vector<std::uint8_t>> FaultyLink::sentPackets() const {
    const std::lock_guard guard(lock_);
    return {sent_.begin(), sent_.end()};
}

bool FaultyLink::logIfPresent(std::span<const std::uint8_t> request, bool isClients) {
    const std::lock_guard guard(lock_);
    if (present_ && isClients) {
        sent_.emplace_back(request.begin(), request.end());
        if (sent_.size() > kLoggedPackets) {
            sent_.pop_front();
        }
    }
    return present_;
}

} // namespace tessra

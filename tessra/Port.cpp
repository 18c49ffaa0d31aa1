#include "tessra/Port.h"

#include "tessra/Refusal.h"
#include "tessra/SerialLine.h"
#include "tessra/SimulatedPhone.h"

#include <algorithm>
#include <utility>

namespace tessra {
namespace {

// How long the service itself waits for an answer to a packet of its own.
constexpr std::uint32_t kOwnTimeoutMs = 2000;

Status noPhone() {
    return refuse(kPhoneNotPresent, "No phone is present on the port.");
}

Status ended() {
    return refuse(com::kDisconnected, "The phone service has ended.");
}

bool isPhoneThere(const PhoneView& view) {
    return view.state == PhoneState::kPresent || view.state == PhoneState::kLeaving;
}

std::string textAt(const std::vector<std::uint8_t>& packet, VersionField field) {
    const auto begin = packet.begin() + static_cast<std::ptrdiff_t>(field.offset);
    const auto end = begin + static_cast<std::ptrdiff_t>(field.size);
    return {begin, std::find(begin, end, 0)};
}

// Does to an answer what a fault wants.
void distort(const Strike& strike, std::vector<std::uint8_t>& answer) {
    if (strike.kind == FaultKind::kShortAnswer && answer.size() > strike.value) {
        answer.resize(strike.value);
    }
}

// The answer of a phone that refuses an NV item with the status that a fault gives.
bool refusedByFault(const Strike& strike, std::span<const std::uint8_t> request, std::vector<std::uint8_t>& answer) {
    if (strike.kind != FaultKind::kNvStatus || !nvItemOf(request)) {
        return false;
    }
    answer.assign(request.begin(), request.end());
    put16(answer, kNvStatusOffset, static_cast<std::uint16_t>(strike.value));
    return true;
}

bool hasCommand(std::span<const std::uint8_t> packet, Command command) {
    return !packet.empty() && packet[0] == static_cast<std::uint8_t>(command);
}

// What others may know of an answer. One to the service programming code that is more than a verdict may repeat it.
std::span<const std::uint8_t> toldOf(std::span<const std::uint8_t> request, std::span<const std::uint8_t> answer) {
    const bool isSecret = hasCommand(request, Command::kAccessCode) && answer.size() > kAccessCodeAnswerBytes;
    return isSecret ? answer.first(1) : answer;
}

std::shared_ptr<PhoneLink> makeLink(const PortConfig& config) {
    if (!config.line.device.empty()) {
        return std::make_shared<SerialLine>(config.name, config.line, config.present);
    }
    return std::make_shared<SimulatedPhone>(config.name, config.phone, config.memory, config.initial, config.present);
}

} // namespace

Port::Port(const PortConfig& config, std::shared_ptr<EventThread> thread)
    : name_(config.name), number_(config.number), thread_(std::move(thread)), gate_(FaultScope::kPort, config.faults),
      link_(makeLink(config)), events_(thread_) {
    seen_ = link_->look();
    link_->start([this] {
        const std::lock_guard guard(lock_);
        lookLocked();
    });
}

void Port::close() {
    gate_.close();
    std::shared_ptr<PhoneLink> link;
    {
        const std::lock_guard guard(lock_);
        link.swap(link_);
        events_.silence();
    }
    if (link) {
        link->close();
    }
}

ClientId Port::newClient() {
    const std::lock_guard guard(lock_);
    return ++lastClient_;
}

Status Port::describe(PortDescription& description) {
    Strike strike;
    if (const Status status = enter(Call::kDescribePort, strike); com::failed(status)) {
        return status;
    }
    awaitFirstView();
    const std::lock_guard guard(lock_);
    const PhoneView view = lookLocked();
    description.portName = name_;
    description.state = isPhoneThere(view) ? kPortWithPhone : static_cast<std::uint16_t>(view.usable ? 0 : 1);
    return com::kOk;
}

Status Port::describePhone(PhoneDescription& description) {
    Strike strike;
    if (const Status status = enter(Call::kDescribePhone, strike); com::failed(status)) {
        return status;
    }
    awaitFirstView();
    std::optional<std::vector<std::uint8_t>> version;
    {
        const std::lock_guard guard(lock_);
        const PhoneView view = lookLocked();
        if (!isPhoneThere(view)) {
            return noPhone();
        }
        description.mode = view.mode;
        version = link_->knownVersion();
    }
    if (strike.kind == FaultKind::kNoAnswer) {
        return com::kOk;
    }
    std::vector<std::uint8_t> answer = version.value_or(std::vector<std::uint8_t>());
    if (!version) {
        constexpr std::uint8_t kRequest[] = {static_cast<std::uint8_t>(Command::kVersion)};
        ask(kRequest, answer);
    }
    if (answer.size() == kVersionAnswerBytes) {
        description.answering = true;
        description.model = textAt(answer, kModelField);
        description.softwareVersion = textAt(answer, kSoftwareVersionField);
        description.serialNumber = textAt(answer, kSerialNumberField);
    }
    const std::lock_guard guard(lock_);
    description.answeredCount = answered_;
    return com::kOk;
}

Status Port::requirePhone() {
    awaitFirstView();
    const std::lock_guard guard(lock_);
    const PhoneView view = lookLocked();
    // Where there is more to be said than that there is no phone, the client learns it from its first call.
    return isPhoneThere(view) || com::failed(view.trouble) ? com::kOk : noPhone();
}

Status Port::send(ClientId client, std::span<const std::uint8_t> request, std::uint32_t timeoutMs,
                  std::vector<std::uint8_t>& answer) {
    Strike strike;
    Status status = enter(Call::kSend, strike, nvItemOf(request), timeoutMs);
    if (com::failed(status)) {
        return status;
    }
    std::shared_ptr<PhoneLink> link;
    {
        const std::lock_guard guard(lock_);
        if (status = mayTalkLocked(client); com::failed(status)) {
            return status;
        }
        logLocked(request);
        link = link_;
    }
    if (!refusedByFault(strike, request, answer)) {
        status = link->exchange(request, timeoutMs, answer);
        if (com::failed(status)) {
            return refuse(status, "The packet could not be exchanged with the phone.");
        }
    }
    distort(strike, answer);
    noteAnswer(request, answer);
    if (!answer.empty() && isBadPacketCode(answer[0])) {
        return refuse(kBadPhoneResponse, "The phone refused the packet with code " + std::to_string(answer[0]) + ".");
    }
    return com::kOk;
}

Status Port::changeMode(ClientId client, std::uint16_t mode) {
    Strike strike;
    if (const Status status = enter(Call::kChangeMode, strike); com::failed(status)) {
        return status;
    }
    if (mode != static_cast<std::uint16_t>(PhoneMode::kOffline) &&
        mode != static_cast<std::uint16_t>(PhoneMode::kReset)) {
        return refuse(com::kInvalidArgument, "A phone can be changed to the modes offline (4) and reset (5) only.");
    }
    {
        const std::lock_guard guard(lock_);
        // A phone in its loader can still be reset.
        if (const Status status = mayTalkLocked(client); com::failed(status) && status != kBadPhoneMode) {
            return status;
        }
    }
    const Status status = setMode(static_cast<PhoneMode>(mode));
    return com::succeeded(status) ? status : refuse(status, "The phone did not agree to the change of mode.");
}

Status Port::lock(ClientId client) {
    Strike strike;
    if (const Status status = enter(Call::kLock, strike); com::failed(status)) {
        return status;
    }
    const std::lock_guard guard(lock_);
    if (locker_ != 0 && locker_ != client) {
        return refuse(kLockedForExclusiveUse, "Another client has locked the phone.");
    }
    locker_ = client;
    return com::kOk;
}

Status Port::unlock(ClientId client) {
    Strike strike;
    if (const Status status = enter(Call::kUnlock, strike); com::failed(status)) {
        return status;
    }
    const std::lock_guard guard(lock_);
    if (locker_ != 0 && locker_ != client) {
        return refuse(kUnlockByOther, "Another client has locked the phone.");
    }
    locker_ = 0;
    return com::kOk;
}

Status Port::mode(std::uint16_t& mode) {
    Strike strike;
    if (const Status status = enter(Call::kMode, strike); com::failed(status)) {
        return status;
    }
    const std::lock_guard guard(lock_);
    const PhoneView view = lookLocked();
    if (com::failed(view.trouble)) {
        return refuse(view.trouble, "The port's line can't be used.");
    }
    mode = static_cast<std::uint16_t>(view.mode);
    return com::kOk;
}

Status Port::state(std::uint16_t& state) {
    Strike strike;
    if (const Status status = enter(Call::kState, strike); com::failed(status)) {
        return status;
    }
    const std::lock_guard guard(lock_);
    state = stateOverride_.value_or(static_cast<std::uint16_t>(lookLocked().state));
    return com::kOk;
}

Status Port::sendCode(ClientId client, const std::string& code) {
    Strike strike;
    if (const Status status = enter(Call::kSecurity, strike); com::failed(status)) {
        return status;
    }
    {
        const std::lock_guard guard(lock_);
        if (const Status status = mayTalkLocked(client); com::failed(status)) {
            return status;
        }
    }
    std::vector<std::uint8_t> answer;
    if (code.size() == kSpcDigits) {
        std::vector<std::uint8_t> request{static_cast<std::uint8_t>(Command::kAccessCode)};
        request.insert(request.end(), code.begin(), code.end());
        if (const Status status = ask(request, answer); com::failed(status)) {
            return refuse(status, "The access code could not be exchanged with the phone.");
        }
    }
    const bool accepted = answer.size() == kAccessCodeAnswerBytes && answer[1] == 1;
    return accepted ? com::kOk : refuse(com::kAccessDenied, "The phone does not accept the service programming code.");
}

Status Port::subscribe(ClientId client, const ComPtr<IEventSink>& sink, std::uint32_t& cookie) {
    Strike strike;
    if (const Status status = enter(Call::kSubscribe, strike); com::failed(status)) {
        return status;
    }
    if (!sink) {
        return refuse(com::kPointer, "A subscription needs a sink.");
    }
    {
        const std::lock_guard guard(lock_);
        if (!link_) {
            return ended();
        }
        cookie = events_.subscribe(client, sink);
        thread_->wake();
    }
    return com::kOk;
}

Status Port::unsubscribe(ClientId client, std::uint32_t cookie) {
    Strike strike;
    const Status status = enter(Call::kUnsubscribe, strike);
    if (com::failed(status) && status != com::kDisconnected) {
        return status;
    }
    // Also when the service has ended: the client may destroy its sink once it has called this.
    EventHub::Ended ended;
    {
        const std::lock_guard guard(lock_);
        ended = events_.unsubscribe(client, cookie);
    }
    EventHub::giveBack(ended);
    const bool wasSubscribed = !ended.empty();
    if (com::failed(status)) {
        return status;
    }
    return wasSubscribed ? com::kOk : refuse(com::kInvalidArgument, "There is no such subscription.");
}

std::optional<std::chrono::steady_clock::time_point> Port::watch() {
    const std::lock_guard guard(lock_);
    if (!link_ || events_.empty()) {
        return std::nullopt;
    }
    // Asked before the look: a change between the two is then seen by the look, or still to come by this moment.
    const auto next = link_->nextChange();
    lookLocked();
    return next;
}

void Port::forget(ClientId client) {
    EventHub::Ended ended;
    {
        const std::lock_guard guard(lock_);
        if (locker_ == client) {
            locker_ = 0;
        }
        ended = events_.forget(client);
    }
    EventHub::giveBack(ended);
}

void Port::setPresent(bool present) {
    const std::lock_guard guard(lock_);
    if (link_) {
        link_->setPresent(present);
        lookLocked();
    }
}

Status Port::setMode(PhoneMode mode) {
    std::uint8_t request[kModePacketBytes] = {static_cast<std::uint8_t>(Command::kChangeMode)};
    put16(request, 1, static_cast<std::uint16_t>(mode));
    std::vector<std::uint8_t> answer;
    if (const Status status = ask(request, answer); com::failed(status)) {
        return status;
    }
    {
        const std::lock_guard guard(lock_);
        lookLocked();
    }
    return !answer.empty() && answer[0] == request[0] ? com::kOk : kDifferentMode;
}

void Port::overrideState(std::optional<std::uint16_t> state) {
    const std::lock_guard guard(lock_);
    stateOverride_ = state;
}

std::vector<std::vector<std::uint8_t>> Port::sentPackets() const {
    const std::lock_guard guard(lock_);
    std::vector<std::vector<std::uint8_t>> packets;
    const std::size_t oldest = log_.size() < kLoggedPackets ? 0 : logNext_;
    for (std::size_t i = 0; i < log_.size(); ++i) {
        const LoggedPacket& packet = log_[(oldest + i) % log_.size()];
        packets.emplace_back(packet.bytes.begin(), packet.bytes.begin() + static_cast<std::ptrdiff_t>(packet.length));
    }
    return packets;
}

Status Port::enter(Call call, Strike& strike, std::optional<std::uint16_t> item, std::uint32_t timeoutMs) {
    const Status status = gate_.enter(call, strike, item, timeoutMs);
    if (com::succeeded(status) && strike.kind == FaultKind::kVanish) {
        setPresent(false);
    }
    return status;
}

void Port::awaitFirstView() {
    std::shared_ptr<PhoneLink> link;
    {
        const std::lock_guard guard(lock_);
        link = link_;
    }
    if (link) {
        link->awaitFirstView();
    }
}

// Looks at the phone, and tells the subscribers of what has changed since the last look.
PhoneView Port::lookLocked() {
    const PhoneView before = seen_;
    seen_ = link_ ? link_->look() : PhoneView{};
    const bool isSamePhone = seen_.appearance == before.appearance;
    if (isPhoneThere(before) && !(isPhoneThere(seen_) && isSamePhone)) {
        fireNamedLocked(EventKind::kPhoneLeft, before.mode);
    }
    if (isPhoneThere(seen_) && !(isPhoneThere(before) && isSamePhone)) {
        answered_ = 0;
        fireNamedLocked(EventKind::kPhoneAppeared, seen_.mode);
    } else if (isPhoneThere(seen_) && seen_.mode != before.mode) {
        fireNamedLocked(EventKind::kModeChanged, seen_.mode);
    }
    return seen_;
}

// Whether packets of `client` may go to the phone.
Status Port::mayTalkLocked(ClientId client) {
    if (!link_) {
        return ended();
    }
    const PhoneView view = lookLocked();
    if (locker_ != 0 && locker_ != client) {
        return refuse(kLockedForExclusiveUse, "Another client has locked the phone.");
    }
    if (com::failed(view.trouble)) {
        return refuse(view.trouble, "The port's line can't be used.");
    }
    if (view.state != PhoneState::kPresent) {
        return noPhone();
    }
    if (view.mode == PhoneMode::kDownload || view.mode == PhoneMode::kStreamDownload) {
        return refuse(kBadPhoneMode, "The phone runs its loader.");
    }
    return com::kOk;
}

// Exchanges a packet of the service's own.
Status Port::ask(std::span<const std::uint8_t> request, std::vector<std::uint8_t>& answer) {
    std::shared_ptr<PhoneLink> link;
    {
        const std::lock_guard guard(lock_);
        link = link_;
    }
    const Status status = link ? link->exchange(request, kOwnTimeoutMs, answer) : com::kDisconnected;
    if (com::succeeded(status)) {
        noteAnswer(request, answer);
    }
    return status;
}

void Port::logLocked(std::span<const std::uint8_t> packet) {
    if (log_.size() < kLoggedPackets) {
        log_.emplace_back();
    }
    LoggedPacket& place = log_[logNext_];
    std::copy(packet.begin(), packet.end(), place.bytes.begin());
    place.length = packet.size();
    logNext_ = (logNext_ + 1) % kLoggedPackets;
}

void Port::fireNamedLocked(EventKind kind, PhoneMode mode) {
    const auto* name = reinterpret_cast<const std::uint8_t*>(name_.data());
    events_.fire(kind, number_, static_cast<std::uint16_t>(mode), {name, name_.size()});
}

void Port::noteAnswer(std::span<const std::uint8_t> request, std::span<const std::uint8_t> answer) {
    const std::lock_guard guard(lock_);
    ++answered_;
    events_.fire(EventKind::kPacketExchanged, number_, request.empty() ? std::uint16_t{0} : request[0],
                 toldOf(request, answer));
    // The phone may be about to leave.
    if (hasCommand(request, Command::kChangeMode) && !events_.empty()) {
        thread_->wake();
    }
}

} // namespace tessra

#include "tessra/Port.h"

#include "platform/kernel/LittleEndian.h"
#include "tessra/Packet.h"

#include <algorithm>
#include <optional>
#include <utility>

namespace tessra {
namespace {

// How long the service itself waits for an answer to a packet of its own.
constexpr std::uint32_t kOwnTimeoutMs = 2000;

Status noPhone() {
    return failWith(kPhoneNotPresent, "No phone is present on the port.");
}

Status ended() {
    return failWith(com::kDisconnected, "The phone service has ended.");
}

bool isPhoneThere(const PhoneView& view) {
    return view.state == PhoneState::kPresent || view.state == PhoneState::kLeaving;
}

// What others may know of an answer. One to the service programming code that is more than a verdict may repeat it.
std::span<const std::uint8_t> partForOthers(std::span<const std::uint8_t> request,
                                            std::span<const std::uint8_t> answer) {
    const bool isSecret = hasCommand(request, Command::kAccessCode) && answer.size() > kAccessCodeAnswerBytes;
    return isSecret ? answer.first(1) : answer;
}

} // namespace

Port::Port(std::string name, std::uint16_t number, std::shared_ptr<PhoneLink> link)
    : name_(std::move(name)), number_(number), link_(std::move(link)) {
    link_->start([this] {
        const std::lock_guard guard(lock_);
        lookLocked();
    });
}

void Port::close() {
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

void Port::addUser() {
    const std::lock_guard uses(useLock_);
    if (users_++ > 0) {
        return;
    }
    const auto link = currentLink();
    if (link) {
        link->open();
    }
    const std::lock_guard guard(lock_);
    isOpen_ = true;
    seen_ = link ? link->look() : PhoneView{};
}

// Nobody listens to a port that nobody uses, so its phone leaves without a word.
void Port::removeUser() {
    const std::lock_guard uses(useLock_);
    if (--users_ > 0) {
        return;
    }
    {
        const std::lock_guard guard(lock_);
        isOpen_ = false;
        seen_ = {};
    }
    if (const auto link = currentLink()) {
        link->release();
    }
}

ClientId Port::newClient() {
    const std::lock_guard guard(lock_);
    return ++lastClient_;
}

Status Port::describe(PortDescription& description) {
    awaitFirstView();
    const std::lock_guard guard(lock_);
    const PhoneView view = lookLocked();
    description.portName = name_;
    description.problem = !isOpen_ && link_ ? link_->look().problem : view.problem;
    description.state = isPhoneThere(view) ? kPortWithPhone : static_cast<std::uint16_t>(view.usable ? 0 : 1);
    return com::kOk;
}

Status Port::describePhone(PhoneDescription& description) {
    awaitFirstView();
    std::optional<std::vector<std::uint8_t>> known;
    {
        const std::lock_guard guard(lock_);
        const PhoneView view = lookLocked();
        if (!isPhoneThere(view)) {
            return noPhone();
        }
        description.mode = view.mode;
        known = link_->knownVersion();
    }
    std::vector<std::uint8_t> answer = known.value_or(std::vector<std::uint8_t>());
    if (!known) {
        constexpr std::uint8_t kRequest[] = {static_cast<std::uint8_t>(Command::kVersion)};
        ask(kRequest, answer);
    }
    description.answering = hasCommand(answer, Command::kVersion);
    if (auto texts = versionTextsOf(answer)) {
        description.model = std::move(texts->model);
        description.softwareVersion = std::move(texts->softwareVersion);
        description.serialNumber = std::move(texts->serialNumber);
    }
    const std::lock_guard guard(lock_);
    // A link that asks by itself has a phone only once that has answered.
    description.answeredCount = std::max(answered_, known ? 1U : 0U);
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
    std::shared_ptr<PhoneLink> link;
    {
        const std::lock_guard guard(lock_);
        if (const Status status = mayTalkLocked(client); com::failed(status)) {
            return status;
        }
        link = link_;
    }
    if (const Status status = link->exchange(request, timeoutMs, answer); com::failed(status)) {
        return failWith(status, "The packet could not be exchanged with the phone.");
    }
    countAnswer(request, answer);
    if (!answer.empty() && isBadPacketCode(answer[0])) {
        return failWith(kBadPhoneResponse, "The phone refused the packet with code " + std::to_string(answer[0]) + ".");
    }
    return com::kOk;
}

Status Port::changeMode(ClientId client, std::uint16_t mode) {
    if (mode != static_cast<std::uint16_t>(PhoneMode::kOffline) &&
        mode != static_cast<std::uint16_t>(PhoneMode::kReset)) {
        return failWith(com::kInvalidArgument, "A phone can be changed to the modes offline (4) and reset (5) only.");
    }
    {
        const std::lock_guard guard(lock_);
        // A phone in its loader can still be reset.
        if (const Status status = mayTalkLocked(client); com::failed(status) && status != kBadPhoneMode) {
            return status;
        }
    }
    std::uint8_t request[kModePacketBytes] = {static_cast<std::uint8_t>(Command::kChangeMode)};
    kernel::put16(request + 1, mode);
    std::vector<std::uint8_t> answer;
    Status status = ask(request, answer);
    // A phone that agrees repeats the request: anything else may be an agreement to another change.
    if (com::succeeded(status) && !std::equal(answer.begin(), answer.end(), std::begin(request), std::end(request))) {
        status = kDifferentMode;
    }
    return com::succeeded(status) ? status : failWith(status, "The phone did not agree to the change of mode.");
}

Status Port::lock(ClientId client) {
    const std::lock_guard guard(lock_);
    if (locker_ != 0 && locker_ != client) {
        return failWith(kLockedForExclusiveUse, "Another client has locked the phone.");
    }
    locker_ = client;
    return com::kOk;
}

Status Port::unlock(ClientId client) {
    const std::lock_guard guard(lock_);
    if (locker_ != 0 && locker_ != client) {
        return failWith(kUnlockByOther, "Another client has locked the phone.");
    }
    locker_ = 0;
    return com::kOk;
}

Status Port::mode(std::uint16_t& mode) {
    const std::lock_guard guard(lock_);
    const PhoneView view = lookLocked();
    if (com::failed(view.trouble)) {
        return failWith(view.trouble, "The port's line can't be used.");
    }
    mode = static_cast<std::uint16_t>(view.mode);
    return com::kOk;
}

Status Port::state(std::uint16_t& state) {
    const std::lock_guard guard(lock_);
    state = static_cast<std::uint16_t>(lookLocked().state);
    return com::kOk;
}

Status Port::sendCode(ClientId client, const std::string& code) {
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
            return failWith(status, "The access code could not be exchanged with the phone.");
        }
    }
    const bool accepted = answer.size() == kAccessCodeAnswerBytes && answer[1] == 1;
    return accepted ? com::kOk
                    : failWith(com::kAccessDenied, "The phone does not accept the service programming code.");
}

Status Port::subscribe(ClientId client, const ComPtr<IEventSink>& sink, std::uint32_t& cookie) {
    if (!sink) {
        return failWith(com::kPointer, "A subscription needs a sink.");
    }
    const std::lock_guard guard(lock_);
    if (!link_) {
        return ended();
    }
    cookie = events_.subscribe(client, sink);
    return com::kOk;
}

Status Port::unsubscribe(ClientId client, std::uint32_t cookie) {
    EventHub::Ended ended;
    {
        const std::lock_guard guard(lock_);
        ended = events_.unsubscribe(client, cookie);
    }
    EventHub::releaseSinks(ended);
    return ended.empty() ? failWith(com::kInvalidArgument, "There is no such subscription.") : com::kOk;
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
    EventHub::releaseSinks(ended);
}

std::shared_ptr<PhoneLink> Port::currentLink() {
    const std::lock_guard guard(lock_);
    return link_;
}

void Port::awaitFirstView() {
    if (const auto link = currentLink()) {
        link->awaitFirstView();
    }
}

// Looks at the phone, and tells the subscribers of what has changed since the last look.
PhoneView Port::lookLocked() {
    const PhoneView before = seen_;
    seen_ = link_ && isOpen_ ? link_->look() : PhoneView{};
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
        return failWith(kLockedForExclusiveUse, "Another client has locked the phone.");
    }
    if (com::failed(view.trouble)) {
        return failWith(view.trouble, "The port's line can't be used.");
    }
    if (view.state != PhoneState::kPresent) {
        return noPhone();
    }
    if (view.mode == PhoneMode::kDownload || view.mode == PhoneMode::kStreamDownload) {
        return failWith(kBadPhoneMode, "The phone runs its loader.");
    }
    return com::kOk;
}

// Exchanges a packet of the service's own.
Status Port::ask(std::span<const std::uint8_t> request, std::vector<std::uint8_t>& answer) {
    const auto link = currentLink();
    const Status status = link ? link->exchange(request, kOwnTimeoutMs, answer) : com::kDisconnected;
    if (com::succeeded(status)) {
        countAnswer(request, answer);
    }
    return status;
}

void Port::fireNamedLocked(EventKind kind, PhoneMode mode) {
    const auto* name = reinterpret_cast<const std::uint8_t*>(name_.data());
    events_.fire(kind, number_, static_cast<std::uint16_t>(mode), {name, name_.size()});
}

void Port::countAnswer(std::span<const std::uint8_t> request, std::span<const std::uint8_t> answer) {
    const std::lock_guard guard(lock_);
    ++answered_;
    events_.fire(EventKind::kPacketExchanged, number_, request.empty() ? std::uint16_t{0} : request[0],
                 partForOthers(request, answer));
    if (hasCommand(request, Command::kChangeMode)) {
        lookLocked();
    }
}

} // namespace tessra

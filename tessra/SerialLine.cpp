#include "tessra/SerialLine.h"

#include "tessra/Packet.h"
#include "tessra/SerialLineTurn.h"

#include <algorithm>
#include <array>

namespace tessra {
namespace {

using std::chrono::milliseconds;

// Beyond so many bytes without an answer, a line is read in small portions with pauses, so that one that babbles faster
// than any serial line can does not keep a processor busy.
constexpr std::size_t kBabbleBytes = 16 * 1024;
constexpr milliseconds kBabblePause{5};

// Requests of one transfer follow each other faster than this.
constexpr milliseconds kTransferPause{10};

constexpr std::uint8_t codeOf(Command command) {
    return static_cast<std::uint8_t>(command);
}

bool isRepeatable(std::span<const std::uint8_t> request) {
    return !request.empty() && (request[0] == codeOf(Command::kVersion) || request[0] == codeOf(Command::kQueryMode) ||
                                (request[0] == codeOf(Command::kNvRead) && nvItemOf(request)));
}

// Whether `packet` answers `request`: it has its command code and, for an NV item, its number; or it says that the
// phone does not accept the request, and repeats it.
bool isAnswer(std::span<const std::uint8_t> request, std::span<const std::uint8_t> packet) {
    if (packet.empty()) {
        return false;
    }
    if (isBadPacketCode(packet[0]) && (request.empty() || request[0] != packet[0])) {
        const auto repeated = packet.subspan(1);
        return repeated.size() == std::min<std::size_t>(request.size(), kMaxPacketBytes - 1) &&
               std::equal(repeated.begin(), repeated.end(), request.begin());
    }
    if (request.empty() || packet[0] != request[0]) {
        return false;
    }
    const auto item = nvItemOf(request);
    return !item || (packet.size() >= kNvDataOffset && get16(packet, kNvItemOffset) == *item);
}

// Whether `packet` is a question for the version or the mode, which no phone sends: the line repeats what is sent.
bool isEchoedQuestion(std::span<const std::uint8_t> packet) {
    return packet.size() == 1 && (packet[0] == codeOf(Command::kVersion) || packet[0] == codeOf(Command::kQueryMode));
}

bool isReset(std::span<const std::uint8_t> request) {
    return request.size() == kModePacketBytes && request[0] == codeOf(Command::kChangeMode) &&
           static_cast<PhoneMode>(get16(request, 1)) == PhoneMode::kReset;
}

// Whether `answer` may be the echo of `request`, and the phone is to be asked. One that has just agreed to a reset may
// be on its way to leave, and is not.
bool mayBeEcho(std::span<const std::uint8_t> request, std::span<const std::uint8_t> answer) {
    return std::equal(request.begin(), request.end(), answer.begin(), answer.end()) && !isReset(request);
}

} // namespace

SerialLine::SerialLine(std::string name, LineSetup setup, bool present)
    : name_(std::move(name)), setup_(std::move(setup)), present_(present) {}

SerialLine::~SerialLine() {
    close();
    if (keeper_.joinable()) {
        keeper_.join();
    }
}

void SerialLine::start(std::function<void()> changed) {
    changed_ = std::move(changed);
    keeper_ = std::thread([this] { keep(); });
}

void SerialLine::close() {
    const Guard guard(lock_);
    closed_ = true;
    turnWake_.signal();
    keeperWake_.signal();
    turnFree_.notify_all();
    viewKnown_.notify_all();
}

PhoneView SerialLine::look() {
    const Guard guard(lock_);
    // Somebody who waits for a phone to leave and come back looks often; the keeper then asks as often.
    if (resetIsWatchedLocked() && !keeperAsks_ && nextAsk_ > Clock::now()) {
        nextAsk_ = std::min(nextAsk_, lastAskEnd_ + milliseconds(20));
        keeperWake_.signal();
    }
    PhoneView view;
    view.usable = open_;
    view.trouble = trouble_;
    if (open_ && present_) {
        view.state = state_;
        view.mode = mode_;
        view.appearance = appearance_;
    }
    return view;
}

void SerialLine::awaitFirstView() {
    Guard guard(lock_);
    viewKnown_.wait_for(guard, milliseconds(3 * setup_.answerMs), [this] { return known_ || closed_; });
}

std::optional<std::vector<std::uint8_t>> SerialLine::knownVersion() {
    const Guard guard(lock_);
    return version_;
}

Status SerialLine::exchange(Request request, std::uint32_t timeoutMs, Bytes& answer) {
    answer.clear();
    const auto deadline = Clock::now() + milliseconds(timeoutMs);
    const Turn turn(*this, deadline);
    {
        const Guard guard(lock_);
        if (closed_) {
            return com::kDisconnected;
        }
        if (!present_ || !isThereLocked()) {
            return kPhoneNotPresent;
        }
    }
    if (!turn) {
        return kResponseTimeout;
    }
    Status status = settle(deadline);
    if (com::succeeded(status)) {
        status = ask(request, deadline, answer);
    }
    const bool isSilence = status == kResponseTimeout && timeoutMs >= setup_.answerMs;
    if (com::succeeded(status) && mayBeEcho(request, answer)) {
        constexpr std::uint8_t kMode = codeOf(Command::kQueryMode);
        Bytes ignored;
        status = ask({&kMode, 1}, std::max(deadline, Clock::now() + milliseconds(setup_.answerMs)), ignored);
    }
    if (com::failed(status)) {
        answer.clear();
    }
    noteExchange(status, isSilence, request, answer);
    return status;
}

void SerialLine::setPresent(bool present) {
    const Guard guard(lock_);
    if (present && !present_) {
        ++appearance_;
    }
    present_ = present;
}

// Sends a request on a settled line, and keeps account of what may still come.
Status SerialLine::ask(Request request, Clock::time_point deadline, Bytes& answer) {
    constexpr std::uint8_t kVersion = codeOf(Command::kVersion);
    constexpr std::uint8_t kMode = codeOf(Command::kQueryMode);
    const std::uint8_t code = request.empty() ? std::uint8_t{0xFF} : request[0];
    bool repeated = false;
    const Status status = transact(request, deadline, repeated, answer);
    if (com::failed(status)) {
        unsettled_ = true;
        settler_ = code == kVersion || code == kMode ? code : loose_ == kVersion ? kMode : kVersion;
    } else {
        answeredAt_ = Clock::now();
        if (loose_ != code) {
            loose_ = repeated ? std::optional(code) : std::nullopt;
        }
    }
    return status;
}

Status SerialLine::settle(Clock::time_point deadline) {
    Status status = kResponseTimeout;
    while (unsettled_) {
        const auto limit = std::min(deadline, Clock::now() + milliseconds(setup_.answerMs));
        bool repeated = false;
        Bytes ignored;
        status = transact({&settler_, 1}, limit, repeated, ignored);
        if (com::succeeded(status)) {
            unsettled_ = false;
            loose_ = settler_;
        } else if (status != kResponseTimeout || Clock::now() >= deadline) {
            return status;
        }
    }
    return com::kOk;
}

Status SerialLine::transact(Request request, Clock::time_point deadline, bool& repeated, Bytes& answer) {
    drain();
    const Bytes frame = encodeFrame(request);
    if (!port_.write(frame, deadline, turnWake_)) {
        return afterWriteFailure();
    }
    Hearing hearing{.strayBefore = decoder_.counts().strayBytes};
    for (;;) {
        const bool mayRepeat = !repeated && isRepeatable(request);
        const bool isLost = com::failed(hearing.damage) || (hearing.pending && mayRepeat);
        const auto limit = isLost ? std::min(deadline, Clock::now() + milliseconds(setup_.quietMs)) : deadline;
        switch (port_.waitForBytes(limit, turnWake_)) {
        case SerialPort::Wait::kReady:
            if (hear(request, hearing, answer)) {
                return com::kOk;
            }
            if (hearing.gone) {
                lose();
                return kPhoneNotPresent;
            }
            if (hearing.echo) {
                refuseEcho();
                return kFramingError;
            }
            if (hearing.bytes < kBabbleBytes) {
                break;
            }
            if (const auto status = interrupted()) {
                return *status;
            }
            std::this_thread::sleep_for(kBabblePause);
            if (Clock::now() >= deadline) {
                return com::failed(hearing.damage) ? hearing.damage : kFramingError;
            }
            break;
        case SerialPort::Wait::kGone:
            lose();
            return kPhoneNotPresent;
        case SerialPort::Wait::kWoken:
            if (const auto status = interrupted()) {
                return *status;
            }
            break;
        case SerialPort::Wait::kTimedOut:
            if (!hearing.pending && com::succeeded(hearing.damage)) {
                return kResponseTimeout;
            }
            if (hearing.pending) {
                decoder_.abandonFrame();
                hearing.damage = com::failed(hearing.damage) ? hearing.damage : kFramingError;
            }
            if (!mayRepeat || Clock::now() >= deadline) {
                return hearing.damage;
            }
            repeated = true;
            hearing = {.strayBefore = decoder_.counts().strayBytes};
            if (!port_.write(frame, deadline, turnWake_)) {
                return afterWriteFailure();
            }
        }
    }
}

// Reads once; true when the answer was there.
bool SerialLine::hear(Request request, Hearing& hearing, Bytes& answer) {
    std::array<std::uint8_t, 1024> buffer;
    const std::ptrdiff_t count = port_.read(buffer);
    hearing.gone = count < 0;
    if (count <= 0) {
        return false;
    }
    hearing.bytes += static_cast<std::size_t>(count);
    bool answered = false;
    std::span<const std::uint8_t> bytes(buffer.data(), static_cast<std::size_t>(count));
    for (auto result = decoder_.next(bytes); result != FrameResult::kMore; result = decoder_.next(bytes)) {
        if (result == FrameResult::kPacket) {
            if (isEchoedQuestion(decoder_.packet())) {
                hearing.echo = true;
            } else if (!answered && isAnswer(request, decoder_.packet())) {
                answer.assign(decoder_.packet().begin(), decoder_.packet().end());
                answered = true;
            }
        } else {
            hearing.damage = result == FrameResult::kDamaged ? kCheckSequenceError : kFramingError;
        }
        hearing.strayBefore = decoder_.counts().strayBytes;
    }
    hearing.pending = decoder_.inFrame() || decoder_.counts().strayBytes != hearing.strayBefore;
    return answered && !hearing.echo;
}

// What came while nobody listened belongs to no request. In the middle of a transfer that goes well there is nothing
// to be expected, and it is not looked for.
void SerialLine::drain() {
    if (!unsettled_ && !loose_ && !decoder_.inFrame() && Clock::now() - answeredAt_ < kTransferPause) {
        return;
    }
    std::array<std::uint8_t, 1024> buffer;
    for (std::size_t drained = 0; drained < kBabbleBytes;) {
        const std::ptrdiff_t count = port_.read(buffer);
        if (count <= 0) {
            return;
        }
        drained += static_cast<std::size_t>(count);
        std::span<const std::uint8_t> bytes(buffer.data(), static_cast<std::size_t>(count));
        while (!bytes.empty()) {
            decoder_.next(bytes);
        }
    }
    port_.dropReceived();
    decoder_.abandonFrame();
}

// Why whoever has the turn has to give it up, if so. A keeper that gives way to a client fails with kGaveWay.
std::optional<Status> SerialLine::interrupted() {
    const Guard guard(lock_);
    turnWake_.clear();
    if (closed_) {
        return com::kDisconnected;
    }
    return keeperAsks_ && waiting_ > 0 ? std::optional(kGaveWay) : std::nullopt;
}

Status SerialLine::afterWriteFailure() {
    if (const auto status = interrupted()) {
        return *status;
    }
    if (port_.waitForBytes(Clock::now(), turnWake_) == SerialPort::Wait::kGone) {
        lose();
        return kPhoneNotPresent;
    }
    port_.dropUnsent(); // or a device that takes nothing would one day send all that it was ever given
    return kWriteFailure;
}

void SerialLine::lose() {
    const Guard guard(lock_);
    lost_ = true;
    keeperWake_.signal();
}

void SerialLine::refuseEcho() {
    static const std::string kProblem = "the line repeats what is sent to it, so its answers can't be believed; is it "
                                        "short-circuited, or an adapter for a single wire?";
    Guard guard(lock_);
    trouble_ = kFramingError;
    showLocked(PhoneState::kSearching, PhoneMode::kNone);
    const bool isNews = isNewsLocked(kProblem);
    guard.unlock();
    if (isNews) {
        report(kProblem);
    }
}

} // namespace tessra

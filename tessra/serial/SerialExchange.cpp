#include "tessra/serial/SerialExchange.h"

#include "platform/kernel/LittleEndian.h"
#include "tessra/Packet.h"

#include <algorithm>
#include <array>
#include <thread>

namespace tessra {
namespace {

using std::chrono::milliseconds;

// Beyond so many bytes without an answer, a line is read in small portions with pauses, so that one that babbles faster
// than any serial line can does not keep a processor busy.
constexpr std::size_t kBabbleBytes = 16 * 1024;
constexpr milliseconds kBabblePause{5};

// Requests of one transfer follow each other faster than this.
constexpr milliseconds kTransferPause{10};

constexpr auto kVersion = static_cast<std::uint8_t>(Command::kVersion);
constexpr auto kQueryMode = static_cast<std::uint8_t>(Command::kQueryMode);

bool isRepeatable(std::span<const std::uint8_t> request) {
    return hasCommand(request, Command::kVersion) || hasCommand(request, Command::kQueryMode) ||
           (hasCommand(request, Command::kNvRead) && nvItemOf(request));
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
    return !item || (packet.size() >= kNvDataOffset && kernel::get16(packet.data() + kNvItemOffset) == *item);
}

// Whether `packet` is a question for the version or the mode, which no phone sends: the line repeats what is sent.
bool isEchoedQuestion(std::span<const std::uint8_t> packet) {
    return packet.size() == 1 && (packet[0] == kVersion || packet[0] == kQueryMode);
}

bool isDamage(Status status) {
    return status == kFramingError || status == kCheckSequenceError;
}

} // namespace

Status SerialExchange::open(std::string& problem) {
    decoder_.abandonFrame();
    isSettled_ = false;
    settlingQuestion_ = kVersion;
    lateCommand_.reset();
    return port_.open(setup_, problem);
}

Status SerialExchange::settle(Clock::time_point deadline) {
    while (!isSettled_) {
        const auto limit = std::min(deadline, Clock::now() + milliseconds(setup_.answerMs));
        bool repeated = false;
        Bytes ignored;
        const Status status = sendAndRepeat({&settlingQuestion_, 1}, limit, repeated, ignored);
        if (com::succeeded(status)) {
            isSettled_ = true;
            lateCommand_ = settlingQuestion_; // it may have been asked several times
        } else if (status != kResponseTimeout || Clock::now() >= deadline) {
            return status;
        }
    }
    return com::kOk;
}

Status SerialExchange::ask(Request request, Clock::time_point deadline, Bytes& answer) {
    const std::uint8_t code = request.empty() ? std::uint8_t{0xFF} : request[0];
    bool repeated = false;
    const Status status = sendAndRepeat(request, deadline, repeated, answer);
    if (com::failed(status)) {
        isSettled_ = false;
        const bool isQuestion = code == kVersion || code == kQueryMode;
        settlingQuestion_ = isQuestion ? code : lateCommand_ == kVersion ? kQueryMode : kVersion;
        return status;
    }
    answeredAt_ = Clock::now();
    if (lateCommand_ != code) {
        lateCommand_ = repeated ? std::optional(code) : std::nullopt;
    }
    return status;
}

Status SerialExchange::sendAndRepeat(Request request, Clock::time_point deadline, bool& repeated, Bytes& answer) {
    skipUnasked();
    const bool mayRepeat = isRepeatable(request);
    Status status = sendOnce(request, deadline, mayRepeat, answer);
    if (isDamage(status) && mayRepeat && Clock::now() < deadline) {
        repeated = true;
        status = sendOnce(request, deadline, false, answer);
    }
    return status;
}

Status SerialExchange::sendOnce(Request request, Clock::time_point deadline, bool mayRepeat, Bytes& answer) {
    if (!port_.write(encodeFrame(request), deadline, wake_)) {
        return whyNotWritten();
    }
    Reception reception{.strayBefore = decoder_.strayBytes()};
    for (;;) {
        const bool isLost = com::failed(reception.damage) || (reception.pending && mayRepeat);
        const auto limit = isLost ? std::min(deadline, Clock::now() + milliseconds(setup_.quietMs)) : deadline;
        switch (port_.waitForBytes(limit, wake_)) {
        case SerialPort::Wait::kReady:
            if (const auto status = receive(request, deadline, reception, answer)) {
                return *status;
            }
            break;
        case SerialPort::Wait::kGone:
            return kPhoneNotPresent;
        case SerialPort::Wait::kWoken:
            if (const Status status = interruption_(); com::failed(status)) {
                return status;
            }
            break;
        case SerialPort::Wait::kTimedOut:
            return giveUp(reception);
        }
    }
}

// Reads once. How the exchange ends, if it ends here.
std::optional<Status> SerialExchange::receive(Request request, Clock::time_point deadline, Reception& reception,
                                              Bytes& answer) {
    std::array<std::uint8_t, 1024> buffer;
    const std::ptrdiff_t count = port_.read(buffer);
    if (count < 0) {
        return kPhoneNotPresent;
    }
    std::span<const std::uint8_t> bytes(buffer.data(), static_cast<std::size_t>(count));
    reception.bytes += bytes.size();
    bool answered = false;
    for (auto result = decoder_.next(bytes); result != FrameResult::kMore; result = decoder_.next(bytes)) {
        if (result != FrameResult::kPacket) {
            reception.damage = result == FrameResult::kDamaged ? kCheckSequenceError : kFramingError;
        } else if (isEchoedQuestion(decoder_.packet())) {
            return kLineEchoes;
        } else if (!answered && isAnswer(request, decoder_.packet())) {
            answer.assign(decoder_.packet().begin(), decoder_.packet().end());
            answered = true;
        }
        reception.strayBefore = decoder_.strayBytes();
    }
    reception.pending = decoder_.inFrame() || decoder_.strayBytes() != reception.strayBefore;
    return answered ? std::optional(com::kOk) : pauseOnBabble(deadline, reception);
}

std::optional<Status> SerialExchange::pauseOnBabble(Clock::time_point deadline, const Reception& reception) {
    if (reception.bytes < kBabbleBytes) {
        return std::nullopt;
    }
    if (const Status status = interruption_(); com::failed(status)) {
        return status;
    }
    std::this_thread::sleep_for(kBabblePause);
    if (Clock::now() < deadline) {
        return std::nullopt;
    }
    return com::failed(reception.damage) ? reception.damage : kFramingError;
}

// Nothing more comes in time.
Status SerialExchange::giveUp(const Reception& reception) {
    if (reception.pending) {
        decoder_.abandonFrame();
    }
    if (com::failed(reception.damage)) {
        return reception.damage;
    }
    return reception.pending ? kFramingError : kResponseTimeout;
}

Status SerialExchange::whyNotWritten() {
    if (const Status status = interruption_(); com::failed(status)) {
        return status;
    }
    if (port_.waitForBytes(Clock::now(), wake_) == SerialPort::Wait::kGone) {
        return kPhoneNotPresent;
    }
    port_.dropUnsent(); // or a device that takes nothing would one day send all that it was ever given
    return kWriteFailure;
}

// What came while nobody listened belongs to no request. In the middle of a transfer that goes well there is nothing
// to be expected, and it is not looked for.
void SerialExchange::skipUnasked() {
    if (isSettled_ && !lateCommand_ && !decoder_.inFrame() && Clock::now() - answeredAt_ < kTransferPause) {
        return;
    }
    std::array<std::uint8_t, 1024> buffer;
    for (std::size_t skipped = 0; skipped < kBabbleBytes;) {
        const std::ptrdiff_t count = port_.read(buffer);
        if (count <= 0) {
            return;
        }
        skipped += static_cast<std::size_t>(count);
        std::span<const std::uint8_t> bytes(buffer.data(), static_cast<std::size_t>(count));
        while (!bytes.empty()) {
            decoder_.next(bytes);
        }
    }
    port_.dropReceived();
    decoder_.abandonFrame();
}

} // namespace tessra

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

// So many requests that are owed answers are settled, whatever they are: a line that doubles answers adds to them.
constexpr std::size_t kMaxOwed = 64;

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
    abandonFrame();
    isFresh_ = true;
    doubles_ = false;
    owed_.clear();
    return port_.open(setup_, problem);
}

void SerialExchange::close() {
    tap_.flush();
    port_.close();
}

Status SerialExchange::ask(Request request, Clock::time_point deadline, Bytes& answer) {
    const Key key = keyOf(request);
    const Status settled = settle(key, deadline);
    return com::failed(settled) ? settled : askAsIs(key, request, deadline, answer);
}

SerialExchange::Key SerialExchange::keyOf(std::span<const std::uint8_t> packet) {
    return {packet.empty() ? std::uint8_t{0xFF} : packet[0], nvItemOf(packet)};
}

// Nothing for a packet that answers none of the commands, such as what a phone says unasked.
std::optional<SerialExchange::Key> SerialExchange::keyOfAnswer(std::span<const std::uint8_t> packet) {
    if (!packet.empty() && isBadPacketCode(packet[0])) {
        return keyOf(packet.subspan(1));
    }
    constexpr Command kCommands[] = {Command::kVersion,   Command::kNvRead, Command::kNvWrite,   Command::kChangeMode,
                                     Command::kQueryMode, Command::kTmob,   Command::kAccessCode};
    const bool isKnown =
        std::any_of(std::begin(kCommands), std::end(kCommands), [&](Command each) { return hasCommand(packet, each); });
    return isKnown ? std::optional(keyOf(packet)) : std::nullopt;
}

// Makes sure that no answer to an earlier request can be taken for the one to `next`.
Status SerialExchange::settle(const Key& next, Clock::time_point deadline) {
    while (isFresh_ || findOwed(next) != owed_.end() || owed_.size() >= kMaxOwed) {
        const std::uint8_t question = settlingQuestion(next);
        Status status = kResponseTimeout;
        while (status == kResponseTimeout) {
            const auto limit = std::min(deadline, Clock::now() + milliseconds(setup_.answerMs));
            Bytes ignored;
            status = askAsIs({question, std::nullopt}, {&question, 1}, limit, ignored);
            if (com::failed(status) && (status != kResponseTimeout || Clock::now() >= deadline)) {
                return status;
            }
        }
    }
    return com::kOk;
}

// Its answer must be no other's: one to the next request, or to an earlier question of its kind. Where both may be,
// what was sent before the later of the two is settled at least, and with it the other.
std::uint8_t SerialExchange::settlingQuestion(const Key& next) {
    for (const std::uint8_t question : {kVersion, kQueryMode}) {
        const Key key{question, std::nullopt};
        if (!next.isLike(key) && !mayComeLate(findOwed(key))) {
            return question;
        }
    }
    return findOwed({kVersion, std::nullopt}) > findOwed({kQueryMode, std::nullopt}) ? kVersion : kQueryMode;
}

Status SerialExchange::askAsIs(const Key& key, Request request, Clock::time_point deadline, Bytes& answer) {
    skipUnasked();
    std::vector<Key> afterAnswer;
    unsigned sent = 1;
    Status status = sendOnce(request, deadline, isRepeatable(request), answer, afterAnswer);
    if (isDamage(status) && isRepeatable(request) && Clock::now() < deadline) {
        ++sent;
        status = sendOnce(request, deadline, false, answer, afterAnswer);
    }
    if (com::failed(status)) {
        recordUnanswered(key, sent);
        return status;
    }
    answeredAt_ = Clock::now();
    recordAnswered(key, sent);
    for (const Key& each : afterAnswer) {
        noteUnasked(each);
    }
    return status;
}

std::vector<SerialExchange::Owed>::iterator SerialExchange::findOwed(const Key& key) {
    return std::find_if(owed_.begin(), owed_.end(), [&](const Owed& each) { return each.key.isLike(key); });
}

// Whether an answer to an earlier request of that kind is to be expected.
bool SerialExchange::mayComeLate(std::vector<Owed>::iterator owed) const {
    return owed != owed_.end() && (owed->due > 0 || doubles_);
}

void SerialExchange::recordUnanswered(const Key& key, unsigned sent) {
    const auto owed = findOwed(key);
    if (mayComeLate(owed)) {
        owed->due += sent;
        return;
    }
    if (owed != owed_.end()) {
        owed_.erase(owed);
    }
    owed_.push_back({key, sent});
}

// A phone answers in the order of the requests: what was sent before this one has been answered or is lost. Where it
// was owed an answer already, this may be that one. On a line that doubles answers only a question shows as much.
void SerialExchange::recordAnswered(const Key& key, unsigned sent) {
    const auto owed = findOwed(key);
    const unsigned due = sent - 1 + (owed != owed_.end() ? owed->due : 0) + (isFresh_ ? 1 : 0);
    const bool isQuestion = !key.item && (key.command == kVersion || key.command == kQueryMode);
    if (isQuestion || !doubles_) {
        owed_.erase(owed_.begin(), mayComeLate(owed) ? owed : owed_.end());
        isFresh_ = false;
    }
    if (const auto kept = findOwed(key); kept != owed_.end()) {
        kept->due = due;
    } else {
        owed_.push_back({key, due});
    }
}

// Something that looks like an answer has come, but not to the request that waits for one.
void SerialExchange::noteUnasked(const std::optional<Key>& key) {
    if (isFresh_ || !key) {
        return;
    }
    const auto owed = findOwed(*key);
    if (owed != owed_.end() && owed->due > 0) {
        --owed->due;
    } else {
        doubles_ = true;
    }
}

Status SerialExchange::sendOnce(Request request, Clock::time_point deadline, bool mayRepeat, Bytes& answer,
                                std::vector<Key>& afterAnswer) {
    tap_.sent(request);
    if (!port_.write(encodeFrame(request), deadline, wake_)) {
        return whyNotWritten();
    }
    Reception reception{.strayBefore = decoder_.strayBytes()};
    for (;;) {
        const bool isLost = com::failed(reception.damage) || (reception.pending && mayRepeat);
        const auto limit = isLost ? std::min(deadline, Clock::now() + milliseconds(setup_.quietMs)) : deadline;
        switch (port_.waitForBytes(limit, wake_)) {
        case SerialPort::Wait::kReady:
            if (const auto status = receive(request, deadline, reception, answer, afterAnswer)) {
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
                                              Bytes& answer, std::vector<Key>& afterAnswer) {
    std::array<std::uint8_t, 1024> buffer;
    const std::ptrdiff_t count = port_.read(buffer);
    if (count < 0) {
        return kPhoneNotPresent;
    }
    std::span<const std::uint8_t> bytes(buffer.data(), static_cast<std::size_t>(count));
    reception.bytes += bytes.size();
    bool answered = false;
    for (auto result = nextFrame(bytes); result != FrameResult::kMore; result = nextFrame(bytes)) {
        if (result != FrameResult::kPacket) {
            reception.damage = result == FrameResult::kDamaged ? kCheckSequenceError : kFramingError;
        } else if (isEchoedQuestion(decoder_.packet())) {
            return kLineEchoes;
        } else if (!answered && isAnswer(request, decoder_.packet())) {
            answer.assign(decoder_.packet().begin(), decoder_.packet().end());
            answered = true;
        } else if (const auto key = keyOfAnswer(decoder_.packet()); !answered) {
            noteUnasked(key);
        } else if (key) {
            afterAnswer.push_back(*key);
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
    const bool isOwed = std::any_of(owed_.begin(), owed_.end(), [](const Owed& each) { return each.due > 0; });
    const bool isTransfer = Clock::now() - answeredAt_ < kTransferPause;
    if (isTransfer && !isFresh_ && !doubles_ && !isOwed && !decoder_.inFrame()) {
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
            if (nextFrame(bytes) == FrameResult::kPacket) {
                noteUnasked(keyOfAnswer(decoder_.packet()));
            }
        }
    }
    port_.dropReceived();
    abandonFrame();
}

FrameResult SerialExchange::nextFrame(std::span<const std::uint8_t>& bytes) {
    const auto before = bytes;
    const FrameResult result = decoder_.next(bytes);
    tap_.took(result, decoder_.packet(), before.first(before.size() - bytes.size()), decoder_.inFrame());
    return result;
}

void SerialExchange::abandonFrame() {
    decoder_.abandonFrame();
    tap_.restart();
}

} // namespace tessra

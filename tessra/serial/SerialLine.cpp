#include "tessra/serial/SerialLine.h"

#include "platform/kernel/LittleEndian.h"
#include "platform/kernel/Trace.h"
#include "tessra/Packet.h"

#include <poll.h>

#include <algorithm>
#include <utility>

namespace tessra {
namespace {

using std::chrono::milliseconds;

constexpr std::uint8_t kModeQuestion[] = {static_cast<std::uint8_t>(Command::kQueryMode)};
constexpr std::uint8_t kVersionQuestion[] = {static_cast<std::uint8_t>(Command::kVersion)};

// Somebody who waits for a phone to leave and come back has it asked as often as this.
constexpr milliseconds kWatchInterval{20};

bool isReset(std::span<const std::uint8_t> request) {
    return request.size() == kModePacketBytes && hasCommand(request, Command::kChangeMode) &&
           static_cast<PhoneMode>(kernel::get16(request.data() + 1)) == PhoneMode::kReset;
}

// Whether `answer` may be the echo of `request`, and the phone is to be asked. One that has just agreed to a reset may
// be on its way to leave, and is not.
bool mayBeEcho(std::span<const std::uint8_t> request, std::span<const std::uint8_t> answer) {
    return std::equal(request.begin(), request.end(), answer.begin(), answer.end()) && !isReset(request);
}

} // namespace

// Holds the line while it lives, if it has got it.
class SerialLine::Hold {
public:
    // A client's: waits for the line until `deadline`.
    Hold(SerialLine& line, Clock::time_point deadline) : line_(line) {
        Guard guard(line.lock_);
        ++line.waiting_;
        if (line.keeperAsks_) {
            line.holderWake_.signal();
        }
        line.lineFree_.wait_until(guard, deadline, [&line] { return !line.held_ || line.closed_; });
        --line.waiting_;
        take();
    }
    // The keeper's: has it at once or not at all; with `asking`, a client that comes takes it away.
    Hold(SerialLine& line, bool asking) : line_(line) {
        const Guard guard(line.lock_);
        if (line.waiting_ == 0 || !asking) {
            take();
            line.keeperAsks_ = isHeld_ && asking;
        }
    }
    ~Hold() {
        if (isHeld_) {
            {
                const Guard guard(line_.lock_);
                line_.held_ = false;
                line_.keeperAsks_ = false;
            }
            line_.lineFree_.notify_one();
        }
    }
    Hold(const Hold&) = delete;
    Hold& operator=(const Hold&) = delete;

    explicit operator bool() const { return isHeld_; }

private:
    void take() {
        isHeld_ = !line_.held_ && !line_.closed_ && line_.wanted_;
        line_.held_ = line_.held_ || isHeld_;
        if (isHeld_) {
            line_.holderWake_.clear();
        }
    }

    SerialLine& line_;
    bool isHeld_ = false;
};

SerialLine::SerialLine(std::string name, LineSetup setup, std::optional<PacketTap> tap)
    : name_(std::move(name)), setup_(std::move(setup)),
      exchange_(
          setup_, holderWake_, [this] { return interruption(); }, std::move(tap)) {}

void SerialLine::start(std::function<void()> changed) {
    changed_ = std::move(changed);
    keeper_.emplace([this] { keep(); });
}

void SerialLine::open() {
    const Guard guard(lock_);
    wanted_ = true;
    known_ = false;
    nextAsk_ = Clock::now();
    keeperWake_.signal();
}

void SerialLine::release() {
    Guard guard(lock_);
    wanted_ = false;
    open_ = false;
    trouble_ = com::kOk;
    phone_.forget(PhoneState::kNone);
    phone_.takeChange(); // nobody is there to be told
    holderWake_.signal();
    keeperWake_.signal();
    viewKnown_.notify_all();
    viewKnown_.wait(guard, [this] { return !isTaken_ || closed_; });
}

void SerialLine::close() {
    {
        const Guard guard(lock_);
        closed_ = true;
        holderWake_.signal();
        keeperWake_.signal();
        lineFree_.notify_all();
        viewKnown_.notify_all();
    }
    if (keeper_) {
        keeper_->join();
    }
}

PhoneView SerialLine::look() {
    const Guard guard(lock_);
    if (phone_.resetIsWatched() && !keeperAsks_ && nextAsk_ > Clock::now()) {
        nextAsk_ = std::min(nextAsk_, lastAskEnd_ + kWatchInterval);
        keeperWake_.signal();
    }
    const std::string problem = reported_.empty() ? "" : placeOf(reported_);
    if (!open_) {
        return {.trouble = trouble_, .problem = problem};
    }
    return {true, phone_.state(), phone_.mode(), phone_.appearance(), trouble_, problem};
}

void SerialLine::awaitFirstView() {
    Guard guard(lock_);
    viewKnown_.wait_for(guard, milliseconds(3 * setup_.answerMs), [this] { return known_ || closed_ || !wanted_; });
}

std::optional<std::vector<std::uint8_t>> SerialLine::knownVersion() {
    const Guard guard(lock_);
    return phone_.version();
}

Status SerialLine::exchange(Request request, std::uint32_t timeoutMs, Bytes& answer) {
    answer.clear();
    const auto deadline = Clock::now() + milliseconds(timeoutMs);
    const Hold hold(*this, deadline);
    {
        const Guard guard(lock_);
        if (closed_) {
            return com::kDisconnected;
        }
        if (!isThereLocked()) {
            return kPhoneNotPresent;
        }
    }
    if (!hold) {
        return kResponseTimeout;
    }
    Status status = exchange_.ask(request, deadline, answer);
    const bool isSilence = status == kResponseTimeout && timeoutMs >= setup_.answerMs;
    if (com::succeeded(status) && mayBeEcho(request, answer)) {
        Bytes ignored;
        status =
            exchange_.ask(kModeQuestion, std::max(deadline, Clock::now() + milliseconds(setup_.answerMs)), ignored);
    }
    status = takeOutcome(status);
    if (com::failed(status)) {
        answer.clear();
    }
    learnFromExchange(status, isSilence, request, answer);
    return status;
}

// Why whoever holds the line has to let go of it, if so: the line is closed, or the keeper is to give way to a client.
Status SerialLine::interruption() {
    const Guard guard(lock_);
    holderWake_.clear();
    if (closed_ || !wanted_) {
        return com::kDisconnected;
    }
    return keeperAsks_ && waiting_ > 0 ? kGaveWay : com::kOk;
}

// What an exchange has shown of the device and the line; the status that others get to know of it.
Status SerialLine::takeOutcome(Status status) {
    if (status == SerialExchange::kLineEchoes) {
        refuseEcho();
        return kFramingError;
    }
    if (status == kPhoneNotPresent) {
        const Guard guard(lock_);
        lost_ = true;
        keeperWake_.signal();
    }
    return status;
}

void SerialLine::refuseEcho() {
    const Guard guard(lock_);
    trouble_ = kFramingError;
    phone_.forget(PhoneState::kSearching);
    reportLocked(
        "the line repeats what is sent to it, so its answers can't be believed; is it short-circuited, or an adapter "
        "for a single wire?");
}

// `isSilence`: nothing answered the request, for long enough to count.
void SerialLine::learnFromExchange(Status status, bool isSilence, Request request, const Bytes& answer) {
    const Guard guard(lock_);
    if (com::succeeded(status)) {
        lastAnswer_ = Clock::now();
        if (phone_.learnFromExchange(request, answer)) {
            nextAsk_ = lastAnswer_;
        }
    } else if (isSilence) {
        phone_.miss();
    }
    if (phone_.hasChanged()) {
        keeperWake_.signal();
    }
}

void SerialLine::keep() {
    for (;;) {
        closeDevice();
        bool isDue = false;
        {
            const Guard guard(lock_);
            if (closed_) {
                break;
            }
            isDue = wanted_ && nextAsk_ <= Clock::now();
        }
        if (isDue) {
            if (!exchange_.isOpen()) {
                openDevice();
            }
            if (exchange_.isOpen()) {
                askForPhone();
            }
        }
        tellChange();
        sleepUntilDue();
    }
    Guard guard(lock_);
    lineFree_.wait(guard, [this] { return !held_; });
    guard.unlock(); // a device may take its time
    exchange_.close();
}

// Closes the device where it has left or is not wanted any more.
void SerialLine::closeDevice() {
    Guard guard(lock_);
    if (!isToCloseLocked()) {
        return;
    }
    lineFree_.wait(guard, [this] { return !held_ || closed_; }); // soon: who holds it notices too
    if (closed_) {
        return;
    }
    lost_ = false;
    open_ = false;
    phone_.forget(PhoneState::kNone);
    nextAsk_ = Clock::now();
    held_ = true;
    guard.unlock();
    exchange_.close();
    guard.lock();
    held_ = false;
    isTaken_ = false;
    lineFree_.notify_one();
    viewKnown_.notify_all();
}

void SerialLine::openDevice() {
    const Hold hold(*this, false);
    if (!hold) {
        const Guard guard(lock_); // a client is just finding out that there is no device
        nextAsk_ = Clock::now() + milliseconds(1);
        return;
    }
    Guard guard(lock_);
    if (!wanted_) {
        return;
    }
    isTaken_ = true;
    guard.unlock();
    std::string problem;
    const Status status = exchange_.open(problem);
    guard.lock();
    isTaken_ = com::succeeded(status);
    viewKnown_.notify_all();
    if (!wanted_) {
        return;
    }
    open_ = isTaken_;
    trouble_ = status == kInvalidBaudRate ? status : com::kOk;
    phone_.forget(open_ ? PhoneState::kSearching : PhoneState::kNone);
    if (!open_) {
        nextAsk_ = Clock::now() + milliseconds(setup_.askEveryMs);
        knowFirstViewLocked();
    }
    reportLocked(problem);
}

void SerialLine::askForPhone() {
    if (isAnswerRecent()) {
        return;
    }
    Bytes mode;
    Bytes version;
    Status status = kGaveWay;
    if (const Hold hold(*this, true); hold) {
        const auto limit = [this] { return Clock::now() + milliseconds(setup_.answerMs); };
        status = exchange_.ask(kModeQuestion, limit(), mode);
        if (com::succeeded(status)) {
            status = exchange_.ask(kVersionQuestion, limit(), version);
        }
        status = takeOutcome(status);
    }
    learnFromQuestions(status, mode, version);
}

// Whether a client has had an answer so lately that the phone need not be asked; the next question is then put off.
bool SerialLine::isAnswerRecent() {
    const Guard guard(lock_);
    const auto due = lastAnswer_ + milliseconds(setup_.askEveryMs);
    if (!isThereLocked() || phone_.resetIsWatched() || due <= Clock::now()) {
        return false;
    }
    nextAsk_ = due;
    return true;
}

void SerialLine::learnFromQuestions(Status status, const Bytes& mode, const Bytes& version) {
    const Guard guard(lock_);
    lastAskEnd_ = Clock::now();
    nextAsk_ = lastAskEnd_ + milliseconds(setup_.askEveryMs);
    if (status == kGaveWay || !wanted_) {
        return;
    }
    if (com::succeeded(status)) {
        trouble_ = com::kOk;
        const bool isPhone = phone_.learn(mode, version);
        reportLocked(isPhone ? "" : "what answers there does not tell its mode as a phone does");
    } else if (status == kResponseTimeout || status == kWriteFailure) {
        trouble_ = com::kOk;
        phone_.miss();
    }
    knowFirstViewLocked();
}

void SerialLine::tellChange() {
    {
        const Guard guard(lock_);
        if (!phone_.takeChange()) {
            return;
        }
    }
    changed_();
}

// Sleeps until the next question is due, somebody wakes the keeper, or the device has left.
void SerialLine::sleepUntilDue() {
    int waitMs = -1;
    {
        const Guard guard(lock_);
        if (wanted_) {
            const auto left = std::max(nextAsk_ - Clock::now(), Clock::duration::zero());
            waitMs = static_cast<int>(std::chrono::ceil<milliseconds>(left).count());
        }
    }
    pollfd files[2] = {{keeperWake_.number(), POLLIN, 0}, {exchange_.deviceNumber(), 0, 0}};
    const int count = ::poll(files, 2, waitMs);
    keeperWake_.clear();
    if (count > 0 && files[1].revents != 0) {
        const Guard guard(lock_);
        lost_ = true;
    }
}

void SerialLine::knowFirstViewLocked() {
    known_ = true;
    viewKnown_.notify_all();
}

// Logs a problem once as long as it lasts; empty: there is none any more.
void SerialLine::reportLocked(const std::string& problem) {
    if (std::exchange(reported_, problem) != problem && !problem.empty()) {
        kernel::logError("The serial line of " + name_ + ": " + placeOf(problem));
    }
}

// A problem with the device that has it.
std::string SerialLine::placeOf(const std::string& problem) const {
    return setup_.device.string() + ": " + problem;
}

} // namespace tessra

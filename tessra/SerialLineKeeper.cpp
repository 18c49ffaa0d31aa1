// The keeper's part of a serial line: the device that comes and goes, and what is known of the phone.

#include "platform/kernel/Trace.h"
#include "tessra/Packet.h"
#include "tessra/SerialLine.h"
#include "tessra/SerialLineTurn.h"

#include <poll.h>

#include <algorithm>

namespace tessra {
namespace {

using std::chrono::milliseconds;

// So many questions without answer, one after the other, show that the phone is gone.
constexpr unsigned kMissesOfAbsence = 2;

// Whether `answer` tells a version, of whatever layout: other phones have other ones.
bool isVersion(const std::vector<std::uint8_t>& answer) {
    return answer.size() > 1 && answer[0] == static_cast<std::uint8_t>(Command::kVersion);
}

bool isMode(const std::vector<std::uint8_t>& answer) {
    return answer.size() == kModePacketBytes && answer[0] == static_cast<std::uint8_t>(Command::kQueryMode);
}

// Whether whoever has answered both questions is a phone. Phones have more modes than have names here, and need not
// tell their version: one in its loader refuses to. What is no answer at all, as an echo, does not get here.
bool isPhone(const std::vector<std::uint8_t>& mode) {
    return isMode(mode) && static_cast<PhoneMode>(get16(mode, 1)) != PhoneMode::kNone;
}

} // namespace

void SerialLine::keep() {
    for (;;) {
        closeLostDevice();
        Clock::time_point due;
        {
            const Guard guard(lock_);
            if (closed_) {
                break;
            }
            due = nextAsk_;
        }
        if (due <= Clock::now()) {
            if (!port_.isOpen()) {
                openDevice();
            }
            if (port_.isOpen()) {
                askForPhone();
            }
        }
        tellChanges();
        {
            const Guard guard(lock_);
            due = nextAsk_;
        }
        sleepUntil(due);
    }
}

// Sleeps until then, until somebody wakes the keeper, or until the device has left.
void SerialLine::sleepUntil(Clock::time_point due) {
    const auto left = std::chrono::ceil<milliseconds>(std::max(due - Clock::now(), Clock::duration::zero()));
    pollfd files[2] = {{keeperWake_.number(), POLLIN, 0}, {port_.number(), 0, 0}};
    const int count = ::poll(files, 2, static_cast<int>(left.count()));
    keeperWake_.clear();
    if (count > 0 && files[1].revents != 0) {
        const Guard guard(lock_);
        lost_ = true;
    }
}

void SerialLine::openDevice() {
    const Turn turn(*this, false);
    if (!turn) {
        const Guard guard(lock_); // a client is just finding out that there is no device
        nextAsk_ = Clock::now() + milliseconds(1);
        return;
    }
    std::string problem;
    const Status status = port_.open(setup_, problem);
    decoder_.abandonFrame();
    unsettled_ = true;
    settler_ = static_cast<std::uint8_t>(Command::kVersion);
    loose_.reset();
    Guard guard(lock_);
    open_ = com::succeeded(status);
    changedView_ = changedView_ || open_;
    trouble_ = status == kInvalidBaudRate ? status : com::kOk;
    state_ = open_ ? PhoneState::kSearching : PhoneState::kNone;
    if (!open_) {
        nextAsk_ = Clock::now() + milliseconds(setup_.askEveryMs);
        known_ = true;
        viewKnown_.notify_all();
    }
    const bool isNews = isNewsLocked(problem);
    guard.unlock();
    if (isNews) {
        report(problem);
    }
}

// Whether the log has yet to be told of `problem`; empty: there is none any more.
bool SerialLine::isNewsLocked(const std::string& problem) {
    return std::exchange(reported_, problem) != problem && !problem.empty();
}

void SerialLine::report(const std::string& problem) const {
    kernel::logError("The serial line of " + name_ + ": " + setup_.device.string() + ": " + problem);
}

void SerialLine::closeLostDevice() {
    {
        Guard guard(lock_);
        if (!lost_) {
            return;
        }
        turnFree_.wait(guard, [this] { return !taken_ || closed_; }); // soon: who has the turn notices the loss too
        if (closed_) {
            return;
        }
        lost_ = false;
        open_ = false;
        showLocked(PhoneState::kNone, PhoneMode::kNone);
        nextAsk_ = Clock::now();
        taken_ = true;
    }
    port_.close();
    {
        const Guard guard(lock_);
        taken_ = false;
    }
    turnFree_.notify_one();
}

void SerialLine::askForPhone() {
    {
        const Guard guard(lock_);
        const auto answered = lastAnswer_ + milliseconds(setup_.askEveryMs);
        if (isThereLocked() && !resetIsWatchedLocked() && answered > Clock::now()) {
            nextAsk_ = answered;
            return;
        }
    }
    Bytes mode;
    Bytes version;
    Status status = kGaveWay;
    if (const Turn turn(*this, true); turn) {
        constexpr std::uint8_t kMode = static_cast<std::uint8_t>(Command::kQueryMode);
        constexpr std::uint8_t kVersion = static_cast<std::uint8_t>(Command::kVersion);
        const auto limit = [this] { return Clock::now() + milliseconds(setup_.answerMs); };
        status = settle(limit());
        if (com::succeeded(status)) {
            status = ask({&kMode, 1}, limit(), mode);
        }
        if (com::succeeded(status)) {
            status = ask({&kVersion, 1}, limit(), version);
        }
    }
    learn(status, mode, version);
}

void SerialLine::learn(Status status, const Bytes& mode, const Bytes& version) {
    static const std::string kStranger = "what answers there does not tell its mode as a phone does";
    Guard guard(lock_);
    lastAskEnd_ = Clock::now();
    nextAsk_ = lastAskEnd_ + milliseconds(setup_.askEveryMs);
    if (status == kGaveWay) {
        return;
    }
    bool isNews = false;
    if (com::succeeded(status) && isPhone(mode)) {
        misses_ = 0;
        trouble_ = com::kOk;
        isNewsLocked({});
        learnAnswersLocked(static_cast<PhoneMode>(get16(mode, 1)), version);
    } else if (com::succeeded(status)) {
        trouble_ = com::kOk;
        isNews = isNewsLocked(kStranger);
        missLocked();
    } else if (status == kResponseTimeout || status == kWriteFailure) {
        trouble_ = com::kOk;
        missLocked();
    }
    known_ = true;
    viewKnown_.notify_all();
    guard.unlock();
    if (isNews) {
        report(kStranger);
    }
}

void SerialLine::learnAnswersLocked(PhoneMode mode, const Bytes& version) {
    const bool isNewPhone = isVersion(version) && !version_.empty() && version != version_;
    if (mode == PhoneMode::kReset) {
        if (isThereLocked()) {
            sawReset_ = true;
            watchUntil_ = Clock::now() + kResetWatch;
            showLocked(PhoneState::kLeaving, mode);
        }
    } else if (state_ == PhoneState::kLeaving && sawReset_) {
        // It has restarted between two questions. Whoever looks must see it gone once; the next question finds it.
        showLocked(PhoneState::kReturning, PhoneMode::kNone);
    } else {
        if (!isThereLocked() || isNewPhone) {
            ++appearance_;
            watchUntil_ = {};
            changedView_ = true;
        }
        showLocked(PhoneState::kPresent, mode); // also where it agreed to a reset and does not leave
        version_ = isVersion(version) ? version : Bytes();
    }
}

void SerialLine::tellChanges() {
    {
        const Guard guard(lock_);
        if (!std::exchange(changedView_, false)) {
            return;
        }
    }
    changed_();
}

// What a client's exchange says about the phone. `isSilence`: nothing answered the request, for long enough to count.
void SerialLine::noteExchange(Status status, bool isSilence, Request request, const Bytes& answer) {
    const Guard guard(lock_);
    if (com::succeeded(status)) {
        misses_ = 0;
        lastAnswer_ = Clock::now();
        noteModeLocked(request, answer);
    } else if (isSilence) {
        missLocked();
    }
    if (changedView_) {
        keeperWake_.signal();
    }
}

void SerialLine::noteModeLocked(Request request, const Bytes& answer) {
    if (answer.size() != kModePacketBytes || answer[0] != request[0]) {
        return;
    }
    const auto mode = static_cast<PhoneMode>(get16(answer, 1));
    const bool isChange = answer[0] == static_cast<std::uint8_t>(Command::kChangeMode);
    if (isChange && mode == PhoneMode::kReset) {
        showLocked(PhoneState::kLeaving, mode);
        sawReset_ = false;
        watchUntil_ = Clock::now() + kResetWatch;
        nextAsk_ = Clock::now();
        keeperWake_.signal();
    } else if (isChange || isMode(answer)) {
        showLocked(state_, mode);
    }
}

void SerialLine::showLocked(PhoneState state, PhoneMode mode) {
    changedView_ = changedView_ || state != state_ || mode != mode_;
    state_ = state;
    mode_ = mode;
    if (!isThereLocked()) {
        version_.clear();
        misses_ = 0;
        sawReset_ = false;
    }
}

void SerialLine::missLocked() {
    ++misses_;
    if (isThereLocked() && (misses_ >= kMissesOfAbsence || resetIsWatchedLocked())) {
        showLocked(resetIsWatchedLocked() ? PhoneState::kReturning : PhoneState::kSearching, PhoneMode::kNone);
    }
}

bool SerialLine::isThereLocked() const {
    return open_ && !lost_ && (state_ == PhoneState::kPresent || state_ == PhoneState::kLeaving);
}

bool SerialLine::resetIsWatchedLocked() const {
    return state_ == PhoneState::kLeaving || state_ == PhoneState::kReturning || Clock::now() < watchUntil_;
}

} // namespace tessra

#include "tessra/serial/LinePhone.h"

#include "platform/kernel/LittleEndian.h"
#include "tessra/Packet.h"

namespace tessra {
namespace {

// How long a reset that the phone has agreed to is watched.
constexpr std::chrono::seconds kResetWatch{10};

constexpr unsigned kMissesOfAbsence = 2;

bool isModePacket(std::span<const std::uint8_t> packet, Command command) {
    return packet.size() == kModePacketBytes && hasCommand(packet, command);
}

PhoneMode modeOf(std::span<const std::uint8_t> packet) {
    return static_cast<PhoneMode>(kernel::get16(packet.data() + 1));
}

} // namespace

bool LinePhone::resetIsWatched() const {
    return state_ == PhoneState::kLeaving || state_ == PhoneState::kReturning || Clock::now() < watchUntil_;
}

// Phones have more modes than have names here, and need not tell their version: one in its loader refuses to. What is
// no answer at all, such as an echo, does not get here.
bool LinePhone::learn(const Bytes& modeAnswer, const Bytes& versionAnswer) {
    if (!isModePacket(modeAnswer, Command::kQueryMode) || modeOf(modeAnswer) == PhoneMode::kNone) {
        miss();
        return false;
    }
    misses_ = 0;
    const PhoneMode mode = modeOf(modeAnswer);
    if (mode == PhoneMode::kReset) {
        if (isThere()) {
            watchReset();
            saysReset_ = true;
        }
    } else if (state_ == PhoneState::kLeaving && saysReset_) {
        // It has restarted between two questions. Whoever looks must see it gone once; the next question finds it.
        show(PhoneState::kReturning, PhoneMode::kNone);
    } else {
        // Of whatever layout: other phones have other ones.
        const bool tellsVersion = versionAnswer.size() > 1 && hasCommand(versionAnswer, Command::kVersion);
        if (!isThere() || (tellsVersion && versionAnswer != version_)) {
            ++appearance_;
            watchUntil_ = {};
            hasChanged_ = true;
        }
        show(PhoneState::kPresent, mode); // also where it agreed to a reset and does not leave
        version_ = tellsVersion ? versionAnswer : Bytes();
    }
    return true;
}

bool LinePhone::learnFromExchange(std::span<const std::uint8_t> request, const Bytes& answer) {
    misses_ = 0;
    const bool isChange = isModePacket(answer, Command::kChangeMode) && hasCommand(request, Command::kChangeMode);
    if (isChange && modeOf(answer) == PhoneMode::kReset) {
        watchReset();
        saysReset_ = false;
        return true;
    }
    if (isChange || (isModePacket(answer, Command::kQueryMode) && hasCommand(request, Command::kQueryMode))) {
        show(state_, modeOf(answer));
    }
    return false;
}

void LinePhone::miss() {
    ++misses_;
    if (isThere() && (misses_ >= kMissesOfAbsence || resetIsWatched())) {
        show(resetIsWatched() ? PhoneState::kReturning : PhoneState::kSearching, PhoneMode::kNone);
    }
}

void LinePhone::show(PhoneState state, PhoneMode mode) {
    hasChanged_ = hasChanged_ || state != state_ || mode != mode_;
    state_ = state;
    mode_ = mode;
    if (!isThere()) {
        version_.clear();
        misses_ = 0;
        saysReset_ = false;
    }
}

void LinePhone::watchReset() {
    show(PhoneState::kLeaving, PhoneMode::kReset);
    watchUntil_ = Clock::now() + kResetWatch;
}

} // namespace tessra

#include "workbench/PhoneContact.h"

#include "engine/NvStatus.h"
#include "phonelink/TessraServer.h"
#include "platform/kernel/TickCount.h"
#include "platform/kernel/Trace.h"
#include "tessra/Interfaces.h"
#include "workbench/PortReason.h"

#include <utility>

namespace workbench {
namespace {

constexpr std::uint32_t kReturnPollMs = 20;

std::string statusText(std::uint16_t status) {
    const auto text = nvstatus::writeFailureText(status);
    return text ? std::string(*text) : "NV status " + std::to_string(status);
}

} // namespace

Loss lossOf(std::int32_t status) {
    switch (status) {
    case tessra::kResponseTimeout:
    case tessra::kWriteFailure:
        return Loss::kSilence;
    case tessra::kFramingError:
    case tessra::kCheckSequenceError:
    case com::kUnexpected: // an answer, but not the item's
        return Loss::kDamage;
    case tessra::kPhoneNotPresent:
        return Loss::kLeft;
    case tessra::kBadPhoneResponse:
        return Loss::kRefused;
    default:
        return Loss::kNone;
    }
}

std::string loaderText(const std::string& comPort) {
    return "The phone on " + comPort + " runs its loader, and reads and writes no items there. Restart the phone.";
}

PhoneContact::PhoneContact(TessraServer& session, std::string comPort, ContactOptions options)
    : session_(session), comPort_(std::move(comPort)), options_(std::move(options)) {}

bool PhoneContact::open(const std::optional<PhoneIdentity>& expected) {
    phone_ = expected.value_or(PhoneIdentity());
    const std::uint32_t start = kernel::tickCount();
    bool isConnected = false;
    for (unsigned tries = 0;;) {
        try {
            if (!isConnected) {
                session_.connect(comPort_);
                isConnected = true;
            }
            const PhoneIdentity found = askIdentity(session_);
            if (expected) {
                return compare(found, !options_.unknownPhoneAllowed);
            }
            phone_ = found;
            ++confirmations_;
            return true;
        } catch (const TessraServer::Exception& error) {
            const Loss loss = lossOf(error.status());
            const bool isLost = isConnected && (loss == Loss::kSilence || loss == Loss::kDamage);
            const bool isAwaited = loss == Loss::kLeft && phone_.isKnown() &&
                                   kernel::elapsedMs(start, kernel::tickCount()) < options_.returnMs;
            if (!isAwaited && (!isLost || tries++ == options_.repeats)) {
                return ended(End::kFailed, error.what(), error.status());
            }
            if (endIfCancelled()) {
                return false;
            }
            if (isAwaited) {
                kernel::sleepMs(kReturnPollMs);
            }
        }
    }
}

bool PhoneContact::confirm() {
    for (unsigned tries = 0;; ++tries) {
        try {
            return compare(askIdentity(session_), false);
        } catch (const TessraServer::Exception& error) {
            const Loss loss = lossOf(error.status());
            if (loss == Loss::kLeft) {
                return awaitReturn();
            }
            if ((loss != Loss::kSilence && loss != Loss::kDamage) || tries == options_.repeats) {
                return ended(End::kFailed, error.what(), error.status());
            }
        }
        if (endIfCancelled()) {
            return false;
        }
    }
}

bool PhoneContact::awaitReturn() {
    const std::uint32_t start = kernel::tickCount();
    while (!endIfCancelled()) {
        try {
            return compare(askIdentity(session_), true);
        } catch (const TessraServer::Exception& error) {
            if (kernel::elapsedMs(start, kernel::tickCount()) >= options_.returnMs) {
                return ended(End::kFailed, "The phone on " + comPort_ + " has left and did not return.",
                             error.status());
            }
            kernel::sleepMs(kReturnPollMs); // also after damage: a line that can't be believed fails at once
        }
    }
    return false;
}

ItemReading PhoneContact::read(std::uint16_t number) {
    ItemReading reading;
    reading.number = number;
    unsigned tries = 0;
    unsigned returns = 0; // a phone that an item makes leave would else be asked for it for ever
    while (isHeld()) {
        try {
            session_.readNv(number, reading.data.data(), reading.status);
            reading.state = reading.status == tessra::kNvDone       ? ReadState::kRead
                            : reading.status == tessra::kNvInactive ? ReadState::kNoValue
                                                                    : ReadState::kFailed;
            reading.reason = reading.state == ReadState::kFailed ? statusText(reading.status) : "";
            return reading;
        } catch (const TessraServer::Exception& error) {
            reading.status = 0;
            reading.reason = error.what();
            const Loss loss = lossOf(error.status());
            if (loss == Loss::kRefused) {
                reading.state = ReadState::kFailed;
                return reading;
            }
            if (loss == Loss::kNone) {
                ended(End::kFailed, error.what(), error.status());
                break;
            }
            const bool isLast = loss == Loss::kLeft ? returns++ > options_.repeats : tries++ == options_.repeats;
            reading.state = loss == Loss::kLeft && !isLast ? ReadState::kNotTried : ReadState::kMissing;
            const bool lasts = loss == Loss::kLeft ? awaitReturn() : loss == Loss::kDamage || confirm();
            if (!lasts || isLast || endIfCancelled()) {
                break;
            }
        }
    }
    return reading;
}

bool PhoneContact::finish() {
    const bool mayAsk = isHeld() || end_ == End::kCancelled;
    for (unsigned tries = 0; mayAsk && tries <= options_.repeats; ++tries) {
        try {
            return compare(askIdentity(session_), false);
        } catch (const TessraServer::Exception& error) {
            if (lossOf(error.status()) != Loss::kDamage) {
                break;
            }
        }
    }
    return true;
}

bool PhoneContact::ended(End end, std::string failure, std::int32_t status) {
    end_ = end;
    failure_ = status == tessra::kBadPhoneMode ? loaderText(comPort_) : std::move(failure);
    if (status == tessra::kPhoneNotPresent && confirmations_ == 0) {
        kernel::logError(failure_); // a session that finds no phone at its first port does not say so
        failure_ = noPhoneText(session_, comPort_);
    } else if (end == End::kFailed) {
        failure_ = withPortReason(failure_, session_, comPort_);
    }
    failureStatus_ = status;
    return false;
}

// `hasLeft`: what it tells must be unmistakable.
bool PhoneContact::compare(const PhoneIdentity& found, bool hasLeft) {
    if (isSamePhone(phone_, found) || (!hasLeft && !phone_.isKnown() && phone_ == found)) {
        ++confirmations_;
        phone_ = found;
        return true;
    }
    otherPhone_ = found;
    return ended(End::kOtherPhone, found.isKnown() ? "Another phone answers on " + comPort_ + ": " + shortName(found) +
                                                         " instead of " + shortName(phone_) + "."
                                                   : "The phone on " + comPort_ +
                                                         " tells no serial number, so it can't be told from another "
                                                         "one.");
}

bool PhoneContact::endIfCancelled() {
    return options_.isCancelled && options_.isCancelled() && !ended(End::kCancelled);
}

} // namespace workbench

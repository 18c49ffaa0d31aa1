#pragma once

#include "workbench/PhoneReader.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

class TessraServer;

namespace workbench {

struct ContactOptions {
    unsigned repeats = 5;          ///< of a question that times out or comes damaged
    std::uint32_t returnMs = 5000; ///< how long a phone that has left is waited for
    /// An expected phone may be one that tells no serial number, as long as it tells the same as before.
    bool unknownPhoneAllowed = false;
    std::function<bool()> isCancelled = {}; ///< asked before each repeat, and while the phone is waited for
};

/// What a failure of the session says of the packet that was sent.
enum class Loss {
    kSilence, ///< nothing came in time: the packet may have reached the phone, and it may be another phone by now
    kDamage,  ///< an answer came, damaged: the packet may have reached the phone
    kLeft,    ///< the phone is not present
    kRefused, ///< the phone refused the packet as such
    kNone,    ///< anything else, which asking again does not mend
};
/// `status`: of a TessraServer::Exception.
Loss lossOf(std::int32_t status);

/// What kBadPhoneMode says of the phone on `comPort`: the session's own text for it is a number.
std::string loaderText(const std::string& comPort);

/// The contact with one phone on one port, from open() on: what is lost is asked again, a phone that leaves is waited
/// for, and once another one answers, or none, the contact has ended for good. Each operation answers whether it lasts.
///
/// Runs on the caller's thread; nobody else uses the session meanwhile. What the worker itself throws comes through.
class PhoneContact {
public:
    enum class End { kNone, kCancelled, kOtherPhone, kFailed };

    PhoneContact(TessraServer& session, std::string comPort, ContactOptions options = {});

    /// Connects the session and asks the phone who it is, once. `expected`: the phone that it has to be; one that has a
    /// serial number is waited for where no phone is present, as after it has left.
    bool open(const std::optional<PhoneIdentity>& expected = std::nullopt);
    /// Asks anew who it is, as after a silence.
    bool confirm();
    /// Waits until the phone, which has left, is back. One without a serial number can't be known again, and ends the
    /// contact.
    bool awaitReturn();
    /// Reads one item, with repeats, and looks after silences and absences. kNotTried where the contact has ended
    /// before an answer.
    ItemReading read(std::uint16_t number);
    /// After the last item, also where the contact was cancelled: false where another phone answers by now, which was
    /// changed without a silence; what was read since the last confirmation may be its. One that does not answer any
    /// more changes nothing.
    bool finish();

    bool isHeld() const { return end_ == End::kNone; }
    End end() const { return end_; }
    /// Why it has ended, for kOtherPhone and kFailed, with what keeps the port from being used as the last line; and
    /// the service's status code, 0 where there is none.
    const std::string& failure() const { return failure_; }
    std::int32_t failureStatus() const { return failureStatus_; }
    const PhoneIdentity& phone() const { return phone_; }
    /// Of kOtherPhone: who answers instead.
    const PhoneIdentity& otherPhone() const { return otherPhone_; }
    /// How often the phone has said who it is, and was the right one. What was read before the last time is surely its.
    unsigned confirmations() const { return confirmations_; }

private:
    bool ended(End end, std::string failure = {}, std::int32_t status = 0);
    bool compare(const PhoneIdentity& found, bool hasLeft);
    bool endIfCancelled();

    TessraServer& session_;
    const std::string comPort_;
    const ContactOptions options_;
    PhoneIdentity phone_;
    PhoneIdentity otherPhone_;
    unsigned confirmations_ = 0;
    End end_ = End::kNone;
    std::string failure_;
    std::int32_t failureStatus_ = 0;
};

} // namespace workbench

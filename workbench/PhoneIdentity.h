#pragma once

#include <string>

class TessraServer;

namespace workbench {

/// Which phone it is, as its version answer says.
struct PhoneIdentity {
    std::string serialNumber; ///< at most 10 characters; empty for a phone that tells none
    std::string model;
    std::string softwareVersion;

    /// Whether the phone can be told from another one.
    bool isKnown() const { return !serialNumber.empty(); }
    bool operator==(const PhoneIdentity&) const = default;
};

/// Whether both are known and tell the same serial number and model. The software may have been updated in between.
bool isSamePhone(const PhoneIdentity& left, const PhoneIdentity& right);

/// "MODEL SERIAL" for a title; "unknown phone" where the phone tells no serial number.
std::string shortName(const PhoneIdentity& phone);
/// "MODEL SERIAL, software VERSION"; the same words for an unknown phone, with what it tells.
std::string fullName(const PhoneIdentity& phone);

/// Asks the phone that the session is connected to: one version request on its own port, never a scan, never an answer
/// that somebody remembers. A phone that answers something else than the layout of tessra/Packet.h is an unknown one.
/// Throws TessraServer::Exception where the phone does not answer.
PhoneIdentity askIdentity(TessraServer& session);

} // namespace workbench

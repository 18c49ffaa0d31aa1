#pragma once

#include "tessra/Interfaces.h"

#include <string>

/// The phone that a session is attached to. Owned by the session's ServerLink; lives on the COM worker thread alone.
class PhoneConnection {
public:
    PhoneConnection() = default;
    ~PhoneConnection();
    PhoneConnection(const PhoneConnection&) = delete;
    PhoneConnection& operator=(const PhoneConnection&) = delete;

    /// Takes `phone`, releasing a phone held before. An `accessCode` that is not null is sent to it at once; its
    /// failure is a com::ComError, and the phone stays attached.
    void attach(const com::ComPtr<tessra::IPhonePort>& phone, const std::string* accessCode = nullptr);
    /// Gives the phone back, if one is held. Never fails.
    void detach();

    /// The phone; null where none is attached, so that using it is a com::ComError with com::kPointer.
    const com::ComPtr<tessra::IPhonePort>& phone() const { return phone_; }

    /// The steps below throw com::ComError for every failure of the service.

    /// Sends the phone's service programming code through its security interface.
    void sendAccessCode(const std::string& code);

    /// Refuses a phone that can't take packets now: tessra::kBadPhoneMode in modes 2 and 6, tessra::kPhoneNotPresent in
    /// every state but 5.
    void checkMode() const;

    /// Sends one packet after checkMode() and waits up to `timeoutMs` for the answer. `responseLength`: the capacity of
    /// `response` on entry, the bytes received on return.
    void sendSync(std::uint32_t requestLength, const std::uint8_t* request, std::uint32_t& responseLength,
                  std::uint8_t* response, std::uint32_t timeoutMs) const;

private:
    com::ComPtr<tessra::IPhonePort> phone_;
};

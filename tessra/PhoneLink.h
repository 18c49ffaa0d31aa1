#pragma once

#include "tessra/Interfaces.h"

#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <vector>

namespace tessra {

/// What a link knows about its phone without asking it.
struct PhoneView {
    bool usable = false;                  ///< false: the line or the phone's memory can't be had now
    PhoneState state = PhoneState::kNone; ///< present: packets may go to it
    PhoneMode mode = PhoneMode::kNone;    ///< as last known; none where state is none
    std::uint32_t appearance = 0;         ///< a number that is another each time that the phone has come (back)
    Status trouble = com::kOk;            ///< a failure for every packet that says more than that there is no phone
};

/// The way to the phone on one port: a phone in this process or one at the end of a line. Any thread may call any
/// method.
class PhoneLink {
public:
    virtual ~PhoneLink() = default;
    PhoneLink(const PhoneLink&) = delete;
    PhoneLink& operator=(const PhoneLink&) = delete;

    /// Called once, before all else. A link with a thread of its own starts it; `changed` is then called on that
    /// thread, with no lock held, whenever the view has changed without a call.
    virtual void start(std::function<void()> changed) { static_cast<void>(changed); }
    /// Ends what the link does: an exchange under way, and each later one, fails with com::kDisconnected.
    virtual void close() {}

    /// Sends nothing and never waits for the phone. A link that is not usable tries again to become so.
    virtual PhoneView look() = 0;
    /// When the view will change by itself, as far as that is known. (A link that calls `changed` need not say.)
    virtual std::optional<std::chrono::steady_clock::time_point> nextChange() { return std::nullopt; }
    /// Waits, at most 1.5 s, until the link knows whether there is a phone; at once where it knows.
    virtual void awaitFirstView() {}
    /// What the phone answered to the last version request, where the link asks for it by itself; empty where there was
    /// no such answer. Nothing where the phone has to be asked.
    virtual std::optional<std::vector<std::uint8_t>> knownVersion() { return std::nullopt; }
    /// Sends one packet (at most kMaxPacketBytes) and waits up to `timeoutMs` for its answer; one exchange at a time,
    /// others wait for their turn. An answer that says that the packet was bad is an answer. Failures:
    /// kPhoneNotPresent, kResponseTimeout and those of the line; `answer` is then empty.
    virtual Status exchange(std::span<const std::uint8_t> request, std::uint32_t timeoutMs,
                            std::vector<std::uint8_t>& answer) = 0;
    /// For tests and trials: takes the phone off the port, or puts it back.
    virtual void setPresent(bool present) = 0;

protected:
    PhoneLink() = default;
};

} // namespace tessra

#pragma once

#include "tessra/Interfaces.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace tessra {

/// What a link knows about its phone without asking it.
struct PhoneView {
    bool usable = false;                  ///< false: the line or the phone's memory can't be had now
    PhoneState state = PhoneState::kNone; ///< present: packets may go to it
    PhoneMode mode = PhoneMode::kNone;    ///< as last known; none where state is none
    std::uint32_t appearance = 0;         ///< a number that is another each time that the phone has come (back)
    Status trouble = com::kOk;            ///< a failure for every packet that says more than that there is no phone
    std::string problem;                  ///< what keeps the line or the memory from being used, in words
};

/// The way to the phone on one port, such as a serial line. A port owns it. Any thread may call any method. It has no
/// device and no memory file but between open() and release().
class PhoneLink {
public:
    virtual ~PhoneLink() = default;
    PhoneLink(const PhoneLink&) = delete;
    PhoneLink& operator=(const PhoneLink&) = delete;

    /// Called once, before all else. The link calls `changed` from then on, on a thread of its own and with no lock
    /// held, whenever the view has changed without a call. std::system_error where there is no thread to be had.
    virtual void start(std::function<void()> changed) = 0;
    /// Takes the device or the memory, and goes on trying where it can't be had; returns at once. In turns with
    /// release(), which lets go of it again, and returns when others can have it. Neither is called on the link's own
    /// thread, nor while the other runs.
    virtual void open() = 0;
    virtual void release() = 0;
    /// Ends what the link does, and lets go of its device or memory; `changed` is not called any more. An exchange
    /// under way, and each later one, fails. Not to be called on the link's own thread.
    virtual void close() = 0;

    /// Sends nothing and never waits for the phone. A link that is not usable tries again to become so.
    virtual PhoneView look() = 0;
    /// Waits, at most 1.5 s, until the link knows whether there is a phone; at once where it knows.
    virtual void awaitFirstView() {}
    /// What the phone answered to the last version request, where the link asks for it by itself; empty where the
    /// answer told no version. Nothing where the phone has to be asked.
    virtual std::optional<std::vector<std::uint8_t>> knownVersion() { return std::nullopt; }
    /// Sends one packet (at most kMaxPacketBytes) and waits up to `timeoutMs` for its answer; one exchange at a time,
    /// others wait until the link is free. An answer that says that the packet was bad is an answer. Failures:
    /// kPhoneNotPresent, kResponseTimeout, com::kDisconnected and those of the line; `answer` is then empty.
    virtual Status exchange(std::span<const std::uint8_t> request, std::uint32_t timeoutMs,
                            std::vector<std::uint8_t>& answer) = 0;

protected:
    PhoneLink() = default;
};

} // namespace tessra

#pragma once

#include "tessra/Interfaces.h"
#include "tessra/Packet.h"
#include "tessra/simulator/NvMemoryFile.h"

#include <chrono>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace tessra {

/// What makes a simulated phone this one and no other.
struct PhoneSetup {
    /// As its version answer gives them; no longer than their fields there (see Packet.h).
    std::string model = "Sample";
    std::string softwareVersion = "1.0";
    std::string serialNumber = "0000000001";
    std::string spc = "000000"; ///< the service programming code, kSpcDigits digits
    PhoneMode mode = PhoneMode::kOnline;
    std::size_t versionBytes = kVersionAnswerBytes; ///< of the version answer; 0: it refuses to tell its version
    std::int32_t leaveAfterMs = 0; ///< from the agreement to a reset until the phone leaves; -1: it never leaves
    std::int32_t awayMs = 1500;    ///< until it is back from then on; -1: it never comes back
};

/// One phone as its packets show it: NV memory, modes, access code, version, and its absence after a reset. The same
/// model stands behind a simulated port and behind a pseudo-terminal. The owner calls it from one thread at a time.
class PhoneModel {
public:
    /// `memory` must outlive the phone.
    PhoneModel(PhoneSetup setup, NvMemoryFile& memory);

    /// The phone's answer to one packet, at most kMaxPacketBytes; nothing while the phone is away. A packet that it
    /// does not accept is answered as BadPacket says. In the loader modes (download, streamDownload) it accepts nothing
    /// but the packets that query and change the mode.
    std::vector<std::uint8_t> answer(std::span<const std::uint8_t> request);

    /// Takes the phone off its supply and puts it back: it starts anew.
    void restart();

    /// present, or leaving and returning around a reset.
    PhoneState state();
    PhoneMode mode();
    /// When state() will change by itself.
    std::optional<std::chrono::steady_clock::time_point> nextChange();
    /// How often the phone has started, from 1.
    std::uint32_t starts();

private:
    using Clock = std::chrono::steady_clock;
    using Packet = std::vector<std::uint8_t>;
    using Request = std::span<const std::uint8_t>;
    struct CommandRow;
    static const CommandRow kCommands[];

    Packet version(Request request);
    Packet readNv(Request request);
    Packet writeNv(Request request);
    Packet changeMode(Request request);
    Packet queryMode(Request request);
    Packet echo(Request request);
    Packet takeAccessCode(Request request);
    void returnIfDue();

    PhoneSetup setup_;
    NvMemoryFile& memory_;
    PhoneMode mode_;
    bool accessGranted_ = false;
    std::uint32_t starts_ = 1;
    /// While the phone leaves or is away: when it leaves, and when it is back, if ever.
    std::optional<Clock::time_point> leavesAt_;
    std::optional<Clock::time_point> returnsAt_;
};

} // namespace tessra

#pragma once

#include "platform/kernel/LittleEndian.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>

/// The packets that a phone takes and gives: the first byte is the command code, numbers are little-endian.
namespace tessra {

enum class Command : std::uint8_t {
    kVersion = 0x00,
    kNvRead = 0x26,
    kNvWrite = 0x27,
    kChangeMode = 0x29,
    kQueryMode = 0x2A,
    kTmob = 0x3B,
    kAccessCode = 0x41,
};

/// The first byte of an answer to a packet that the phone does not accept as such; the packet's own bytes follow it, as
/// far as they fit. Codes 22 and 23 are other phones'.
enum class BadPacket : std::uint8_t { kCommand = 19, kParameters = 20, kLength = 21, kMode = 24 };

constexpr bool isBadPacketCode(std::uint8_t code) {
    return code >= 19 && code <= 24;
}

/// A read or write of one NV item, request and answer alike:
///   offset size
///        0    1  command code
///        1    2  item number
///        3  128  item data
///      131    2  NV status, meaningful in the answer
inline constexpr std::size_t kNvItemOffset = 1;
inline constexpr std::size_t kNvDataOffset = 3;
inline constexpr std::size_t kNvDataBytes = 128;
inline constexpr std::size_t kNvStatusOffset = 131;
inline constexpr std::size_t kNvPacketBytes = 133;

/// What a phone answers to a read or write of an NV item.
inline constexpr std::uint16_t kNvDone = 0;
inline constexpr std::uint16_t kNvFull = 3;
inline constexpr std::uint16_t kNvFailed = 4;
inline constexpr std::uint16_t kNvInactive = 5;
inline constexpr std::uint16_t kNvReadOnly = 7;

/// The answer to a version request:
///   offset size
///        0    1  command code 0x00
///        1   11  release date, such as "Jan 12 2026"
///       12    8  release time, such as "09:30:00"
///       20   12  model
///       32   12  software version
///       44   10  serial number
///       54    1  revision of this layout, 1
/// Texts are ASCII, filled up with zero bytes.
inline constexpr std::size_t kVersionAnswerBytes = 55;
struct VersionField {
    std::size_t offset;
    std::size_t size;
};
inline constexpr VersionField kReleaseDateField{1, 11};
inline constexpr VersionField kReleaseTimeField{12, 8};
inline constexpr VersionField kModelField{20, 12};
inline constexpr VersionField kSoftwareVersionField{32, 12};
inline constexpr VersionField kSerialNumberField{44, 10};
inline constexpr std::size_t kVersionRevisionOffset = 54;

/// changeMode: command code, mode (2 bytes); the same packet comes back. queryMode: command code; the answer is command
/// code, mode (2 bytes). accessCode: command code, the service programming code's digits; the answer is command code, 1
/// (accepted) or 0 (refused). tmob: command code, payload; the same packet comes back.
inline constexpr std::size_t kModePacketBytes = 3;
inline constexpr std::size_t kSpcDigits = 6;
inline constexpr std::size_t kAccessCodeAnswerBytes = 2;

inline bool hasCommand(std::span<const std::uint8_t> packet, Command command) {
    return !packet.empty() && packet[0] == static_cast<std::uint8_t>(command);
}

/// What a phone tells about itself.
struct VersionTexts {
    std::string model;
    std::string softwareVersion;
    std::string serialNumber;
};

/// The texts of a version answer; nothing for an answer of another layout, as other phones have.
inline std::optional<VersionTexts> versionTextsOf(std::span<const std::uint8_t> answer) {
    if (answer.size() != kVersionAnswerBytes || !hasCommand(answer, Command::kVersion)) {
        return std::nullopt;
    }
    const auto textAt = [&](VersionField field) {
        const auto bytes = answer.subspan(field.offset, field.size);
        return std::string(bytes.begin(), std::find(bytes.begin(), bytes.end(), 0));
    };
    return VersionTexts{textAt(kModelField), textAt(kSoftwareVersionField), textAt(kSerialNumberField)};
}

/// The number of the NV item that `packet` reads or writes; nothing for a packet of another kind.
inline std::optional<std::uint16_t> nvItemOf(std::span<const std::uint8_t> packet) {
    const bool isNv = packet.size() == kNvPacketBytes &&
                      (hasCommand(packet, Command::kNvRead) || hasCommand(packet, Command::kNvWrite));
    return isNv ? std::optional(kernel::get16(packet.data() + kNvItemOffset)) : std::nullopt;
}

} // namespace tessra

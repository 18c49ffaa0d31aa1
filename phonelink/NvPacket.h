#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>

/// The packet that reads or writes one NV item; request and answer have the same layout, little-endian:
///
///   offset  size  field
///        0     1  command code (Command)
///        1     2  NV item number
///        3   128  item data: what to write, or what was read; zero in a read request
///      131     2  NV status; zero in a request
namespace nvpacket {

inline constexpr std::size_t kDataOffset = 3;
inline constexpr std::size_t kDataBytes = 128;
inline constexpr std::size_t kStatusOffset = kDataOffset + kDataBytes;
inline constexpr std::size_t kPacketBytes = kStatusOffset + 2;

enum class Command : std::uint8_t { kRead = 0x26, kWrite = 0x27 };

using Packet = std::array<std::uint8_t, kPacketBytes>;

/// A request for item `number`; `data` (128 bytes) is null in a read request.
inline Packet makeRequest(Command command, std::uint16_t number, const std::uint8_t* data) {
    Packet packet{};
    packet[0] = static_cast<std::uint8_t>(command);
    packet[1] = static_cast<std::uint8_t>(number & 0xFF);
    packet[2] = static_cast<std::uint8_t>(number >> 8);
    if (data != nullptr) {
        std::copy_n(data, kDataBytes, packet.begin() + kDataOffset);
    }
    return packet;
}

/// Whether `answer` is the whole answer to `request`: of full length, for the same command and the same item.
inline bool answers(const Packet& request, const Packet& answer, std::size_t answerBytes) {
    return answerBytes == kPacketBytes && std::equal(request.begin(), request.begin() + kDataOffset, answer.begin());
}

inline std::uint16_t statusOf(const Packet& answer) {
    return static_cast<std::uint16_t>(answer[kStatusOffset] | answer[kStatusOffset + 1] << 8);
}

} // namespace nvpacket

#pragma once

#include "tessra/Interfaces.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

/// Packets on an asynchronous line, framed as RFC 1662 describes: a flag 0x7E, the packet, its 16-bit check sequence
/// (low byte first), a flag. Flags and escapes in between travel as 0x7D and the byte with bit 5 inverted; no control
/// character is escaped, as the line carries all of them.
namespace tessra {

inline constexpr std::uint8_t kFrameFlag = 0x7E;
inline constexpr std::uint8_t kFrameEscape = 0x7D;
inline constexpr std::uint8_t kFrameEscapeFlip = 0x20;
inline constexpr std::size_t kFrameCheckBytes = 2;

/// The frame check sequence of `bytes` as it is sent (RFC 1662, appendix C.2).
std::uint16_t frameCheck(std::span<const std::uint8_t> bytes);
/// `packet` (at most kMaxPacketBytes) as a whole frame.
std::vector<std::uint8_t> encodeFrame(std::span<const std::uint8_t> packet);

enum class FrameResult : std::uint8_t {
    kMore,    ///< all bytes are used up
    kPacket,  ///< FrameDecoder::packet() is one
    kDamaged, ///< a frame whose check sequence is wrong
    kBroken,  ///< a frame that is too long, too short for a check sequence, or given up by its sender
};

/// Finds the packets in the bytes of a line, whatever they are, in a constant amount of memory.
class FrameDecoder {
public:
    /// Takes bytes off the front of `bytes` up to the end of the next frame, good or bad, or all of them. A frame that
    /// is too long ends as soon as it is; the rest of it is skipped.
    FrameResult next(std::span<const std::uint8_t>& bytes);
    /// The last packet found, until the next call.
    std::span<const std::uint8_t> packet() const { return {buffer_.data(), packetBytes_}; }
    /// A frame has begun and not ended.
    bool inFrame() const { return state_ == State::kFrame && (length_ > 0 || escaped_); }
    /// Forgets the frame that has begun: the next one begins with its flag.
    void abandonFrame();
    /// How many bytes have come outside any frame, or in the rest of one that was too long.
    std::uint64_t strayBytes() const { return strayBytes_; }

private:
    enum class State : std::uint8_t { kHunting, kFrame };

    FrameResult endFrame();

    State state_ = State::kHunting;
    bool escaped_ = false;
    std::size_t length_ = 0;
    std::size_t packetBytes_ = 0;
    std::array<std::uint8_t, kMaxPacketBytes + kFrameCheckBytes> buffer_{};
    std::uint64_t strayBytes_ = 0;
};

} // namespace tessra

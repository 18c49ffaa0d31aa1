#pragma once

#include "tessra/serial/FrameCodec.h"
#include "tessra/trace/PacketRecorder.h"

#include <cstddef>
#include <optional>
#include <span>
#include <vector>

namespace tessra {

/// What goes over a serial line, on its way into a trace: the packets, and the bytes that are none, each byte once and
/// in order. A SerialExchange owns it and calls it.
class LineTap {
public:
    using Bytes = std::span<const std::uint8_t>;

    /// So many bytes of no packet are recorded between two packets; a line that babbles has no end of them.
    static constexpr std::size_t kMaxNoiseBytes = std::size_t{16} * 1024;

    explicit LineTap(std::optional<PacketTap> tap) : tap_(std::move(tap)) {}

    void sent(Bytes packet);
    /// `raw` are the bytes that a decoder has used up for `result`. kMore: `isInFrame` tells whether they end within a
    /// frame.
    void took(FrameResult result, Bytes packet, Bytes raw, bool isInFrame);
    /// Records what has come since the last packet, before something else goes over the line or it is closed.
    void flush();
    /// flush(), where the decoder forgets the frame that has begun.
    void restart();

private:
    void takePacket(Bytes packet);

    std::optional<PacketTap> tap_;
    std::vector<std::uint8_t> raw_; ///< bytes that are not recorded yet
    PacketTap::Clock::time_point rawAt_;
    std::size_t noiseBytes_ = 0; ///< since the last packet
    bool isInFrame_ = false;     ///< raw_ ends within a frame
    bool isTorn_ = false;        ///< the beginning of that frame has been recorded: its end is recorded as bytes too
};

} // namespace tessra

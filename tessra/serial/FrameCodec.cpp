#include "tessra/serial/FrameCodec.h"

#include "platform/kernel/LittleEndian.h"

namespace tessra {
namespace {

constexpr std::uint16_t kInitialCheck = 0xFFFF;
constexpr std::uint16_t kPolynomial = 0x8408; // x^16 + x^12 + x^5 + 1, low bit first

constexpr std::array<std::uint16_t, 256> makeTable() {
    std::array<std::uint16_t, 256> table{};
    for (std::size_t i = 0; i < table.size(); ++i) {
        auto value = static_cast<std::uint16_t>(i);
        for (int bit = 0; bit < 8; ++bit) {
            value = static_cast<std::uint16_t>((value & 1) != 0 ? (value >> 1) ^ kPolynomial : value >> 1);
        }
        table[i] = value;
    }
    return table;
}

constexpr auto kTable = makeTable();

void putEscaped(std::vector<std::uint8_t>& frame, std::uint8_t byte) {
    if (byte == kFrameFlag || byte == kFrameEscape) {
        frame.push_back(kFrameEscape);
        byte ^= kFrameEscapeFlip;
    }
    frame.push_back(byte);
}

} // namespace

std::uint16_t frameCheck(std::span<const std::uint8_t> bytes) {
    std::uint16_t check = kInitialCheck;
    for (const std::uint8_t byte : bytes) {
        check = static_cast<std::uint16_t>((check >> 8) ^ kTable[(check ^ byte) & 0xFF]);
    }
    return static_cast<std::uint16_t>(~check);
}

std::vector<std::uint8_t> encodeFrame(std::span<const std::uint8_t> packet) {
    std::vector<std::uint8_t> frame;
    frame.reserve(2 * (packet.size() + kFrameCheckBytes) + 2);
    frame.push_back(kFrameFlag);
    for (const std::uint8_t byte : packet) {
        putEscaped(frame, byte);
    }
    const std::uint16_t check = frameCheck(packet);
    putEscaped(frame, static_cast<std::uint8_t>(check & 0xFF));
    putEscaped(frame, static_cast<std::uint8_t>(check >> 8));
    frame.push_back(kFrameFlag);
    return frame;
}

FrameResult FrameDecoder::next(std::span<const std::uint8_t>& bytes) {
    packetBytes_ = 0;
    while (!bytes.empty()) {
        std::uint8_t byte = bytes.front();
        bytes = bytes.subspan(1);
        if (byte == kFrameFlag) {
            if (const FrameResult result = endFrame(); result != FrameResult::kMore) {
                return result;
            }
        } else if (state_ == State::kHunting) {
            ++strayBytes_;
        } else if (byte == kFrameEscape && !escaped_) {
            escaped_ = true;
        } else if (length_ == buffer_.size()) {
            abandonFrame();
            return FrameResult::kBroken;
        } else {
            if (escaped_) {
                byte ^= kFrameEscapeFlip;
                escaped_ = false;
            }
            buffer_[length_++] = byte;
        }
    }
    return FrameResult::kMore;
}

void FrameDecoder::abandonFrame() {
    state_ = State::kHunting;
    escaped_ = false;
    length_ = 0;
}

// A flag has come: it ends the frame, if there is one, and may begin the next.
FrameResult FrameDecoder::endFrame() {
    const bool hadFrame = state_ == State::kFrame;
    const bool wasGivenUp = escaped_;
    const std::size_t length = length_;
    state_ = State::kFrame;
    escaped_ = false;
    length_ = 0;
    if (!hadFrame || (length == 0 && !wasGivenUp)) { // flags in a row are one
        return FrameResult::kMore;
    }
    if (wasGivenUp || length < kFrameCheckBytes) {
        return FrameResult::kBroken;
    }
    const std::size_t packetBytes = length - kFrameCheckBytes;
    if (frameCheck({buffer_.data(), packetBytes}) != kernel::get16(buffer_.data() + packetBytes)) {
        return FrameResult::kDamaged;
    }
    packetBytes_ = packetBytes;
    return FrameResult::kPacket;
}

} // namespace tessra

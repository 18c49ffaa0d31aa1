#include "tessra/trace/PacketRecorder.h"

#include <algorithm>
#include <utility>

namespace tessra {
namespace {

// A phone answers in order, and an answer that comes twice does so before the next one: behind that, nothing repeats
// the code any more.
constexpr unsigned kPacketsToSafety = 2;

constexpr std::uint8_t kFlag = 0x7E;
constexpr std::uint8_t kEscape = 0x7D;
constexpr std::uint8_t kEscapeFlip = 0x20;

// Where the code may begin in bytes of a line, each part between two flags read as a packet, and escapes undone.
std::size_t accessCodeInLine(PacketRecorder::Bytes bytes) {
    for (auto part = bytes.begin(); part != bytes.end();) {
        const auto end = std::find(part, bytes.end(), kFlag);
        std::vector<std::uint8_t> packet;
        std::vector<std::size_t> places;
        for (auto byte = part; byte != end; ++byte) {
            const bool isEscaped = *byte == kEscape && byte + 1 != end;
            byte += isEscaped ? 1 : 0;
            packet.push_back(isEscaped ? *byte ^ kEscapeFlip : *byte);
            places.push_back(static_cast<std::size_t>(byte - bytes.begin()));
        }
        if (const auto at = accessCodeIn(TraceWay::kDamaged, packet)) {
            return places[*at - 1] + 1;
        }
        part = end == bytes.end() ? end : end + 1;
    }
    return TraceRecord::kNoBlank;
}

} // namespace

void PacketRecorder::record(const std::string& port, TraceWay way, Bytes bytes, std::size_t blankFrom,
                            Clock::time_point at) {
    TraceRecord record{.timeUs = std::chrono::duration_cast<std::chrono::microseconds>(at - begin_).count(),
                       .port = port,
                       .way = way,
                       .bytes = {},
                       .blankFrom = blankFrom < bytes.size() ? blankFrom : TraceRecord::kNoBlank};
    const auto kept = bytes.first(std::min(blankFrom, bytes.size()));
    record.bytes.reserve(bytes.size());
    record.bytes.assign(kept.begin(), kept.end());
    record.bytes.resize(bytes.size());
    const std::lock_guard guard(lock_);
    sink_(std::move(record));
}

void PacketTap::take(TraceWay way, Bytes packet, Clock::time_point at) {
    const auto code = accessCodeIn(way, packet);
    if (code) {
        packetsToSafety_ = kPacketsToSafety;
    } else if (way == TraceWay::kFromPhone && packetsToSafety_ > 0) {
        --packetsToSafety_;
    }
    if (recorder_->isOn()) {
        recorder_->record(port_, way, packet, code.value_or(TraceRecord::kNoBlank), at);
    }
}

void PacketTap::damaged(Bytes bytes, Clock::time_point at) {
    if (recorder_->isOn()) {
        const std::size_t blankFrom = packetsToSafety_ > 0 ? 0 : accessCodeInLine(bytes);
        recorder_->record(port_, TraceWay::kDamaged, bytes, blankFrom, at);
    }
}

} // namespace tessra

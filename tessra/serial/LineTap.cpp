#include "tessra/serial/LineTap.h"

#include <algorithm>

namespace tessra {

void LineTap::sent(Bytes packet) {
    if (tap_) {
        flush();
        tap_->sent(packet, PacketTap::Clock::now());
    }
}

void LineTap::took(FrameResult result, Bytes packet, Bytes raw, bool isInFrame) {
    if (!tap_ || !tap_->isListening()) {
        raw_.clear();
        isTorn_ = false;
        return;
    }
    if (raw_.empty()) {
        rawAt_ = PacketTap::Clock::now();
    }
    raw_.insert(raw_.end(), raw.begin(), raw.end());
    isInFrame_ = isInFrame;
    if (result == FrameResult::kPacket) {
        takePacket(packet);
    } else if (result != FrameResult::kMore || raw_.size() >= TraceRecord::kMaxDamagedBytes) {
        flush();
    }
    if (result != FrameResult::kMore) {
        isTorn_ = false;
    }
}

// The frame is what stands behind the last flag but one; two frames may share a flag.
void LineTap::takePacket(Bytes packet) {
    if (isTorn_) {
        flush();
        return;
    }
    const auto frame = std::find(raw_.rbegin() + 1, raw_.rend(), kFrameFlag);
    raw_.erase(frame == raw_.rend() ? raw_.begin() : frame.base() - 1, raw_.end());
    flush();
    tap_->received(packet, PacketTap::Clock::now());
    noiseBytes_ = 0;
}

void LineTap::flush() {
    const bool isNoise = std::ranges::any_of(raw_, [](std::uint8_t byte) { return byte != kFrameFlag; });
    Bytes rest(raw_);
    while (isNoise && !rest.empty() && noiseBytes_ < kMaxNoiseBytes) {
        const auto part = rest.first(std::min(rest.size(), TraceRecord::kMaxDamagedBytes));
        tap_->damaged(part, rawAt_);
        noiseBytes_ += part.size();
        rest = rest.subspan(part.size());
    }
    isTorn_ = isNoise && isInFrame_;
    raw_.clear();
}

void LineTap::restart() {
    flush();
    isTorn_ = false;
}

} // namespace tessra

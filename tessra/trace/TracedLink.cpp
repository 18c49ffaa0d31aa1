#include "tessra/trace/TracedLink.h"

namespace tessra {

Status TracedLink::exchange(std::span<const std::uint8_t> request, std::uint32_t timeoutMs,
                            std::vector<std::uint8_t>& answer) {
    const std::lock_guard guard(lock_);
    const auto sentAt = PacketRecorder::Clock::now();
    const Status status = link_->exchange(request, timeoutMs, answer);
    if (status != kPhoneNotPresent) { // else nothing was sent
        tap_.sent(request, sentAt);
    }
    if (!answer.empty()) {
        tap_.received(answer, PacketRecorder::Clock::now());
    }
    return status;
}

} // namespace tessra

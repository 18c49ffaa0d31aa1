// The input is what a line brings, in portions of changing size. It must neither harm the decoder nor be judged
// otherwise when it comes byte by byte; and a frame that follows is found whatever came before.
#include "fuzz/FuzzInput.h"
#include "tessra/serial/FrameCodec.h"

#include <algorithm>

namespace {

using Bytes = std::vector<std::uint8_t>;

struct Heard {
    std::vector<std::pair<tessra::FrameResult, Bytes>> frames;
    void take(tessra::FrameDecoder& decoder, std::span<const std::uint8_t> bytes) {
        while (!bytes.empty()) {
            const auto result = decoder.next(bytes);
            if (result != tessra::FrameResult::kMore) {
                frames.emplace_back(result, Bytes(decoder.packet().begin(), decoder.packet().end()));
            }
        }
    }
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::span<const std::uint8_t> input(data, size);
    tessra::FrameDecoder whole;
    Heard heardWhole;
    heardWhole.take(whole, input);
    tessra::FrameDecoder portions;
    Heard heardPortions;
    for (std::size_t at = 0; at < size;) {
        const std::size_t portion = std::min<std::size_t>(1 + data[at] % 5, size - at);
        heardPortions.take(portions, input.subspan(at, portion));
        at += portion;
    }
    require(heardWhole.frames == heardPortions.frames);

    const Bytes packet(data, data + std::min<std::size_t>(size, tessra::kMaxPacketBytes));
    heardWhole.frames.clear();
    heardWhole.take(whole, tessra::encodeFrame(packet));
    require(!heardWhole.frames.empty() && heardWhole.frames.back().first == tessra::FrameResult::kPacket &&
            heardWhole.frames.back().second == packet);
    return 0;
}

#include "tessra/FrameCodec.h"

#include <gtest/gtest.h>

#include <numeric>
#include <string_view>

using namespace tessra;

namespace {

using Bytes = std::vector<std::uint8_t>;

Bytes bytesOf(std::string_view text) {
    return {text.begin(), text.end()};
}

Bytes joined(std::initializer_list<Bytes> parts) {
    Bytes all;
    for (const Bytes& part : parts) {
        all.insert(all.end(), part.begin(), part.end());
    }
    return all;
}

// What a decoder makes of `line` when it comes in portions of `portion` bytes: P a packet, d damaged, b broken.
std::string outcomesOf(FrameDecoder& decoder, const Bytes& line, std::size_t portion, std::vector<Bytes>& packets) {
    std::string outcomes;
    packets.clear();
    for (std::size_t at = 0; at < line.size(); at += portion) {
        auto rest = std::span(line).subspan(at, std::min(portion, line.size() - at));
        while (!rest.empty()) {
            switch (decoder.next(rest)) {
            case FrameResult::kPacket:
                outcomes += 'P';
                packets.emplace_back(decoder.packet().begin(), decoder.packet().end());
                break;
            case FrameResult::kDamaged:
                outcomes += 'd';
                break;
            case FrameResult::kBroken:
                outcomes += 'b';
                break;
            case FrameResult::kMore:
                break;
            }
        }
    }
    return outcomes;
}

TEST(FrameCodec, TheCheckSequenceAndTheEscapesAreThoseOfThePublishedFormat) {
    EXPECT_EQ(frameCheck(bytesOf("123456789")), 0x906E); // the usual check value of this CRC
    EXPECT_EQ(encodeFrame(bytesOf("123456789")), joined({{0x7E}, bytesOf("123456789"), {0x6E, 0x90, 0x7E}}));
    const Bytes frame = encodeFrame(Bytes{0x7E, 0x11, 0x7D});
    EXPECT_EQ(Bytes(frame.begin(), frame.begin() + 6), (Bytes{0x7E, 0x7D, 0x5E, 0x11, 0x7D, 0x5D}));
}

TEST(FrameCodec, EveryPacketComesBack) {
    FrameDecoder decoder;
    std::vector<Bytes> packets;
    for (std::size_t length = 0; length <= kMaxPacketBytes; ++length) {
        Bytes packet(length);
        std::iota(packet.begin(), packet.end(), static_cast<std::uint8_t>(length));
        for (const std::size_t portion : {std::size_t{1}, std::size_t{7}, std::size_t{1024}}) {
            ASSERT_EQ(outcomesOf(decoder, encodeFrame(packet), portion, packets), "P") << length;
            ASSERT_EQ(packets.front(), packet);
        }
    }
}

TEST(FrameCodec, WhatIsNoPacketIsCountedAndSkipped) {
    const Bytes good = encodeFrame(bytesOf("good"));
    Bytes damaged = good;
    damaged[2] ^= 0x10;
    const Bytes cut(good.begin(), good.end() - 3);
    const struct {
        const char* name;
        Bytes line;
        const char* outcomes;
        FrameDecoder::Counts counts;
    } rows[] = {
        {"bytes before the first flag", joined({bytesOf("noise"), good}), "P", {1, 0, 0, 0, 5}},
        {"flags that two frames share", joined({good, {good.begin() + 1, good.end()}}), "PP", {2, 0, 0, 0, 0}},
        {"flags in a row", joined({{0x7E, 0x7E, 0x7E}, good}), "P", {1, 3, 0, 0, 0}},
        {"a flipped bit", joined({damaged, good}), "dP", {1, 1, 1, 0, 0}},
        {"a frame cut short by the next", joined({cut, good}), "dP", {1, 0, 1, 0, 0}},
        {"a sender that gives up", joined({{0x7E, 0x31, 0x7D}, good}), "bP", {1, 0, 0, 1, 0}},
        {"one byte is no check sequence", joined({{0x7E, 0x31}, good}), "bP", {1, 0, 0, 1, 0}},
        {"the longest frame", joined({{0x7E}, Bytes(258, 0x31), good}), "dP", {1, 0, 1, 0, 0}},
        {"one byte more", joined({{0x7E}, Bytes(259, 0x31), good}), "bP", {1, 0, 0, 1, 0}},
        {"babble without end", joined({{0x7E}, Bytes(100000, 0x31), good}), "bP", {1, 0, 0, 1, 100000 - 259}},
        {"escaped escapes at the end of the buffer",
         joined({{0x7E}, Bytes(2 * 259, 0x7D), good}),
         "bP",
         {1, 0, 0, 1, 0}},
    };
    for (const auto& row : rows) {
        for (const std::size_t portion : {std::size_t{1}, std::size_t{1000000}}) {
            SCOPED_TRACE(row.name);
            FrameDecoder decoder;
            std::vector<Bytes> packets;
            EXPECT_EQ(outcomesOf(decoder, row.line, portion, packets), row.outcomes);
            EXPECT_EQ(packets.back(), bytesOf("good"));
            EXPECT_EQ(decoder.counts().packets, row.counts.packets);
            EXPECT_EQ(decoder.counts().empty, row.counts.empty);
            EXPECT_EQ(decoder.counts().damaged, row.counts.damaged);
            EXPECT_EQ(decoder.counts().broken, row.counts.broken);
            EXPECT_EQ(decoder.counts().strayBytes, row.counts.strayBytes);
        }
    }
}

} // namespace

#include "tessra/serial/FrameCodec.h"

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

// What a decoder makes of `line` when it comes in portions of `portion` bytes: P a packet, d damaged, b broken. The
// last packet goes to `packet`.
std::string outcomesOf(FrameDecoder& decoder, const Bytes& line, std::size_t portion, Bytes& packet) {
    constexpr char kLetters[] = " Pdb"; // in the order of FrameResult
    std::string outcomes;
    for (std::size_t at = 0; at < line.size(); at += portion) {
        auto rest = std::span(line).subspan(at, std::min(portion, line.size() - at));
        for (auto result = decoder.next(rest); result != FrameResult::kMore; result = decoder.next(rest)) {
            outcomes += kLetters[static_cast<std::size_t>(result)];
            packet.assign(decoder.packet().begin(), decoder.packet().end());
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
    for (std::size_t length = 0; length <= kMaxPacketBytes; ++length) {
        Bytes packet(length);
        std::iota(packet.begin(), packet.end(), static_cast<std::uint8_t>(length));
        Bytes back;
        ASSERT_EQ(outcomesOf(decoder, encodeFrame(packet), 7, back), "P") << length;
        ASSERT_EQ(back, packet);
    }
}

TEST(FrameCodec, WhatIsNoPacketIsSkipped) {
    const Bytes good = encodeFrame(bytesOf("good"));
    Bytes damaged = good;
    damaged[2] ^= 0x10;
    const struct {
        const char* name;
        Bytes line;
        const char* outcomes;
        std::uint64_t strayBytes;
    } rows[] = {
        {"bytes before the first flag", joined({bytesOf("noise"), good}), "P", 5},
        {"flags that two frames share", joined({good, {good.begin() + 1, good.end()}}), "PP", 0},
        {"a flipped bit", joined({damaged, good}), "dP", 0},
        {"a sender that gives up", joined({{0x7E, 0x31, 0x7D}, good}), "bP", 0},
        {"one byte is no check sequence", joined({{0x7E, 0x31}, good}), "bP", 0},
        {"the longest frame", joined({{0x7E}, Bytes(258, 0x31), good}), "dP", 0},
        {"babble without end", joined({{0x7E}, Bytes(100000, 0x31), good}), "bP", 100000 - 259},
        {"escaped escapes at the end of the buffer", joined({{0x7E}, Bytes(518, 0x7D), good}), "bP", 0},
    };
    for (const auto& row : rows) {
        for (const std::size_t portion : {std::size_t{1}, std::size_t{1000000}}) {
            SCOPED_TRACE(row.name);
            FrameDecoder decoder;
            Bytes last;
            EXPECT_EQ(outcomesOf(decoder, row.line, portion, last), row.outcomes);
            EXPECT_EQ(last, bytesOf("good"));
            EXPECT_EQ(decoder.strayBytes(), row.strayBytes);
        }
    }
}

} // namespace

#include "tessra/PhoneModel.h"

#include "TestFiles.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <thread>

using namespace tessra;
using Bytes = std::vector<std::uint8_t>;

namespace {

Bytes nvPacket(std::uint8_t command, std::uint16_t item, Bytes data = {}) {
    Bytes packet(kNvPacketBytes);
    packet[0] = command;
    put16(packet, kNvItemOffset, item);
    std::copy(data.begin(), data.end(), packet.begin() + kNvDataOffset);
    return packet;
}

Bytes bad(std::uint8_t code, const Bytes& request) {
    Bytes answer = request;
    answer.insert(answer.begin(), code);
    return answer;
}

class PhoneModelTest : public testing::Test {
protected:
    PhoneModelTest() {
        writeText(folder_ / "initial",
                  "1 0 0102\n5 5 -\n6 6 -\n8 8 - readonly\n20 0 ff readonly\n30 0 ee protected\n65535 0 77\n");
    }

    std::uint16_t statusOf(const Bytes& request) {
        const Bytes answer = phone().answer(request);
        EXPECT_EQ(answer.size(), kNvPacketBytes);
        return answer.size() == kNvPacketBytes ? get16(answer, kNvStatusOffset) : std::uint16_t{0xFFFF};
    }
    PhoneModel& phone() {
        if (!phone_) {
            memory_.emplace(std::filesystem::path(), folder_ / "initial");
            phone_.emplace(setup_, *memory_);
        }
        return *phone_;
    }

    TemporaryFolder folder_;
    PhoneSetup setup_;

private:
    std::optional<NvMemoryFile> memory_;
    std::optional<PhoneModel> phone_;
};

} // namespace

TEST_F(PhoneModelTest, RefusesWhatIsNoPacketOfItsKind) {
    const Bytes shortRead(132, 0x26);
    const Bytes longWrite(134, 0x27);
    struct Row {
        const char* name;
        Bytes request;
        Bytes answer;
    };
    const Row rows[] = {
        {"an empty packet", {}, {21}},
        {"an unknown command", {0x77, 1, 2}, {19, 0x77, 1, 2}},
        {"a version request with more", {0x00, 0x00}, {21, 0x00, 0x00}},
        {"a short NV read", shortRead, bad(21, shortRead)},
        {"a long NV write", longWrite, bad(21, longWrite)},
        {"a mode change without its mode", {0x29, 4}, {21, 0x29, 4}},
        {"a change to a mode that no phone has", {0x29, 3, 0}, {20, 0x29, 3, 0}},
        {"a change to no mode", {0x29, 0, 0}, {20, 0x29, 0, 0}},
        {"a mode query with more", {0x2A, 0}, {21, 0x2A, 0}},
        {"an access code of five digits", {0x41, '0', '0', '0', '0', '0'}, {21, 0x41, '0', '0', '0', '0', '0'}},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(phone().answer(row.request), row.answer) << row.name;
    }
    EXPECT_EQ(phone().answer(Bytes(256, 0x77)).size(), 256U) << "the answer must fit into a packet";
}

TEST_F(PhoneModelTest, AnswersOtherPackets) {
    setup_.model = "Twelve chars";
    setup_.softwareVersion = "2.0";
    setup_.serialNumber = "A";
    EXPECT_EQ(phone().answer(Bytes{0x3B, 9, 8}), (Bytes{0x3B, 9, 8}));
    EXPECT_EQ(phone().answer(Bytes{0x2A}), (Bytes{0x2A, 1, 0}));
    const Bytes version = phone().answer(Bytes{0x00});
    EXPECT_EQ(std::string(version.begin(), version.end()),
              std::string("\0Jan 12 202609:30:00Twelve chars2.0\0\0\0\0\0\0\0\0\0A\0\0\0\0\0\0\0\0\0\1", 55));
}

TEST_F(PhoneModelTest, NvItemsAnswerTheirOwnStatus) {
    struct Row {
        const char* name;
        std::uint16_t item;
        std::uint16_t read;
        std::uint16_t write;
        std::uint16_t readAfter;
    };
    const Row rows[] = {
        {"a plain item", 1, 0, 0, 0},
        {"an inactive item becomes active by a write", 5, 5, 0, 0},
        {"an item that the phone does not list is inactive", 2, 5, 0, 0},
        {"an item with a status of its own", 6, 6, 6, 6},
        {"read-only comes first in a write", 8, 8, 7, 8},
        {"a read-only item", 20, 0, 7, 0},
        {"a protected item", 30, 0, 7, 0},
        {"the last item number", 65535, 0, 0, 0},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(statusOf(nvPacket(0x26, row.item)), row.read);
        EXPECT_EQ(statusOf(nvPacket(0x27, row.item, {0xAB, 0xCD})), row.write);
        EXPECT_EQ(statusOf(nvPacket(0x26, row.item)), row.readAfter);
        if (row.write == 0) {
            EXPECT_EQ(phone().answer(nvPacket(0x26, row.item)), nvPacket(0x26, row.item, {0xAB, 0xCD}));
        }
    }
    Bytes request = nvPacket(0x26, 6, {1, 2, 3}); // neither data nor status of a request come back
    request[kNvStatusOffset] = 99;
    Bytes expected = nvPacket(0x26, 6);
    expected[kNvStatusOffset] = 6;
    EXPECT_EQ(phone().answer(request), expected);
}

TEST_F(PhoneModelTest, TheAccessCodeOpensProtectedItemsUntilTheNextStart) {
    setup_.spc = "123456";
    EXPECT_EQ(phone().answer(Bytes{0x41, '1', '2', '3', '4', '5', '7'}), (Bytes{0x41, 0}));
    EXPECT_EQ(statusOf(nvPacket(0x27, 30)), 7);
    EXPECT_EQ(phone().answer(Bytes{0x41, '1', '2', '3', '4', '5', '6'}), (Bytes{0x41, 1}));
    EXPECT_EQ(statusOf(nvPacket(0x27, 30)), 0);
    EXPECT_EQ(statusOf(nvPacket(0x27, 20)), 7) << "read-only stays read-only";
    phone().restart();
    EXPECT_EQ(statusOf(nvPacket(0x27, 30, {1})), 7);
}

TEST_F(PhoneModelTest, LoaderModesTakeOnlyModePackets) {
    for (const std::uint8_t mode : {std::uint8_t{2}, std::uint8_t{6}}) {
        ASSERT_EQ(phone().answer(Bytes{0x29, mode, 0}), (Bytes{0x29, mode, 0}));
        EXPECT_EQ(phone().answer(Bytes{0x00}), (Bytes{24, 0x00}));
        EXPECT_EQ(phone().answer(nvPacket(0x26, 1))[0], 24);
        EXPECT_EQ(phone().answer(Bytes{0x2A}), (Bytes{0x2A, mode, 0}));
        EXPECT_EQ(phone().answer(Bytes{0x29, 4, 0}), (Bytes{0x29, 4, 0}));
        EXPECT_EQ(phone().mode(), PhoneMode::kOffline);
    }
}

TEST_F(PhoneModelTest, AResetLeavesForAWhileAndStartsAnew) {
    setup_.awayMs = 50;
    phone().answer(Bytes{0x29, 4, 0});
    EXPECT_EQ(phone().answer(Bytes{0x29, 5, 0}), (Bytes{0x29, 5, 0}));
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (phone().starts() == 1 && std::chrono::steady_clock::now() < deadline) {
        std::this_thread::yield();
    }
    EXPECT_EQ(phone().starts(), 2U);
    EXPECT_EQ(phone().state(), PhoneState::kPresent);
    EXPECT_EQ(phone().mode(), PhoneMode::kOnline);

    NvMemoryFile memory("", "");
    PhoneModel slow({.leaveAfterMs = 1000000, .awayMs = 0}, memory);
    slow.answer(Bytes{0x29, 5, 0});
    EXPECT_EQ(slow.state(), PhoneState::kLeaving);
    EXPECT_EQ(slow.mode(), PhoneMode::kReset);
    EXPECT_EQ(slow.answer(Bytes{0x3B}), Bytes{0x3B}) << "a phone answers until it leaves";
}

TEST_F(PhoneModelTest, AResetThatNeverLeavesAndOneThatNeverReturns) {
    setup_.leaveAfterMs = -1;
    EXPECT_EQ(phone().answer(Bytes{0x29, 5, 0}), (Bytes{0x29, 5, 0}));
    EXPECT_EQ(phone().state(), PhoneState::kPresent);
    EXPECT_EQ(phone().mode(), PhoneMode::kOnline);

    NvMemoryFile memory("", "");
    PhoneModel lost({.awayMs = -1}, memory);
    lost.answer(Bytes{0x29, 5, 0});
    EXPECT_EQ(lost.state(), PhoneState::kReturning);
    EXPECT_EQ(lost.answer(Bytes{0x00}), Bytes{});
    lost.restart();
    EXPECT_EQ(lost.state(), PhoneState::kPresent);
}

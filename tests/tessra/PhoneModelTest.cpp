#include "tessra/simulator/PhoneModel.h"

#include "ServiceClient.h"
#include "tests/support/TemporaryFolder.h"

using namespace tessra;

namespace {

class PhoneModelTest : public testing::Test {
protected:
    PhoneModelTest() {
        writeText(folder_ / "initial", "1 0 0102\n5 5 -\n6 6 -\n8 8 - readonly\n20 0 ff readonly\n30 0 ee protected\n");
    }

    PhoneModel& phone() {
        if (!phone_) {
            memory_.emplace(std::filesystem::path(), folder_ / "initial");
            phone_.emplace(setup_, *memory_);
        }
        return *phone_;
    }
    std::uint16_t statusOf(const Bytes& request) {
        const Bytes answer = phone().answer(request);
        return answer.size() == kNvPacketBytes ? kernel::get16(answer.data() + kNvStatusOffset) : std::uint16_t{0xFFFF};
    }

    TemporaryFolder folder_;
    PhoneSetup setup_;

private:
    std::optional<NvMemoryFile> memory_;
    std::optional<PhoneModel> phone_;
};

TEST_F(PhoneModelTest, RefusesWhatIsNoPacketOfItsKind) {
    const struct {
        const char* name;
        Bytes request;
        std::uint8_t code;
    } rows[] = {
        {"an empty packet", {}, 21},
        {"an unknown command", {0x77, 1, 2}, 19},
        {"a version request with more", {0x00, 0x00}, 21},
        {"a short NV read", Bytes(132, 0x26), 21},
        {"a long NV write", Bytes(134, 0x27), 21},
        {"a mode change without its mode", {0x29, 4}, 21},
        {"a change to a mode that no phone has", {0x29, 3, 0}, 20},
        {"a mode query with more", {0x2A, 0}, 21},
        {"an access code of five digits", {0x41, '0', '0', '0', '0', '0'}, 21},
    };
    for (const auto& row : rows) {
        Bytes refusal = row.request;
        refusal.insert(refusal.begin(), row.code);
        EXPECT_EQ(phone().answer(row.request), refusal) << row.name;
    }
    EXPECT_EQ(phone().answer(Bytes(256, 0x77)).size(), 256U) << "the answer must fit into a packet";
    for (const std::uint8_t loader : {std::uint8_t{2}, std::uint8_t{6}}) {
        ASSERT_EQ(phone().answer(Bytes{0x29, loader, 0}), (Bytes{0x29, loader, 0}));
        EXPECT_EQ(phone().answer(Bytes{0x00}), (Bytes{24, 0x00}));
        EXPECT_EQ(phone().answer(Bytes{0x2A}), (Bytes{0x2A, loader, 0}));
    }
}

TEST_F(PhoneModelTest, NvItemsAnswerTheirOwnStatus) {
    const struct {
        const char* name;
        std::uint16_t item;
        std::uint16_t read;
        std::uint16_t write;
        std::uint16_t readAfter;
    } rows[] = {
        {"a plain item", 1, 0, 0, 0},
        {"an inactive item becomes active by a write", 5, 5, 0, 0},
        {"an item that the phone does not list is inactive", 65535, 5, 0, 0},
        {"an item with a status of its own", 6, 6, 6, 6},
        {"read-only comes first in a write", 8, 8, 7, 8},
        {"a read-only item", 20, 0, 7, 0},
        {"a protected item", 30, 0, 7, 0},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(statusOf(nvRead(row.item)), row.read) << row.name;
        EXPECT_EQ(statusOf(nvWrite(row.item, 0xAB)), row.write) << row.name;
        EXPECT_EQ(statusOf(nvRead(row.item)), row.readAfter) << row.name;
    }
    EXPECT_EQ(phone().answer(nvRead(5))[kNvDataOffset], 0xAB);
    Bytes request = nvRead(6); // neither data nor status of a request come back
    request[kNvDataOffset] = 1;
    request[kNvStatusOffset] = 99;
    Bytes expected = nvRead(6);
    expected[kNvStatusOffset] = 6;
    EXPECT_EQ(phone().answer(request), expected);
}

TEST_F(PhoneModelTest, TheAccessCodeOpensProtectedItemsUntilTheNextStart) {
    setup_.spc = "123456";
    EXPECT_EQ(phone().answer(Bytes{0x41, '1', '2', '3', '4', '5', '7'}), (Bytes{0x41, 0}));
    EXPECT_EQ(statusOf(nvWrite(30, 2)), 7);
    EXPECT_EQ(phone().answer(Bytes{0x41, '1', '2', '3', '4', '5', '6'}), (Bytes{0x41, 1}));
    EXPECT_EQ(statusOf(nvWrite(30, 2)), 0);
    EXPECT_EQ(statusOf(nvWrite(20, 2)), 7) << "read-only stays read-only";
    phone().restart();
    EXPECT_EQ(statusOf(nvWrite(30, 1)), 7);
}

TEST_F(PhoneModelTest, AResetLeavesForAWhileAndStartsAnew) {
    setup_ = {.model = "Twelve chars", .softwareVersion = "2.0", .serialNumber = "A", .awayMs = 30};
    phone().answer(Bytes{0x29, 4, 0});
    EXPECT_EQ(phone().answer(Bytes{0x29, 5, 0}), (Bytes{0x29, 5, 0}));
    EXPECT_TRUE(eventually([&] { return phone().starts() == 2; }));
    EXPECT_EQ(phone().state(), PhoneState::kPresent);
    EXPECT_EQ(phone().mode(), PhoneMode::kOnline);
    const Bytes version = phone().answer(Bytes{0x00});
    EXPECT_EQ(std::string(version.begin(), version.end()),
              std::string("\0Jan 12 202609:30:00Twelve chars2.0\0\0\0\0\0\0\0\0\0A\0\0\0\0\0\0\0\0\0\1", 55));

    NvMemoryFile memory("", "");
    PhoneModel slow({.leaveAfterMs = 1000000}, memory);
    slow.answer(Bytes{0x29, 5, 0});
    EXPECT_EQ(slow.state(), PhoneState::kLeaving);
    EXPECT_EQ(slow.answer(Bytes{0x3B}), Bytes{0x3B}) << "a phone answers until it leaves";
    PhoneModel lost({.awayMs = -1}, memory);
    lost.answer(Bytes{0x29, 5, 0});
    EXPECT_EQ(lost.state(), PhoneState::kReturning);
    EXPECT_EQ(lost.answer(Bytes{0x00}), Bytes{});
}

} // namespace

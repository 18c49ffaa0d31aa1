#include "tessra/simulator/PhoneModel.h"

#include "ServiceClient.h"
#include "tests/support/TemporaryFolder.h"

using namespace tessra;

namespace {

std::uint16_t statusOf(PhoneModel& phone, const Bytes& request) {
    return kernel::get16(phone.answer(request).data() + kNvStatusOffset);
}

TEST(PhoneModel, RefusesWhatIsNoPacketOfItsKind) {
    NvMemoryFile memory("", "");
    PhoneModel phone({}, memory);
    const struct {
        const char* name;
        Bytes request;
        std::uint8_t code;
    } rows[] = {
        {"an unknown command", {0x77, 1, 2}, 19},
        {"an empty packet", {}, 21},
        {"a short NV read", Bytes(132, 0x26), 21},
        {"a long NV write", Bytes(134, 0x27), 21},
        {"a change to a mode that no phone has", {0x29, 3, 0}, 20},
    };
    for (const auto& row : rows) {
        Bytes refusal = row.request;
        refusal.insert(refusal.begin(), row.code);
        EXPECT_EQ(phone.answer(row.request), refusal) << row.name;
    }
    EXPECT_EQ(phone.answer(Bytes(256, 0x77)).size(), 256U) << "the answer must fit into a packet";
}

TEST(PhoneModel, NvItemsAnswerTheirOwnStatus) {
    const TemporaryFolder folder;
    writeText(folder / "initial", "5 5 -\n6 6 -\n8 8 - readonly\n30 0 ee protected\n");
    NvMemoryFile memory({}, folder / "initial");
    PhoneModel phone({}, memory);
    const struct {
        const char* name;
        std::uint16_t item;
        std::uint16_t read;
        std::uint16_t write;
        std::uint16_t readAfter;
    } rows[] = {
        {"an inactive item becomes active by a write", 5, 5, 0, 0},
        {"an item that the phone does not list is inactive", 65535, 5, 0, 0},
        {"an item with a status of its own", 6, 6, 6, 6},
        {"read-only comes first in a write", 8, 8, 7, 8},
        {"a protected item", 30, 0, 7, 0},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(statusOf(phone, nvRead(row.item)), row.read) << row.name;
        EXPECT_EQ(statusOf(phone, nvWrite(row.item, 0xAB)), row.write) << row.name;
        EXPECT_EQ(statusOf(phone, nvRead(row.item)), row.readAfter) << row.name;
    }
    EXPECT_EQ(phone.answer(nvRead(5))[kNvDataOffset], 0xAB);
    EXPECT_EQ(phone.answer(Bytes{0x41, '0', '0', '0', '0', '0', '0'}), (Bytes{0x41, 1}));
    EXPECT_EQ(statusOf(phone, nvWrite(30, 2)), 0);
    phone.restart();
    EXPECT_EQ(statusOf(phone, nvWrite(30, 2)), 7) << "the access code lasts until the next start";
}

TEST(PhoneModel, TheVersionAnswerHasItsLayout) {
    NvMemoryFile memory("", "");
    PhoneModel phone({.model = "Twelve chars", .softwareVersion = "2.0", .serialNumber = "A"}, memory);
    const Bytes version = phone.answer(Bytes{0x00});
    EXPECT_EQ(std::string(version.begin(), version.end()),
              std::string("\0Jan 12 202609:30:00Twelve chars2.0\0\0\0\0\0\0\0\0\0A\0\0\0\0\0\0\0\0\0\1", 55));
}

} // namespace

// The whole path to a phone on a serial line: catalog, session, service, line, pseudo-terminal, phone.

#include "RunningPhone.h"
#include "ServiceClient.h"
#include "engine/Calvane.h"
#include "phonelink/TessraServer.h"
#include "tests/support/ErrorLog.h"
#include "tests/support/MessageOf.h"
#include "tests/support/TemporaryFolder.h"

#include <algorithm>
#include <future>

using namespace tessra;

namespace {

constexpr const char* kSamplePhone = CALVANE_SOURCE_DIR "/data/Sample Phone.nvmem";
constexpr const char* kSampleRing = CALVANE_SOURCE_DIR "/data/NV Decoder.vrk";

// Ports with lines to the devices, which lead to phones or not.
ServiceConfig linesTo(const std::vector<std::filesystem::path>& devices, std::uint32_t askEveryMs = 600000) {
    ServiceConfig config;
    for (const auto& device : devices) {
        config.ports.push_back(phonesOn({"COM" + std::to_string(config.ports.size() + 1)}).ports[0]);
        config.ports.back().line = {.device = device, .askEveryMs = askEveryMs};
    }
    return config;
}

class SerialPhone : public testing::Test {
protected:
    const ErrorLog log_;
    const TemporaryFolder folder_;
};

TEST_F(SerialPhone, TwoSessionsReadTwoPhonesByteForByte) {
    const RunningPhone first(folder_ / "a", {}, kSamplePhone);
    const RunningPhone second(folder_ / "b", {}, kSamplePhone);
    ServiceConfig config = linesTo({folder_ / "a", folder_ / "b", {}});
    config.ports[2].initial = kSamplePhone;
    const ServiceHost service(config);
    const auto read = [](const char* port) {
        Calvane catalog;
        catalog.loadDecoderRingFile(kSampleRing);
        return catalog.getNvItemsFromPhone(port);
    };
    auto other = std::async(std::launch::async, read, "COM2");
    const std::vector<NvItem> own[] = {read("COM1"), other.get()};
    const std::vector<NvItem> simulated = read("COM3");
    ASSERT_GT(simulated.size(), 100U);
    const auto equals = [](const NvItem& a, const NvItem& b) {
        return a.getId() == b.getId() && std::equal(a.getData(), a.getData() + kNvDataBytes, b.getData());
    };
    for (const auto& items : own) {
        EXPECT_TRUE(std::ranges::equal(items, simulated, equals));
    }
}

// Others may use the other ports: nothing is sent there, and nothing of theirs is locked.
TEST_F(SerialPhone, OnlyThePortsThatAreAskedForAreOpen) {
    const RunningPhone first(folder_ / "a", {.awayMs = 300});
    const RunningPhone second(folder_ / "b");
    ServiceConfig config = linesTo({folder_ / "a", folder_ / "b", {}}, 100);
    config.ports[2].memory = folder_ / "m";
    const ServiceHost service(config);
    const auto problemOf = [](const std::filesystem::path& device) {
        SerialPort port;
        std::string problem;
        port.open({.device = device}, problem);
        return problem;
    };
    const auto isMemoryFree = [&] { return messageOf([&] { const NvMemoryFile memory(folder_ / "m", ""); }).empty(); };
    const std::string inUse = "this program uses it already";
    TessraServer session("Test");
    EXPECT_TRUE(session.connect("COM1", 0));
    EXPECT_EQ(messageOf([&] { session.reset(10000); }), "");
    EXPECT_EQ(second.terminal.packets(), 0U);
    EXPECT_EQ(problemOf(folder_ / "a") + "/" + problemOf(folder_ / "b"), inUse + "/");
    EXPECT_TRUE(isMemoryFree());
    EXPECT_EQ(session.getActiveComPorts(), (std::vector<std::string>{"COM1", "COM2", "COM3"}));
    EXPECT_GT(second.terminal.packets(), 0U);
    EXPECT_EQ(problemOf(folder_ / "a") + "/" + problemOf(folder_ / "b"), inUse + "/") << "let go after the scan";
    EXPECT_TRUE(isMemoryFree());
    {
        TessraServer unattached("Test");
        EXPECT_NE(messageOf([&] { unattached.connect(0U); }), "") << "three phones";
        EXPECT_EQ(unattached.waitForActivePhone().size(), 3U);
        EXPECT_EQ(problemOf(folder_ / "b"), "");
        session.connect("COM2");
        EXPECT_EQ(problemOf(folder_ / "a") + "/" + problemOf(folder_ / "b"), "/" + inUse);
        unattached.connect("COM2");
        session.connect("COM3");
        EXPECT_EQ(problemOf(folder_ / "b"), inUse) << "the other session has it";
    }
    EXPECT_EQ(problemOf(folder_ / "b"), "");
    EXPECT_FALSE(isMemoryFree());
}

// Whatever a phone answers to a version request, one that has told its mode is found, and seen to come back.
TEST_F(SerialPhone, APhoneWithoutAVersionIsFoundAndSeenToComeBack) {
    const RunningPhone phone(folder_ / "a", {.versionBytes = 0, .awayMs = 1000});
    const ServiceHost service(linesTo({folder_ / "a"}, 100));
    TessraServer session("Test");
    EXPECT_EQ(session.waitForActivePhone().size(), 1U);
    EXPECT_TRUE(session.connect("COM1", 0));
    EXPECT_EQ(messageOf([&] { session.reset(10000); }), "");
}

// Nobody asks the service anything here after the change: what arrives, its own threads have noticed.
TEST_F(SerialPhone, ChangesAreNoticedWithoutAnybodyAsking) {
    RunningPhone phone(folder_ / "a");
    ServiceConfig config = linesTo({folder_ / "a", {}}, 50);
    config.ports[1].phone.leaveAfterMs = 20;
    config.ports[1].phone.awayMs = 500;
    const Apartment apartment;
    const ServiceHost service(config);
    const Subscriber onLine(1);
    const Subscriber simulated(2);
    const auto expect = [](const Subscriber& subscriber, const std::vector<std::uint32_t>& kinds) {
        EXPECT_TRUE(eventually([&] {
            dispatchAll();
            return subscriber.sink->events.size() >= kinds.size();
        }));
        std::vector<std::uint32_t> heard;
        for (const Event& event : subscriber.sink->events) {
            heard.push_back(event.kind);
        }
        EXPECT_EQ(heard, kinds);
        subscriber.sink->events.clear();
    };
    phone.terminal.withPhone([](PhoneModel& model) { model.answer(Bytes{0x29, 4, 0}); });
    expect(onLine, {3});
    phone.terminal.setPlugged(false);
    expect(onLine, {2});
    phone.terminal.setPlugged(true);
    expect(onLine, {1});
    ASSERT_EQ(simulated.phone->changeMode(5), com::kOk);
    expect(simulated, {4, 3, 2});
    const std::clock_t before = std::clock();
    expect(simulated, {1});
    EXPECT_LT(std::clock() - before, CLOCKS_PER_SEC / 4) << "of 500 ms: somebody does not sleep";
}

} // namespace

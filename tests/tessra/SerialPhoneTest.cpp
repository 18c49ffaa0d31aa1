// The whole path to a phone on a serial line: catalog, session, service, line, pseudo-terminal, phone.

#include "RunningPhone.h"
#include "ServiceClient.h"
#include "engine/Calvane.h"
#include "phonelink/TessraServer.h"
#include "tests/support/ErrorLog.h"
#include "tests/support/MessageOf.h"
#include "tests/support/TemporaryFolder.h"

#include <sys/resource.h>

#include <future>

using namespace tessra;

namespace {

constexpr const char* kSamplePhone = CALVANE_SOURCE_DIR "/data/Sample Phone.nvmem";
constexpr const char* kSampleRing = CALVANE_SOURCE_DIR "/data/NV Decoder.vrk";

// Ports with lines to the devices, which lead to phones or not.
ServiceConfig linesTo(const std::vector<std::filesystem::path>& devices, std::uint32_t askEveryMs = 600000) {
    ServiceConfig config;
    for (const auto& device : devices) {
        PortConfig port;
        port.number = static_cast<std::uint16_t>(config.ports.size() + 1);
        port.name = "COM" + std::to_string(port.number);
        port.line.device = device;
        port.line.askEveryMs = askEveryMs;
        config.ports.push_back(port);
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
    for (const auto& items : own) {
        ASSERT_EQ(items.size(), simulated.size());
        for (std::size_t i = 0; i < items.size(); ++i) {
            EXPECT_EQ(items[i].getId(), simulated[i].getId());
            EXPECT_TRUE(std::equal(items[i].getData(), items[i].getData() + kNvDataBytes, simulated[i].getData()))
                << items[i].getName();
        }
    }
}

TEST_F(SerialPhone, UnpluggedPhonesComeBack) {
    RunningPhone phone(folder_ / "a", {}, kSamplePhone);
    const ServiceHost service(linesTo({folder_ / "a"}, 200));
    Calvane catalog;
    catalog.loadDecoderRingFile(kSampleRing);
    const auto failure = [&] { return messageOf([&] { catalog.getNvItemsFromPhone("COM1"); }); };
    phone.terminal.setFaults({.unplugAt = 60, .backAfterMs = 100});
    EXPECT_EQ(failure(), "Calvane::getNvItemsFromPhone( const string comPort ) - TessraServer::sendSyncImpl - "
                         "A command can not be issued as the phone is not present.");
    EXPECT_TRUE(eventually([&] { return failure().empty(); }));
}

// Whatever a phone answers to a version request, one that has told its mode is found, and seen to come back.
TEST_F(SerialPhone, PhonesAreFoundWhateverTheirVersionAnswer) {
    for (const std::size_t versionBytes : {std::size_t{55}, std::size_t{54}, std::size_t{0}}) {
        SCOPED_TRACE(versionBytes);
        const RunningPhone phone(folder_ / "a", {.versionBytes = versionBytes, .awayMs = 300});
        const ServiceHost service(linesTo({folder_ / "a"}, 100));
        TessraServer session("Test");
        const auto phones = session.waitForActivePhone();
        ASSERT_EQ(phones.size(), 1U);
        EXPECT_EQ(phones[0].portName, "COM1");
        EXPECT_TRUE(session.connect("COM1", 0));
        EXPECT_EQ(messageOf([&] { session.reset(10000); }), "");
    }
}

class KindSink : public com::Implements<IEventSink> {
public:
    Status onEvent(std::uint32_t, const std::uint8_t*, std::uint32_t first, std::uint32_t second, std::uint16_t,
                   std::uint32_t) override {
        kinds.push_back(std::to_string(second) + ":" + std::to_string(first));
        return com::kOk;
    }
    std::vector<std::string> kinds;
};

double processorMs() {
    rusage usage{};
    ::getrusage(RUSAGE_SELF, &usage);
    return static_cast<double>(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) * 1e3 +
           static_cast<double>(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1e3;
}

// Nobody asks the service anything here after the change: what arrives, its own threads have noticed.
TEST_F(SerialPhone, ChangesAreNoticedWithoutAnybodyAsking) {
    RunningPhone phone(folder_ / "a");
    ServiceConfig config = linesTo({folder_ / "a", {}}, 50);
    config.ports[1].phone.leaveAfterMs = 20;
    config.ports[1].phone.awayMs = 500;
    const Apartment apartment;
    const ServiceHost service(config);
    const Client client;
    auto* const sink = new KindSink;
    const auto held = ComPtr<IEventSink>::adopt(sink);
    const ComPtr<IPhonePort> phones[] = {client.phone(1), client.phone(2)}; // they keep the subscriptions
    std::uint32_t cookie = 0;
    for (const auto& each : phones) {
        ASSERT_EQ(partOf<IEventSubscription>(each)->subscribe(held, cookie), com::kOk);
    }
    const auto expect = [&](const std::vector<std::string>& kinds) {
        EXPECT_TRUE(eventually([&] {
            dispatchAll();
            return sink->kinds.size() >= kinds.size();
        }));
        EXPECT_EQ(sink->kinds, kinds);
        sink->kinds.clear();
    };
    phone.terminal.withPhone([](PhoneModel& model) { model.answer(Bytes{0x29, 4, 0}); });
    expect({"1:3"});
    phone.terminal.setPlugged(false);
    expect({"1:2"});
    phone.terminal.setPlugged(true);
    expect({"1:1"});
    ASSERT_EQ(phones[1]->changeMode(5), com::kOk);
    expect({"2:4", "2:3", "2:2"});
    const double before = processorMs();
    expect({"2:1"});
    EXPECT_LT(processorMs() - before, 250) << "of 500 ms: somebody does not sleep";
}

} // namespace

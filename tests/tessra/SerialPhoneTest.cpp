// The whole path to a phone on a serial line: catalog, session, service, line, pseudo-terminal, phone.

#include "RunningPhone.h"
#include "ServiceClient.h"
#include "engine/Calvane.h"
#include "platform/kernel/Trace.h"
#include "tests/support/TemporaryFolder.h"

#include <gmock/gmock.h>

#include <thread>

using namespace tessra;

namespace {

constexpr const char* kSamplePhone = CALVANE_SOURCE_DIR "/data/Sample Phone.nvmem";
constexpr const char* kSampleRing = CALVANE_SOURCE_DIR "/data/NV Decoder.vrk";
constexpr const char* kReadPrefix = "Calvane::getNvItemsFromPhone( const string comPort ) - ";

PortConfig serialPort(const char* name, std::uint16_t number, const std::filesystem::path& device) {
    PortConfig port;
    port.name = name;
    port.number = number;
    port.line.device = device;
    return port;
}

std::string refusalOf(const std::function<void()>& call) {
    try {
        call();
        return {};
    } catch (const Calvane::Exception& error) {
        return error.what();
    }
}

class SerialPhone : public testing::Test {
protected:
    SerialPhone() {
        kernel::setErrorLog([](std::string_view) {});
    }
    ~SerialPhone() override { kernel::setErrorLog({}); }

    TemporaryFolder folder_;
};

TEST_F(SerialPhone, TwoSessionsReadTwoPhonesByteForByte) {
    const RunningPhone first(folder_ / "a", {}, kSamplePhone);
    const RunningPhone second(folder_ / "b", {}, kSamplePhone);
    ServiceConfig config;
    config.ports = {serialPort("COM1", 1, folder_ / "a"), serialPort("COM2", 2, folder_ / "b"), {}};
    config.ports[2].name = "COM3";
    config.ports[2].number = 3;
    config.ports[2].initial = kSamplePhone;
    const HostedService service(config);
    const char* const names[] = {"COM1", "COM2", "COM3"};
    std::vector<NvItem> read[3];
    std::vector<std::thread> readers;
    for (std::size_t i = 0; i < 3; ++i) {
        readers.emplace_back([&, i] {
            Calvane catalog;
            catalog.loadDecoderRingFile(kSampleRing);
            read[i] = catalog.getNvItemsFromPhone(names[i]);
        });
    }
    for (std::thread& reader : readers) {
        reader.join();
    }
    ASSERT_GT(read[2].size(), 100U);
    for (std::size_t i = 0; i < 2; ++i) {
        ASSERT_EQ(read[i].size(), read[2].size());
        for (std::size_t k = 0; k < read[i].size(); ++k) {
            EXPECT_EQ(read[i][k].getId(), read[2][k].getId());
            EXPECT_TRUE(std::equal(read[i][k].getData(), read[i][k].getData() + kNvDataBytes, read[2][k].getData()))
                << read[i][k].getName();
        }
    }
}

TEST_F(SerialPhone, EachFaultOfTheLineHasItsMessage) {
    const std::string send = std::string(kReadPrefix) + "TessraServer::sendSyncImpl - ";
    const struct {
        const char* name;
        LineFaults faults;
        std::uint32_t baud;
        std::string message;
    } rows[] = {
        {"none", {}, 115200, ""},
        {"garbage", {.garbageBytes = 300}, 115200, ""},
        {"silence", {.silentFrom = 2}, 115200, send + "Timeout waiting for response"},
        {"late", {.delayMs = 2300}, 115200, send + "Timeout waiting for response"},
        {"bit errors", {.bitErrors = 0.004, .sparesRequests = true}, 115200, send + "Serial CRC error"},
        {"babble", {.babbleFrom = 2}, 115200, send + "Serial framing error"},
        {"unplugged", {.unplugAt = 2}, 115200, send + "A command can not be issued as the phone is not present."},
        {"no speed", {}, 12345, send + "Invalid baud rate specified"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        RunningPhone phone(folder_ / "a", {}, kSamplePhone);
        ServiceConfig config;
        config.ports = {serialPort("COM1", 1, folder_ / "a")};
        config.ports[0].line.baud = row.baud;
        config.ports[0].line.askEveryMs = 600000;
        const HostedService service(config);
        Calvane catalog;
        writeText(folder_ / "ring", "NV_A,1007,ReadWrite,<BYTE,x>#\nNV_B,1008,ReadWrite,<BYTE,x>#\n");
        catalog.loadDecoderRingFile(folder_ / "ring");
        refusalOf([&] { catalog.getNvItemsFromPhone("COM1"); }); // the phone is found before the fault begins
        phone.terminal.setFaults(row.faults);
        EXPECT_EQ(refusalOf([&] { catalog.getNvItemsFromPhone("COM1"); }), row.message);
    }
    RunningPhone phone(folder_ / "a", {}, kSamplePhone);
    ServiceConfig config;
    config.ports = {serialPort("COM1", 1, folder_ / "a"), serialPort("COM2", 2, folder_ / "nothing")};
    const HostedService service(config);
    Calvane catalog;
    catalog.loadDecoderRingFile(folder_ / "ring");
    EXPECT_EQ(refusalOf([&] { catalog.getNvItemsFromPhone("COM1"); }), "");
    phone.terminal.setStopped(true);
    EXPECT_EQ(refusalOf([&] { catalog.getNvItemsFromPhone("COM1"); }), send + "Serial write failure");
    phone.terminal.setStopped(false);
    EXPECT_EQ(refusalOf([&] { catalog.getNvItemsFromPhone("COM2"); }),
              std::string(kReadPrefix) + "TessraServer::changeComPortImpl - No phone found on this port");
}

TEST_F(SerialPhone, UnpluggedPhonesComeBackAndResetsAreSeen) {
    PhoneSetup setup;
    setup.awayMs = 700;
    RunningPhone phone(folder_ / "a", setup, kSamplePhone);
    ServiceConfig config;
    config.ports = {serialPort("COM1", 1, folder_ / "a")};
    config.ports[0].line.askEveryMs = 200;
    const HostedService service(config);
    Calvane catalog;
    catalog.loadDecoderRingFile(kSampleRing);
    phone.terminal.setFaults({.unplugAt = 60, .backAfterMs = 100});
    EXPECT_NE(refusalOf([&] { catalog.getNvItemsFromPhone("COM1"); }), "");
    EXPECT_TRUE(eventually([&] { return refusalOf([&] { catalog.getNvItemsFromPhone("COM1"); }).empty(); }));
    EXPECT_EQ(refusalOf([&] { catalog.resetPhone(); }), "");
    EXPECT_EQ(refusalOf([&] { catalog.getNvItemsFromPhone("COM1"); }), "");
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

// Nobody asks the service anything here after the change: what arrives, its own threads have noticed.
TEST_F(SerialPhone, ChangesAreNoticedWithoutAnybodyAsking) {
    RunningPhone phone(folder_ / "a");
    ServiceConfig config;
    config.ports = {serialPort("COM1", 1, folder_ / "a"), {}};
    config.ports[0].line.askEveryMs = 50;
    config.ports[1].name = "COM2";
    config.ports[1].number = 2;
    config.ports[1].phone.leaveAfterMs = 20;
    config.ports[1].phone.awayMs = 20;
    const Apartment apartment;
    const HostedService service(config);
    const Client client;
    auto* const sink = new KindSink;
    const auto held = ComPtr<IEventSink>::adopt(sink);
    PhoneDescription description;
    ASSERT_EQ(client.agent->describePhone(1, description), com::kOk);
    std::vector<ComPtr<IPhonePort>> subscribed; // a subscription lasts as long as the object that made it
    for (const std::uint16_t number : {std::uint16_t{1}, std::uint16_t{2}}) {
        ComPtr<IEventSubscription> events;
        std::uint32_t cookie = 0;
        const auto port = client.phone(number);
        ASSERT_EQ(port.query(events), com::kOk);
        ASSERT_EQ(events->subscribe(held, cookie), com::kOk);
        subscribed.push_back(port);
    }
    const auto expect = [&](std::vector<std::string> kinds) {
        EXPECT_TRUE(eventually([&] {
            window::Message message;
            while (window::peek(message)) {
                window::dispatch(message);
            }
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
    ASSERT_EQ(client.phone(2)->changeMode(5), com::kOk);
    expect({"2:4", "2:3", "2:2", "2:1"});
}

TEST_F(SerialPhone, ADescriptionSendsNoPacket) {
    const RunningPhone phone(folder_ / "a");
    ServiceConfig config;
    config.ports = {serialPort("COM1", 1, folder_ / "a")};
    config.ports[0].line.askEveryMs = 600000;
    const Apartment apartment;
    const HostedService service(config);
    const Client client;
    PhoneDescription description;
    ASSERT_EQ(client.agent->describePhone(1, description), com::kOk);
    EXPECT_EQ(description.model + "/" + description.serialNumber, "Sample/0000000001");
    EXPECT_TRUE(description.answering);
    const auto packets = phone.terminal.packets();
    for (int i = 0; i < 100; ++i) {
        ASSERT_EQ(client.agent->describePhone(1, description), com::kOk);
    }
    EXPECT_EQ(phone.terminal.packets(), packets);
}

} // namespace

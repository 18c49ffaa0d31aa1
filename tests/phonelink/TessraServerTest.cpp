// How a session attaches to the service and to ports, finds phones, waits for them, and lets go.

#include "platform/kernel/TickCount.h"
#include "platform/kernel/Waitable.h"
#include "tests/phonelink/SessionFixture.h"

#include <chrono>
#include <future>
#include <thread>

namespace {

using tessra::Call;
using tessra::FaultKind;

constexpr const char* kUnknownPortOnFirstConnect =
    "TessraServer::connectWithComPortImpl - Error\n\a\tCode = 80004005\n\a\tCode meaning = Unspecified error"
    "\n\a\tSource = Tessra\n\a\tDescription = The service has no port named 'COM7'.";

bool isConnected(TessraServer& session) {
    return failureOf([&] { session.detectBadPhoneMode(); }) == "";
}

TEST(SessionAttach, WithoutAServiceSaysSoAndTriesAgainLater) {
    TessraServer session("Test");
    EXPECT_EQ(failureOf([&] { session.connect("COM1"); }),
              "TessraServer::initialize - Unable to attach to the Tessra server.");
    const tessra::Service service(phonesOn({"COM1"}));
    EXPECT_EQ(failureOf([&] { session.connect("COM1"); }), "");
}

TEST(SessionAttach, EachFailureHasItsTextAndLeavesTheSessionUsable) {
    const struct {
        const char* name;
        tessra::FaultRule fault;
        const char* message;
    } cases[] = {
        {"server object refused", serverCodeAt(Call::kCreateServer, 0x80004005),
         "TessraServer::initialize - Unable to attach to the Tessra server."},
        {"server object throws", faultAt(Call::kCreateServer, FaultKind::kThrowException),
         "TessraServer::initialize - Unable to attach to the Tessra server."},
        {"version refused", serverCodeAt(Call::kSetVersion, 0x80070057),
         "TessraServer::initialize - Unable to attach to the Tessra server."},
        {"agent refused without a reason", serverCodeAt(Call::kCreateAgent, 0x80004005),
         "COM1 is an invalid COM port.  Please choose a different COM port."},
        {"agent refused with a reason", serverCodeAt(Call::kCreateAgent, 0x80070005),
         "TessraServer::initialize - Access is denied."},
        {"agent of another kind", faultAt(Call::kCreateAgent, FaultKind::kWrongObject),
         "TessraServer::initialize - Unable to connect to the Tessra server"},
        {"agent creation throws", faultAt(Call::kCreateAgent, FaultKind::kThrowException),
         "TessraServer::initialize - Unable to connect to the Tessra server"},
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(row.name);
        tessra::Service service(phonesOn({"COM1"}));
        TessraServer session("Test");
        service.faults().add(row.fault);
        EXPECT_EQ(failureOf([&] { session.connect("COM1"); }), row.message);
        service.faults().clear();
        EXPECT_EQ(failureOf([&] { session.connect("COM1"); }), "");
        EXPECT_TRUE(isConnected(session));
    }
}

TEST(SessionConnect, EachFailureHasItsTextOnAFirstConnectAndOnAChange) {
    const struct {
        const char* name;
        const char* comPort;
        std::vector<tessra::FaultRule> faults;
        std::string first;
        std::string change;
    } cases[] = {
        {"unknown port",
         "COM7",
         {},
         kUnknownPortOnFirstConnect,
         "COM7 is an invalid COM port.  Please choose a different COM port."},
        {"no phone on the port",
         "COM2",
         {},
         "TessraServer::connectWithComPortImpl - Unknow exception throw.  Caught in (...) catch block.",
         "TessraServer::changeComPortImpl - No phone found on this port"},
        {"translator refused",
         "COM2",
         {serverCodeAt(Call::kTranslator, 0x80042005)},
         "TessraServer::connectWithComPortImpl - Timeout waiting for response",
         "TessraServer::changeComPortImpl - IDispatch error #7685"},
        {"no port collection",
         "COM2",
         {faultAt(Call::kPortCollection, FaultKind::kNullObject)},
         "TessraServer::connectWithComPortImpl - Error\n\a\tCode = 80004003\n\a\tCode meaning = Invalid pointer"
         "\n\a\tSource = None provided!\n\a\tDescription = None provided!",
         "TessraServer::changeComPortImpl - Invalid pointer"},
        {"translator throws",
         "COM2",
         {faultAt(Call::kTranslator, FaultKind::kThrowException)},
         "TessraServer::connectWithComPortImpl - Unknow exception throw.  Caught in (...) catch block.",
         "TessraServer::changeComPortImpl - Unable to change COM ports."},
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(row.name);
        tessra::Service service(phonesOn({"COM1", "COM2"}));
        service.port("COM2").setPresent(false);
        const auto arm = [&] {
            for (const auto& fault : row.faults) {
                service.faults().add(fault);
            }
        };
        TessraServer fresh("Test");
        arm();
        EXPECT_EQ(failureOf([&] { fresh.connect(row.comPort); }), row.first);
        EXPECT_FALSE(isConnected(fresh));

        TessraServer connected("Test");
        service.faults().clear();
        connected.connect("COM1");
        arm();
        EXPECT_EQ(failureOf([&] { connected.connect(row.comPort); }), row.change);
        EXPECT_FALSE(isConnected(connected));

        // The way back to the port from before stays open.
        service.faults().clear();
        EXPECT_EQ(failureOf([&] { connected.connect("COM1"); }), "");
        EXPECT_TRUE(isConnected(connected));
    }
}

TEST(SessionConnect, APortThatOnceGaveNoPhoneIsAskedAgain) {
    tessra::Service service(phonesOn({"COM1"}));
    TessraServer session("Test");
    service.faults().add(faultAt(Call::kPortByNumber, FaultKind::kNullObject));
    EXPECT_NE(failureOf([&] { session.connect("COM1"); }), "");
    service.faults().clear();
    EXPECT_EQ(failureOf([&] { session.connect("COM1"); }), "");
}

TEST(SessionConnect, ASecondConnectChangesToTheOtherPort) {
    tessra::Service service(phonesOn({"COM1", "COM2"}));
    TessraServer session("Test");
    for (const char* comPort : {"COM1", "COM2"}) {
        session.connect(comPort);
        const auto before = service.port(comPort).sentPackets().size();
        std::uint8_t version[TessraServer::kDiagVersionBytes];
        session.getDiagVerno(version);
        EXPECT_EQ(service.port(comPort).sentPackets().size(), before + 1) << comPort;
    }
    EXPECT_EQ(service.faults().count(Call::kCreateServer), 1u);
}

TEST(SessionDiscovery, ActivePortsStandInTheServicesOrder) {
    tessra::Service service(phonesOn({"COM9", "COM4", "COM3"}));
    service.port("COM4").setPresent(false);
    TessraServer session("Test");
    EXPECT_EQ(session.getActiveComPorts(), (std::vector<std::string>{"COM9", "COM3"}));
}

TEST(SessionDiscovery, AScanTellsThePhonesThatShowThemselves) {
    auto config = phonesOn({"COM1", "COM2", "COM3"});
    config.ports[0].phone.model = "Alpha";
    config.ports[0].phone.softwareVersion = "7.1";
    config.ports[0].phone.serialNumber = "42";
    config.ports[2].phone.mode = tessra::PhoneMode::kDownload;
    tessra::Service service(config);
    // A phone that has never answered is not one yet; one that runs its loader is, although it does not answer.
    service.port("COM2").faults().add(faultAt(Call::kDescribePhone, FaultKind::kNoAnswer));
    TessraServer session("Test");
    const auto phones = session.waitForActivePhone();
    ASSERT_EQ(phones.size(), 2u);
    EXPECT_EQ(phones[0].portName, "COM1");
    EXPECT_EQ(phones[0].model, "Alpha");
    EXPECT_EQ(phones[0].softwareVersion, "7.1");
    EXPECT_EQ(phones[0].serialNumber, "42");
    EXPECT_EQ(phones[1].portName, "COM3");
}

TEST(SessionDiscovery, FailedScansHaveTheirTexts) {
    const struct {
        const char* name;
        std::function<void(TessraServer&)> scan;
        bool ofPhones;
        std::string prefix;
    } cases[] = {
        {"ports", [](TessraServer& session) { session.getActiveComPorts(); }, false,
         "TessraServer::getActiveComPortsImpl - "},
        {"phones", [](TessraServer& session) { session.waitForActivePhone(); }, true,
         "TessraServer::waitForActivePhoneImpl - "},
        {"connect to any port", [](TessraServer& session) { session.connect(0u); }, true,
         "TessraServer::connectWithTimeoutAndComPortImpl - TessraServer::waitForActivePhoneImpl - "},
        {"connect to a port", [](TessraServer& session) { session.connect("COM1", 0); }, true,
         "TessraServer::connectWithTimeoutAndComPortImpl - TessraServer::waitForActivePhoneImpl - "},
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(row.name);
        tessra::Service service(phonesOn({"COM1"}));
        TessraServer session("Test");
        auto& faults = service.port("COM1").faults();
        faults.add(serverCodeAt(Call::kDescribePort, 0x80042002));
        EXPECT_EQ(failureOf([&] { row.scan(session); }), row.prefix + "Serial framing error");
        faults.clear();
        faults.add(faultAt(row.ofPhones ? Call::kDescribePhone : Call::kDescribePort, FaultKind::kThrowException));
        EXPECT_EQ(failureOf([&] { row.scan(session); }),
                  row.prefix + "Unknown exception thrown, caught in the (...) catch block.");
        faults.clear();
        EXPECT_EQ(failureOf([&] { row.scan(session); }), "");
    }
}

TEST(SessionTimedConnect, TakesTheOnePhoneThereIs) {
    tessra::Service service(phonesOn({"COM3", "COM4", "COM5"}));
    service.port("COM3").setPresent(false);
    TessraServer session("Test");
    EXPECT_EQ(failureOf([&] { session.connect(0u); }),
              "TessraServer::connectWithTimeoutAndComPortImpl - More than one phone is active on COM ports: COM4 COM5");
    service.port("COM5").setPresent(false);
    EXPECT_TRUE(session.connect(0u));
    // Its port is the session's from now on: the reset watches it leave and return.
    EXPECT_EQ(failureOf([&] { session.reset(5000); }), "");
}

TEST(SessionTimedConnect, PollsOnceWithoutTimeAndUntilThePhoneIsThere) {
    tessra::Service service(phonesOn({"COM2"}));
    auto& port = service.port("COM2");
    port.setPresent(false);
    TessraServer session("Test");
    EXPECT_FALSE(session.connect("COM2", 0));
    EXPECT_EQ(port.faults().count(Call::kDescribePort), 1u);

    auto found = std::async(std::launch::async, [&] { return session.connect("COM2", 20000); });
    while (port.faults().count(Call::kDescribePort) < 4) {
        std::this_thread::yield();
    }
    port.setPresent(true);
    EXPECT_TRUE(found.get());
    EXPECT_TRUE(isConnected(session));
}

TEST(SessionTimedConnect, AWrappingTickCounterDoesNotEndTheWaitEarly) {
    tessra::Service service(phonesOn({"COM2"}));
    service.port("COM2").setPresent(false);
    TessraServer session("Test");
    const auto start = std::chrono::steady_clock::now();
    kernel::setTickCountForTests(0xFFFFFFFF - 30);
    EXPECT_FALSE(session.connect("COM2", 150));
    kernel::resetTickCountForTests();
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(150));
}

TEST(SessionTeardown, CarriesOnAfterTenSecondsWhenTheServiceHangs) {
    tessra::FaultRule hang = faultAt(Call::kReleaseAgent, FaultKind::kNone);
    hang.delayMs = 60000;
    tessra::Service service(phonesOn({"COM1"}));
    auto session = std::make_unique<TessraServer>("Test");
    session->connect("COM1");
    service.faults().add(hang);
    const std::uint32_t start = kernel::tickCount();
    session.reset();
    const std::uint32_t took = kernel::elapsedMs(start, kernel::tickCount());
    EXPECT_GE(took, 9900u);
    EXPECT_LT(took, 20000u) << "also as the worker's last user";
    // What is left of the session is the worker's; the end of the service lets it finish. Others go on with a new one.
    service.faults().clear();
    TessraServer next("Test");
    EXPECT_EQ(failureOf([&] { next.connect("COM1"); }), "");
}

TEST(SessionTeardown, AnObjectThatCannotBeMadeLeavesNoUserBehind) {
    for (const std::uint32_t failing : {1u, 2u, 3u, 4u, 5u, 6u, 7u, 8u, 9u}) {
        kernel::failCreationForTests(failing);
        const std::string failure = failureOf([] { const TessraServer session("Test"); });
        EXPECT_EQ(failure.substr(0, 29), "TessraServer::TessraServer - ") << failing;
    }
    kernel::failCreationForTests(0);
    const tessra::Service service(phonesOn({"COM1"}));
    TessraServer session("Test");
    EXPECT_EQ(failureOf([&] { session.connect("COM1"); }), "");
}

TEST(SessionTeardown, DropsTheFailuresOfTheRelease) {
    for (const auto kind : {FaultKind::kServerCode, FaultKind::kThrowException}) {
        tessra::Service service(phonesOn({"COM1"}));
        {
            TessraServer session("Test");
            session.connect("COM1");
            service.faults().add(faultAt(Call::kReleaseAgent, kind, 0x80004005));
        }
        TessraServer next("Test");
        EXPECT_EQ(failureOf([&] { next.connect("COM1"); }), "");
    }
}

TEST(SessionThreads, TwoSessionsOnTwoPortsAndTwoCallersOfOneWorkAtOnce) {
    tessra::Service service(phonesOn({"COM1", "COM2"}));
    TessraServer first("Test");
    TessraServer second("Test");
    first.connect("COM1");
    second.connect("COM2");
    const auto writeAndReadBack = [](TessraServer& session, std::uint8_t seed) {
        for (std::uint16_t round = 0; round < 200; ++round) {
            const auto number = static_cast<std::uint16_t>(seed * 1000 + round);
            std::uint8_t data[TessraServer::kNvDataBytes] = {seed, static_cast<std::uint8_t>(round)};
            std::uint8_t back[TessraServer::kNvDataBytes] = {};
            std::uint16_t status = 0;
            session.writeNv(number, data, status);
            session.readNv(number, back, status);
            if (status != 0 || !std::equal(std::begin(data), std::end(data), back)) {
                return false;
            }
        }
        return true;
    };
    auto one = std::async(std::launch::async, writeAndReadBack, std::ref(first), std::uint8_t{1});
    auto two = std::async(std::launch::async, writeAndReadBack, std::ref(second), std::uint8_t{2});
    auto three = std::async(std::launch::async, writeAndReadBack, std::ref(second), std::uint8_t{3});
    auto four = std::async(std::launch::async, [&first] {
        for (int round = 0; round < 20; ++round) {
            first.getActiveComPorts();
            first.offline();
        }
        return true;
    });
    EXPECT_TRUE(one.get());
    EXPECT_TRUE(two.get());
    EXPECT_TRUE(three.get());
    EXPECT_TRUE(four.get());
}

} // namespace

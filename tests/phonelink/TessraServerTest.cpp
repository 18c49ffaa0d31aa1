// How a session attaches to the service and to ports, finds phones, waits for them, and lets go.

#include "phonelink/TessraServer.h"

#include "tests/support/ErrorLog.h"
#include "tests/support/Eventually.h"
#include "tests/support/HostedService.h"
#include "tests/support/MessageOf.h"

#include <gtest/gtest.h>

#include <array>
#include <future>

namespace {

using tessra::Call;
using tessra::FaultKind;

std::string failureOf(const std::function<void()>& call) {
    return messageOf<TessraServer::Exception>(call);
}

bool isConnected(TessraServer& session) {
    return failureOf([&] { session.detectBadPhoneMode(); }).empty();
}

TEST(SessionAttach, EachFailureHasItsTextAndLeavesTheSessionUsable) {
    const struct {
        const char* name;
        tessra::FaultRule fault;
        std::string message;
    } cases[] = {
        {"agent refused with a reason", serverCodeAt(Call::kCreateAgent, 0x80070005), "Access is denied."},
        {"agent of another kind", faultAt(Call::kCreateAgent, FaultKind::kWrongObject),
         "Unable to connect to the Tessra server"},
    };
    const ErrorLog log;
    TessraServer session("Test");
    const auto connect = [&] { return failureOf([&] { session.connect("COM1"); }); };
    EXPECT_EQ(connect(), "TessraServer::initialize - Unable to attach to the Tessra server.") << "no service";
    HostedService service(phonesOn({"COM1"}));
    for (const auto& row : cases) {
        service.faults().add(row.fault);
        EXPECT_EQ(connect(), "TessraServer::initialize - " + row.message) << row.name;
        service.faults().clear();
    }
    EXPECT_EQ(connect(), "");
    EXPECT_EQ(service.clients().size(), 1u) << "an attempt that failed half-way stays registered";
    EXPECT_EQ(service.faults().count(Call::kReleaseAgent), 1u) << "an agent that was of no use is kept";
    EXPECT_EQ(log.text(), "") << "something was given back twice";
}

TEST(SessionConnect, EachFailureHasItsTextOnAFirstConnectAndOnAChange) {
    const std::string unknown = "Unknow exception throw.  Caught in (...) catch block.";
    const struct {
        const char* comPort;
        tessra::FaultRule fault;
        std::string first;
        std::string change;
        com::Status status;
    } cases[] = {
        {"COM7", faultAt(Call::kPortNumbers, FaultKind::kNone),
         "Error\n\a\tCode = 80004005\n\a\tCode meaning = Unspecified error\n\a\tSource = Tessra"
         "\n\a\tDescription = The service has no port named 'COM7'.",
         "COM7 is an invalid COM port.  Please choose a different COM port.", com::kFail},
        {"COM2", faultAt(Call::kPortNumbers, FaultKind::kNone), unknown,
         "TessraServer::changeComPortImpl - No phone found on this port", tessra::kPhoneNotPresent},
        {"COM2", serverCodeAt(Call::kTranslator, 0x80042005), "Timeout waiting for response",
         "TessraServer::changeComPortImpl - IDispatch error #7685", tessra::kResponseTimeout},
    };
    const auto statusOf = [](TessraServer& session, const char* comPort) {
        return thrownBy<TessraServer::Exception>([&] { session.connect(comPort); }).value().status();
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(row.first);
        HostedService service(phonesOn({"COM1", "COM2"}));
        service.setPresent("COM2", false);
        TessraServer fresh("Test");
        TessraServer connected("Test");
        connected.connect("COM1");
        service.faults().add(row.fault);
        EXPECT_EQ(failureOf([&] { fresh.connect(row.comPort); }),
                  "TessraServer::connectWithComPortImpl - " + row.first);
        EXPECT_FALSE(isConnected(fresh));
        EXPECT_EQ(failureOf([&] { connected.connect(row.comPort); }), row.change);
        EXPECT_FALSE(isConnected(connected));
        EXPECT_EQ(statusOf(fresh, row.comPort), row.status);
        EXPECT_EQ(statusOf(connected, row.comPort), row.status);
        service.faults().clear();
        EXPECT_EQ(failureOf([&] { connected.connect("COM1"); }), "") << "the way back to the port from before";
        EXPECT_TRUE(isConnected(connected));
    }
}

TEST(SessionConnect, ACallThatWaitedWhileThePortWasLostIsRefused) {
    const std::string notConnected =
        "TessraServer::offline - TessraServer::connect must be called before calling this member function.";
    HostedService service(phonesOn({"COM1"}));
    TessraServer session("Test");
    const auto refusal = [&] { return failureOf([&] { session.offline(); }); };
    EXPECT_EQ(refusal(), notConnected) << "never connected";
    session.connect("COM1");
    tessra::FaultRule slow = faultAt(Call::kPortNumber, FaultKind::kNone);
    slow.delayMs = 300;
    service.faults().add(slow);
    auto change = std::async(std::launch::async, [&] { failureOf([&] { session.connect("COM7"); }); });
    ASSERT_TRUE(eventually([&] { return service.faults().count(Call::kPortNumber) == 2; }));
    EXPECT_EQ(refusal(), notConnected) << "it waited for the call that lost the port";
}

TEST(SessionDiscovery, AScanTellsThePhonesThatShowThemselves) {
    auto config = phonesOn({"COM9", "COM1", "COM2", "COM3", "COM4"});
    config.ports[1].phone.model = "Alpha";
    config.ports[1].phone.softwareVersion = "7.1";
    config.ports[1].phone.serialNumber = "42";
    config.ports[3].phone.mode = tessra::PhoneMode::kDownload;
    config.ports[4].phone.versionBytes = 54;
    HostedService service(config);
    service.setPresent("COM9", false);
    // A phone that has never answered is not one yet. One that runs its loader is, although it does not answer, and so
    // is one that has answered once, whatever the answer was.
    for (const char* const silent : {"COM2", "COM3"}) {
        service.faults(silent).add(faultAt(Call::kDescribePhone, FaultKind::kNoAnswer));
    }
    TessraServer session("Test");
    std::string seen;
    for (const PhoneRecord& phone : session.waitForActivePhone()) {
        seen += phone.portName + "," + phone.model + "," + phone.softwareVersion + "," + phone.serialNumber + " ";
    }
    EXPECT_EQ(seen, "COM1,Alpha,7.1,42 COM3,,, COM4,,, ");
    EXPECT_EQ(session.getActiveComPorts(), (std::vector<std::string>{"COM1", "COM2", "COM3", "COM4"}));
}

TEST(SessionDiscovery, FailedScansHaveTheirTexts) {
    const std::string phoneScan = "TessraServer::waitForActivePhoneImpl - ";
    const std::string timedConnect = "TessraServer::connectWithTimeoutAndComPortImpl - ";
    const struct {
        std::function<void(TessraServer&)> scan;
        Call call;
        std::string prefix;
    } cases[] = {
        {[](TessraServer& session) { session.getActiveComPorts(); }, Call::kDescribePort,
         "TessraServer::getActiveComPortsImpl - "},
        {[](TessraServer& session) { session.connect(0u); }, Call::kDescribePhone, timedConnect + phoneScan},
        {[](TessraServer& session) { session.connect("COM1", 0); }, Call::kDescribePort, timedConnect + phoneScan},
    };
    HostedService service(phonesOn({"COM1"}));
    TessraServer session("Test");
    for (const auto& row : cases) {
        auto& faults = service.faults("COM1");
        faults.add(serverCodeAt(row.call, 0x80042002));
        EXPECT_EQ(failureOf([&] { row.scan(session); }), row.prefix + "Serial framing error");
        faults.clear();
        faults.add(faultAt(row.call, FaultKind::kThrowException));
        EXPECT_EQ(failureOf([&] { row.scan(session); }),
                  row.prefix + "Unknown exception thrown, caught in the (...) catch block.");
        faults.clear();
        EXPECT_EQ(failureOf([&] { row.scan(session); }), "");
    }
}

TEST(SessionTimedConnect, TakesTheOnePhoneThereIs) {
    HostedService service(phonesOn({"COM3", "COM4", "COM5"}));
    service.setPresent("COM3", false);
    TessraServer session("Test");
    EXPECT_EQ(failureOf([&] { session.connect(0u); }),
              "TessraServer::connectWithTimeoutAndComPortImpl - More than one phone is active on COM ports: COM4 COM5");
    service.setPresent("COM5", false);
    EXPECT_TRUE(session.connect(0u));
    // Its port is the session's from now on: the reset watches it leave and return.
    EXPECT_EQ(failureOf([&] { session.reset(5000); }), "");
}

bool writesAndReadsBack(TessraServer& session, std::uint8_t seed) {
    bool same = true;
    for (std::uint8_t round = 0; round < 200; ++round) {
        const auto number = static_cast<std::uint16_t>(seed * 1000 + round);
        const std::array<std::uint8_t, TessraServer::kNvDataBytes> data = {seed, round};
        std::array<std::uint8_t, TessraServer::kNvDataBytes> back{};
        std::uint16_t status = 0;
        session.writeNv(number, data.data(), status);
        session.readNv(number, back.data(), status);
        same = same && status == 0 && back == data;
    }
    return same;
}

TEST(SessionThreads, TwoCallersReadAndWriteWhileAnotherScans) {
    HostedService service(phonesOn({"COM1"}));
    TessraServer session("Test");
    session.connect("COM1");
    auto one = std::async(std::launch::async, writesAndReadsBack, std::ref(session), std::uint8_t{1});
    auto two = std::async(std::launch::async, writesAndReadsBack, std::ref(session), std::uint8_t{2});
    for (int round = 0; round < 20; ++round) {
        session.getActiveComPorts();
        session.offline();
    }
    EXPECT_TRUE(one.get() && two.get());
}

} // namespace

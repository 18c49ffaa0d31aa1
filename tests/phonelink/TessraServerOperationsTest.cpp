// What a connected session does with its phone, and what it says when that fails.

#include "phonelink/ServerErrorText.h"
#include "tests/phonelink/SessionFixture.h"

#include <algorithm>
#include <array>

namespace {

using tessra::Call;
using tessra::FaultKind;

class SessionOperations : public testing::Test {
protected:
    void sendVersionRequest() {
        const std::uint8_t request = 0x00;
        std::uint32_t length = static_cast<std::uint32_t>(response.size());
        session.sendSync(1, &request, length, response.data(), 2000);
    }

    void sendTmob() {
        const std::uint8_t payload[] = {1, 2, 3};
        std::uint32_t length = static_cast<std::uint32_t>(response.size());
        session.sendTmob(3, payload, length, response.data());
    }

    tessra::Service service{phonesOn({"COM1"})};
    tessra::Port& port = service.port("COM1");
    TessraServer session{"Test"};
    std::array<std::uint8_t, 256> response{};
    std::uint8_t data[TessraServer::kNvDataBytes] = {};
    std::uint16_t status = 0xFFFF;

    struct Operation {
        const char* name;
        std::function<void()> run;
    };
    const std::vector<Operation> operations{
        {"sendSync", [this] { sendVersionRequest(); }},
        {"offline", [this] { session.offline(); }},
        {"reset", [this] { session.reset(0); }},
        {"lock", [this] { session.lock(); }},
        {"unlock", [this] { session.unlock(); }},
        {"detectBadPhoneMode", [this] { session.detectBadPhoneMode(); }},
        {"sendSpc", [this] { session.sendSpc("000000"); }},
        {"getDiagVerno", [this] { session.getDiagVerno(response.data()); }},
        {"sendTmob", [this] { sendTmob(); }},
        {"readNv", [this] { session.readNv(1, data, status); }},
        {"writeNv", [this] { session.writeNv(1, data, status); }},
    };

    void run(const std::string& name) {
        std::find_if(operations.begin(), operations.end(), [&](const auto& row) { return row.name == name; })->run();
    }
};

TEST_F(SessionOperations, NeedAConnectedSession) {
    for (const auto& operation : operations) {
        EXPECT_EQ(failureOf(operation.run),
                  std::string("TessraServer::") + operation.name +
                      " - TessraServer::connect must be called before calling this member function.");
    }
}

TEST_F(SessionOperations, EachFailureOfTheServiceHasItsText) {
    const struct {
        const char* operation;
        Call call;
        const char* prefix;
        const char* otherwise;
    } cases[] = {
        {"sendSync", Call::kSend, "TessraServer::sendSyncImpl - ", "TessraServer::sendSyncImpl - Unable to SendSync."},
        {"offline", Call::kChangeMode, "TessraServer::offlineImpl - ",
         "TessraServer::offlineImpl - Unable to go Offline."},
        {"reset", Call::kChangeMode, "TessraServer::resetImpl - ", "TessraServer::resetImpl - Unable to reset."},
        {"lock", Call::kLock, "TessraServer::lockImpl - ", "TessraServer::lockImpl - Unable to lock."},
        {"unlock", Call::kUnlock, "TessraServer::unlockImpl - ", "TessraServer::unlockImpl - Unable to unlock"},
        {"detectBadPhoneMode", Call::kMode, "TessraServer::detectBadPhoneModeImpl - ",
         "TessraServer::detectBadPhoneModeImpl - Unable to detect bad phone mode"},
        {"sendSpc", Call::kSubObject, "TessraServer::sendSpcImpl - ", "TessraServer::sendSpcImpl - Unable to send Spc"},
        {"sendSpc", Call::kSecurity, "TessraServer::sendSpcImpl - ", "TessraServer::sendSpcImpl - Unable to send Spc"},
        {"getDiagVerno", Call::kSend, "TessraServer::getDiagVernoImpl - ",
         "TessraServer::getDiagVernoImpl - Unable to get diag version"},
        {"sendTmob", Call::kSend, "TessraServer::sendTmobImpl - ", "TessraServer::sendTmobImpl - Unable to send TMOD"},
        {"readNv", Call::kSend, "TessraServer::sendSyncImpl - ", "TessraServer::sendSyncImpl - Unable to SendSync."},
        {"writeNv", Call::kSend, "TessraServer::sendSyncImpl - ", "TessraServer::sendSyncImpl - Unable to SendSync."},
    };
    session.connect("COM1");
    for (const auto& row : cases) {
        SCOPED_TRACE(row.operation);
        port.faults().add(serverCodeAt(row.call, 0x80042005));
        EXPECT_EQ(failureOf([&] { run(row.operation); }), row.prefix + std::string("Timeout waiting for response"));
        port.faults().clear();
        port.faults().add(faultAt(row.call, FaultKind::kThrowException));
        EXPECT_EQ(failureOf([&] { run(row.operation); }), row.otherwise);
        port.faults().clear();
        EXPECT_EQ(failureOf([&] { run("detectBadPhoneMode"); }), "") << "the session stays connected";
    }
}

TEST_F(SessionOperations, APhoneWithoutSecurityIsANullInterface) {
    session.connect("COM1");
    port.faults().add(faultAt(Call::kSubObject, FaultKind::kWrongObject));
    EXPECT_EQ(failureOf([&] { session.sendSpc("000000"); }),
              "TessraServer::sendSpcImpl - Error\n\a\tCode = 80004003\n\a\tCode meaning = Invalid pointer"
              "\n\a\tSource = None provided!\n\a\tDescription = None provided!");
}

TEST(ServerErrorTextTest, KnownCodesHaveTheirTextAndOthersTheReport) {
    const auto report = [](const std::string& code, const std::string& meaning) {
        return "Error\n\a\tCode = " + code + "\n\a\tCode meaning = " + meaning +
               "\n\a\tSource = None provided!\n\a\tDescription = None provided!";
    };
    const struct {
        std::uint32_t code;
        std::string text;
    } cases[] = {
        {0x80042000, report("80042000", "IDispatch error #7680")},
        {0x80042001, "Packet size is > 256"},
        {0x80042002, "Serial framing error"},
        {0x80042003, "Serial CRC error"},
        {0x80042004, "Serial write failure"},
        {0x80042005, "Timeout waiting for response"},
        {0x80042006, "Zero timeout specified for synchronous send; no response available"},
        {0x80042007, "Invalid baud rate specified"},
        {0x80042008, "Bad response from phone (DM packet commands 19-24)"},
        {0x80042009, "A command can not be issued as the phone is in different mode"},
        {0x8004200A, "A command can not be issued as the phone is not present."},
        {0x8004200B, report("8004200b", "IDispatch error #7691")},
        {0x80042013, report("80042013", "IDispatch error #7699")},
        {0x80042014, "Phone is locked for exclusive use"},
        {0x80042015, "Unlock attempt by user other than locker"},
        {0x80042016, "Timeout waiting for response"},
        {0x80042017, report("80042017", "IDispatch error #7703")},
        {0x80012014, "Phone is locked for exclusive use"}, // the low 16 bits alone count
        {0x80040200, report("80040200", "Unknown error 0x80040200")},
        {0xC0FFEE00, report("c0ffee00", "Unknown error 0xC0FFEE00")},
        {0x80004005, report("80004005", "Unspecified error")},
    };
    for (const auto& row : cases) {
        EXPECT_EQ(serverErrorText(com::ComError(com::makeStatus(row.code))), row.text) << std::hex << row.code;
    }
    EXPECT_EQ(serverErrorText(com::ComError(com::kFail, "Source", "What happened")),
              "Error\n\a\tCode = 80004005\n\a\tCode meaning = Unspecified error\n\a\tSource = Source"
              "\n\a\tDescription = What happened");
}

TEST_F(SessionOperations, NvPacketsHaveTheirLayout) {
    session.connect("COM1");
    for (std::size_t index = 0; index < sizeof data; ++index) {
        data[index] = static_cast<std::uint8_t>(index + 1);
    }
    session.writeNv(0x01F4, data, status);
    EXPECT_EQ(status, 0);
    std::uint8_t back[TessraServer::kNvDataBytes] = {};
    session.readNv(0x01F4, back, status);
    EXPECT_EQ(status, 0);
    EXPECT_TRUE(std::equal(std::begin(data), std::end(data), back));

    const auto packets = port.sentPackets();
    ASSERT_GE(packets.size(), 2u);
    std::vector<std::uint8_t> write{0x27, 0xF4, 0x01};
    write.insert(write.end(), std::begin(data), std::end(data));
    write.resize(133);
    std::vector<std::uint8_t> read{0x26, 0xF4, 0x01};
    read.resize(133);
    EXPECT_EQ(packets[packets.size() - 2], write);
    EXPECT_EQ(packets[packets.size() - 1], read);
}

TEST_F(SessionOperations, AnNvReadTellsThePhonesStatusOrItsOwnFailure) {
    session.connect("COM1");
    std::fill(std::begin(data), std::end(data), std::uint8_t{0xAA});
    session.readNv(77, data, status);
    EXPECT_EQ(status, 5) << "an item that the phone does not have";
    port.faults().add(faultAt(Call::kSend, FaultKind::kNvStatus, 0xFFFF));
    session.readNv(77, data, status);
    EXPECT_EQ(status, 0xFFFF);

    for (const std::uint32_t bytes : {0u, 1u, 132u}) {
        port.faults().clear();
        port.faults().add(faultAt(Call::kSend, FaultKind::kShortAnswer, bytes));
        std::fill(std::begin(data), std::end(data), std::uint8_t{0xAA});
        status = 0;
        EXPECT_EQ(failureOf([&] { session.readNv(77, data, status); }),
                  "TessraServer::readNv - The phone's answer of " + std::to_string(bytes) +
                      " bytes is not the answer for NV item 77.");
        EXPECT_EQ(status, 4);
        EXPECT_EQ(std::count(std::begin(data), std::end(data), 0xAA), 128) << "nothing of a cut answer is taken";
    }
    port.faults().clear();
    port.faults().add(faultAt(Call::kSend, FaultKind::kBadResponse));
    status = 0;
    EXPECT_EQ(failureOf([&] { session.writeNv(77, data, status); }),
              "TessraServer::sendSyncImpl - Bad response from phone (DM packet commands 19-24)");
    EXPECT_EQ(status, 4);
}

TEST_F(SessionOperations, PhonesThatTakeNoPacketsAreSentNone) {
    session.connect("COM1");
    const auto sent = port.sentPackets().size();
    for (const auto mode : {tessra::PhoneMode::kDownload, tessra::PhoneMode::kStreamDownload}) {
        ASSERT_EQ(port.setMode(mode), com::kOk);
        EXPECT_EQ(failureOf([&] { sendVersionRequest(); }),
                  "TessraServer::sendSyncImpl - Error\n\a\tCode = 8004202a\n\a\tCode meaning = IDispatch error #7722"
                  "\n\a\tSource = None provided!\n\a\tDescription = None provided!");
    }
    ASSERT_EQ(port.setMode(tessra::PhoneMode::kOnline), com::kOk);
    for (const int state : {0, 1, 2, 3, 4, 6}) {
        port.overrideState(static_cast<std::uint16_t>(state));
        EXPECT_EQ(failureOf([&] { session.detectBadPhoneMode(); }),
                  "TessraServer::detectBadPhoneModeImpl - A command can not be issued as the phone is not present.");
        EXPECT_EQ(failureOf([&] { sendVersionRequest(); }),
                  "TessraServer::sendSyncImpl - A command can not be issued as the phone is not present.");
    }
    port.overrideState(std::nullopt);
    EXPECT_EQ(port.sentPackets().size(), sent);
}

TEST_F(SessionOperations, ARequestIsSentWithinItsLimits) {
    session.connect("COM1");
    const std::vector<std::uint8_t> request(257);
    std::uint32_t length = 256;
    EXPECT_EQ(failureOf([&] { session.sendSync(257, request.data(), length, response.data(), 2000); }),
              "TessraServer::sendSyncImpl - Packet size is > 256");
    EXPECT_EQ(failureOf([&] { session.sendSync(1, request.data(), length, response.data(), 0); }),
              "TessraServer::sendSyncImpl - Zero timeout specified for synchronous send; no response available");
    length = 0x10000; // more than the service can count
    session.sendSync(1, request.data(), length, response.data(), 2000);
    EXPECT_EQ(length, TessraServer::kDiagVersionBytes);
}

TEST_F(SessionOperations, ADiagnosticVersionHasExactly55Bytes) {
    session.connect("COM1");
    response.fill(0xAA);
    session.getDiagVerno(response.data());
    EXPECT_EQ(response[0], 0);
    EXPECT_EQ(response[TessraServer::kDiagVersionBytes], 0xAA);
    port.faults().add(faultAt(Call::kSend, FaultKind::kShortAnswer, 54));
    EXPECT_EQ(failureOf([&] { session.getDiagVerno(response.data()); }),
              "TessraServer::getDiagVernoImpl - Error\n\a\tCode = 80004005\n\a\tCode meaning = Unspecified error"
              "\n\a\tSource = None provided!\n\a\tDescription = None provided!");
}

TEST_F(SessionOperations, ATmobPacketCarriesItsPayloadBehindTheCommand) {
    session.connect("COM1");
    sendTmob();
    EXPECT_EQ(port.sentPackets().back(), (std::vector<std::uint8_t>{0x3B, 1, 2, 3}));
}

TEST_F(SessionOperations, ALockKeepsOthersAwayUntilItsHolderLetsGo) {
    TessraServer other("Other");
    session.connect("COM1");
    other.connect("COM1");
    session.lock();
    std::uint8_t version[TessraServer::kDiagVersionBytes];
    EXPECT_EQ(failureOf([&] { other.getDiagVerno(version); }),
              "TessraServer::getDiagVernoImpl - Phone is locked for exclusive use");
    EXPECT_EQ(failureOf([&] { other.unlock(); }),
              "TessraServer::unlockImpl - Unlock attempt by user other than locker");
    session.unlock();
    EXPECT_EQ(failureOf([&] { other.getDiagVerno(version); }), "");
}

TEST_F(SessionOperations, TheAccessCodeMustBeThePhones) {
    session.connect("COM1");
    EXPECT_EQ(failureOf([&] { session.sendSpc("000000"); }), "");
    EXPECT_EQ(failureOf([&] { session.sendSpc("123456"); }),
              "TessraServer::sendSpcImpl - Error\n\a\tCode = 80070005\n\a\tCode meaning = Access is denied."
              "\n\a\tSource = Tessra\n\a\tDescription = The phone does not accept the service programming code.");
}

struct ResetCase {
    const char* name;
    std::int32_t leaveAfterMs; // -1: never
    std::int32_t awayMs;
    bool twoTimeouts;
    std::uint32_t resetTimeoutMs;
    std::uint32_t recoveryTimeoutMs;
    const char* message;
    bool presentAfterwards;
};

class SessionReset : public testing::TestWithParam<ResetCase> {};

TEST_P(SessionReset, WaitsForWhatItWasToldTo) {
    const ResetCase& row = GetParam();
    auto config = phonesOn({"COM1"});
    config.ports[0].phone.leaveAfterMs = row.leaveAfterMs;
    config.ports[0].phone.awayMs = row.awayMs;
    tessra::Service service(config);
    TessraServer session("Test");
    session.connect("COM1");
    EXPECT_EQ(failureOf([&] {
                  if (row.twoTimeouts) {
                      session.reset(row.resetTimeoutMs, row.recoveryTimeoutMs);
                  } else {
                      session.reset(row.resetTimeoutMs);
                  }
              }),
              row.message);
    EXPECT_EQ(session.getActiveComPorts().size(), row.presentAfterwards ? 1u : 0u);
}

constexpr const char* kNeverReset = "TessraServer::reset - The phone never reset.";
constexpr const char* kNeverRecovered = "TessraServer::reset - The phone never recovered from the reset";

INSTANTIATE_TEST_SUITE_P(
    Forms, SessionReset,
    testing::Values(ResetCase{"WithoutTimeReturnsAtOnce", 0, -1, false, 0, 0, "", false},
                    ResetCase{"LeavesAndReturns", 30, 60, false, 20000, 0, "", true},
                    ResetCase{"NeverLeaves", -1, 60, false, 100, 0, kNeverReset, true},
                    ResetCase{"NeverReturns", 0, -1, false, 100, 0, kNeverRecovered, false},
                    ResetCase{"TwoFormLeavesAndReturns", 30, 60, true, 20000, 20000, "", true},
                    ResetCase{"TwoFormNeverLeaves", -1, 60, true, 100, 20000, kNeverReset, true},
                    ResetCase{"TwoFormNeverReturns", 0, -1, true, 20000, 100, kNeverRecovered, false},
                    ResetCase{"TwoFormWithoutRecoveryReturnsOnceGone", 30, -1, true, 20000, 0, "", false},
                    ResetCase{"TwoFormWithoutResetCountsAsPresent", 0, -1, true, 0, 20000, "", false}),
    [](const auto& row) { return std::string(row.param.name); });

} // namespace

// What a connected session does with its phone, and what it says when that fails.

#include "phonelink/ServerErrorText.h"
#include "phonelink/TessraServer.h"
#include "tests/support/HostedService.h"
#include "tests/support/MessageOf.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>

namespace {

using tessra::Call;
using tessra::FaultKind;

std::string failureOf(const std::function<void()>& call) {
    return messageOf<TessraServer::Exception>(call);
}

/// What a failure without a source and a description reads like.
std::string report(const std::string& code, const std::string& meaning) {
    return "Error\n\a\tCode = " + code + "\n\a\tCode meaning = " + meaning +
           "\n\a\tSource = None provided!\n\a\tDescription = None provided!";
}

class SessionOperations : public testing::Test {
protected:
    SessionOperations() { session.connect("COM1"); }

    void sendVersionRequest() {
        const std::uint8_t request = 0x00;
        length = static_cast<std::uint32_t>(response.size());
        session.sendSync(1, &request, length, response.data(), 2000);
    }
    void sendTmob() {
        const std::uint8_t payload[] = {1, 2, 3};
        length = static_cast<std::uint32_t>(response.size());
        session.sendTmob(3, payload, length, response.data());
    }

    HostedService service{phonesOn({"COM1"})};
    tessra::FaultGate& faults = service.faults("COM1");
    TessraServer session{"Test"};
    std::array<std::uint8_t, 256> response{};
    std::uint32_t length = 0;
    std::array<std::uint8_t, TessraServer::kNvDataBytes> data{};
    std::uint16_t status = 0xFFFF;
};

TEST_F(SessionOperations, EachFailureOfTheServiceHasItsText) {
    const struct {
        const char* function;
        std::function<void()> run;
        Call call;
        const char* otherwise;
    } cases[] = {
        {"sendSyncImpl", [this] { sendVersionRequest(); }, Call::kSend, "Unable to SendSync."},
        {"offlineImpl", [this] { session.offline(); }, Call::kChangeMode, "Unable to go Offline."},
        {"resetImpl", [this] { session.reset(0); }, Call::kChangeMode, "Unable to reset."},
        {"lockImpl", [this] { session.lock(); }, Call::kLock, "Unable to lock."},
        {"unlockImpl", [this] { session.unlock(); }, Call::kUnlock, "Unable to unlock"},
        {"detectBadPhoneModeImpl", [this] { session.detectBadPhoneMode(); }, Call::kMode,
         "Unable to detect bad phone mode"},
        {"sendSpcImpl", [this] { session.sendSpc("000000"); }, Call::kSecurity, "Unable to send Spc"},
        {"getDiagVernoImpl", [this] { session.getDiagVerno(response.data()); }, Call::kSend,
         "Unable to get diag version"},
        {"sendTmobImpl", [this] { sendTmob(); }, Call::kSend, "Unable to send TMOD"},
    };
    for (const auto& row : cases) {
        const std::string prefix = std::string("TessraServer::") + row.function + " - ";
        faults.add(serverCodeAt(row.call, 0x80042005));
        EXPECT_EQ(failureOf(row.run), prefix + "Timeout waiting for response");
        EXPECT_EQ(thrownBy<TessraServer::Exception>(row.run)->status(), tessra::kResponseTimeout);
        faults.clear();
        faults.add(faultAt(row.call, FaultKind::kThrowException));
        EXPECT_EQ(failureOf(row.run), prefix + row.otherwise);
        EXPECT_EQ(thrownBy<TessraServer::Exception>(row.run)->status(), com::kOk)
            << "the status of the failure before is told again";
        faults.clear();
        EXPECT_EQ(failureOf([&] { session.detectBadPhoneMode(); }), "") << "the session stays connected";
    }
}

TEST(ServerErrorTextTest, KnownCodesHaveTheirTextAndOthersTheReport) {
    const struct {
        std::uint32_t code;
        std::string text;
    } cases[] = {
        {0x80042001, "Packet size is > 256"},
        {0x8004200B, report("8004200b", "IDispatch error #7691")},
        {0x80012014, "Phone is locked for exclusive use"}, // the low 16 bits alone count
        {0x80042016, "Timeout waiting for response"},
        {0x80042017, report("80042017", "IDispatch error #7703")},
    };
    for (const auto& row : cases) {
        EXPECT_EQ(serverErrorText(com::ComError(com::makeStatus(row.code))), row.text) << std::hex << row.code;
    }
}

TEST_F(SessionOperations, PacketsHaveTheirLayout) {
    for (std::size_t index = 0; index < data.size(); ++index) {
        data[index] = static_cast<std::uint8_t>(index + 1);
    }
    session.writeNv(0x01F4, data.data(), status);
    EXPECT_EQ(status, 0);
    std::array<std::uint8_t, TessraServer::kNvDataBytes> back{};
    session.readNv(0x01F4, back.data(), status);
    EXPECT_EQ(back, data);
    sendTmob();

    std::vector<std::uint8_t> write{0x27, 0xF4, 0x01};
    write.insert(write.end(), data.begin(), data.end());
    write.resize(133);
    std::vector<std::uint8_t> read{0x26, 0xF4, 0x01};
    read.resize(133);
    const auto packets = service.sentPackets("COM1");
    ASSERT_GE(packets.size(), 3u);
    EXPECT_EQ(std::vector(packets.end() - 3, packets.end()),
              (std::vector<std::vector<std::uint8_t>>{write, read, {0x3B, 1, 2, 3}}));
    faults.add(faultAt(Call::kSend, FaultKind::kNvStatus, 0xFFFE));
    session.writeNv(0x01F4, data.data(), status);
    EXPECT_EQ(status, 0xFFFE) << "the phone's refusal of a write is not told";
}

/// A session whose phone answers every packet with `answerBytes` of the request, one of which is changed.
class ForgedAnswers : public TessraServer {
public:
    ForgedAnswers() : TessraServer("Test") {}
    void sendSync(std::uint32_t requestLength, const std::uint8_t* request, std::uint32_t& responseLength,
                  std::uint8_t* response, std::uint32_t) override {
        std::copy_n(request, requestLength, response);
        ++response[changedByte];
        responseLength = answerBytes;
    }
    std::size_t changedByte = 0;
    std::uint32_t answerBytes = 0;
};

TEST_F(SessionOperations, AnAnswerThatIsNotTheItemsIsRefused) {
    ForgedAnswers forged;
    forged.connect("COM1");
    const auto refusal = [&](std::size_t changedByte, std::uint32_t answerBytes) {
        forged.changedByte = changedByte;
        forged.answerBytes = answerBytes;
        data.fill(0xAA);
        return failureOf([&] { forged.readNv(77, data.data(), status); });
    };
    for (const auto& [changedByte, bytes] : {std::pair{0u, 133u}, {1u, 133u}, {2u, 133u}, {131u, 132u}}) {
        EXPECT_EQ(refusal(changedByte, bytes), "TessraServer::readNv - The phone's answer of " + std::to_string(bytes) +
                                                   " bytes is not the answer for NV item 77.");
        EXPECT_EQ(status, 4);
        EXPECT_EQ(std::count(data.begin(), data.end(), 0xAA), 128) << "something of the answer is taken";
    }
    forged.changedByte = 1;
    const auto notTheItems = thrownBy<TessraServer::Exception>([&] { forged.readNv(77, data.data(), status); });
    EXPECT_EQ(notTheItems.value().status(), com::kUnexpected);
    EXPECT_EQ(refusal(131, 133), "");
    EXPECT_EQ(status, 1);
}

TEST_F(SessionOperations, PhonesThatTakeNoPacketsAreSentNone) {
    const auto sent = service.sentPackets("COM1").size();
    for (const auto mode : {tessra::PhoneMode::kDownload, tessra::PhoneMode::kStreamDownload}) {
        ASSERT_EQ(service.setMode("COM1", mode), com::kOk);
        EXPECT_EQ(failureOf([&] { sendVersionRequest(); }),
                  "TessraServer::sendSyncImpl - " + report("8004202a", "IDispatch error #7722"));
    }
    ASSERT_EQ(service.setMode("COM1", tessra::PhoneMode::kOnline), com::kOk);
    for (const std::uint16_t state : std::array<std::uint16_t, 3>{0, 4, 6}) {
        service.overrideState("COM1", state);
        EXPECT_EQ(failureOf([&] { sendVersionRequest(); }),
                  "TessraServer::sendSyncImpl - A command can not be issued as the phone is not present.");
    }
    EXPECT_EQ(service.sentPackets("COM1").size(), sent);
}

TEST_F(SessionOperations, ADiagnosticVersionHasExactly55Bytes) {
    response.fill(0xAA);
    session.getDiagVerno(response.data());
    EXPECT_EQ(response[0], 0);
    EXPECT_EQ(response[TessraServer::kDiagVersionBytes], 0xAA);
    faults.add(faultAt(Call::kSend, FaultKind::kShortAnswer, 54));
    EXPECT_EQ(failureOf([&] { session.getDiagVerno(response.data()); }),
              "TessraServer::getDiagVernoImpl - " + report("80004005", "Unspecified error"));
}

TEST_F(SessionOperations, TheAccessCodeMustBeThePhones) {
    EXPECT_EQ(failureOf([&] { session.sendSpc("000000"); }), "");
    EXPECT_EQ(failureOf([&] { session.sendSpc("123456"); }),
              "TessraServer::sendSpcImpl - Error\n\a\tCode = 80070005\n\a\tCode meaning = Access is denied."
              "\n\a\tSource = Tessra\n\a\tDescription = The phone does not accept the service programming code.");
}

TEST(SessionReset, WaitsForWhatItWasToldTo) {
    const struct {
        const char* name;
        std::int32_t leaveAfterMs, awayMs; // -1: never
        std::uint32_t resetTimeoutMs, recoveryTimeoutMs;
        std::string message;
        std::size_t phonesAfterwards;
    } cases[] = {
        {"without time it returns at once", 0, -1, 0, 0, "", 0},
        {"leaves and returns", 30, 60, 20000, 20000, "", 1},
        {"never leaves", -1, 60, 100, 20000, "TessraServer::reset - The phone never reset.", 1},
        {"never returns", 0, -1, 20000, 100, "TessraServer::reset - The phone never recovered from the reset", 0},
        {"unwatched it counts as present", 0, -1, 0, 20000, "", 0},
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(row.name);
        auto config = phonesOn({"COM1"});
        config.ports[0].phone.leaveAfterMs = row.leaveAfterMs;
        config.ports[0].phone.awayMs = row.awayMs;
        HostedService service(config);
        TessraServer session("Test");
        session.connect("COM1");
        EXPECT_EQ(failureOf([&] { session.reset(row.resetTimeoutMs, row.recoveryTimeoutMs); }), row.message);
        EXPECT_EQ(session.getActiveComPorts().size(), row.phonesAfterwards);
    }
}

} // namespace

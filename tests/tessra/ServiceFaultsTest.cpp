#include "ServiceClient.h"

#include <stdexcept>

using namespace tessra;

namespace {

class ServiceFaultsTest : public testing::Test {
protected:
    Apartment apartment_;
    HostedService service_{phonesOn({"COM1"})};
    FaultGate& portFaults_ = service_.faults("COM1");
    const Client client_;
    const ComPtr<IPhonePort> phone_ = client_.phone();
};

TEST_F(ServiceFaultsTest, APacketMeetsEachKind) {
    ASSERT_EQ(send(phone_, nvWrite(7, 0x70)).status, com::kOk);
    const struct {
        const char* name;
        FaultRule rule;
        Bytes request;
        Status status;
        std::size_t answerBytes;
        std::uint8_t nvStatus;
    } rows[] = {
        {"no answer", {.kind = FaultKind::kNoAnswer}, {0x00}, kResponseTimeout, 0, 0},
        {"a code", {.kind = FaultKind::kServerCode, .value = 0x80042003}, {0x00}, kCheckSequenceError, 0, 0},
        {"a bad response", {.kind = FaultKind::kBadResponse}, {0x00}, kBadPhoneResponse, 0, 0},
        {"a short answer", {.kind = FaultKind::kShortAnswer, .value = 54}, {0x00}, com::kOk, 54, 0},
        {"a status", {.item = 7, .kind = FaultKind::kNvStatus, .value = 9}, nvWrite(7, 0x71), com::kOk, 133, 9},
        {"another item's", {.item = 8, .kind = FaultKind::kNvStatus, .value = 9}, nvRead(7), com::kOk, 133, 0},
        {"a delay alone", {.delayMs = 1}, {0x00}, com::kOk, 55, 0},
        {"gone", {.kind = FaultKind::kVanish}, {0x00}, kPhoneNotPresent, 0, 0},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        portFaults_.clear();
        portFaults_.add(row.rule);
        const Answer answer = send(phone_, row.request, 256, 5);
        EXPECT_EQ(answer.status, row.status);
        ASSERT_EQ(answer.bytes.size(), row.answerBytes);
        EXPECT_EQ(answer.bytes.size() == kNvPacketBytes ? answer.bytes[kNvStatusOffset] : 0, row.nvStatus);
    }
    portFaults_.clear();
    EXPECT_EQ(send(phone_, {0x00}).status, kPhoneNotPresent) << "what vanished stays away";
    service_.setPresent("COM1", true);
    EXPECT_EQ(send(phone_, nvRead(7)).bytes[kNvDataOffset], 0x70) << "a refused write reached the memory";
}

TEST_F(ServiceFaultsTest, RulesCountTheirCalls) {
    send(phone_, nvRead(1)); // not counted: made before the rule
    portFaults_.add({.item = 1, .firstCall = 2, .lastCall = 2, .kind = FaultKind::kBadResponse});
    portFaults_.add({.firstCall = 5, .kind = FaultKind::kServerCode, .value = 0x80042002});
    std::vector<Status> answers;
    for (const int item : {1, 2, 1, 1, 1, 2}) {
        answers.push_back(send(phone_, nvRead(static_cast<std::uint16_t>(item))).status);
    }
    EXPECT_EQ(answers, (std::vector<Status>{0, 0, kBadPhoneResponse, 0, kFramingError, kFramingError}));
    EXPECT_EQ(portFaults_.count(Call::kSend), 7U);
    EXPECT_EQ(portFaults_.count(Call::kLock), 0U);
    EXPECT_THROW(portFaults_.add({.call = Call::kTranslator, .delayMs = 1}), std::invalid_argument);
}

TEST_F(ServiceFaultsTest, EveryCallCanFail) {
    EveryCall calls;
    const auto isGiven = [&] { return calls.object || calls.madeTranslator || calls.madePorts || calls.madePhone; };
    for (const auto& [call, make] : calls.rows) {
        SCOPED_TRACE(nameOf(call));
        const bool isPorts = call >= Call::kDescribePort;
        FaultGate& gate = isPorts ? portFaults_ : service_.faults();
        gate.add(faultAt(call, FaultKind::kServerCode, 0x80042010));
        EXPECT_EQ(make(), com::makeStatus(0x80042010));
        gate.clear();
        gate.add(faultAt(call, FaultKind::kThrowException));
        EXPECT_THROW(make(), std::runtime_error);
        gate.clear();
        const FaultRule noObject = faultAt(call, FaultKind::kNullObject);
        if (faultProblem(noObject, isPorts ? FaultScope::kPort : FaultScope::kService).empty()) {
            calls.forgetObjects();
            EXPECT_EQ(make(), com::kOk);
            EXPECT_TRUE(isGiven());
            gate.add(noObject);
            EXPECT_EQ(make(), com::kOk);
            EXPECT_FALSE(isGiven());
            gate.clear();
            calls.forgetObjects();
        }
    }
    service_.faults().add(faultAt(Call::kCreateAgent, FaultKind::kWrongObject));
    ComPtr<com::Unknown> agent;
    std::uint16_t handle = 0;
    EXPECT_EQ(client_.server->createAgent(kConfigurationAgentName, -1, handle, agent), com::kOk);
    EXPECT_THROW(queried<IConfigurationAgent>(agent), com::ComError);
    portFaults_.add(faultAt(Call::kDescribePhone, FaultKind::kNoAnswer));
    PhoneDescription description;
    EXPECT_EQ(client_.agent->describePhone(1, description), com::kOk);
    EXPECT_FALSE(description.answering);
    EXPECT_EQ(description.answeredCount, 0U);
    EXPECT_EQ(description.mode, PhoneMode::kOnline);
}

} // namespace

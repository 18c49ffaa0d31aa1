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
    const auto events = partOf<IEventSubscription>(phone_);
    const auto security = securityOf(phone_);
    const auto registry = created<IClientRegistry>(kClientRegistryClass);
    ASSERT_EQ(registry->setInterfaceVersion(30000), com::kOk);
    ComPtr<IPortNameTranslator> translator;
    ASSERT_EQ(client_.ports->translator(translator), com::kOk);
    ComPtr<com::Unknown> object;
    ComPtr<IPortNameTranslator> made;
    ComPtr<IPortCollection> ports;
    ComPtr<IPhonePort> phone;
    std::uint16_t word = 0;
    std::uint32_t cookie = 0;
    std::vector<std::uint16_t> numbers;
    PortDescription port;
    PhoneDescription description;
    const std::pair<Call, std::function<Status()>> rows[] = {
        {Call::kCreateServer, [&] { return com::createInstance(kServerClass, com::kAnyServer, object); }},
        {Call::kSetVersion, [&] { return client_.server->setInterfaceVersion(30000); }},
        {Call::kCreateAgent, [&] { return client_.server->createAgent(kConfigurationAgentName, -1, word, object); }},
        {Call::kReleaseAgent, [&] { return client_.server->releaseAgent(client_.agentHandle); }},
        {Call::kPortCollection, [&] { return client_.server->portCollection(ports); }},
        {Call::kTranslator, [&] { return client_.ports->translator(made); }},
        {Call::kPortNumber, [&] { return translator->portNumber("COM1", word); }},
        {Call::kPortByNumber, [&] { return client_.ports->portByNumber(1, phone); }},
        {Call::kPortNumbers, [&] { return client_.agent->portNumbers(numbers); }},
        {Call::kCreateRegistry, [&] { return com::createInstance(kClientRegistryClass, com::kAnyServer, object); }},
        {Call::kRegisterClient, [&] { return registry->registerClient("", "", 1, 1, word); }},
        {Call::kUnregisterClient, [&] { return registry->unregisterClient(1); }},
        {Call::kDescribePort, [&] { return client_.agent->describePort(1, port); }},
        {Call::kDescribePhone, [&] { return client_.agent->describePhone(1, description); }},
        {Call::kSend, [&] { return send(phone_, {0x00}).status; }},
        {Call::kChangeMode, [&] { return phone_->changeMode(4); }},
        {Call::kLock, [&] { return phone_->lock(1); }},
        {Call::kUnlock, [&] { return phone_->unlock(); }},
        {Call::kMode, [&] { return phone_->mode(word); }},
        {Call::kState, [&] { return phone_->state(word); }},
        {Call::kSubObject, [&] { return phone_->subObject(kSecuritySubObject, 0, object); }},
        {Call::kSecurity, [&] { return security->sendCode(0, "000000", 0); }},
        {Call::kSubscribe, [&] { return events->subscribe(nullptr, cookie); }},
        {Call::kUnsubscribe, [&] { return events->unsubscribe(1); }},
    };
    for (const auto& [call, make] : rows) {
        SCOPED_TRACE(nameOf(call));
        FaultGate& gate = call < Call::kDescribePort ? service_.faults() : portFaults_;
        gate.add(faultAt(call, FaultKind::kServerCode, 0x80042010));
        EXPECT_EQ(make(), com::makeStatus(0x80042010));
        gate.clear();
        gate.add(faultAt(call, FaultKind::kThrowException));
        EXPECT_THROW(make(), std::runtime_error);
        gate.clear();
        object = nullptr;
        made = nullptr;
        ports = nullptr;
        phone = nullptr;
        if (!faultProblem(faultAt(call, FaultKind::kNullObject),
                          call < Call::kDescribePort ? FaultScope::kService : FaultScope::kPort)
                 .empty()) {
            continue;
        }
        gate.add(faultAt(call, FaultKind::kNullObject));
        EXPECT_EQ(make(), com::kOk);
        EXPECT_FALSE(object || made || ports || phone);
        gate.clear();
    }
    service_.faults().add(faultAt(Call::kCreateAgent, FaultKind::kWrongObject));
    EXPECT_EQ(client_.server->createAgent(kConfigurationAgentName, -1, word, object), com::kOk);
    ComPtr<IConfigurationAgent> agent;
    EXPECT_EQ(object.query(agent), com::kNoInterface);
    portFaults_.add(faultAt(Call::kDescribePhone, FaultKind::kNoAnswer));
    EXPECT_EQ(client_.agent->describePhone(1, description), com::kOk);
    EXPECT_FALSE(description.answering);
    EXPECT_EQ(description.answeredCount, 0U);
    EXPECT_EQ(description.mode, PhoneMode::kOnline);
}

} // namespace

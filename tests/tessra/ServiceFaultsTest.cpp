#include "ServiceClient.h"

#include <stdexcept>

using namespace tessra;

namespace {

class ServiceFaultsTest : public testing::Test {
protected:
    FaultGate& portFaults() { return service_.port("COM1").faults(); }

    Apartment apartment_;
    Service service_{twoPorts()};
};

} // namespace

TEST_F(ServiceFaultsTest, APacketMeetsEachKind) {
    const Client client;
    const auto phone = client.phone();
    ASSERT_EQ(send(phone, nvWrite(7, 0x70)).status, com::kOk);
    struct Row {
        const char* name;
        FaultRule rule;
        Bytes request;
        Status status;
        std::size_t answerBytes;
    };
    const Row rows[] = {
        {"no answer", {.kind = FaultKind::kNoAnswer}, {0x00}, kResponseTimeout, 0},
        {"a server's code", {.kind = FaultKind::kServerCode, .value = 0x80042003}, {0x00}, kCheckSequenceError, 0},
        {"a COM code", {.kind = FaultKind::kServerCode, .value = 0x80004005}, {0x00}, com::kFail, 0},
        {"a bad response", {.kind = FaultKind::kBadResponse}, {0x00}, kBadPhoneResponse, 0},
        {"a short answer", {.kind = FaultKind::kShortAnswer, .value = 54}, {0x00}, com::kOk, 54},
        {"a status for another item", {.item = 8, .kind = FaultKind::kNvStatus, .value = 9}, nvRead(7), com::kOk, 133},
        {"a delay alone", {.delayMs = 1}, {0x00}, com::kOk, 55},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        portFaults().clear();
        portFaults().add(row.rule);
        const Answer answer = send(phone, row.request, 256, 5);
        EXPECT_EQ(answer.status, row.status);
        EXPECT_EQ(answer.bytes.size(), row.answerBytes);
        if (answer.bytes.size() == kNvPacketBytes) {
            EXPECT_EQ(get16(answer.bytes, kNvStatusOffset), 0);
        }
    }
    portFaults().clear();
    portFaults().add({.item = 7, .kind = FaultKind::kNvStatus, .value = 9});
    EXPECT_EQ(get16(send(phone, nvWrite(7, 0x71)).bytes, kNvStatusOffset), 9);
    portFaults().clear();
    EXPECT_EQ(send(phone, nvRead(7)).bytes[kNvDataOffset], 0x70) << "a refused write reached the memory";

    portFaults().add({.kind = FaultKind::kThrowException});
    EXPECT_THROW(send(phone, {0x00}), std::runtime_error);
    portFaults().clear();
    portFaults().add({.kind = FaultKind::kVanish});
    EXPECT_EQ(send(phone, {0x00}).status, kPhoneNotPresent);
    portFaults().clear();
    EXPECT_EQ(send(phone, {0x00}).status, kPhoneNotPresent) << "what vanished stays away";
}

TEST_F(ServiceFaultsTest, RulesCountTheirCalls) {
    const Client client;
    const auto phone = client.phone();
    send(phone, nvRead(1)); // not counted: made before the rule
    portFaults().add({.item = 1, .firstCall = 2, .lastCall = 2, .kind = FaultKind::kBadResponse});
    portFaults().add({.firstCall = 5, .kind = FaultKind::kServerCode, .value = 0x80042002});
    std::vector<Status> answers;
    for (const int item : {1, 2, 1, 1, 1, 2}) {
        answers.push_back(send(phone, nvRead(static_cast<std::uint16_t>(item))).status);
    }
    EXPECT_EQ(answers, (std::vector<Status>{0, 0, kBadPhoneResponse, 0, kFramingError, kFramingError}));
    EXPECT_EQ(portFaults().count(Call::kSend), 7U);
    EXPECT_EQ(portFaults().count(Call::kLock), 0U);
    EXPECT_THROW(portFaults().add({.call = Call::kTranslator, .delayMs = 1}), std::invalid_argument);
}

TEST_F(ServiceFaultsTest, EveryCallOfAPhoneCanFail) {
    const Client client;
    const auto phone = client.phone();
    ComPtr<com::Unknown> object;
    ComPtr<ISecurity> security;
    ComPtr<IEventSubscription> events;
    ASSERT_EQ(phone->subObject(kSecuritySubObject, 0, object), com::kOk);
    ASSERT_EQ(object.query(security), com::kOk);
    ASSERT_EQ(phone.query(events), com::kOk);
    std::uint16_t word = 0;
    std::uint32_t cookie = 0;
    PortDescription port;
    PhoneDescription description;
    struct Row {
        Call call;
        std::function<Status()> make;
    };
    const Row rows[] = {
        {Call::kDescribePort, [&] { return client.agent->describePort(1, port); }},
        {Call::kDescribePhone, [&] { return client.agent->describePhone(1, description); }},
        {Call::kChangeMode, [&] { return phone->changeMode(4); }},
        {Call::kLock, [&] { return phone->lock(1); }},
        {Call::kUnlock, [&] { return phone->unlock(); }},
        {Call::kMode, [&] { return phone->mode(word); }},
        {Call::kState, [&] { return phone->state(word); }},
        {Call::kSubObject, [&] { return phone->subObject(kSecuritySubObject, 0, object); }},
        {Call::kSecurity, [&] { return security->sendCode(0, "000000", 0); }},
        {Call::kSubscribe, [&] { return events->subscribe(nullptr, cookie); }},
        {Call::kUnsubscribe, [&] { return events->unsubscribe(1); }},
    };
    for (const Row& row : rows) {
        portFaults().clear();
        portFaults().add({.call = row.call, .kind = FaultKind::kServerCode, .value = 0x80042010});
        EXPECT_EQ(row.make(), com::makeStatus(0x80042010)) << nameOf(row.call);
    }
    portFaults().clear();
    portFaults().add({.call = Call::kDescribePhone, .kind = FaultKind::kNoAnswer});
    EXPECT_EQ(client.agent->describePhone(1, description), com::kOk);
    EXPECT_FALSE(description.answering);
    EXPECT_EQ(description.answeredCount, 0U);
    EXPECT_EQ(description.mode, PhoneMode::kOnline);
    portFaults().add({.call = Call::kSubObject, .kind = FaultKind::kWrongObject});
    EXPECT_EQ(phone->subObject(kSecuritySubObject, 0, object), com::kOk);
    EXPECT_EQ(object.query(security), com::kNoInterface);
    portFaults().add({.call = Call::kState, .kind = FaultKind::kVanish});
    EXPECT_EQ(phone->state(word), com::kOk);
    EXPECT_EQ(word, 0);
}

TEST_F(ServiceFaultsTest, EveryCallOfTheServiceCanFail) {
    const Client client;
    ComPtr<IPortNameTranslator> translator;
    ASSERT_EQ(client.ports->translator(translator), com::kOk);
    ComPtr<com::Unknown> object;
    ComPtr<IClientRegistry> registry;
    ASSERT_EQ(com::createInstance(kClientRegistryClass, com::kAnyServer, object), com::kOk);
    ASSERT_EQ(object.query(registry), com::kOk);
    ASSERT_EQ(registry->setInterfaceVersion(30000), com::kOk);
    ComPtr<IPortCollection> ports;
    ComPtr<IPhonePort> phone;
    std::uint16_t word = 0;
    std::vector<std::uint16_t> words;
    struct Row {
        Call call;
        std::function<Status()> make;
    };
    const Row rows[] = {
        {Call::kCreateServer, [&] { return com::createInstance(kServerClass, com::kAnyServer, object); }},
        {Call::kSetVersion, [&] { return client.server->setInterfaceVersion(30000); }},
        {Call::kCreateAgent, [&] { return client.server->createAgent(kConfigurationAgentName, -1, word, object); }},
        {Call::kReleaseAgent, [&] { return client.server->releaseAgent(client.agentHandle); }},
        {Call::kPortCollection, [&] { return client.server->portCollection(ports); }},
        {Call::kTranslator, [&] { return client.ports->translator(translator); }},
        {Call::kPortNumber, [&, held = translator] { return held->portNumber("COM1", word); }},
        {Call::kPortByNumber, [&] { return client.ports->portByNumber(1, phone); }},
        {Call::kPortNumbers, [&] { return client.agent->portNumbers(words); }},
        {Call::kCreateRegistry, [&] { return com::createInstance(kClientRegistryClass, com::kAnyServer, object); }},
        {Call::kRegisterClient, [&] { return registry->registerClient("", "", 1, 1, word); }},
        {Call::kUnregisterClient, [&] { return registry->unregisterClient(1); }},
    };
    for (const Row& row : rows) {
        service_.faults().clear();
        service_.faults().add({.call = row.call, .kind = FaultKind::kServerCode, .value = 0x80004005});
        EXPECT_EQ(row.make(), com::kFail) << nameOf(row.call);
        service_.faults().clear();
        service_.faults().add({.call = row.call, .kind = FaultKind::kThrowException});
        EXPECT_THROW(row.make(), std::runtime_error) << nameOf(row.call);
    }
    service_.faults().clear();
    for (const Call call : {Call::kCreateServer, Call::kCreateAgent, Call::kPortCollection, Call::kTranslator,
                            Call::kPortByNumber, Call::kCreateRegistry}) {
        service_.faults().add({.call = call, .kind = FaultKind::kNullObject});
    }
    EXPECT_EQ(com::createInstance(kServerClass, com::kAnyServer, object), com::kOk);
    EXPECT_FALSE(object);
    EXPECT_EQ(client.server->createAgent(kConfigurationAgentName, -1, word, object), com::kOk);
    EXPECT_FALSE(object);
    EXPECT_EQ(client.server->portCollection(ports), com::kOk);
    EXPECT_FALSE(ports);
    EXPECT_EQ(client.ports->translator(translator), com::kOk);
    EXPECT_FALSE(translator);
    EXPECT_EQ(client.ports->portByNumber(1, phone), com::kOk);
    EXPECT_FALSE(phone);
    EXPECT_EQ(com::createInstance(kClientRegistryClass, com::kAnyServer, object), com::kOk);
    EXPECT_FALSE(object);
    service_.faults().clear();
    service_.faults().add({.call = Call::kCreateAgent, .kind = FaultKind::kWrongObject});
    ComPtr<IConfigurationAgent> agent;
    EXPECT_EQ(client.server->createAgent(kConfigurationAgentName, -1, word, object), com::kOk);
    EXPECT_EQ(object.query(agent), com::kNoInterface);
}

#include "ServiceClient.h"
#include "TestFiles.h"
#include "platform/kernel/Trace.h"
#include "platform/window/TopLevelWindow.h"
#include "tessra/EventHub.h"

#include <gmock/gmock.h>

#include <atomic>
#include <optional>

using namespace tessra;
using testing::ElementsAre;

namespace {

class ServiceTest : public testing::Test {
protected:
    Apartment apartment_;
    std::optional<Service> service_{std::in_place, twoPorts()};
};

struct Event {
    std::uint32_t kind;
    std::uint16_t third;
    std::string data;
    friend bool operator==(const Event&, const Event&) = default;
};

void dispatchAll() {
    window::Message message;
    while (window::peek(message)) {
        window::dispatch(message);
    }
}

class Sink : public com::Implements<IEventSink> {
public:
    Status onEvent(std::uint32_t dataLength, const std::uint8_t* data, std::uint32_t first, std::uint32_t,
                   std::uint16_t third, std::uint32_t fourth) override {
        EXPECT_EQ(com::currentApartment(), home);
        events.push_back({first, third, std::string(data, data + dataLength)});
        lastCounter = fourth;
        return com::kOk;
    }
    /// Dispatches messages until so many events have come.
    bool hears(std::size_t count) const {
        return waitUntil([&] {
            dispatchAll();
            return events.size() >= count;
        });
    }
    const com::ApartmentId home = com::currentApartment();
    std::vector<Event> events;
    std::uint32_t lastCounter = 0;
};

std::string failureOf(Status status) {
    try {
        com::raise(status);
    } catch (const com::ComError& error) {
        return error.source() + ": " + error.description();
    }
}

} // namespace

TEST_F(ServiceTest, AClientFindsItsPhone) {
    const Client client;
    std::vector<std::uint16_t> numbers;
    EXPECT_EQ(client.agent->portNumbers(numbers), com::kOk);
    EXPECT_THAT(numbers, ElementsAre(1, 2));
    PortDescription port;
    EXPECT_EQ(client.agent->describePort(1, port), com::kOk);
    EXPECT_EQ(port.state, kPortWithPhone);
    EXPECT_EQ(port.portName, "COM1");
    EXPECT_EQ(client.agent->describePort(2, port), com::kOk);
    EXPECT_EQ(port.state, 0);
    EXPECT_EQ(port.portName, "COM2");
    EXPECT_EQ(client.agent->describePort(3, port), com::kInvalidArgument);

    PhoneDescription phone;
    EXPECT_EQ(client.agent->describePhone(1, phone), com::kOk);
    EXPECT_TRUE(phone.answering);
    EXPECT_EQ(phone.mode, PhoneMode::kOnline);
    EXPECT_EQ(phone.answeredCount, 1U);
    EXPECT_EQ(phone.model + "/" + phone.softwareVersion + "/" + phone.serialNumber, "Sample/1.0/0000000001");
    EXPECT_EQ(client.agent->describePhone(2, phone), kPhoneNotPresent);
    EXPECT_EQ(phone.model, "");

    ComPtr<IPortNameTranslator> translator;
    std::uint16_t number = 0;
    EXPECT_EQ(client.ports->translator(translator), com::kOk);
    EXPECT_EQ(translator->portNumber("COM2", number), com::kOk);
    EXPECT_EQ(number, 2);
    EXPECT_EQ(translator->portNumber("COM7", number), com::kFail);
    EXPECT_EQ(failureOf(com::kFail), "Tessra: The service has no port named 'COM7'.");

    ComPtr<IPhonePort> none;
    EXPECT_EQ(client.ports->portByNumber(2, none), kPhoneNotPresent);
    EXPECT_EQ(client.ports->portByNumber(3, none), com::kInvalidArgument);
    EXPECT_EQ(client.server->releaseAgent(client.agentHandle), com::kOk);
    EXPECT_EQ(client.server->releaseAgent(client.agentHandle), com::kInvalidArgument);
}

TEST_F(ServiceTest, RootObjectsWaitForTheVersion) {
    ComPtr<com::Unknown> created;
    ComPtr<IServer> server;
    ASSERT_EQ(com::createInstance(kServerClass, com::kAnyServer, created), com::kOk);
    ASSERT_EQ(created.query(server), com::kOk);
    std::uint16_t handle = 1;
    ComPtr<com::Unknown> agent;
    ComPtr<IPortCollection> ports;
    EXPECT_EQ(server->createAgent(kConfigurationAgentName, -1, handle, agent), com::kUnexpected);
    EXPECT_EQ(server->portCollection(ports), com::kUnexpected);
    EXPECT_EQ(server->setInterfaceVersion(29999), com::kInvalidArgument);
    EXPECT_EQ(server->portCollection(ports), com::kUnexpected);
    EXPECT_EQ(server->setInterfaceVersion(30000), com::kOk);
    EXPECT_EQ(server->createAgent("Another.Agent.1", -1, handle, agent), com::kInvalidArgument);
    EXPECT_EQ(server->portCollection(ports), com::kOk);
}

TEST_F(ServiceTest, SendRefusesWhatItCannotCarry) {
    const Client client;
    const auto phone = client.phone();
    struct Row {
        const char* name;
        Bytes request;
        std::uint16_t capacity;
        std::uint32_t timeoutMs;
        Status status;
        std::size_t answerBytes;
    };
    const Row rows[] = {
        {"a version request", {0x00}, 55, 2000, com::kOk, 55},
        {"a buffer one byte short", {0x00}, 54, 2000, kPacketTooLong, 0},
        {"the longest packet", Bytes(256, 0x3B), 256, 2000, com::kOk, 256},
        {"one byte more", Bytes(257, 0x3B), 256, 2000, kPacketTooLong, 0},
        {"no time", {0x00}, 55, 0, kZeroTimeout, 0},
        {"an unknown command", {0x77}, 55, 2000, kBadPhoneResponse, 0},
        {"no packet", {}, 55, 2000, kBadPhoneResponse, 0},
    };
    for (const Row& row : rows) {
        const Answer answer = send(phone, row.request, row.capacity, row.timeoutMs);
        EXPECT_EQ(answer.status, row.status) << row.name;
        EXPECT_EQ(answer.bytes.size(), row.answerBytes) << row.name;
    }
    EXPECT_EQ(service_->port("COM1").sentPackets(), (std::vector<Bytes>{{0x00}, {0x00}, Bytes(256, 0x3B), {0x77}, {}}));
    for (std::size_t i = 0; i < Port::kLoggedPackets + 3; ++i) {
        send(phone, {0x3B, static_cast<std::uint8_t>(i)});
    }
    EXPECT_EQ(service_->port("COM1").sentPackets().size(), Port::kLoggedPackets);
    EXPECT_EQ(service_->port("COM1").sentPackets().front(), (Bytes{0x3B, 3}));

    ComPtr<ISyncSend> sync;
    ASSERT_EQ(phone.query(sync), com::kOk);
    std::uint16_t length = 4;
    EXPECT_EQ(sync->sendSync(1, nullptr, 1, 0, 1, length, nullptr), com::kPointer);
    EXPECT_EQ(length, 0);
}

TEST_F(ServiceTest, ModesAndCodes) {
    const Client client;
    const auto phone = client.phone();
    std::uint16_t mode = 0;
    EXPECT_EQ(phone->changeMode(1), com::kInvalidArgument);
    EXPECT_EQ(phone->changeMode(4), com::kOk);
    EXPECT_EQ(phone->mode(mode), com::kOk);
    EXPECT_EQ(mode, 4);
    EXPECT_EQ(sendCode(phone, "111111"), com::kAccessDenied);
    EXPECT_EQ(sendCode(phone, "a long text that is no code"), com::kAccessDenied);
    EXPECT_EQ(sendCode(phone, "000000"), com::kOk);
    ComPtr<com::Unknown> other;
    EXPECT_EQ(phone->subObject(11, 0, other), com::kInvalidArgument);

    for (const PhoneMode loader : {PhoneMode::kDownload, PhoneMode::kStreamDownload}) {
        ASSERT_EQ(service_->port("COM1").setMode(loader), com::kOk);
        EXPECT_EQ(phone->mode(mode), com::kOk);
        EXPECT_EQ(mode, static_cast<std::uint16_t>(loader));
        EXPECT_EQ(send(phone, {0x00}).status, kBadPhoneMode);
        EXPECT_EQ(sendCode(phone, "000000"), kBadPhoneMode);
        PhoneDescription description;
        EXPECT_EQ(client.agent->describePhone(1, description), com::kOk);
        EXPECT_EQ(description.mode, loader);
        EXPECT_FALSE(description.answering);
    }
    EXPECT_EQ(phone->changeMode(5), com::kOk) << "a phone in its loader can be reset";
}

TEST_F(ServiceTest, APhoneThatLeavesAndReturns) {
    const Client client;
    const auto phone = client.phone();
    std::uint16_t state = 0;
    PortDescription port;
    service_->port("COM1").setPresent(false);
    EXPECT_EQ(phone->state(state), com::kOk);
    EXPECT_NE(state, 5);
    EXPECT_EQ(send(phone, {0x00}).status, kPhoneNotPresent);
    EXPECT_EQ(phone->changeMode(4), kPhoneNotPresent);
    service_->port("COM1").setPresent(true);
    EXPECT_EQ(send(phone, {0x00}).status, com::kOk);
    service_->port("COM1").overrideState(3);
    EXPECT_EQ(phone->state(state), com::kOk);
    EXPECT_EQ(state, 3);
    service_->port("COM1").overrideState(std::nullopt);

    ASSERT_EQ(phone->changeMode(4), com::kOk);
    ASSERT_EQ(phone->changeMode(5), com::kOk);
    EXPECT_TRUE(waitUntil([&] { return phone->state(state) == com::kOk && state == 5; }));
    std::uint16_t mode = 0;
    EXPECT_EQ(phone->mode(mode), com::kOk);
    EXPECT_EQ(mode, 1);
    PhoneDescription description;
    EXPECT_EQ(client.agent->describePhone(1, description), com::kOk);
    EXPECT_EQ(description.answeredCount, 1U) << "counted from the phone's return";

    ServiceConfig config = twoPorts();
    config.ports[0].phone.awayMs = -1;
    service_.emplace(config);
    const Client other;
    ASSERT_EQ(other.phone()->changeMode(5), com::kOk);
    EXPECT_EQ(other.agent->describePort(1, port), com::kOk);
    EXPECT_EQ(port.state, 0);
    EXPECT_EQ(other.agent->describePhone(1, description), kPhoneNotPresent);
}

TEST_F(ServiceTest, ALockBelongsToOneClient) {
    const Client client;
    auto first = client.phone();
    const auto second = client.phone();
    EXPECT_EQ(second->unlock(), com::kOk);
    EXPECT_EQ(first->lock(1), com::kOk);
    EXPECT_EQ(first->lock(1), com::kOk);
    EXPECT_EQ(send(first, {0x00}).status, com::kOk);
    EXPECT_EQ(sendCode(first, "000000"), com::kOk);
    EXPECT_EQ(send(second, {0x00}).status, kLockedForExclusiveUse);
    EXPECT_EQ(second->changeMode(4), kLockedForExclusiveUse);
    EXPECT_EQ(sendCode(second, "000000"), kLockedForExclusiveUse);
    EXPECT_EQ(second->lock(1), kLockedForExclusiveUse);
    EXPECT_EQ(second->unlock(), kUnlockByOther);
    EXPECT_EQ(first->unlock(), com::kOk);
    EXPECT_EQ(send(second, {0x00}).status, com::kOk);
    EXPECT_EQ(first->lock(1), com::kOk);
    first.reset();
    EXPECT_EQ(second->lock(1), com::kOk) << "the lock outlives its client";
}

TEST_F(ServiceTest, ObjectsBelongToTheirApartment) {
    const Client client;
    const auto phone = client.phone();
    ComPtr<com::Unknown> security;
    ASSERT_EQ(phone->subObject(kSecuritySubObject, 0, security), com::kOk);
    ComPtr<IPortNameTranslator> translator;
    ASSERT_EQ(client.ports->translator(translator), com::kOk);
    ComPtr<com::Unknown> registry;
    ASSERT_EQ(com::createInstance(kClientRegistryClass, com::kLocalServer, registry), com::kOk);
    const auto expectAll = [&](Status expected) {
        std::uint16_t word = 7;
        std::vector<std::uint16_t> words;
        PortDescription port;
        PhoneDescription description;
        ComPtr<com::Unknown> object;
        ComPtr<IPortNameTranslator> other;
        ComPtr<IPhonePort> otherPhone;
        ComPtr<IPortCollection> ports;
        ComPtr<IEventSubscription> events;
        ComPtr<ISecurity> code;
        ComPtr<IClientRegistry> clients;
        std::uint32_t cookie = 7;
        ASSERT_EQ(phone.query(events), com::kOk);
        ASSERT_EQ(security.query(code), com::kOk);
        ASSERT_EQ(registry.query(clients), com::kOk);
        const std::pair<const char*, Status> answers[] = {
            {"setInterfaceVersion", client.server->setInterfaceVersion(30000)},
            {"createAgent", client.server->createAgent(kConfigurationAgentName, -1, word, object)},
            {"releaseAgent", client.server->releaseAgent(1)},
            {"portCollection", client.server->portCollection(ports)},
            {"translator", client.ports->translator(other)},
            {"portByNumber", client.ports->portByNumber(1, otherPhone)},
            {"portNumber", translator->portNumber("COM1", word)},
            {"portNumbers", client.agent->portNumbers(words)},
            {"describePort", client.agent->describePort(1, port)},
            {"describePhone", client.agent->describePhone(1, description)},
            {"changeMode", phone->changeMode(4)},
            {"lock", phone->lock(1)},
            {"unlock", phone->unlock()},
            {"mode", phone->mode(word)},
            {"state", phone->state(word)},
            {"subObject", phone->subObject(kSecuritySubObject, 0, object)},
            {"sendSync", send(phone, {0x00}).status},
            {"sendCode", code->sendCode(0, "000000", 0)},
            {"subscribe", events->subscribe(nullptr, cookie)},
            {"unsubscribe", events->unsubscribe(1)},
            {"registry", clients->setInterfaceVersion(30000)},
        };
        for (const auto& [name, status] : answers) {
            EXPECT_EQ(status, expected) << name;
        }
        EXPECT_EQ(word, 0) << "a failed call leaves its output zero";
        EXPECT_EQ(cookie, 0U);
    };
    onOtherThread([&] { expectAll(com::kWrongThread); });
    onOtherThread([&] { expectAll(com::kNotInitialized); }, false);
    service_.reset();
    expectAll(com::kDisconnected);
    ComPtr<com::Unknown> created;
    EXPECT_EQ(com::createInstance(kServerClass, com::kAnyServer, created), com::kClassNotRegistered);
}

TEST_F(ServiceTest, RegisteredClientsAreListed) {
    ComPtr<com::Unknown> created;
    ComPtr<IClientRegistry> registry;
    ASSERT_EQ(com::createInstance(kClientRegistryClass, com::kLocalServer | com::kRemoteServer, created), com::kOk);
    ASSERT_EQ(created.query(registry), com::kOk);
    std::uint16_t first = 0;
    std::uint16_t second = 0;
    EXPECT_EQ(registry->registerClient("A", "pc", 11, 1, first), com::kUnexpected);
    EXPECT_EQ(registry->setInterfaceVersion(30000), com::kOk);
    EXPECT_EQ(registry->registerClient("A", "pc", 11, 1, first), com::kOk);
    EXPECT_EQ(registry->registerClient("B", "pc", 12, 1, second), com::kOk);
    EXPECT_EQ(registry->unregisterClient(first), com::kOk);
    EXPECT_EQ(registry->unregisterClient(first), com::kInvalidArgument);
    ASSERT_EQ(service_->clients().size(), 1U);
    EXPECT_EQ(service_->clients()[0].handle, second);
    EXPECT_EQ(service_->clients()[0].clientName, "B");
    EXPECT_EQ(service_->clients()[0].machineName, "pc");
    EXPECT_EQ(service_->clients()[0].processId, 12U);
    EXPECT_TRUE(window::findWindow(kTaskWindowClass));
    service_.reset();
    EXPECT_FALSE(window::findWindow(kTaskWindowClass));
}

TEST_F(ServiceTest, WrittenItemsLastAndOneServiceHoldsAMemory) {
    const TemporaryFolder folder;
    ServiceConfig config = twoPorts();
    config.ports[0].memory = folder / "m";
    config.taskWindow = false;
    std::string log;
    kernel::setErrorLog([&](std::string_view text) { log += text; });
    service_.emplace(config);
    {
        const auto phone = Client().phone();
        EXPECT_EQ(send(phone, nvWrite(500, 0x5A)).status, com::kOk);
        ServiceConfig other = config;
        other.ports[0].name = "COM9";
        other.ports[0].number = 9;
        const Service second(other); // hides the first in the class table
        const Client client;
        PortDescription port;
        EXPECT_EQ(client.agent->describePort(9, port), com::kOk);
        EXPECT_EQ(port.state, 1);
        EXPECT_THAT(log, testing::HasSubstr("another program uses this phone memory"));
        log.clear();
        service_.reset();
        EXPECT_EQ(client.agent->describePort(9, port), com::kOk);
        EXPECT_EQ(port.state, kPortWithPhone) << "the lock is tried again";
        EXPECT_EQ(log, "");
        EXPECT_EQ(send(client.phone(9), nvRead(500)).bytes[kNvDataOffset], 0x5A);
    }
    writeText(folder / "m", "rubbish\n");
    service_.emplace(config);
    PortDescription port;
    EXPECT_EQ(Client().agent->describePort(1, port), com::kOk);
    EXPECT_NE(port.state, kPortWithPhone);
    EXPECT_THAT(log, testing::HasSubstr("m:1: the item number 'rubbish'"));
    service_.reset();
    kernel::setErrorLog({});
    EXPECT_EQ(readText(folder / "m"), "rubbish\n");
}

TEST_F(ServiceTest, EventsArriveInTheSubscribersApartmentUntilItUnsubscribes) {
    const Client client;
    const auto phone = client.phone();
    ComPtr<IEventSubscription> events;
    ASSERT_EQ(phone.query(events), com::kOk);
    auto* const sink = new Sink;
    const auto held = ComPtr<IEventSink>::adopt(sink);
    std::uint32_t cookie = 0;
    EXPECT_EQ(events->subscribe(nullptr, cookie), com::kPointer);
    ASSERT_EQ(events->subscribe(held, cookie), com::kOk);
    EXPECT_NE(cookie, 0U);
    onOtherThread([&] {
        const auto other = Client().phone();
        other->changeMode(4);
        send(other, {0x3B, 7});
        sendCode(other, "000000");
        send(other, {0x41, '0', '0'}); // the phone refuses it and repeats it
        PhoneDescription description;
        Client().agent->describePhone(1, description);
        service_->port("COM1").setPresent(false);
        service_->port("COM1").setPresent(true);
    });
    EXPECT_TRUE(sink->events.empty()) << "delivered on another thread than the subscriber's";
    EXPECT_TRUE(sink->hears(8));
    const std::string version(sink->events.at(5).data);
    EXPECT_EQ(version.size(), kVersionAnswerBytes);
    EXPECT_THAT(sink->events,
                ElementsAre(Event{4, 0x29, std::string("\x29\x04\0", 3)}, Event{3, 4, "COM1"},
                            Event{4, 0x3B, "\x3B\x07"}, Event{4, 0x41, "\x41\x01"}, Event{4, 0x41, "\x15"},
                            Event{4, 0, version}, Event{2, 4, "COM1"}, Event{1, 1, "COM1"}));
    sink->events.clear();
    send(phone, {0x3B});
    EXPECT_EQ(events->unsubscribe(cookie), com::kOk);
    EXPECT_EQ(events->unsubscribe(cookie), com::kInvalidArgument);
    dispatchAll();
    EXPECT_TRUE(sink->events.empty()) << "delivered after unsubscribe";
    EXPECT_EQ(sink->addRef(), 2U) << "the service still holds the sink";
    sink->release();

    ASSERT_EQ(events->subscribe(held, cookie), com::kOk);
    send(phone, {0x3B});
    service_.reset();
    dispatchAll();
    EXPECT_TRUE(sink->events.empty()) << "delivered after the service's end";
    EXPECT_EQ(events->unsubscribe(cookie), com::kDisconnected);
    EXPECT_EQ(sink->addRef(), 2U) << "a service that has ended still holds the sink";
    sink->release();
}

TEST_F(ServiceTest, ASubscriberThatDoesNotListenMissesTheLatestEventsAlone) {
    std::string log;
    kernel::setErrorLog([&](std::string_view text) { log += text; });
    const auto phone = Client().phone();
    ComPtr<IEventSubscription> events;
    ASSERT_EQ(phone.query(events), com::kOk);
    auto* const sink = new Sink;
    const auto held = ComPtr<IEventSink>::adopt(sink);
    std::uint32_t cookie = 0;
    ASSERT_EQ(events->subscribe(held, cookie), com::kOk);
    for (std::uint32_t i = 0; i < EventHub::kMostOnTheWay + 10; ++i) {
        send(phone, {0x3B});
    }
    EXPECT_TRUE(sink->hears(EventHub::kMostOnTheWay));
    send(phone, {0x3B, 1});
    EXPECT_TRUE(sink->hears(EventHub::kMostOnTheWay + 1));
    EXPECT_EQ(sink->events.size(), EventHub::kMostOnTheWay + 1) << "what waits for a subscriber has no bound";
    EXPECT_EQ(sink->events.back(), (Event{4, 0x3B, "\x3B\x01"}));
    EXPECT_EQ(sink->lastCounter, EventHub::kMostOnTheWay + 11) << "the counter does not show the gap";
    EXPECT_EQ(log, "Tessra: a subscriber does not hear its events in time and misses some.");
    EXPECT_EQ(events->unsubscribe(cookie), com::kOk);
    kernel::setErrorLog({});
}

TEST_F(ServiceTest, TheServiceEndsUnderItsClients) {
    std::atomic<int> working = 0;
    std::vector<std::thread> clients;
    for (int i = 0; i < 2; ++i) {
        clients.emplace_back([&, i] {
            const Apartment apartment;
            const auto phone = Client().phone();
            ComPtr<IEventSubscription> events;
            std::uint32_t cookie = 0;
            EXPECT_EQ(phone.query(events), com::kOk);
            EXPECT_EQ(events->subscribe(com::makeObject<IEventSink, Sink>(), cookie), com::kOk);
            ++working;
            for (;;) {
                const auto number = static_cast<std::uint16_t>(i);
                const Answer written = send(phone, nvWrite(number, 0x11));
                if (written.status == com::kDisconnected) {
                    break;
                }
                const Answer read = send(phone, nvRead(number));
                EXPECT_TRUE(read.status == com::kDisconnected || read.bytes.at(kNvDataOffset) == 0x11);
                dispatchAll();
            }
            dispatchAll();
        });
    }
    EXPECT_TRUE(waitUntil([&] { return working == 2 && service_->port("COM1").faults().count(Call::kSend) > 100; }));
    service_->port("COM1").faults().add({.call = Call::kSend, .firstCall = 50, .delayMs = 1000000});
    service_.reset(); // also out of the middle of a delay
    for (std::thread& client : clients) {
        client.join();
    }
}

#include "ServiceClient.h"
#include "platform/window/TopLevelWindow.h"
#include "tests/support/ErrorLog.h"
#include "tests/support/TemporaryFolder.h"

#include <gmock/gmock.h>

#include <atomic>
#include <optional>

using namespace tessra;
using testing::ElementsAre;

namespace {

// COM1 has a phone, COM2 has none.
class ServiceTest : public testing::Test {
protected:
    static ServiceConfig config() {
        ServiceConfig config = phonesOn({"COM1", "COM2"});
        config.ports[1].present = false;
        return config;
    }

    Apartment apartment_;
    std::optional<HostedService> service_{std::in_place, config()};
};

struct Event {
    std::uint32_t kind;
    std::uint16_t third;
    std::string data;
    friend bool operator==(const Event&, const Event&) = default;
};

class Sink : public com::Implements<IEventSink> {
public:
    Status onEvent(std::uint32_t dataLength, const std::uint8_t* data, std::uint32_t first, std::uint32_t,
                   std::uint16_t third, std::uint32_t fourth) override {
        EXPECT_EQ(com::currentApartment(), home);
        events.push_back({first, third, std::string(data, data + dataLength)});
        lastCounter = fourth;
        return com::kOk;
    }
    const com::ApartmentId home = com::currentApartment();
    std::vector<Event> events;
    std::uint32_t lastCounter = 0;
    ComPtr<IPhonePort> held; // something of the service
};

// A subscription of `sink` to the events of the phone on COM1.
struct Subscriber {
    Subscriber() { com::throwIfFailed(events->subscribe(held, cookie)); }

    Sink* const sink = new Sink;
    const ComPtr<IEventSink> held = ComPtr<IEventSink>::adopt(sink);
    const ComPtr<IPhonePort> phone = Client().phone();
    const ComPtr<IEventSubscription> events = partOf<IEventSubscription>(phone);
    std::uint32_t cookie = 0;
};

TEST_F(ServiceTest, AClientFindsItsPhone) {
    const Client client;
    std::vector<std::uint16_t> numbers;
    EXPECT_EQ(client.agent->portNumbers(numbers), com::kOk);
    EXPECT_THAT(numbers, ElementsAre(1, 2));
    PortDescription port;
    EXPECT_EQ(client.agent->describePort(1, port), com::kOk);
    EXPECT_EQ(port.portName + std::to_string(port.state), "COM12");
    EXPECT_EQ(client.agent->describePort(2, port), com::kOk);
    EXPECT_EQ(port.portName + std::to_string(port.state), "COM20");
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
    ComPtr<IPhonePort> none;
    EXPECT_EQ(client.ports->portByNumber(2, none), kPhoneNotPresent);
    EXPECT_EQ(client.ports->portByNumber(3, none), com::kInvalidArgument);
    EXPECT_EQ(client.server->releaseAgent(client.agentHandle), com::kOk);
    EXPECT_EQ(client.server->releaseAgent(client.agentHandle), com::kInvalidArgument);
}

TEST_F(ServiceTest, RootObjectsWaitForTheVersion) {
    const auto server = created<IServer>(kServerClass);
    std::uint16_t handle = 1;
    ComPtr<com::Unknown> agent;
    ComPtr<IPortCollection> ports;
    EXPECT_EQ(server->createAgent(kConfigurationAgentName, -1, handle, agent), com::kUnexpected);
    EXPECT_EQ(server->setInterfaceVersion(29999), com::kInvalidArgument);
    EXPECT_EQ(server->portCollection(ports), com::kUnexpected);
    EXPECT_EQ(server->setInterfaceVersion(30000), com::kOk);
    EXPECT_EQ(server->createAgent("Another.Agent.1", -1, handle, agent), com::kInvalidArgument);
    EXPECT_EQ(server->portCollection(ports), com::kOk);
}

TEST_F(ServiceTest, SendRefusesWhatItCannotCarry) {
    const auto phone = Client().phone();
    const struct {
        const char* name;
        Bytes request;
        std::uint16_t capacity;
        std::uint32_t timeoutMs;
        Status status;
        std::size_t answerBytes;
    } rows[] = {
        {"a version request", {0x00}, 55, 2000, com::kOk, 55},
        {"a buffer one byte short", {0x00}, 54, 2000, kPacketTooLong, 0},
        {"the longest packet", Bytes(256, 0x3B), 256, 2000, com::kOk, 256},
        {"one byte more", Bytes(257, 0x3B), 256, 2000, kPacketTooLong, 0},
        {"no time", {0x00}, 55, 0, kZeroTimeout, 0},
        {"an unknown command", {0x77}, 55, 2000, kBadPhoneResponse, 0},
        {"no packet", {}, 55, 2000, kBadPhoneResponse, 0},
    };
    for (const auto& row : rows) {
        const Answer answer = send(phone, row.request, row.capacity, row.timeoutMs);
        EXPECT_EQ(answer.status, row.status) << row.name;
        EXPECT_EQ(answer.bytes.size(), row.answerBytes) << row.name;
    }
    EXPECT_EQ(service_->sentPackets("COM1"), (std::vector<Bytes>{{0x00}, {0x00}, Bytes(256, 0x3B), {0x77}, {}}));
    std::uint16_t length = 4;
    EXPECT_EQ(partOf<ISyncSend>(phone)->sendSync(1, nullptr, 1, 0, 1, length, nullptr), com::kPointer);
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
    const auto security = securityOf(phone);
    EXPECT_EQ(security->sendCode(0, "111111", 0), com::kAccessDenied);
    EXPECT_EQ(security->sendCode(0, "a long text that is no code", 0), com::kAccessDenied);
    EXPECT_EQ(security->sendCode(0, "000000", 0), com::kOk);

    for (const PhoneMode loader : {PhoneMode::kDownload, PhoneMode::kStreamDownload}) {
        ASSERT_EQ(service_->setMode("COM1", loader), com::kOk);
        EXPECT_EQ(send(phone, {0x00}).status, kBadPhoneMode);
        EXPECT_EQ(security->sendCode(0, "000000", 0), kBadPhoneMode);
        PhoneDescription description;
        EXPECT_EQ(client.agent->describePhone(1, description), com::kOk);
        EXPECT_EQ(description.mode, loader);
        EXPECT_FALSE(description.answering);
    }
    EXPECT_EQ(phone->changeMode(5), com::kOk) << "a phone in its loader can be reset";
    EXPECT_EQ(phone->changeMode(5), kPhoneNotPresent) << "it has left";
}

TEST_F(ServiceTest, ALockBelongsToOneClient) {
    const Client client;
    auto first = client.phone();
    const auto second = client.phone();
    EXPECT_EQ(second->unlock(), com::kOk);
    EXPECT_EQ(first->lock(1), com::kOk);
    EXPECT_EQ(first->lock(1), com::kOk);
    EXPECT_EQ(send(first, {0x00}).status, com::kOk);
    EXPECT_EQ(send(second, {0x00}).status, kLockedForExclusiveUse);
    EXPECT_EQ(second->changeMode(4), kLockedForExclusiveUse);
    EXPECT_EQ(securityOf(second)->sendCode(0, "000000", 0), kLockedForExclusiveUse);
    EXPECT_EQ(second->lock(1), kLockedForExclusiveUse);
    EXPECT_EQ(second->unlock(), kUnlockByOther);
    EXPECT_EQ(first->unlock(), com::kOk);
    EXPECT_EQ(send(second, {0x00}).status, com::kOk);
    EXPECT_EQ(first->lock(1), com::kOk);
    first.reset();
    EXPECT_EQ(second->lock(1), com::kOk) << "the lock outlives its client";
}

TEST_F(ServiceTest, ObjectsBelongToTheirApartmentAndEndWithTheService) {
    for (const bool isWrapped : {true, false}) {
        service_.reset();
        std::optional<ServiceHost> host;
        isWrapped ? (void)service_.emplace(config()) : (void)host.emplace(phonesOn({"COM1"}));
        EveryCall calls;
        const auto expectAll = [&](Status expected) {
            for (const auto& [call, make] : calls.rows) {
                const bool hasFactory = call == Call::kCreateServer || call == Call::kCreateRegistry;
                EXPECT_TRUE(hasFactory || make() == expected) << nameOf(call);
            }
            EXPECT_EQ(calls.word, 0) << "a failed call leaves its output zero";
            EXPECT_EQ(calls.cookie, 0U);
        };
        onOtherThread([&] { expectAll(com::kWrongThread); });
        std::thread([&] { expectAll(com::kNotInitialized); }).join();
        service_.reset();
        host.reset();
        expectAll(com::kDisconnected);
        ComPtr<com::Unknown> object;
        EXPECT_EQ(com::createInstance(kServerClass, com::kAnyServer, object), com::kClassNotRegistered);
    }
}

TEST_F(ServiceTest, RegisteredClientsAreListed) {
    const auto registry = created<IClientRegistry>(kClientRegistryClass);
    std::uint16_t first = 0;
    std::uint16_t second = 0;
    EXPECT_EQ(registry->registerClient("A", "pc", 11, 1, first), com::kUnexpected);
    EXPECT_EQ(registry->setInterfaceVersion(30000), com::kOk);
    EXPECT_EQ(registry->registerClient("A", "pc", 11, 1, first), com::kOk);
    EXPECT_EQ(registry->registerClient("B", "pc", 12, 1, second), com::kOk);
    EXPECT_EQ(registry->unregisterClient(first), com::kOk);
    EXPECT_EQ(registry->unregisterClient(first), com::kInvalidArgument);
    ASSERT_EQ(service_->clients().size(), 1U);
    const RegisteredClient client = service_->clients()[0];
    EXPECT_EQ(client.handle, second);
    EXPECT_EQ(client.clientName + client.machineName + std::to_string(client.processId), "Bpc12");
    EXPECT_TRUE(window::findWindow(kTaskWindowClass));
    service_.reset();
    EXPECT_FALSE(window::findWindow(kTaskWindowClass));
}

TEST_F(ServiceTest, WrittenItemsLastAndOneServiceHoldsAMemory) {
    const TemporaryFolder folder;
    ServiceConfig first = phonesOn({"COM1"});
    first.ports[0].memory = folder / "m";
    ServiceConfig second = phonesOn({"COM9"});
    second.ports[0].memory = folder / "m";
    const ErrorLog log;
    service_.emplace(first);
    const auto phone = Client().phone();
    EXPECT_EQ(send(phone, nvWrite(500, 0x5A)).status, com::kOk);
    const HostedService other(second); // hides the first in the class table
    const Client client;
    PortDescription port;
    EXPECT_EQ(client.agent->describePort(9, port), com::kOk);
    EXPECT_EQ(port.state, 1);
    EXPECT_TRUE(log.contains("another program uses this phone memory"));
    service_.reset();
    EXPECT_EQ(client.agent->describePort(9, port), com::kOk);
    EXPECT_EQ(port.state, kPortWithPhone) << "the memory stays locked, or is not tried again";
    EXPECT_EQ(send(client.phone(9), nvRead(500)).bytes[kNvDataOffset], 0x5A);
}

TEST_F(ServiceTest, EventsArriveInTheSubscribersApartment) {
    Subscriber own;
    Sink& sink = *own.sink;
    std::uint32_t cookie = 0;
    EXPECT_EQ(own.events->subscribe(nullptr, cookie), com::kPointer);
    onOtherThread([&] {
        const Client client;
        const auto other = client.phone();
        other->changeMode(4);
        send(other, {0x3B, 7});
        securityOf(other)->sendCode(0, "000000", 0);
        send(other, {0x41, '0', '0'}); // the phone refuses it and repeats it
        PhoneDescription description;
        client.agent->describePhone(1, description);
        service_->setPresent("COM1", false);
        service_->setPresent("COM1", true);
    });
    EXPECT_TRUE(sink.events.empty()) << "delivered on another thread than the subscriber's";
    dispatchAll();
    ASSERT_EQ(sink.events.size(), 8U);
    const std::string version(sink.events.at(5).data);
    EXPECT_EQ(version.size(), kVersionAnswerBytes);
    EXPECT_THAT(sink.events, ElementsAre(Event{4, 0x29, std::string("\x29\x04\0", 3)}, Event{3, 4, "COM1"},
                                         Event{4, 0x3B, "\x3B\x07"}, Event{4, 0x41, "\x41\x01"}, Event{4, 0x41, "\x15"},
                                         Event{4, 0, version}, Event{2, 4, "COM1"}, Event{1, 1, "COM1"}));
}

TEST_F(ServiceTest, NothingIsHeardAfterTheEndOfASubscriptionOrOfTheService) {
    const Subscriber own;
    send(own.phone, {0x3B});
    EXPECT_EQ(own.events->unsubscribe(own.cookie), com::kOk);
    EXPECT_EQ(own.events->unsubscribe(own.cookie), com::kInvalidArgument);
    EXPECT_EQ(own.sink->addRef(), 2U) << "the service still holds the sink";
    own.sink->release();

    std::uint32_t cookie = 0;
    ASSERT_EQ(own.events->subscribe(own.held, cookie), com::kOk);
    send(own.phone, {0x3B});
    service_.reset();
    dispatchAll();
    EXPECT_TRUE(own.sink->events.empty());
    EXPECT_EQ(own.events->unsubscribe(cookie), com::kDisconnected);
    EXPECT_EQ(own.sink->addRef(), 2U) << "a service that has ended still holds the sink";
    own.sink->release();
}

TEST_F(ServiceTest, ASubscriberThatKeepsUpMissesNothing) {
    const ErrorLog log;
    const Subscriber own;
    constexpr std::uint32_t kBatch = EventHub::kMostWaiting - 96;
    for (std::uint32_t batch = 1; batch <= 10; ++batch) {
        for (std::uint32_t i = 0; i < kBatch; ++i) {
            send(own.phone, {0x3B});
        }
        dispatchAll();
        ASSERT_EQ(own.sink->lastCounter, batch * kBatch);
        ASSERT_EQ(own.sink->events.size(), batch * kBatch);
    }
    EXPECT_EQ(log.text(), "");

    for (std::uint32_t i = 0; i < EventHub::kMostWaiting + 10; ++i) {
        send(own.phone, {0x3B});
    }
    dispatchAll();
    EXPECT_EQ(own.sink->events.size(), 10 * kBatch + EventHub::kMostWaiting) << "what waits for it has no bound";
    send(own.phone, {0x3B, 1});
    dispatchAll();
    EXPECT_EQ(own.sink->events.back(), (Event{4, 0x3B, "\x3B\x01"}));
    EXPECT_EQ(own.sink->lastCounter, 10 * kBatch + EventHub::kMostWaiting + 11) << "the counter does not show the gap";
    EXPECT_EQ(log.text(), "Tessra: a subscriber does not hear its events in time and misses some.\n");
}

// The last reference to the sink is the service's, and the sink holds an object that asks the port for something when
// it goes. The service must not wait for itself.
TEST_F(ServiceTest, ASinkMayTakeObjectsOfTheServiceWithIt) {
    for (const bool unsubscribes : {true, false}) {
        auto phone = Client().phone();
        std::uint32_t cookie = 0;
        {
            auto* const sink = new Sink;
            const auto held = ComPtr<IEventSink>::adopt(sink);
            sink->held = Client().phone();
            ASSERT_EQ(sink->held->lock(1), com::kOk);
            ASSERT_EQ(partOf<IEventSubscription>(phone)->subscribe(held, cookie), com::kOk);
        }
        if (unsubscribes) {
            EXPECT_EQ(partOf<IEventSubscription>(phone)->unsubscribe(cookie), com::kOk);
        }
        phone.reset();
        EXPECT_EQ(Client().phone()->lock(1), com::kOk) << "the sink's client is still there";
    }
}

TEST_F(ServiceTest, TheServiceEndsUnderItsClients) {
    std::atomic<int> working = 0;
    std::vector<std::thread> clients;
    for (std::uint16_t number = 0; number < 2; ++number) {
        clients.emplace_back([&working, number] {
            const Apartment apartment;
            const Subscriber own;
            ++working;
            for (;;) {
                const Answer written = send(own.phone, nvWrite(number, 0x11));
                if (written.status == com::kDisconnected) {
                    break;
                }
                const Answer read = send(own.phone, nvRead(number));
                EXPECT_TRUE(com::failed(read.status) || read.bytes.at(kNvDataOffset) == 0x11);
                dispatchAll();
            }
            dispatchAll();
        });
    }
    EXPECT_TRUE(eventually([&] { return working == 2 && service_->faults("COM1").count(Call::kSend) > 100; }));
    service_->faults("COM1").add({.call = Call::kSend, .firstCall = 50, .delayMs = 1000000});
    service_.reset(); // also out of the middle of a delay
    for (std::thread& client : clients) {
        client.join();
    }
}

} // namespace

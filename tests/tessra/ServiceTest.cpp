#include "ServiceClient.h"
#include "platform/window/TopLevelWindow.h"
#include "tessra/Port.h"
#include "tests/support/ErrorLog.h"
#include "tests/support/TemporaryFolder.h"

#include <gmock/gmock.h>

#include <atomic>
#include <optional>

using namespace tessra;
using testing::Each;
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

TEST_F(ServiceTest, APortIsDescribedAsItIs) {
    const Client client;
    PortDescription port;
    EXPECT_EQ(client.agent->describePort(1, port), com::kOk);
    EXPECT_EQ(port.portName + std::to_string(port.state), "COM11") << "not open";
    EXPECT_EQ(client.agent->keepOpen({1, 3}), com::kInvalidArgument);
    EXPECT_EQ(client.agent->keepOpen({1, 2}), com::kOk);
    EXPECT_EQ(client.agent->describePort(1, port), com::kOk);
    EXPECT_EQ(port.portName + std::to_string(port.state), "COM12");
    EXPECT_EQ(client.agent->describePort(2, port), com::kOk);
    EXPECT_EQ(port.portName + std::to_string(port.state), "COM20");
    EXPECT_EQ(client.agent->describePort(3, port), com::kInvalidArgument);
    ComPtr<IPhonePort> none;
    EXPECT_EQ(client.ports->portByNumber(2, none), kPhoneNotPresent);
    EXPECT_EQ(client.ports->portByNumber(3, none), com::kInvalidArgument);
}

TEST_F(ServiceTest, SendRefusesWhatItCannotCarry) {
    const auto phone = Client().phone();
    const Bytes longest(kMaxPacketBytes, 0x3B);
    EXPECT_EQ(send(phone, {0x00}, kVersionAnswerBytes - 1).status, kPacketTooLong);
    EXPECT_EQ(send(phone, longest).bytes, longest);
    EXPECT_EQ(send(phone, Bytes(kMaxPacketBytes + 1, 0x3B)).status, kPacketTooLong);
    EXPECT_EQ(send(phone, {0x00}, kVersionAnswerBytes, 0).status, kZeroTimeout);
    EXPECT_EQ(send(phone, {0x77}).status, kBadPhoneResponse) << "a command that the phone does not know";
    EXPECT_EQ(service_->sentPackets("COM1"), (std::vector<Bytes>{{0x00}, longest, {0x77}}));
}

TEST_F(ServiceTest, APortThatIsAddedIsFoundAtOnce) {
    for (const auto wrapping : {ServiceHost::Wrapping::kAlways, ServiceHost::Wrapping::kWhereConfigured}) {
        ServiceHost host(phonesOn({"COM1"}), wrapping);
        const Client client;
        PortConfig port = phonesOn({"COM5"}).ports[0];
        EXPECT_TRUE(host.addPort(port));
        EXPECT_FALSE(host.addPort(port));
        port.name = "other";
        EXPECT_FALSE(host.addPort(port)) << "the same number";
        std::vector<std::uint16_t> numbers;
        EXPECT_EQ(client.agent->portNumbers(numbers), com::kOk);
        EXPECT_THAT(numbers, ElementsAre(1, 5));
        EXPECT_EQ(send(client.phone(5), {0x00}).status, com::kOk);
    }
}

// A phone whose answer is always the same.
class FixedAnswer final : public PhoneLink {
public:
    explicit FixedAnswer(Bytes answer) : answer_(std::move(answer)) {}
    void start(std::function<void()>) override {}
    void open() override {}
    void release() override {}
    void close() override {}
    PhoneView look() override { return {true, PhoneState::kPresent, PhoneMode::kOnline, 1, com::kOk, ""}; }
    Status exchange(std::span<const std::uint8_t>, std::uint32_t, Bytes& answer) override {
        answer = answer_;
        return com::kOk;
    }

private:
    const Bytes answer_;
};

TEST(ChangeOfMode, IsAgreedToByTheSamePacketAlone) {
    const std::pair<Bytes, Status> rows[] = {
        {{0x29, 4, 0}, com::kOk},          {{0x29}, kDifferentMode},           {{0x29, 1, 0}, kDifferentMode},
        {{0x29, 4, 0, 0}, kDifferentMode}, {{24, 0x29, 4, 0}, kDifferentMode}, {{}, kDifferentMode},
    };
    for (const auto& [answer, status] : rows) {
        const auto port = std::make_shared<Port>("COM1", 1, std::make_shared<FixedAnswer>(answer));
        const PortUse use(port);
        EXPECT_EQ(port->changeMode(port->newClient(), 4), status) << testing::PrintToString(answer);
        port->close();
    }
}

TEST_F(ServiceTest, ALockBelongsToOneClient) {
    auto first = Client().phone();
    const auto second = Client().phone();
    EXPECT_EQ(first->lock(1), com::kOk);
    EXPECT_EQ(send(first, {0x00}).status, com::kOk);
    EXPECT_EQ(send(second, {0x00}).status, kLockedForExclusiveUse);
    EXPECT_EQ(second->changeMode(4), kLockedForExclusiveUse);
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
        const Client client;
        const auto phone = client.phone();
        const auto security = securityOf(phone);
        const auto events = partOf<IEventSubscription>(phone);
        const auto registry = created<IClientRegistry>(kClientRegistryClass);
        ComPtr<IPortCollection> ports;
        std::vector<std::uint16_t> numbers;
        ComPtr<IPhonePort> port;
        const auto answers = [&] {
            return std::vector<Status>{client.server->portCollection(ports), client.agent->portNumbers(numbers),
                                       client.ports->portByNumber(1, port),  registry->unregisterClient(1),
                                       send(phone, {0x00}).status,           phone->changeMode(4),
                                       security->sendCode(0, "000000", 0),   events->unsubscribe(1)};
        };
        onOtherThread([&] { EXPECT_THAT(answers(), Each(com::kWrongThread)); });
        std::thread([&] { EXPECT_THAT(answers(), Each(com::kNotInitialized)); }).join();
        EXPECT_TRUE(window::findWindow(kTaskWindowClass));
        service_.reset();
        host.reset();
        EXPECT_FALSE(window::findWindow(kTaskWindowClass));
        EXPECT_THAT(answers(), Each(com::kDisconnected));
        ComPtr<com::Unknown> object;
        EXPECT_EQ(com::createInstance(kServerClass, com::kAnyServer, object), com::kClassNotRegistered);
    }
}

TEST_F(ServiceTest, WrittenItemsLastAndOneServiceHoldsAMemory) {
    const TemporaryFolder folder;
    ServiceConfig memory = phonesOn({"COM1"});
    memory.ports[0].memory = folder / "m";
    const ErrorLog log;
    service_.emplace(memory);
    auto phone = Client().phone();
    EXPECT_EQ(send(phone, nvWrite(500, 0x5A)).status, com::kOk);
    const HostedService other(memory); // hides the first in the class table
    const Client client;
    ComPtr<IPhonePort> none;
    EXPECT_EQ(client.ports->portByNumber(1, none), kPhoneNotPresent);
    EXPECT_TRUE(log.contains("this phone memory is in use: this program uses it already"));
    phone.reset();
    EXPECT_EQ(send(client.phone(), nvRead(500)).bytes.at(kNvDataOffset), 0x5A) << "the memory stays locked";
}

TEST_F(ServiceTest, EventsArriveInTheSubscribersApartment) {
    const Subscriber own;
    const auto& events = own.sink->events;
    onOtherThread([&] {
        Client().phone()->changeMode(4);
        service_->setPresent("COM1", false);
    });
    EXPECT_TRUE(events.empty()) << "delivered on another thread than the subscriber's";
    dispatchAll();
    EXPECT_THAT(events,
                ElementsAre(Event{4, 0x29, std::string("\x29\x04\0", 3)}, Event{3, 4, "COM1"}, Event{2, 4, "COM1"}));
}

TEST_F(ServiceTest, NothingIsHeardAfterTheEndOfASubscriptionOrOfTheService) {
    const Subscriber own;
    send(own.phone, {0x3B});
    EXPECT_EQ(own.events->unsubscribe(own.cookie), com::kOk);
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

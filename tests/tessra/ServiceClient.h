#pragma once

#include "platform/com/Apartment.h"
#include "platform/com/ClassTable.h"
#include "platform/kernel/LittleEndian.h"
#include "platform/window/MessageQueue.h"
#include "tessra/Interfaces.h"
#include "tessra/Packet.h"
#include "tests/support/Eventually.h"
#include "tests/support/HostedService.h"

#include <gtest/gtest.h>

#include <functional>
#include <thread>
#include <vector>

using Bytes = std::vector<std::uint8_t>;

/// Puts a thread into an apartment for a scope.
class Apartment {
public:
    Apartment() { com::enterApartment(); }
    ~Apartment() { com::leaveApartment(); }
};

template <class Interface, class Object>
com::ComPtr<Interface> partOf(const com::ComPtr<Object>& object) {
    com::ComPtr<Interface> found;
    com::throwIfFailed(object.query(found));
    return found;
}

template <class Interface>
com::ComPtr<Interface> created(const com::ClassId& classId) {
    com::ComPtr<com::Unknown> object;
    com::throwIfFailed(com::createInstance(classId, com::kAnyServer, object));
    return partOf<Interface>(object);
}

/// A client of the service that runs in this process, in the calling thread's apartment.
struct Client {
    Client() {
        com::throwIfFailed(server->setInterfaceVersion(tessra::kInterfaceVersion));
        com::ComPtr<com::Unknown> object;
        com::throwIfFailed(server->createAgent(tessra::kConfigurationAgentName, -1, agentHandle, object));
        agent = partOf<tessra::IConfigurationAgent>(object);
        com::throwIfFailed(server->portCollection(ports));
    }

    com::ComPtr<tessra::IPhonePort> phone(std::uint16_t number = 1) const {
        com::ComPtr<tessra::IPhonePort> found;
        com::throwIfFailed(ports->portByNumber(number, found));
        return found;
    }

    com::ComPtr<tessra::IServer> server = created<tessra::IServer>(tessra::kServerClass);
    com::ComPtr<tessra::IConfigurationAgent> agent;
    com::ComPtr<tessra::IPortCollection> ports;
    std::uint16_t agentHandle = 0;
};

inline com::ComPtr<tessra::ISecurity> securityOf(const com::ComPtr<tessra::IPhonePort>& phone) {
    com::ComPtr<com::Unknown> object;
    com::throwIfFailed(phone->subObject(tessra::kSecuritySubObject, 0, object));
    return partOf<tessra::ISecurity>(object);
}

struct Answer {
    com::Status status = com::kOk;
    Bytes bytes;
};

inline Answer send(const com::ComPtr<tessra::IPhonePort>& phone, const Bytes& request, std::uint16_t capacity = 256,
                   std::uint32_t timeoutMs = 2000) {
    Answer answer;
    answer.bytes.resize(capacity);
    answer.status = partOf<tessra::ISyncSend>(phone)->sendSync(
        static_cast<std::uint32_t>(request.size()), request.data(), 1, 0, timeoutMs, capacity, answer.bytes.data());
    answer.bytes.resize(capacity);
    return answer;
}

/// The packet that reads an NV item, or writes one whose first byte is `first`.
inline Bytes nvRead(std::uint16_t item) {
    Bytes packet(tessra::kNvPacketBytes);
    packet[0] = 0x26;
    kernel::put16(packet.data() + tessra::kNvItemOffset, item);
    return packet;
}

inline Bytes nvWrite(std::uint16_t item, std::uint8_t first) {
    Bytes packet = nvRead(item);
    packet[0] = 0x27;
    packet[tessra::kNvDataOffset] = first;
    return packet;
}

inline void dispatchAll() {
    window::Message message;
    while (window::peek(message)) {
        window::dispatch(message);
    }
}

/// Runs `call` on a thread of its own, in an apartment of its own.
inline void onOtherThread(const std::function<void()>& call) {
    std::thread([&] {
        const Apartment apartment;
        call();
    }).join();
}

struct Event {
    std::uint32_t kind;
    std::uint16_t third;
    std::string data;
    friend bool operator==(const Event&, const Event&) = default;
};

class Sink : public com::Implements<tessra::IEventSink> {
public:
    com::Status onEvent(std::uint32_t dataLength, const std::uint8_t* data, std::uint32_t first, std::uint32_t,
                        std::uint16_t third, std::uint32_t fourth) override {
        EXPECT_EQ(com::currentApartment(), home);
        events.push_back({first, third, std::string(data, data + dataLength)});
        lastCounter = fourth;
        return com::kOk;
    }
    const com::ApartmentId home = com::currentApartment();
    std::vector<Event> events;
    std::uint32_t lastCounter = 0;
    com::ComPtr<tessra::IPhonePort> held; ///< something of the service
};

/// A subscription of `sink` to the events of the phone on a port.
struct Subscriber {
    explicit Subscriber(std::uint16_t port = 1) : phone(Client().phone(port)) {
        com::throwIfFailed(events->subscribe(held, cookie));
    }

    Sink* const sink = new Sink;
    const com::ComPtr<tessra::IEventSink> held = com::ComPtr<tessra::IEventSink>::adopt(sink);
    const com::ComPtr<tessra::IPhonePort> phone;
    const com::ComPtr<tessra::IEventSubscription> events = partOf<tessra::IEventSubscription>(phone);
    std::uint32_t cookie = 0;
};

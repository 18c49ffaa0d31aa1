#pragma once

#include "platform/com/Apartment.h"
#include "platform/com/ClassTable.h"
#include "platform/window/MessageQueue.h"
#include "tessra/Interfaces.h"
#include "tessra/Packet.h"
#include "tessra/Service.h"

#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <thread>
#include <vector>

using Bytes = std::vector<std::uint8_t>;

/// Puts a thread into an apartment for a scope.
class Apartment {
public:
    Apartment() {
        window::createQueue();
        com::enterApartment();
    }
    ~Apartment() { com::leaveApartment(); }
};

/// A client of the service that runs in this process, in the calling thread's apartment.
struct Client {
    Client() {
        com::ComPtr<com::Unknown> created;
        com::throwIfFailed(com::createInstance(tessra::kServerClass, com::kAnyServer, created));
        com::throwIfFailed(created.query(server));
        com::throwIfFailed(server->setInterfaceVersion(tessra::kInterfaceVersion));
        com::ComPtr<com::Unknown> unknownAgent;
        com::throwIfFailed(server->createAgent(tessra::kConfigurationAgentName, -1, agentHandle, unknownAgent));
        com::throwIfFailed(unknownAgent.query(agent));
        com::throwIfFailed(server->portCollection(ports));
    }

    com::ComPtr<tessra::IPhonePort> phone(std::uint16_t number = 1) const {
        com::ComPtr<tessra::IPhonePort> found;
        com::throwIfFailed(ports->portByNumber(number, found));
        return found;
    }

    com::ComPtr<tessra::IServer> server;
    com::ComPtr<tessra::IConfigurationAgent> agent;
    com::ComPtr<tessra::IPortCollection> ports;
    std::uint16_t agentHandle = 0;
};

struct Answer {
    com::Status status = com::kOk;
    Bytes bytes;
};

inline Answer send(const com::ComPtr<tessra::IPhonePort>& phone, const Bytes& request, std::uint16_t capacity = 256,
                   std::uint32_t timeoutMs = 2000) {
    com::ComPtr<tessra::ISyncSend> sync;
    com::throwIfFailed(phone.query(sync));
    Answer answer;
    answer.bytes.resize(capacity);
    answer.status = sync->sendSync(static_cast<std::uint32_t>(request.size()), request.data(), 1, 0, timeoutMs,
                                   capacity, answer.bytes.data());
    answer.bytes.resize(capacity);
    return answer;
}

inline com::Status sendCode(const com::ComPtr<tessra::IPhonePort>& phone, const std::string& code) {
    com::ComPtr<com::Unknown> object;
    com::ComPtr<tessra::ISecurity> security;
    com::throwIfFailed(phone->subObject(tessra::kSecuritySubObject, 0, object));
    com::throwIfFailed(object.query(security));
    return security->sendCode(0, code, 0);
}

inline Bytes nvRead(std::uint16_t item) {
    Bytes packet(tessra::kNvPacketBytes);
    packet[0] = 0x26;
    tessra::put16(packet, tessra::kNvItemOffset, item);
    return packet;
}

inline Bytes nvWrite(std::uint16_t item, std::uint8_t first) {
    Bytes packet = nvRead(item);
    packet[0] = 0x27;
    packet[tessra::kNvDataOffset] = first;
    return packet;
}

/// Runs `call` on a thread of its own, in an apartment of its own unless told otherwise.
inline void onOtherThread(const std::function<void()>& call, bool inApartment = true) {
    std::thread([&] {
        if (inApartment) {
            const Apartment apartment;
            call();
        } else {
            call();
        }
    }).join();
}

inline bool waitUntil(const std::function<bool()>& condition) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (!condition()) {
        if (std::chrono::steady_clock::now() > deadline) {
            return false;
        }
        std::this_thread::yield();
    }
    return true;
}

/// COM1 with a phone that keeps nothing and is back 50 ms after a reset; COM2 without a phone.
inline tessra::ServiceConfig twoPorts() {
    tessra::ServiceConfig config;
    config.ports.resize(2);
    config.ports[0].name = "COM1";
    config.ports[0].number = 1;
    config.ports[0].phone.awayMs = 50;
    config.ports[1].name = "COM2";
    config.ports[1].number = 2;
    config.ports[1].present = false;
    return config;
}

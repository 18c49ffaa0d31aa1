#pragma once

#include "tessra/host/ServiceHost.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

/// A configuration of the given ports ("COM7") with phones that keep nothing, and that leave and come back quickly when
/// they are reset.
inline tessra::ServiceConfig phonesOn(const std::vector<std::string>& portNames) {
    tessra::ServiceConfig config;
    for (const std::string& name : portNames) {
        tessra::PortConfig port;
        port.name = name;
        port.number = static_cast<std::uint16_t>(std::stoi(name.substr(3)));
        port.phone.awayMs = 60;
        config.ports.push_back(port);
    }
    return config;
}

inline tessra::FaultRule faultAt(tessra::Call call, tessra::FaultKind kind, std::uint32_t value = 0) {
    tessra::FaultRule rule;
    rule.call = call;
    rule.kind = kind;
    rule.value = value;
    return rule;
}

inline tessra::FaultRule serverCodeAt(tessra::Call call, std::uint32_t code) {
    return faultAt(call, tessra::FaultKind::kServerCode, code);
}

/// The phone service in this process, with what tests do to its phones. It ends with this object.
class HostedService {
public:
    explicit HostedService(const tessra::ServiceConfig& config,
                           const std::shared_ptr<tessra::PacketRecorder>& recorder = nullptr)
        : host_(config, tessra::ServiceHost::Wrapping::kAlways, recorder) {}

    /// The faults of the calls on a port, and of those that belong to no port: add(rule), clear(), count(call).
    tessra::FaultGate& faults(const std::string& port) { return host_.phone(port).faults(); }
    tessra::FaultGate& faults() { return host_.faults(); }

    /// Takes the phone off the port, or puts it back.
    void setPresent(const std::string& port, bool present) { host_.phone(port).setPresent(present); }
    /// Changes the phone's mode, to the loader modes too.
    tessra::Status setMode(const std::string& port, tessra::PhoneMode mode) { return host_.phone(port).setMode(mode); }
    /// What the port's state() answers instead of the truth, until it is given nothing again.
    void overrideState(const std::string& port, std::optional<std::uint16_t> state) {
        host_.phone(port).overrideState(state);
    }
    /// The last packets that clients have sent to the phone on the port, the oldest first.
    std::vector<std::vector<std::uint8_t>> sentPackets(const std::string& port) {
        return host_.phone(port).sentPackets();
    }
    /// The registered clients, by ascending handle.
    std::vector<tessra::RegisteredClient> clients() const { return host_.clients(); }

private:
    tessra::ServiceHost host_;
};

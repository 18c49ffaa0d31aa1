#pragma once

#include "tessra/EventThread.h"
#include "tessra/Faults.h"
#include "tessra/Port.h"
#include "tessra/ServiceConfig.h"

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace tessra {

/// A program that has registered with the service.
struct RegisteredClient {
    std::uint16_t handle = 0;
    std::string clientName;
    std::string machineName;
    std::uint32_t processId = 0;
};

/// What all objects of one service share, kept alive by them. Any thread may call any method.
class ServiceCore {
public:
    explicit ServiceCore(const ServiceConfig& config);
    ~ServiceCore() { close(); }
    /// From now on every call of a client answers com::kDisconnected.
    void close();

    FaultGate& faults() { return gate_; }
    const std::vector<std::shared_ptr<Port>>& ports() const { return ports_; }
    /// Null where there is no such port.
    std::shared_ptr<Port> portNumbered(std::uint16_t number) const;
    std::shared_ptr<Port> portNamed(std::string_view name) const;

    /// Handles are neither 0 nor 0xFFFF; 0 where none is left.
    std::uint16_t newAgentHandle();
    /// False for a handle that is not in use.
    bool releaseAgentHandle(std::uint16_t handle);
    std::uint16_t registerClient(RegisteredClient client);
    bool unregisterClient(std::uint16_t handle);
    std::vector<RegisteredClient> clients() const;

private:
    FaultGate gate_;
    std::vector<std::shared_ptr<Port>> ports_; ///< constant
    const std::shared_ptr<EventThread> events_ = std::make_shared<EventThread>();
    mutable std::mutex lock_; ///< guards all that follows
    std::set<std::uint16_t> agents_;
    std::map<std::uint16_t, RegisteredClient> clients_;
};

} // namespace tessra

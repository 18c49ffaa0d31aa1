#pragma once

#include "tessra/Port.h"

#include <atomic>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <vector>

namespace tessra {

/// A program that has registered with the service.
struct RegisteredClient {
    std::uint16_t handle = 0;
    std::string clientName;
    std::string machineName;
    std::uint32_t processId = 0;
};

/// The phone service: its ports, and what its clients share. Its host makes it, lets clients reach it through
/// makeServer() and makeClientRegistry() (see ServiceObjects.h), and closes it in the end; the objects that clients
/// hold keep it alive, closed. Any thread may call any method.
class Service {
public:
    explicit Service(std::vector<std::shared_ptr<Port>> ports) : ports_(std::move(ports)) {}
    ~Service() { close(); }
    Service(const Service&) = delete;
    Service& operator=(const Service&) = delete;

    /// From now on every call of a client answers com::kDisconnected, and the phones are let go.
    void close();
    bool isClosed() const { return closed_; }

    /// The service's from now on. False, and nothing, where it has a port of that name or number, or has ended.
    bool addPort(const std::shared_ptr<Port>& port);
    /// In the order in which they were configured and added.
    std::vector<std::shared_ptr<Port>> ports() const;
    /// Null where there is no such port.
    std::shared_ptr<Port> portNumbered(std::uint16_t number) const;
    std::shared_ptr<Port> portNamed(const std::string& name) const;

    /// Handles are neither 0 nor 0xFFFF; 0 where none is left.
    std::uint16_t newAgentHandle();
    /// False for a handle that is not in use.
    bool releaseAgentHandle(std::uint16_t handle);
    std::uint16_t registerClient(RegisteredClient client);
    bool unregisterClient(std::uint16_t handle);
    /// By ascending handle.
    std::vector<RegisteredClient> clients() const;

private:
    std::atomic<bool> closed_ = false;
    mutable std::mutex lock_; ///< guards all that follows
    std::vector<std::shared_ptr<Port>> ports_;
    std::set<std::uint16_t> agents_;
    std::map<std::uint16_t, RegisteredClient> clients_;
};

} // namespace tessra

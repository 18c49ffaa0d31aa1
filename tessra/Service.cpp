#include "tessra/Service.h"

#include <algorithm>

namespace tessra {
namespace {

// The lowest handle that is not in use; 0 where none is left.
template <class Container>
std::uint16_t freeHandle(const Container& used) {
    for (std::uint16_t handle = 1; handle < 0xFFFF; ++handle) {
        if (!used.contains(handle)) {
            return handle;
        }
    }
    return 0;
}

} // namespace

void Service::close() {
    {
        const std::lock_guard guard(lock_); // a port that is just being added is among them, or is refused
        closed_ = true;
    }
    for (const auto& port : ports()) {
        port->close();
    }
}

bool Service::addPort(const std::shared_ptr<Port>& port) {
    const std::lock_guard guard(lock_);
    const bool isNew = std::ranges::none_of(
        ports_, [&](const auto& other) { return other->name() == port->name() || other->number() == port->number(); });
    if (isNew && !closed_) {
        ports_.push_back(port);
    }
    return isNew && !closed_;
}

std::vector<std::shared_ptr<Port>> Service::ports() const {
    const std::lock_guard guard(lock_);
    return ports_;
}

std::shared_ptr<Port> Service::portNumbered(std::uint16_t number) const {
    const std::lock_guard guard(lock_);
    const auto found =
        std::find_if(ports_.begin(), ports_.end(), [number](const auto& port) { return port->number() == number; });
    return found == ports_.end() ? nullptr : *found;
}

std::shared_ptr<Port> Service::portNamed(const std::string& name) const {
    const std::lock_guard guard(lock_);
    const auto found =
        std::find_if(ports_.begin(), ports_.end(), [&](const auto& port) { return port->name() == name; });
    return found == ports_.end() ? nullptr : *found;
}

std::uint16_t Service::newAgentHandle() {
    const std::lock_guard guard(lock_);
    const std::uint16_t handle = freeHandle(agents_);
    if (handle != 0) {
        agents_.insert(handle);
    }
    return handle;
}

bool Service::releaseAgentHandle(std::uint16_t handle) {
    const std::lock_guard guard(lock_);
    return agents_.erase(handle) == 1;
}

std::uint16_t Service::registerClient(RegisteredClient client) {
    const std::lock_guard guard(lock_);
    client.handle = freeHandle(clients_);
    if (client.handle != 0) {
        clients_.emplace(client.handle, client);
    }
    return client.handle;
}

bool Service::unregisterClient(std::uint16_t handle) {
    const std::lock_guard guard(lock_);
    return clients_.erase(handle) == 1;
}

std::vector<RegisteredClient> Service::clients() const {
    const std::lock_guard guard(lock_);
    std::vector<RegisteredClient> all;
    for (const auto& [handle, client] : clients_) {
        all.push_back(client);
    }
    return all;
}

} // namespace tessra

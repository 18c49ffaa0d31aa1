#include "phonelink/ServerLink.h"

#include "platform/kernel/Trace.h"

#include <exception>
#include <utility>

namespace {

void logFailure(std::string_view what) {
    kernel::logError("ServerLink::releaseServer - " + std::string(what));
}

} // namespace

void ServerLink::releaseServer() {
    eventSubscription.endQuietly();
    if (phoneConnection) {
        phoneConnection->detach();
    }
    try {
        if (const auto handle = std::exchange(agentHandle, std::nullopt)) {
            const com::Status released = server()->releaseAgent(*handle);
            // A service that has ended has released it already.
            if (released != com::kDisconnected) {
                com::throwIfFailed(released);
            }
        }
    } catch (const std::exception& error) {
        logFailure(error.what());
    } catch (...) {
        logFailure("unknown exception");
    }
    if (serverConnection) {
        serverConnection->detach();
    }
    agent.reset();
    ownPort_.clear();
    ownNumbers_.clear();
    phoneConnection.reset();
    port.reset();
    serverConnection.reset();
}

com::ComPtr<tessra::IServer> ServerLink::server() const {
    auto server = serverConnection ? serverConnection->server() : nullptr;
    if (!server) {
        com::raise(com::kPointer);
    }
    return server;
}

std::uint16_t ServerLink::portNumber(const std::string& comPort) const {
    com::ComPtr<tessra::IPortCollection> ports;
    com::throwIfFailed(server()->portCollection(ports));
    com::ComPtr<tessra::IPortNameTranslator> translator;
    com::throwIfFailed(ports->translator(translator));
    std::uint16_t number = 0;
    com::throwIfFailed(translator->portNumber(comPort, number));
    return number;
}

void ServerLink::attachPort(const std::string& comPort) {
    const std::uint16_t number = portNumber(comPort);
    keepOwnPort(comPort, number);
    if (!port->select(server(), number)) {
        // The selection keeps the number of the port before; a fresh one lets the user go back to that port.
        port = std::make_unique<CTESSRAPort>();
    }
    phoneConnection->attach(port->phone());
}

void ServerLink::openOwnPort(const std::string& comPort) {
    if (comPort == ownPort_) {
        return;
    }
    try {
        keepOwnPort(comPort, portNumber(comPort));
    } catch (const com::ComError& error) {
        if (error.code() != com::kFail) {
            throw;
        }
    }
}

void ServerLink::openAllPorts() {
    std::vector<std::uint16_t> numbers;
    com::throwIfFailed(agent->portNumbers(numbers));
    com::throwIfFailed(agent->keepOpen(numbers));
}

void ServerLink::closeOtherPorts() noexcept {
    try {
        if (agent) {
            agent->keepOpen(ownNumbers_); // fails where the service has ended, and has closed them
        }
    } catch (...) {
        logFailure("ports stay open"); // memory is short; the next change of port tries again
    }
}

void ServerLink::keepOwnPort(const std::string& comPort, std::uint16_t number) {
    com::throwIfFailed(agent->keepOpen({number}));
    ownPort_ = comPort;
    ownNumbers_ = {number};
}

std::string ServerLink::portProblem(const std::string& comPort) const {
    tessra::PortDescription description;
    com::throwIfFailed(agent->describePort(portNumber(comPort), description));
    return description.problem;
}

void ServerLink::forEachPortWithPhone(
    const std::function<void(std::uint16_t, const tessra::PortDescription&)>& visit) const {
    std::vector<std::uint16_t> numbers;
    com::throwIfFailed(agent->portNumbers(numbers));
    for (const std::uint16_t number : numbers) {
        tessra::PortDescription description;
        com::throwIfFailed(agent->describePort(number, description));
        if (description.state == tessra::kPortWithPhone) {
            visit(number, description);
        }
    }
}

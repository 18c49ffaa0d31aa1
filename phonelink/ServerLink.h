#pragma once

#include "phonelink/ComThreadClient.h"
#include "phonelink/EventSubscription.h"
#include "phonelink/ServerObjects.h"

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

/// All that one session holds of the phone service. Made by the session and touched on the COM worker thread alone.
///
/// It is an object apart from the session because its release may outlast it: a session that goes waits for its turn on
/// the worker and from then on 10 s at most for the release, and a release that takes longer must find everything it
/// works on still there. The worker keeps this object until the release has run.
class ServerLink : public ComThreadClient {
public:
    void invoke(FunctionWithArgument function, std::uintptr_t argument) override { (this->*function)(argument); }
    void invoke(Function function) override { (this->*function)(); }

    /// Lets go of everything: the phone and its events, the agent, the server. Failures are dropped, since there is
    /// nobody left to tell; that of the agent's release is logged. Leaves the link as it was when it was made.
    void releaseServer();

    /// Ends the subscription to the phone's events, if one stands; a failure is logged.
    void endSubscription() { eventSubscription.endQuietly(); }

    /// The server's root object; com::ComError with com::kPointer where none is attached.
    com::ComPtr<tessra::IServer> server() const;

    /// Selects the port named `comPort` and attaches its phone to `phoneConnection`, which must exist. The port is the
    /// session's own from now on, also where this fails. Throws com::ComError, or CTESSRAPort::CTESSRAPortException
    /// where the port has no phone.
    void attachPort(const std::string& comPort);

    /// The service keeps the session's own port open, the one that it last asked for. These change which one that is,
    /// if there is a port of that name, open all others too, and let these go again. The first two throw com::ComError.
    void openOwnPort(const std::string& comPort);
    void openAllPorts();
    void closeOtherPorts() noexcept;

    /// What the service says keeps the port named `comPort` from being used; empty where it knows nothing of the kind.
    /// Throws com::ComError.
    std::string portProblem(const std::string& comPort) const;

    /// Asks the agent for the description of each port in the order of its list, and calls `visit` with the number and
    /// the description of each that carries a phone. Throws com::ComError.
    void forEachPortWithPhone(const std::function<void(std::uint16_t, const tessra::PortDescription&)>& visit) const;

    /// The number of the port named `comPort`. Throws com::ComError.
    std::uint16_t portNumber(const std::string& comPort) const;

    std::unique_ptr<ServerConnection> serverConnection;
    std::unique_ptr<CTESSRAPort> port;
    std::unique_ptr<PhoneConnection> phoneConnection;
    EventSubscription eventSubscription;
    com::ComPtr<tessra::IConfigurationAgent> agent;
    std::optional<std::uint16_t> agentHandle; ///< while the server has an agent of ours

private:
    void keepOwnPort(const std::string& comPort, std::uint16_t number);

    std::string ownPort_;                   ///< the name of the session's own port
    std::vector<std::uint16_t> ownNumbers_; ///< and its number; empty while it has none
};

#pragma once

#include "platform/com/ClassTable.h"
#include "platform/window/TopLevelWindow.h"
#include "tessra/Service.h"
#include "tessra/host/ServiceConfig.h"
#include "tessra/simulator/FaultyObjects.h"
#include "tessra/trace/PacketRecorder.h"

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace tessra {

/// The phone service as a configuration describes it, hosted in this process for as long as this object lives:
/// kServerClass and kClientRegistryClass are in the class table (in-process and local contexts), and a window of class
/// kTaskWindowClass exists if the configuration wants it. The program owns it; any thread may call it. When it goes,
/// the phones' memories are closed, and the objects that clients still hold answer com::kDisconnected.
class ServiceHost {
public:
    /// Whether the service is wrapped so that its calls and phones can be told to misbehave.
    enum class Wrapping : std::uint8_t { kWhereConfigured, kAlways };

    /// Opens no port: each is opened when a client wants it. One whose phone can't be had then (its memory is wrong, or
    /// in use) is there without it; the error log says why.
    /// std::invalid_argument for a configuration with a rule that has a faultProblem(). `recorder`, if there is one,
    /// gets the packets of all ports.
    explicit ServiceHost(const ServiceConfig& config, Wrapping wrapping = Wrapping::kWhereConfigured,
                         std::shared_ptr<PacketRecorder> recorder = nullptr);
    ~ServiceHost();
    ServiceHost(const ServiceHost&) = delete;
    ServiceHost& operator=(const ServiceHost&) = delete;

    /// Takes up one more port, which clients find from now on. False where there is one of its name or number already.
    bool addPort(const PortConfig& port);
    /// Whether clients find a port of that name and number.
    bool hasPort(const std::string& name, std::uint16_t number) const;

    /// The registered clients, by ascending handle.
    std::vector<RegisteredClient> clients() const { return service_->clients(); }

    /// What can be told to misbehave, of a service that is wrapped: the calls that belong to no port, and the phone on
    /// the port of this name. std::logic_error where there is no such thing.
    FaultGate& faults();
    FaultyLink& phone(const std::string& portName);

private:
    const std::shared_ptr<PacketRecorder> recorder_; ///< null: nothing is recorded
    std::shared_ptr<ServiceFaults> faults_;          ///< null: the service is not wrapped
    std::shared_ptr<Service> service_;
    std::optional<com::ClassRegistration> server_;
    std::optional<com::ClassRegistration> registry_;
    std::optional<window::TopLevelWindow> taskWindow_;
};

} // namespace tessra

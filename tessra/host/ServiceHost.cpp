#include "tessra/host/ServiceHost.h"

#include "tessra/ServiceObjects.h"
#include "tessra/serial/SerialLine.h"
#include "tessra/simulator/SimulatedPhone.h"
#include "tessra/trace/TracedLink.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

namespace tessra {
namespace {

constexpr std::uint32_t kContexts = com::kInProcessServer | com::kLocalServer;

bool wantsFaults(const ServiceConfig& config) {
    return !config.faults.empty() || std::any_of(config.ports.begin(), config.ports.end(), [](const PortConfig& port) {
        return !port.faults.empty() || !port.present;
    });
}

// The way to the phone of a port; where there are faults, one that can be told to misbehave. A line records what goes
// over it; of a simulated phone's packets those are recorded that clients send and see, faults included.
std::shared_ptr<PhoneLink> makeLink(const PortConfig& port, ServiceFaults* faults,
                                    const std::shared_ptr<PacketRecorder>& recorder) {
    const bool isLine = !port.line.device.empty();
    const auto tap = recorder ? std::optional(PacketTap(port.name, recorder)) : std::nullopt;
    std::shared_ptr<PhoneLink> link;
    std::function<void()> putBack = [] {};
    if (!isLine) {
        const auto phone = std::make_shared<SimulatedPhone>(port.name, port.phone, port.memory, port.initial);
        putBack = [phone] { phone->restart(); };
        link = phone;
    } else {
        link = std::make_shared<SerialLine>(port.name, port.line, tap);
    }
    if (faults != nullptr) {
        const auto wrapped = std::make_shared<FaultyLink>(link, port.present, port.faults, putBack);
        faults->addPhone(port.number, wrapped);
        link = wrapped;
    }
    return tap && !isLine ? std::make_shared<TracedLink>(link, *tap) : link;
}

std::shared_ptr<Service> makeService(const ServiceConfig& config, ServiceFaults* faults,
                                     const std::shared_ptr<PacketRecorder>& recorder) {
    std::vector<std::shared_ptr<Port>> ports;
    for (const PortConfig& port : config.ports) {
        ports.push_back(std::make_shared<Port>(port.name, port.number, makeLink(port, faults, recorder)));
    }
    return std::make_shared<Service>(std::move(ports));
}

} // namespace

ServiceHost::ServiceHost(const ServiceConfig& config, Wrapping wrapping, std::shared_ptr<PacketRecorder> recorder)
    : recorder_(std::move(recorder)) {
    if (wrapping == Wrapping::kAlways || wantsFaults(config)) {
        faults_ = std::make_shared<ServiceFaults>(config.faults);
    }
    service_ = makeService(config, faults_.get(), recorder_);
    com::ClassFactory servers = [service = service_](ComPtr<com::Unknown>& out) { return makeServer(service, out); };
    com::ClassFactory registries = [service = service_](ComPtr<com::Unknown>& out) {
        return makeClientRegistry(service, out);
    };
    if (faults_) {
        servers = faultyServers(faults_, servers);
        registries = faultyRegistries(faults_, registries);
    }
    server_.emplace(kServerClass, kContexts, std::move(servers));
    registry_.emplace(kClientRegistryClass, kContexts, std::move(registries));
    if (config.taskWindow) {
        taskWindow_.emplace(kTaskWindowClass);
    }
}

ServiceHost::~ServiceHost() {
    taskWindow_.reset();
    registry_.reset();
    server_.reset();
    if (faults_) {
        faults_->gate.close();
    }
    service_->close();
}

bool ServiceHost::addPort(const PortConfig& port) {
    return !service_->portNamed(port.name) && !service_->portNumbered(port.number) &&
           service_->addPort(std::make_shared<Port>(port.name, port.number, makeLink(port, faults_.get(), recorder_)));
}

bool ServiceHost::hasPort(const std::string& name, std::uint16_t number) const {
    const auto port = service_->portNamed(name);
    return port && port->number() == number;
}

FaultGate& ServiceHost::faults() {
    if (!faults_) {
        throw std::logic_error("the phone service is not wrapped in faults");
    }
    return faults_->gate;
}

FaultyLink& ServiceHost::phone(const std::string& portName) {
    const auto port = service_->portNamed(portName);
    if (!port || !faults_) {
        throw std::logic_error("the phone service has no faults for a port '" + portName + "'");
    }
    return *faults_->phone(port->number());
}

} // namespace tessra

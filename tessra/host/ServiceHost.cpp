#include "tessra/host/ServiceHost.h"

#include "tessra/ServiceObjects.h"
#include "tessra/serial/SerialLine.h"
#include "tessra/simulator/SimulatedPhone.h"

#include <algorithm>
#include <stdexcept>

namespace tessra {
namespace {

constexpr std::uint32_t kContexts = com::kInProcessServer | com::kLocalServer;

bool wantsFaults(const ServiceConfig& config) {
    return !config.faults.empty() || std::any_of(config.ports.begin(), config.ports.end(), [](const PortConfig& port) {
        return !port.faults.empty() || !port.present;
    });
}

// The way to the phone of a port; where there are faults, one that can be told to misbehave.
std::shared_ptr<PhoneLink> makeLink(const PortConfig& port, ServiceFaults* faults) {
    std::shared_ptr<PhoneLink> link;
    std::function<void()> putBack = [] {};
    if (port.line.device.empty()) {
        const auto phone = std::make_shared<SimulatedPhone>(port.name, port.phone, port.memory, port.initial);
        putBack = [phone] { phone->restart(); };
        link = phone;
    } else {
        link = std::make_shared<SerialLine>(port.name, port.line);
    }
    if (faults == nullptr) {
        return link;
    }
    const auto wrapped = std::make_shared<FaultyLink>(link, port.present, port.faults, putBack);
    faults->addPhone(port.number, wrapped);
    return wrapped;
}

std::shared_ptr<Service> makeService(const ServiceConfig& config, ServiceFaults* faults) {
    std::vector<std::shared_ptr<Port>> ports;
    for (const PortConfig& port : config.ports) {
        ports.push_back(std::make_shared<Port>(port.name, port.number, makeLink(port, faults)));
    }
    return std::make_shared<Service>(std::move(ports));
}

} // namespace

ServiceHost::ServiceHost(const ServiceConfig& config, Wrapping wrapping) {
    if (wrapping == Wrapping::kAlways || wantsFaults(config)) {
        faults_ = std::make_shared<ServiceFaults>(config.faults);
    }
    service_ = makeService(config, faults_.get());
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
           service_->addPort(std::make_shared<Port>(port.name, port.number, makeLink(port, faults_.get())));
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

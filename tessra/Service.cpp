#include "tessra/Service.h"

#include "platform/com/ClassTable.h"
#include "platform/window/TopLevelWindow.h"
#include "tessra/ServiceObjects.h"

#include <optional>
#include <stdexcept>
#include <string>

namespace tessra {

// What makes the service known to the process.
struct Service::Hosting {
    static constexpr std::uint32_t kContexts = com::kInProcessServer | com::kLocalServer;

    explicit Hosting(const std::shared_ptr<ServiceCore>& core)
        : server(kServerClass, kContexts, [core](ComPtr<com::Unknown>& out) { return makeServer(core, out); }),
          registry(kClientRegistryClass, kContexts,
                   [core](ComPtr<com::Unknown>& out) { return makeClientRegistry(core, out); }) {}

    com::ClassRegistration server;
    com::ClassRegistration registry;
    std::optional<window::TopLevelWindow> taskWindow;
};

Service::Service(const ServiceConfig& config)
    : core_(std::make_shared<ServiceCore>(config)), hosting_(std::make_unique<Hosting>(core_)) {
    if (config.taskWindow) {
        hosting_->taskWindow.emplace(kTaskWindowClass);
    }
}

Service::~Service() {
    hosting_.reset();
    core_->close();
}

Port& Service::port(std::string_view name) {
    const auto port = core_->portNamed(name);
    if (!port) {
        throw std::out_of_range("the phone service has no port named '" + std::string(name) + "'");
    }
    return *port;
}

FaultGate& Service::faults() {
    return core_->faults();
}

std::vector<RegisteredClient> Service::clients() const {
    return core_->clients();
}

} // namespace tessra

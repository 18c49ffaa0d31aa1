#include "app/devices/DeviceDesk.h"

#include "tessra/host/ConfigEdit.h"

DeviceDesk::NewPort DeviceDesk::makePort(const devices::SerialDevice& device, std::uint32_t baud) {
    tessra::ServiceConfig config;
    if (std::filesystem::exists(serviceFile_)) {
        config = tessra::loadServiceConfig(serviceFile_);
    }
    // The file may have changed since the service has read it: what it says of a port then counts after a restart.
    if (const auto* present = tessra::portOn(config, device.path)) {
        const bool isThere = service_ != nullptr && service_->hasPort(present->name, present->number);
        return {present->name, isThere || (service_ != nullptr && service_->addPort(*present))};
    }
    const auto port = tessra::addPortTo(serviceFile_, tessra::freePortName(config),
                                        {.device = device.byId.empty() ? device.path : device.byId, .baud = baud});
    return {port.name, service_ != nullptr && service_->addPort(port)};
}

#pragma once

#include "platform/devices/DeviceSource.h"
#include "tessra/host/ServiceHost.h"

#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>

/// What the program does with serial devices that are no ports yet. The program owns one; user-interface thread.
class DeviceDesk {
public:
    struct NewPort {
        std::string name;
        bool isThere = false; ///< false: only once the program has been started anew
    };

    /// `serviceFile` is the file of the service's ports; `service` may be null, and outlives this object. The devices
    /// are those in `deviceFolder`, or the system's where that is empty.
    DeviceDesk(std::filesystem::path serviceFile, std::filesystem::path deviceFolder, tessra::ServiceHost* service)
        : serviceFile_(std::move(serviceFile)), deviceFolder_(std::move(deviceFolder)), service_(service) {}

    /// Throws std::system_error where the devices can't be listed.
    std::unique_ptr<devices::DeviceSource> devices() const { return devices::makeDevices(deviceFolder_); }

    /// The port with this device: the one that the file has, or one that is added to it, and to the service. It gets
    /// the device's name by id, where it has one. Throws tessra::ConfigError, with the file as it was.
    NewPort makePort(const devices::SerialDevice& device, std::uint32_t baud);

private:
    const std::filesystem::path serviceFile_;
    const std::filesystem::path deviceFolder_;
    tessra::ServiceHost* const service_;
};

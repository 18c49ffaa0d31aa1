#pragma once

#include "platform/devices/SerialDevice.h"
#include "platform/kernel/FileDescriptor.h"

#include <filesystem>
#include <vector>

namespace devices {

/// Tells by one descriptor that something has happened in a folder, to some devices, or at another descriptor. One
/// thread at a time uses it.
class DeviceWatch {
public:
    /// std::system_error where the system gives no watch.
    DeviceWatch();

    /// std::system_error where the folder can't be watched.
    void addFolder(const std::filesystem::path& folder);
    /// From now on also says when one of these is opened or closed, where that may be known.
    void addDevices(const std::vector<SerialDevice>& devices);
    void addDescriptor(int descriptor);

    int changes() const { return poll_.number(); }
    /// Takes what is known of the folder and the devices.
    void take();

private:
    kernel::FileDescriptor poll_;
    kernel::FileDescriptor notify_;
};

} // namespace devices

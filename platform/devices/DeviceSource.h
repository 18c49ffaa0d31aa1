#pragma once

#include "platform/devices/SerialDevice.h"

#include <filesystem>
#include <memory>
#include <vector>

namespace devices {

/// Where the serial devices of a list come from, and how it is told that there are others. One thread at a time uses
/// it.
class DeviceSource {
public:
    virtual ~DeviceSource() = default;
    DeviceSource(const DeviceSource&) = delete;
    DeviceSource& operator=(const DeviceSource&) = delete;

    /// The devices that are there, with their states. Opens none of them.
    virtual std::vector<SerialDevice> list() = 0;
    /// A descriptor that can be read once a device has come or left, or somebody has opened or closed one of those last
    /// listed. The source owns it.
    virtual int changes() const = 0;
    /// Takes what there is to be read; the list may be another then.
    virtual void takeChanges() = 0;

protected:
    DeviceSource() = default;
};

/// The devices of the system that have hardware behind them, as udev knows them. std::system_error where it does not
/// answer.
std::unique_ptr<DeviceSource> makeSystemDevices();
/// The lines, or links to lines, in a folder, which stands in for the system where there is no hardware. Their
/// names there are their names by id. std::system_error where the folder can't be watched.
std::unique_ptr<DeviceSource> makeFolderDevices(const std::filesystem::path& folder);
/// The devices of a folder, or the system's where `folder` is empty.
std::unique_ptr<DeviceSource> makeDevices(const std::filesystem::path& folder);

} // namespace devices

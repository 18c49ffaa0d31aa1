#include "platform/devices/DeviceSource.h"
#include "platform/devices/DeviceWatch.h"

#include <algorithm>
#include <system_error>

namespace devices {
namespace {

class FolderDevices final : public DeviceSource {
public:
    explicit FolderDevices(const std::filesystem::path& folder)
        : folder_(std::filesystem::absolute(folder).lexically_normal()) {
        watch_.addFolder(folder_);
    }

    // Links that lead nowhere stand for devices that are gone.
    std::vector<SerialDevice> list() override {
        std::vector<SerialDevice> devices;
        std::error_code error;
        for (std::filesystem::directory_iterator entry(folder_, error), end; !error && entry != end;
             entry.increment(error)) {
            std::error_code ignored;
            const auto type = entry->status(ignored).type();
            if (type == std::filesystem::file_type::character || type == std::filesystem::file_type::not_found) {
                devices.push_back({.path = entry->path(), .byId = entry->path()});
            }
        }
        std::ranges::sort(devices, {}, &SerialDevice::path);
        watch_.addDevices(devices);
        lookUpStates(devices);
        return devices;
    }

    int changes() const override { return watch_.changes(); }
    void takeChanges() override { watch_.take(); }

private:
    const std::filesystem::path folder_;
    DeviceWatch watch_;
};

} // namespace

std::unique_ptr<DeviceSource> makeFolderDevices(const std::filesystem::path& folder) {
    return std::make_unique<FolderDevices>(folder);
}

std::unique_ptr<DeviceSource> makeDevices(const std::filesystem::path& folder) {
    return folder.empty() ? makeSystemDevices() : makeFolderDevices(folder);
}

} // namespace devices

#include "platform/devices/DeviceSource.h"
#include "platform/devices/DeviceWatch.h"
#include "platform/kernel/Text.h"

#include <sys/stat.h>
#include <sys/sysmacros.h>

#include <algorithm>
#include <fstream>
#include <sstream>
#include <string_view>
#include <system_error>
#include <utility>

namespace devices {
namespace {

using Numbers = std::pair<unsigned, unsigned>;

/// The first and the last minor number of a driver, in this form: "64" or "64-95".
Numbers minorsOf(std::string_view text) {
    const std::string_view first = text.substr(0, text.find('-'));
    const std::string_view last = text.substr(std::min(first.size() + 1, text.size()));
    const unsigned number = kernel::wholeNumber<unsigned>(first).value_or(0);
    return {number, kernel::wholeNumber<unsigned>(last).value_or(number)};
}

/// Whether this character device is a line, real or pseudo: the system tells the numbers of its terminals' drivers as
/// "serial /dev/ttyS 4 64-95 serial". Where it does not tell, any may be one.
bool isLine(const std::filesystem::path& path) {
    struct stat file {};
    std::ifstream drivers("/proc/tty/drivers");
    if (!drivers || ::stat(path.c_str(), &file) != 0) {
        return true;
    }
    for (std::string line; std::getline(drivers, line);) {
        std::istringstream words(line);
        std::string ignored;
        unsigned majorNumber = 0;
        std::string minors;
        std::string type;
        words >> ignored >> ignored >> majorNumber >> minors >> type;
        const auto [first, last] = minorsOf(minors);
        const unsigned minorNumber = minor(file.st_rdev);
        if (majorNumber == major(file.st_rdev) && first <= minorNumber && minorNumber <= last) {
            return !type.starts_with("system");
        }
    }
    return false;
}

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
            const bool isDevice = type == std::filesystem::file_type::character && isLine(entry->path());
            if (isDevice || type == std::filesystem::file_type::not_found) {
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

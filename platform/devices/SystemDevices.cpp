#include "platform/devices/DeviceSource.h"
#include "platform/devices/DeviceWatch.h"

#include <libudev.h>

#include <algorithm>
#include <cerrno>
#include <optional>
#include <string_view>
#include <system_error>
#include <utility>

namespace devices {
namespace {

template <auto release>
struct Release {
    template <class T>
    void operator()(T* object) const {
        release(object);
    }
};
using Udev = std::unique_ptr<udev, Release<udev_unref>>;
using Enumeration = std::unique_ptr<udev_enumerate, Release<udev_enumerate_unref>>;
using Device = std::unique_ptr<udev_device, Release<udev_device_unref>>;
using Monitor = std::unique_ptr<udev_monitor, Release<udev_monitor_unref>>;

constexpr const char* kSubsystem = "tty";

std::string textOf(const char* text) {
    return text == nullptr ? "" : text;
}

// Consoles and pseudo-terminals have nothing behind them. A built-in port may have nothing either: the driver makes
// them in advance, of type 0.
bool isHardware(udev_device* device) {
    return udev_device_get_parent(device) != nullptr && textOf(udev_device_get_sysattr_value(device, "type")) != "0";
}

std::filesystem::path byIdOf(udev_device* device) {
    udev_list_entry* link = nullptr;
    udev_list_entry_foreach(link, udev_device_get_devlinks_list_entry(device)) {
        const std::string name = textOf(udev_list_entry_get_name(link));
        if (name.starts_with("/dev/serial/by-id/")) {
            return name;
        }
    }
    return {};
}

std::string productOf(udev_device* device) {
    udev_device* const usb = udev_device_get_parent_with_subsystem_devtype(device, "usb", "usb_device");
    if (usb == nullptr) {
        return {};
    }
    const std::string maker = textOf(udev_device_get_sysattr_value(usb, "manufacturer"));
    const std::string product = textOf(udev_device_get_sysattr_value(usb, "product"));
    return maker + (maker.empty() || product.empty() ? "" : " ") + product;
}

std::optional<SerialDevice> describe(udev* udev, const char* systemPath) {
    const Device device(udev_device_new_from_syspath(udev, systemPath));
    const std::string node = device ? textOf(udev_device_get_devnode(device.get())) : "";
    if (node.empty() || !isHardware(device.get())) { // or it has left since it was enumerated
        return std::nullopt;
    }
    return SerialDevice{.path = node, .byId = byIdOf(device.get()), .product = productOf(device.get())};
}

class SystemDevices final : public DeviceSource {
public:
    SystemDevices() : udev_(udev_new()) {
        if (!udev_) {
            fail();
        }
        // What udev itself tells comes once it has set a device's rights and names.
        monitor_.reset(udev_monitor_new_from_netlink(udev_.get(), "udev"));
        if (!monitor_ || udev_monitor_filter_add_match_subsystem_devtype(monitor_.get(), kSubsystem, nullptr) < 0 ||
            udev_monitor_enable_receiving(monitor_.get()) < 0) {
            fail();
        }
        watch_.addDescriptor(udev_monitor_get_fd(monitor_.get()));
        if (!std::filesystem::exists("/run/udev/control")) {
            watch_.addFolder("/dev"); // in a container nobody else tells of new devices
        }
    }

    std::vector<SerialDevice> list() override {
        const Enumeration found(udev_enumerate_new(udev_.get()));
        if (!found || udev_enumerate_add_match_subsystem(found.get(), kSubsystem) < 0 ||
            udev_enumerate_scan_devices(found.get()) < 0) {
            fail();
        }
        std::vector<SerialDevice> devices;
        udev_list_entry* entry = nullptr;
        udev_list_entry_foreach(entry, udev_enumerate_get_list_entry(found.get())) {
            if (auto device = describe(udev_.get(), udev_list_entry_get_name(entry))) {
                devices.push_back(std::move(*device));
            }
        }
        std::ranges::sort(devices, [](const SerialDevice& a, const SerialDevice& b) {
            const auto key = [](const SerialDevice& device) {
                return std::pair(device.path.native().size(), std::string_view(device.path.native()));
            };
            return key(a) < key(b); // ttyUSB9 before ttyUSB10
        });
        watch_.addDevices(devices);
        lookUpStates(devices);
        return devices;
    }

    int changes() const override { return watch_.changes(); }

    void takeChanges() override {
        watch_.take();
        while (Device(udev_monitor_receive_device(monitor_.get()))) {
        }
    }

private:
    [[noreturn]] static void fail() {
        throw std::system_error(errno, std::generic_category(), "the system does not list its devices");
    }

    Udev udev_;
    Monitor monitor_;
    DeviceWatch watch_;
};

} // namespace

std::unique_ptr<DeviceSource> makeSystemDevices() {
    return std::make_unique<SystemDevices>();
}

} // namespace devices

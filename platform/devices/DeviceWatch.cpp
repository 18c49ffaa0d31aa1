#include "platform/devices/DeviceWatch.h"

#include <sys/epoll.h>
#include <sys/inotify.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <system_error>

namespace devices {
namespace {

[[noreturn]] void fail(const std::string& what) {
    throw std::system_error(errno, std::generic_category(), what);
}

} // namespace

DeviceWatch::DeviceWatch() : poll_(::epoll_create1(EPOLL_CLOEXEC)), notify_(::inotify_init1(IN_CLOEXEC | IN_NONBLOCK)) {
    if (!poll_ || !notify_) {
        fail("the devices can't be watched");
    }
    addDescriptor(notify_.number());
}

void DeviceWatch::addFolder(const std::filesystem::path& folder) {
    constexpr std::uint32_t kEvents = IN_CREATE | IN_DELETE | IN_MOVED_FROM | IN_MOVED_TO | IN_ATTRIB | IN_ONLYDIR;
    if (::inotify_add_watch(notify_.number(), folder.c_str(), kEvents) < 0) {
        fail(folder.string());
    }
}

// A device that may not be read can't be watched. It can't be used either.
void DeviceWatch::addDevices(const std::vector<SerialDevice>& devices) {
    for (const SerialDevice& device : devices) {
        ::inotify_add_watch(notify_.number(), device.path.c_str(), IN_OPEN | IN_CLOSE | IN_ATTRIB | IN_DELETE_SELF);
    }
}

void DeviceWatch::addDescriptor(int descriptor) {
    epoll_event event{};
    event.events = EPOLLIN;
    event.data.fd = descriptor;
    if (::epoll_ctl(poll_.number(), EPOLL_CTL_ADD, descriptor, &event) != 0) {
        fail("the devices can't be watched");
    }
}

void DeviceWatch::take() {
    alignas(inotify_event) std::array<char, 4096> events{};
    while (::read(notify_.number(), events.data(), events.size()) > 0) {
    }
}

} // namespace devices

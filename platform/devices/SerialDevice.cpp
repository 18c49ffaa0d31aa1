#include "platform/devices/SerialDevice.h"

#include "platform/kernel/Text.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <fstream>

namespace devices {
namespace {

using Who = kernel::FileUser::Who;

// Terminal programs leave the number of their process in a file of this name, a custom older than locks on devices.
void lookForNote(const std::filesystem::path& device, kernel::FileUser& user) {
    std::ifstream note("/run/lock/LCK.." + device.filename().string());
    std::string line;
    std::getline(note, line);
    const auto process = kernel::wholeNumber<pid_t>(kernel::firstWord(line));
    if (process && *process > 0 && (::kill(*process, 0) == 0 || errno == EPERM)) {
        user = {Who::kOtherProcess, *process, kernel::programOf(*process)};
    }
}

void lookUpState(SerialDevice& device) {
    struct stat file {};
    if (::stat(device.path.c_str(), &file) != 0 || !S_ISCHR(file.st_mode)) {
        device.state = DeviceState::kGone;
    } else if (::faccessat(AT_FDCWD, device.path.c_str(), R_OK | W_OK, AT_EACCESS) != 0) {
        device.state = DeviceState::kNoPermission;
        device.group = kernel::groupOf(device.path);
    } else {
        if (device.user.process == 0) {
            lookForNote(device.path, device.user);
        }
        device.state = device.user.process == 0 ? DeviceState::kFree : DeviceState::kInUse;
    }
}

} // namespace

void lookUpStates(std::vector<SerialDevice>& devices) {
    std::vector<std::filesystem::path> paths;
    paths.reserve(devices.size());
    for (const SerialDevice& device : devices) {
        paths.push_back(device.path);
    }
    const auto users = kernel::usersOf(paths);
    for (std::size_t i = 0; i < devices.size(); ++i) {
        devices[i].user = users[i];
        lookUpState(devices[i]);
    }
}

bool isSurelyFree(const SerialDevice& device) {
    return device.state == DeviceState::kFree && device.user.who == Who::kNobody;
}

std::string stateText(const SerialDevice& device) {
    std::string text = stateName(device.state);
    if (device.state == DeviceState::kFree && !isSurelyFree(device)) {
        text += " as far as can be seen";
    } else if (device.state == DeviceState::kInUse) {
        text += ": " + kernel::useText(device.user);
    } else if (device.state == DeviceState::kNoPermission) {
        text += ": " + kernel::permissionText(device.group);
    }
    return text;
}

const char* stateName(DeviceState state) {
    switch (state) {
    case DeviceState::kFree:
        return "free";
    case DeviceState::kInUse:
        return "in use";
    case DeviceState::kNoPermission:
        return "no permission";
    case DeviceState::kGone:
        break;
    }
    return "gone";
}

} // namespace devices

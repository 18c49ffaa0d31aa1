#pragma once

#include "platform/kernel/FileUsers.h"

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace devices {

enum class DeviceState : std::uint8_t { kFree, kInUse, kNoPermission, kGone };

/// A serial device of the operating system, as far as it can be known without opening it: a byte sent to a modem or a
/// printer can do harm, and opening alone may reset a board.
struct SerialDevice {
    std::filesystem::path path;      ///< such as /dev/ttyUSB0: the next one plugged in may have it
    std::filesystem::path byId = {}; ///< its name below /dev/serial/by-id, which stays its own; empty where it has none
    std::string product = {};        ///< as the device tells it: any bytes; empty where it tells none
    DeviceState state = DeviceState::kFree;
    kernel::FileUser user = {}; ///< of kInUse; of kFree, whether all processes were looked at
    std::string group = {};     ///< of kNoPermission: who is in it may use the device; empty where no group is
};

/// Looks up the states of devices. A program of another user that has locked nothing and left no note in /run/lock is
/// seen by root alone; the device looks free to others. Opens no device.
void lookUpStates(std::vector<SerialDevice>& devices);

/// Whether nobody can have the device: all processes were looked at.
bool isSurelyFree(const SerialDevice& device);
/// "free", or "free as far as can be seen" where it is not surely so; "in use: calvane (process 4711) uses it", "no
/// permission: ..." or "gone", for people.
std::string stateText(const SerialDevice& device);
/// Its first part, for machines: "free", "in use", "no permission" or "gone".
const char* stateName(DeviceState state);

} // namespace devices

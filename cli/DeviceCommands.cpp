#include "cli/CommandText.h"
#include "cli/Run.h"
#include "cli/Verbs.h"
#include "platform/devices/DeviceSource.h"
#include "platform/kernel/MessageException.h"
#include "tessra/host/DeviceProbe.h"
#include "workbench/MessageText.h"
#include "workbench/PhoneIdentity.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <iostream>

namespace {

using devices::DeviceState;
using devices::SerialDevice;
using workbench::shownText;

nlohmann::ordered_json jsonOf(const SerialDevice& device) {
    nlohmann::ordered_json entry{{"device", shownText(device.path.string())},
                                 {"by_id", shownText(device.byId.filename().string())},
                                 {"product", shownText(device.product)},
                                 {"state", devices::stateName(device.state)}};
    if (device.state == DeviceState::kFree) {
        entry["all_processes_seen"] = devices::isSurelyFree(device);
    }
    if (device.state == DeviceState::kInUse) {
        entry["process"] = device.user.process;
        entry["program"] = device.user.program;
    }
    if (device.state == DeviceState::kNoPermission) {
        entry["group"] = shownText(device.group);
    }
    return entry;
}

/// A line per device: the columns that people compare are aligned, names and products follow.
void printTable(const std::vector<SerialDevice>& all) {
    std::size_t widest = 0;
    for (const SerialDevice& device : all) {
        widest = std::max(widest, shownText(device.path.string()).size());
    }
    for (const SerialDevice& device : all) {
        const std::string path = shownText(device.path.string());
        std::cout << path << std::string(widest - path.size() + 2, ' ') << shownText(devices::stateText(device));
        for (const std::string& name : {device.byId.filename().string(), device.product}) {
            std::cout << (name.empty() ? "" : "  ") << shownText(name);
        }
        std::cout << '\n';
    }
}

/// The device as the list has it, under any of its names; else as far as it can be known by its path alone.
SerialDevice deviceAt(const std::filesystem::path& path) {
    std::vector<SerialDevice> one(1);
    one.front().path = path;
    devices::lookUpStates(one);
    return one.front();
}

ExitStatus probe(const Arguments& arguments) {
    const std::string name = shownText(arguments.probedDevice);
    const SerialDevice device = deviceAt(arguments.probedDevice);
    if (device.state != DeviceState::kFree) {
        tellFailure(name + ": " + shownText(devices::stateText(device)));
        return ExitStatus::kNoPhone;
    }
    tessra::LineSetup setup{.device = arguments.probedDevice, .baud = arguments.baud};
    const auto result = tessra::DeviceProbe(setup).run();
    if (!result.phone) {
        tellFailure(result.problem.empty() ? name + ": no answer" : shownText(result.problem));
        return ExitStatus::kNoPhone;
    }
    const workbench::PhoneIdentity phone{result.phone->serialNumber, result.phone->model,
                                         result.phone->softwareVersion};
    arguments.run->report().setPhone(phone);
    std::cout << name << ": " << shownText(workbench::fullName(phone)) << '\n';
    flushOutput();
    return ExitStatus::kDone;
}

} // namespace

ExitStatus printDevices(const Arguments& arguments) {
    if (!arguments.probedDevice.empty()) {
        return probe(arguments);
    }
    const auto all =
        failingWith(ExitStatus::kOtherFailure, [&] { return devices::makeDevices(arguments.deviceFolder)->list(); });
    if (!arguments.jsonPath.empty()) {
        auto list = nlohmann::ordered_json::array();
        std::ranges::transform(all, std::back_inserter(list), jsonOf);
        writeOutput(arguments.jsonPath, nlohmann::ordered_json{{"devices", list}}.dump(2) + '\n');
    } else {
        printTable(all);
    }
    flushOutput();
    if (all.empty()) {
        std::cerr << "No serial device is there.\n";
    }
    return ExitStatus::kDone;
}

#include "cli/CommandText.h"
#include "cli/Run.h"
#include "cli/RunTrace.h"
#include "cli/Verbs.h"
#include "phonelink/TessraServer.h"
#include "platform/kernel/Process.h"
#include "tessra/host/ServiceHost.h"
#include "workbench/ItemListFile.h"
#include "workbench/PortReason.h"
#include "workbench/ProgramFiles.h"

#include <algorithm>
#include <array>
#include <iostream>
#include <optional>

namespace {

/// Makes the file of the user's ports where they are needed and nobody has made it yet.
void makeOwnPorts(bool needsPhone, const std::filesystem::path& path) {
    if (const kernel::ProgramFolders folders = kernel::programFolders();
        needsPhone && path == folders.own / workbench::kServiceFileName) {
        workbench::bringUpToDate(folders);
    }
}

/// Adds a port that has the name of its device.
void addDevice(tessra::ServiceConfig& config, const std::string& device, std::uint32_t baud) {
    std::uint16_t number = 1;
    while (std::ranges::find(config.ports, number, &tessra::PortConfig::number) != config.ports.end()) {
        ++number;
    }
    tessra::PortConfig& port = config.ports.emplace_back();
    port.name = device;
    port.number = number;
    port.line = {.device = device, .baud = baud};
}

/// The service's ports as its file describes them, or the one of a device that was named. A file that can't be used is
/// reported, and the program goes on without ports, since the failures that follow say more of a port than silence
/// does.
tessra::ServiceConfig configuredPorts(const Arguments& arguments, ExitStatus& status) {
    if (!arguments.devicePath.empty()) {
        tessra::ServiceConfig config;
        addDevice(config, arguments.devicePath, arguments.baud);
        return config;
    }
    try {
        return tessra::loadServiceConfig(arguments.servicePath);
    } catch (const tessra::ConfigError& error) {
        tellFailure(error.message() + "\nGoing on without ports.");
        status = ExitStatus::kFile;
        return {};
    }
}

/// Says that the port has no phone, if so: the failures of a connect do not say it. They do say why a port can't be
/// used, and then that is all of it. Answers whether it has a phone. Looks at no other port, which others may be using.
bool explainPort(Calvane& catalog, const std::string& comPort, const tessra::ServiceConfig& config) {
    const auto isDevice = [&](const tessra::PortConfig& port) {
        return port.name == comPort && port.line.device == comPort;
    };
    try {
        TessraServer& session = *catalog.getTessraServer();
        if (session.connect(comPort, 0)) {
            return true;
        }
        if (workbench::portReason(session, comPort).empty()) {
            std::cerr << "No phone is present on " << comPort
                      << (std::ranges::any_of(config.ports, isDevice)
                              ? ". Is it the right speed, and is the phone on?\n"
                              : ". `calvane-batch ports` tells where there are some.\n");
        }
        return false;
    } catch (const std::exception&) {
        return true; // it was an explanation; the failure itself has been told
    }
}

/// The ports that are to have a phone.
std::vector<std::string> portsOf(const Arguments& arguments) {
    std::vector<std::string> ports;
    for (const Arguments::Side& side : arguments.sides) {
        if (side.isPort) {
            ports.push_back(side.name);
        }
    }
    if (ports.empty() && !arguments.comPort.empty()) {
        ports.push_back(arguments.comPort);
    }
    return ports;
}

/// Whether a port without a phone may be why it ended so.
bool mayLackPhone(ExitStatus status) {
    return status == ExitStatus::kNoPhone || status == ExitStatus::kIncomplete || status == ExitStatus::kOtherFailure;
}

/// A simulated phone is always there, unless its memory can't be used. Why has been told then.
ExitStatus memoryStatus(Calvane& catalog, const tessra::ServiceConfig& config) {
    const bool allUsable = std::ranges::all_of(config.ports, [&](const tessra::PortConfig& port) {
        return !port.line.device.empty() || workbench::portReason(*catalog.getTessraServer(), port.name).empty();
    });
    return allUsable ? ExitStatus::kDone : ExitStatus::kFile;
}

struct VerbEntry {
    ExitStatus (*run)(Calvane&, const Arguments&);
    bool needsRing;
    bool needsPhone;
};

/// In the order of Arguments::Verb.
constexpr VerbEntry kVerbs[] = {
    {printPorts, false, true},
    {readPhone, true, true},
    {listItems, true, false},
    {setItems, true, true},
    {writePhone, true, true},
    {resetPhone, false, true},
    {showMox, true, false},
    {[](Calvane&, const Arguments& arguments) { return pruneMox(arguments); }, false, false},
    {[](Calvane&, const Arguments& arguments) { return printTree(arguments); }, false, false},
    {printDiff, true, true},
    {checkItems, true, true},
    {[](Calvane&, const Arguments& arguments) { return listHistory(arguments); }, false, false},
    {showSession, true, false},
    {showItemHistory, true, false},
    {restoreSession, true, true},
    {exportSession, true, false},
    {[](Calvane&, const Arguments& arguments) { return importSession(arguments); }, false, false},
    {[](Calvane&, const Arguments& arguments) { return pruneHistory(arguments); }, false, false},
    {[](Calvane&, const Arguments& arguments) { return noteSession(arguments); }, false, false},
};

/// The ports among the sides of a comparison, each of which gets to know what it is: a port of the service's file, the
/// path of a serial device, or else a file. One of the ports is the arguments' port then. The service's file may be
/// missing or unusable, which is told only where a side is nothing else.
tessra::ServiceConfig findPorts(Arguments& arguments) {
    tessra::ServiceConfig known;
    std::string problem;
    try {
        known = tessra::loadServiceConfig(arguments.servicePath);
    } catch (const tessra::ConfigError& error) {
        problem = ", which can't be used: " + error.message();
    }
    const auto isKnown = [&](const std::string& name) {
        return std::ranges::find(known.ports, name, &tessra::PortConfig::name) != known.ports.end();
    };
    std::array<RunReport::Side, 2> told;
    for (std::size_t at = 0; at < told.size(); ++at) {
        Arguments::Side& side = arguments.sides[at];
        std::error_code error;
        side.isPort = isKnown(side.name);
        if (!side.isPort && std::filesystem::is_character_file(side.name, error)) {
            addDevice(known, side.name, arguments.baud);
            side.isPort = true;
        }
        if (side.isPort) {
            arguments.comPort = side.name;
        } else if (side.name != "-" && !std::filesystem::exists(side.name, error) && !error) {
            const auto comma = side.name.find(',');
            const bool areSeveral = comma != std::string::npos && isKnown(side.name.substr(0, comma));
            throw BatchFailure(areSeveral ? ExitStatus::kWrongUsage : ExitStatus::kFile,
                               areSeveral ? ::quoted(side.name) + " names several ports: a side is one of them."
                                          : ::quoted(side.name) + " is no file, and no port of " +
                                                ::quoted(arguments.servicePath) + problem + ".");
        }
        told[at] = {side.name, side.isPort, {}};
    }
    arguments.run->report().setSides(std::move(told));
    return known;
}

/// Takes the numbers of the arguments' list, where there is one, as if they had been named one by one.
workbench::ItemList takeList(Arguments& arguments) {
    workbench::ItemList list;
    if (!arguments.listPath.empty()) {
        list = failingWith(ExitStatus::kFile, [&] { return workbench::readItemList(arguments.listPath); });
        arguments.itemNumbers = list.numbers();
        arguments.singleNumbers = list.numbers();
    }
    return list;
}

/// Tells where the list and the decoder ring have other names for an item: one of them may be meant for another phone.
void tellNames(const workbench::ItemList& list, Calvane& catalog, const std::string& path) {
    if (list.entries.empty()) {
        return;
    }
    for (const std::string& doubt : workbench::doubtsOf(list, catalog.getSupportedNvItems())) {
        std::cerr << path << ": " << doubt << '\n';
    }
}

} // namespace

ExitStatus runBatch(const Arguments& given) {
    if (given.allDevices) {
        return printDevices(given);
    }
    const VerbEntry& verb = kVerbs[static_cast<std::size_t>(given.verb)];
    ExitStatus status = ExitStatus::kDone;
    Arguments arguments = given;
    const workbench::ItemList list = takeList(arguments);
    std::optional<tessra::ServiceHost> service;
    makeOwnPorts(verb.needsPhone, arguments.servicePath);
    const bool isDiff = arguments.verb == Arguments::Verb::kDiff;
    const tessra::ServiceConfig sidePorts = isDiff ? findPorts(arguments) : tessra::ServiceConfig();
    // A verb that names no port, as a dry run may do, needs none.
    const bool isHost = verb.needsPhone && (!arguments.comPort.empty() || arguments.verb == Arguments::Verb::kPorts);
    const auto config = isDiff || !isHost ? sidePorts : configuredPorts(arguments, status);
    const RunTrace trace(arguments.tracePath);
    if (isHost && verb.needsRing) {
        arguments.run->record().open(arguments);
    }
    if (isHost) {
        service.emplace(config, tessra::ServiceHost::Wrapping::kWhereConfigured, trace.recorder());
    }
    Calvane catalog;
    try {
        if (verb.needsRing) {
            failingWith(ExitStatus::kFile, [&] { catalog.loadDecoderRingFile(arguments.ringPath); });
            arguments.run->useRing(arguments.ringPath, catalog);
            tellNames(list, catalog, arguments.listPath);
        }
        status = worse(status, verb.run(catalog, arguments));
        if (arguments.verb == Arguments::Verb::kPorts) {
            status = worse(status, memoryStatus(catalog, config));
        }
        flushOutput();
    } catch (const std::exception& error) {
        status = worse(status, report(error, isDiff ? "" : arguments.comPort)); // a side has told which port it is
    }
    for (const std::string& port : portsOf(arguments)) {
        if (mayLackPhone(status) && !explainPort(catalog, port, config)) {
            status = worse(status, ExitStatus::kNoPhone);
            break;
        }
    }
    return worse(status, trace.status());
}

#include "cli/CommandText.h"
#include "cli/FailureLog.h"
#include "cli/Run.h"
#include "cli/RunTrace.h"
#include "cli/Verbs.h"
#include "phonelink/TessraServer.h"
#include "platform/kernel/Process.h"
#include "platform/kernel/Trace.h"
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

/// The service's ports as its file describes them, or the one of a device that was named. The port of the arguments is
/// among them: the service's own words for another one are those for a fault of its own.
tessra::ServiceConfig configuredPorts(const Arguments& arguments) {
    if (!arguments.devicePath.empty()) {
        tessra::ServiceConfig config;
        addDevice(config, arguments.devicePath, arguments.baud);
        return config;
    }
    auto config = failingWith(ExitStatus::kFile, [&] { return tessra::loadServiceConfig(arguments.servicePath); });
    const std::string& comPort = arguments.comPort;
    if (!comPort.empty() && std::ranges::find(config.ports, comPort, &tessra::PortConfig::name) == config.ports.end()) {
        std::string known;
        for (const tessra::PortConfig& port : config.ports) {
            known += (known.empty() ? "" : ", ") + port.name;
        }
        throw BatchFailure(ExitStatus::kNoPhone, comPort + " is no port of " + quoted(arguments.servicePath) +
                                                     ", which has " + (known.empty() ? "none" : known) + ".");
    }
    return config;
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

struct MissingPhone {
    std::string port;
    std::string help; ///< nothing where it was told why the port can't be used
};

/// The port without a phone for which a run may have ended so. Looks at no other port, which others may be using.
std::optional<MissingPhone> missingPhone(Calvane& catalog, const Arguments& arguments,
                                         const tessra::ServiceConfig& config, ExitStatus status) {
    const bool mayLackPhone =
        status == ExitStatus::kNoPhone || status == ExitStatus::kIncomplete || status == ExitStatus::kOtherFailure;
    for (const std::string& comPort : mayLackPhone ? portsOf(arguments) : std::vector<std::string>()) {
        const auto isDevice = [&](const tessra::PortConfig& port) {
            return port.name == comPort && port.line.device == comPort;
        };
        try {
            TessraServer& session = *catalog.getTessraServer();
            if (!session.connect(comPort, 0)) {
                const bool isTold = !workbench::portReason(session, comPort).empty();
                return MissingPhone{comPort, isTold ? ""
                                             : std::ranges::any_of(config.ports, isDevice)
                                                 ? "Is it the right speed, and is the phone on?"
                                                 : "`calvane-batch ports` tells where phones are."};
            }
        } catch (const std::exception&) {
            return std::nullopt; // it was to explain a failure, which is told
        }
    }
    return std::nullopt;
}

/// Runs the verb. A failure is told with what helps, one of a port without a phone as such.
ExitStatus runVerb(ExitStatus (*verb)(Calvane&, const Arguments&), Calvane& catalog, const Arguments& arguments,
                   const tessra::ServiceConfig& config) {
    try {
        const ExitStatus status = verb(catalog, arguments);
        const auto missing = missingPhone(catalog, arguments, config, status);
        if (missing && !missing->help.empty()) {
            std::cerr << "No phone is present on " + missing->port + ". " + missing->help + "\n";
        }
        return missing ? worse(status, ExitStatus::kNoPhone) : status;
    } catch (const std::exception& failure) {
        const ExitStatus status = statusOf(failure);
        const auto missing = missingPhone(catalog, arguments, config, status);
        const bool isDiff = arguments.verb == Arguments::Verb::kDiff; // a side has told which port it is
        tellFailure(textOf(failure, isDiff ? "" : arguments.comPort) + "\n" + (missing ? missing->help : ""));
        return missing && status == ExitStatus::kOtherFailure ? ExitStatus::kNoPhone : status;
    }
}

/// A simulated phone is always there, unless its memory can't be used, which is told.
ExitStatus memoryStatus(Calvane& catalog, const tessra::ServiceConfig& config) {
    ExitStatus status = ExitStatus::kDone;
    for (const tessra::PortConfig& port : config.ports) {
        const bool isSimulated = port.line.device.empty();
        if (isSimulated && !workbench::portReason(*catalog.getTessraServer(), port.name).empty()) {
            tellFailure(workbench::noPhoneText(*catalog.getTessraServer(), port.name));
            status = ExitStatus::kFile;
        }
    }
    return status;
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
        list = failingWith(ExitStatus::kFile, [&] { return workbench::loadItemList(arguments.listPath); });
        arguments.itemNumbers = list.numbers();
        arguments.singleNumbers = list.numbers();
    }
    return list;
}

/// Loads the ring. A failure names its file, also where the catalog's own words are of a line in it.
void loadRing(Calvane& catalog, const std::string& path) {
    try {
        catalog.loadDecoderRingFile(path);
    } catch (const kernel::MessageException& failure) {
        const bool isNamed = failure.message().find(path) != std::string::npos;
        throw BatchFailure(ExitStatus::kFile, (isNamed ? "" : quoted(path) + ": ") + failure.message());
    }
}

/// The report of a verb that needs no ring names the one in use all the same, where it can be loaded.
void nameRing(const Arguments& arguments) {
    try {
        Calvane catalog;
        catalog.loadDecoderRingFile(arguments.ringPath);
        arguments.run->useRing(arguments.ringPath, catalog);
    } catch (const kernel::MessageException& failure) {
        kernel::logError(failure.message());
    }
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
    const VerbEntry& verb = kVerbs[static_cast<std::size_t>(given.verb)];
    if (!verb.needsRing && !given.reportPath.empty()) {
        const FailureLog log(*given.run, given.isVerbose);
        nameRing(given);
    }
    if (given.allDevices) {
        const FailureLog log(*given.run, given.isVerbose);
        return printDevices(given);
    }
    Arguments arguments = given;
    const workbench::ItemList list = takeList(arguments);
    std::optional<tessra::ServiceHost> service;
    makeOwnPorts(verb.needsPhone, arguments.servicePath);
    const bool isDiff = arguments.verb == Arguments::Verb::kDiff;
    const tessra::ServiceConfig sidePorts = isDiff ? findPorts(arguments) : tessra::ServiceConfig();
    // A verb that names no port, as a dry run may do, needs none.
    const bool isHost = verb.needsPhone && (!arguments.comPort.empty() || arguments.verb == Arguments::Verb::kPorts);
    const FailureLog log(*arguments.run, arguments.isVerbose);
    const auto config = isDiff || !isHost ? sidePorts : configuredPorts(arguments);
    const RunTrace trace(arguments.tracePath);
    if (isHost && verb.needsRing) {
        arguments.run->record().open(arguments);
    }
    if (isHost) {
        service.emplace(config, tessra::ServiceHost::Wrapping::kWhereConfigured, trace.recorder());
    }
    Calvane catalog;
    ExitStatus status = ExitStatus::kDone;
    try {
        if (verb.needsRing) {
            loadRing(catalog, arguments.ringPath);
            arguments.run->useRing(arguments.ringPath, catalog);
            tellNames(list, catalog, arguments.listPath);
        }
        status = runVerb(verb.run, catalog, arguments, config);
        if (arguments.verb == Arguments::Verb::kPorts) {
            status = worse(status, memoryStatus(catalog, config));
        }
        flushOutput();
    } catch (const std::exception& error) {
        status = worse(status, report(error, isDiff ? "" : arguments.comPort)); // a side has told which port it is
    }
    return worse(status, trace.status());
}

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

/// The service's ports as its file describes them, or the one of a device that was named. The port of the arguments is
/// among them: the service's own words for another one are those for a fault of its own.
tessra::ServiceConfig configuredPorts(const Arguments& arguments) {
    tessra::ServiceConfig config;
    if (!arguments.devicePath.empty()) {
        tessra::PortConfig& port = config.ports.emplace_back();
        port.name = arguments.comPort;
        port.number = 1;
        port.line = {.device = arguments.devicePath, .baud = arguments.baud};
        return config;
    }
    config = failingWith(ExitStatus::kFile, [&] { return tessra::loadServiceConfig(arguments.servicePath); });
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

/// Where a run that ended so has done so because its port has no phone: what helps, which is nothing where it was told
/// why the port can't be used. Looks at no other port, which others may be using.
std::optional<std::string> helpWithoutPhone(Calvane& catalog, const Arguments& arguments, ExitStatus status) {
    const bool mayLackPhone =
        status == ExitStatus::kNoPhone || status == ExitStatus::kIncomplete || status == ExitStatus::kOtherFailure;
    const std::string& comPort = arguments.comPort;
    if (!mayLackPhone || comPort.empty()) {
        return std::nullopt;
    }
    try {
        TessraServer& session = *catalog.getTessraServer();
        if (session.connect(comPort, 0)) {
            return std::nullopt;
        }
        return !workbench::portReason(session, comPort).empty() ? ""
               : arguments.devicePath.empty()                   ? "`calvane-batch ports` tells where phones are."
                                                                : "Is it the right speed, and is the phone on?";
    } catch (const std::exception&) {
        return std::nullopt; // it was to explain a failure, which is told
    }
}

/// Runs the verb. A failure is told with what helps, one of a port without a phone as such.
ExitStatus runVerb(ExitStatus (*verb)(Calvane&, const Arguments&), Calvane& catalog, const Arguments& arguments) {
    try {
        const ExitStatus status = verb(catalog, arguments);
        const auto help = helpWithoutPhone(catalog, arguments, status);
        if (help && !help->empty()) {
            std::cerr << "No phone is present on " + arguments.comPort + ". " + *help + "\n";
        }
        return help ? worse(status, ExitStatus::kNoPhone) : status;
    } catch (const std::exception& failure) {
        const ExitStatus status = statusOf(failure);
        const auto help = helpWithoutPhone(catalog, arguments, status);
        tellFailure(textOf(failure, arguments.comPort) + "\n" + help.value_or(""));
        return help && status == ExitStatus::kOtherFailure ? ExitStatus::kNoPhone : status;
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
};

/// Settles which sides of a comparison are ports: those that the service's file names so. One of them is the arguments'
/// port then. Without that file there are none, which is told only where a side is no file either.
void findPorts(Arguments& arguments) {
    if (arguments.verb != Arguments::Verb::kDiff) {
        return;
    }
    tessra::ServiceConfig config;
    std::string problem;
    try {
        config = tessra::loadServiceConfig(arguments.servicePath);
    } catch (const tessra::ConfigError& error) {
        problem = error.message();
    }
    for (Arguments::Side& side : arguments.sides) {
        side.isPort = std::ranges::find(config.ports, side.name, &tessra::PortConfig::name) != config.ports.end();
        if (side.isPort) {
            arguments.comPort = side.name;
        } else if (std::error_code error; side.name != "-" && !std::filesystem::exists(side.name, error) && !error) {
            throw BatchFailure(ExitStatus::kFile,
                               ::quoted(side.name) + " is no file, and no port of " + ::quoted(arguments.servicePath) +
                                   (problem.empty() ? "" : ", which can't be used: " + problem) + ".");
        }
    }
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
    findPorts(arguments);
    // A verb that names no port, as a dry run may do, needs none.
    const bool isHost = verb.needsPhone && (!arguments.comPort.empty() || arguments.verb == Arguments::Verb::kPorts);
    const FailureLog log(*arguments.run, arguments.isVerbose);
    const auto config = isHost ? configuredPorts(arguments) : tessra::ServiceConfig();
    const RunTrace trace(arguments.tracePath);
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
        status = runVerb(verb.run, catalog, arguments);
        if (arguments.verb == Arguments::Verb::kPorts) {
            status = worse(status, memoryStatus(catalog, config));
        }
        flushOutput();
    } catch (const std::exception& error) {
        status = worse(status, report(error, arguments.comPort));
    }
    return worse(status, trace.status());
}

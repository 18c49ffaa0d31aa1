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

/// The service's ports as its file describes them, or the one of a device that was named. A file that can't be used is
/// reported, and the program goes on without ports, since the failures that follow say more of a port than silence
/// does.
tessra::ServiceConfig configuredPorts(const Arguments& arguments, ExitStatus& status) {
    tessra::ServiceConfig config;
    if (!arguments.devicePath.empty()) {
        tessra::PortConfig& port = config.ports.emplace_back();
        port.name = arguments.comPort;
        port.number = 1;
        port.line = {.device = arguments.devicePath, .baud = arguments.baud};
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
bool explainPort(Calvane& catalog, const Arguments& arguments) {
    const std::string& comPort = arguments.comPort;
    try {
        TessraServer& session = *catalog.getTessraServer();
        if (session.connect(comPort, 0)) {
            return true;
        }
        if (workbench::portReason(session, comPort).empty()) {
            std::cerr << "No phone is present on " << comPort
                      << (arguments.devicePath.empty() ? ". `calvane-batch ports` tells where there are some.\n"
                                                       : ". Is it the right speed, and is the phone on?\n");
        }
        return false;
    } catch (const std::exception&) {
        return true; // it was an explanation; the failure itself has been told
    }
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
    findPorts(arguments);
    // A verb that names no port, as a dry run may do, needs none.
    const bool isHost = verb.needsPhone && (!arguments.comPort.empty() || arguments.verb == Arguments::Verb::kPorts);
    const auto config = isHost ? configuredPorts(arguments, status) : tessra::ServiceConfig();
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
        status = worse(status, report(error, arguments.comPort));
    }
    if (mayLackPhone(status) && !arguments.comPort.empty() && !explainPort(catalog, arguments)) {
        status = worse(status, ExitStatus::kNoPhone);
    }
    return worse(status, trace.status());
}

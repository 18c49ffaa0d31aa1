#include "cli/CommandText.h"
#include "cli/Verbs.h"
#include "phonelink/TessraServer.h"
#include "tessra/host/ServiceHost.h"

#include <algorithm>
#include <iostream>
#include <optional>

namespace {

/// The service's ports as its file describes them. A file that can't be used is reported, and the program goes on
/// without ports, since the failures that follow say more of a port than silence does.
tessra::ServiceConfig configuredPorts(const std::string& path, int& status) {
    try {
        return tessra::loadServiceConfig(path);
    } catch (const tessra::ConfigError& error) {
        std::cerr << error.what() << "\nGoing on without ports.\n";
        status = kRefused;
        return {};
    }
}

/// Says on which ports phones are, unless the port has one. The failures of a connect do not say it.
void explainPort(Calvane& catalog, const std::string& comPort) {
    try {
        const auto ports = catalog.getTessraServer()->getActiveComPorts();
        if (std::find(ports.begin(), ports.end(), comPort) != ports.end()) {
            return;
        }
        std::cerr << "No phone is present on " << comPort << ".";
        std::string present;
        for (const std::string& port : ports) {
            present += (present.empty() ? " Phones are present on: " : ", ") + port;
        }
        std::cerr << present << (present.empty() ? "\n" : ".\n");
    } catch (const std::exception&) {
        // It was an explanation; the failure itself has been told.
    }
}

struct VerbEntry {
    int (*run)(Calvane&, const Arguments&);
    bool needsRing;
    bool needsPhone;
};

/// In the order of Arguments::Verb.
constexpr VerbEntry kVerbs[] = {
    {[](Calvane& catalog, const Arguments&) { return printPorts(catalog); }, false, true},
    {readPhone, true, true},
    {listItems, true, false},
    {setItem, true, true},
    {writePhone, true, true},
    {resetPhone, false, true},
    {showMox, true, false},
    {[](Calvane&, const Arguments& arguments) { return pruneMox(arguments); }, false, false},
    {[](Calvane&, const Arguments& arguments) { return printTree(arguments.inputPath); }, false, false},
};

} // namespace

int runBatch(const Arguments& arguments) {
    const VerbEntry& verb = kVerbs[static_cast<std::size_t>(arguments.verb)];
    int status = kDone;
    std::optional<tessra::ServiceHost> service;
    if (verb.needsPhone) {
        service.emplace(configuredPorts(arguments.servicePath, status));
    }
    Calvane catalog;
    try {
        if (verb.needsRing) {
            catalog.loadDecoderRingFile(arguments.ringPath);
        }
        status = std::max(status, verb.run(catalog, arguments));
        flushOutput();
    } catch (const std::exception& error) {
        std::cerr << forTerminal(error.what()) << '\n';
        status = kRefused;
    }
    if (status != kDone && !arguments.comPort.empty()) {
        explainPort(catalog, arguments.comPort);
    }
    return status;
}

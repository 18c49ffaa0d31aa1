#include "cli/BatchCommands.h"

#include "cli/CommandText.h"
#include "cli/FileTree.h"
#include "cli/MoxCommands.h"
#include "cli/PhoneCommands.h"
#include "cli/WriteCommands.h"
#include "phonelink/TessraServer.h"
#include "tessra/host/ServiceHost.h"

#include <algorithm>
#include <iostream>
#include <optional>

namespace {

using Verb = Arguments::Verb;

/// The service's ports as its file describes them. A file that can't be used is reported, and the program goes on
/// without ports: what it says then of a port is worth more than nothing at all.
tessra::ServiceConfig configuredPorts(const std::string& path, int& status) {
    try {
        return tessra::loadServiceConfig(path);
    } catch (const tessra::ConfigError& error) {
        std::cerr << error.what() << "\nGoing on without ports.\n";
        status = kRefused;
        return {};
    }
}

/// Says so where what went wrong is no more than a port without a phone, which the failures of a connect do not tell.
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

bool needsPhone(Verb verb) {
    return verb == Verb::kPorts || verb == Verb::kRead || verb == Verb::kSet || verb == Verb::kWrite ||
           verb == Verb::kReset;
}

bool needsRing(Verb verb) {
    return verb != Verb::kPorts && verb != Verb::kReset && verb != Verb::kPrune && verb != Verb::kTree;
}

int runVerb(Calvane& catalog, const Arguments& arguments) {
    if (needsRing(arguments.verb)) {
        catalog.loadDecoderRingFile(arguments.ringPath);
    }
    switch (arguments.verb) {
    case Verb::kPorts:
        return printPorts(catalog);
    case Verb::kRead:
        return readPhone(catalog, arguments);
    case Verb::kList:
        return listItems(catalog, arguments);
    case Verb::kSet:
        return setItem(catalog, arguments);
    case Verb::kWrite:
        return writePhone(catalog, arguments);
    case Verb::kReset:
        return resetPhone(catalog, arguments);
    case Verb::kShow:
        return showMox(catalog, arguments);
    case Verb::kPrune:
        return pruneMox(arguments);
    case Verb::kTree:
        return printTree(arguments.inputPath);
    }
    return kRefused;
}

/// The verb with what it needs around it; what it throws is told here.
int dispatch(const Arguments& arguments) {
    int status = kDone;
    std::optional<tessra::ServiceHost> service;
    if (needsPhone(arguments.verb)) {
        service.emplace(configuredPorts(arguments.servicePath, status));
    }
    Calvane catalog;
    try {
        status = std::max(status, runVerb(catalog, arguments));
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

} // namespace

int runBatch(const Arguments& arguments) {
    try {
        return dispatch(arguments);
    } catch (const std::exception& error) {
        std::cerr << forTerminal(error.what()) << '\n';
        return kRefused;
    }
}

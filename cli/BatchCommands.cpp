#include "cli/BatchCommands.h"

#include "cli/CommandText.h"
#include "cli/FileTree.h"
#include "cli/MoxCommands.h"
#include "cli/PhoneCommands.h"
#include "tessra/ConfigError.h"
#include "tessra/Service.h"

#include <iostream>
#include <optional>
#include <stdexcept>

namespace {

using Verb = Arguments::Verb;

/// The service's ports as its file describes them. A file that can't be used is reported, and the program goes on
/// without ports: what it says then of a port is worth more than nothing at all.
tessra::ServiceConfig configuredPorts(const std::string& path) {
    try {
        return tessra::loadServiceConfig(path);
    } catch (const tessra::ConfigError& error) {
        std::cerr << error.what() << "\nGoing on without ports.\n";
        return {};
    }
}

bool needsPhone(Verb verb) {
    return verb == Verb::ports || verb == Verb::read || verb == Verb::set || verb == Verb::write || verb == Verb::reset;
}

bool needsRing(Verb verb) {
    return verb != Verb::ports && verb != Verb::reset && verb != Verb::prune && verb != Verb::tree;
}

int dispatch(const Arguments& arguments) {
    std::optional<tessra::Service> service;
    if (needsPhone(arguments.verb)) {
        service.emplace(configuredPorts(arguments.servicePath));
    }
    Calvane catalog;
    if (needsRing(arguments.verb)) {
        catalog.loadDecoderRingFile(arguments.ringPath);
    }
    switch (arguments.verb) {
    case Verb::ports:
        return printPorts(catalog);
    case Verb::read:
        return readPhone(catalog, arguments);
    case Verb::list:
        return listItems(catalog, arguments);
    case Verb::set:
        return setItem(catalog, arguments);
    case Verb::write:
        return writePhone(catalog, arguments);
    case Verb::reset:
        return resetPhone(catalog, arguments);
    case Verb::show:
        return showMox(catalog, arguments);
    case Verb::prune:
        return pruneMox(arguments);
    case Verb::tree:
        return printTree(arguments.inputPath);
    }
    return kRefused;
}

} // namespace

int runBatch(const Arguments& arguments) {
    try {
        const int status = dispatch(arguments);
        std::cout.flush();
        if (!std::cout) {
            throw std::runtime_error("Can't write to standard output.");
        }
        return status;
    } catch (const std::exception& error) {
        std::cerr << forTerminal(error.what()) << '\n';
        return kRefused;
    }
}

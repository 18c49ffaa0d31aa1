#include "cli/CommandText.h"
#include "cli/Interruption.h"
#include "cli/PortFiles.h"
#include "cli/Run.h"
#include "cli/ShownStream.h"
#include "cli/SideBySide.h"
#include "platform/kernel/StandardDescriptors.h"
#include "platform/kernel/Trace.h"

#include <unistd.h>

#include <csignal>
#include <exception>
#include <iostream>
#include <string>
#include <string_view>
#include <vector>

namespace {

ExitStatus run(const Arguments& arguments, const std::vector<std::string>& commandLine) {
    if (!arguments.onlyPort.empty()) {
        const Interruption interruption; // from the start: a signal to all of them is no crash of this one
        followStarter();
        Arguments own = forPort(arguments, arguments.onlyPort);
        own.progress = Progress::kJson;
        return worse(runRecorded(own), Interruption::status());
    }
    return arguments.comPorts.empty() ? runRecorded(forPort(arguments, arguments.comPort))
                                      : runSideBySide(arguments, commandLine);
}

} // namespace

int main(int argc, char** argv) {
    kernel::openStandardDescriptors();
    // A reader that closes its pipe and a file that may not grow are failures of a write, to be reported as such.
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGXFSZ, SIG_IGN);
    ShownStream out(std::cout);
    ShownStream err(std::cerr);
    err.hideFunctions(true);
    kernel::setErrorLog([](std::string_view line) { tellFailure(std::string(line)); });
    try {
        const ParsedArguments parsed = parseArguments(argc, argv);
        if (parsed.arguments) {
            // What one of several processes prints goes through the one that started it.
            const bool isOneOfSeveral = !parsed.arguments->onlyPort.empty();
            const ColourChoice colour = isOneOfSeveral ? ColourChoice::kNever : parsed.arguments->colour;
            out.setColoured(wantsColour(colour, STDOUT_FILENO));
            err.setColoured(wantsColour(colour, STDERR_FILENO));
            err.hideFunctions(!parsed.arguments->isVerbose);
            return static_cast<int>(run(*parsed.arguments, {argv, argv + argc}));
        }
        flushOutput();
        return static_cast<int>(parsed.exitStatus);
    } catch (const std::exception& error) {
        return static_cast<int>(report(error));
    }
}

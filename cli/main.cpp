#include "cli/CommandText.h"
#include "cli/ShownStream.h"
#include "cli/Verbs.h"
#include "platform/kernel/StandardDescriptors.h"
#include "platform/kernel/Trace.h"

#include <csignal>
#include <exception>
#include <iostream>
#include <string_view>

int main(int argc, char** argv) {
    kernel::openStandardDescriptors();
    // A reader that closes its pipe and a file that may not grow are failures of a write, to be reported as such.
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGXFSZ, SIG_IGN);
    const ShownStream out(std::cout);
    ShownStream err(std::cerr);
    err.hideFunctions(true);
    kernel::setErrorLog([](std::string_view line) { tellFailure(std::string(line)); });
    try {
        const ParsedArguments parsed = parseArguments(argc, argv);
        if (parsed.arguments) {
            err.hideFunctions(!parsed.arguments->isVerbose);
            return static_cast<int>(runBatch(*parsed.arguments));
        }
        flushOutput();
        return static_cast<int>(parsed.exitStatus);
    } catch (const std::exception& error) {
        return static_cast<int>(report(error));
    }
}

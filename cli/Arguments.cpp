#include "cli/Arguments.h"

#include "cli/VerbOptions.h"
#include "platform/kernel/Process.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <functional>
#include <iostream>
#include <string_view>

namespace {

std::string exitStatusHelp() {
    std::string text = "Exit status:\n";
    auto rows = kExitStatuses;
    for (const ExitStatusRow& row : rows) {
        const std::string number = std::to_string(static_cast<int>(row.status));
        text += std::string(5 - number.size(), ' ') + number + "  " + row.meaning + "\n";
    }
    text += "Where several hold, the first of";
    std::ranges::sort(rows, std::greater(), &ExitStatusRow::weight);
    for (const ExitStatusRow& row : rows) {
        if (row.status != ExitStatus::kDone && row.status != ExitStatus::kWrongUsage) {
            text += " " + std::to_string(static_cast<int>(row.status));
        }
    }
    return text + ".\n";
}

/// The library knows no option that another one makes dispensable.
void requirePort(Arguments& arguments) {
    using Verb = Arguments::Verb;
    if (!arguments.devicePath.empty()) {
        arguments.comPort = arguments.devicePath;
    }
    const bool isWrite = arguments.verb == Verb::kSet || arguments.verb == Verb::kWrite;
    if (isWrite && arguments.comPort.empty() && !arguments.isDryRun) {
        throw CLI::RequiredError("--port or --device, unless --dry-run is given,");
    }
    if ((arguments.verb == Verb::kRead || arguments.verb == Verb::kReset) && arguments.comPort.empty()) {
        throw CLI::RequiredError("--port or --device");
    }
}

} // namespace

ParsedArguments parseArguments(int argc, const char* const* argv) {
    Arguments arguments;
    const auto directory = kernel::programDirectory();
    arguments.ringPath = directory / "NV Decoder.vrk";
    arguments.servicePath = directory / "Tessra.toml";

    for (int at = 1; at < argc; ++at) {
        // The parser never comes back from an empty operand of a command that needs one option of several.
        if (*argv[at] == '\0' && std::string_view(argv[at - 1]) != "--expect-serial") {
            std::cerr << "Argument " << at << " is empty: was a variable never set?\n"
                      << "Run with --help for more information.\n";
            return {std::nullopt, ExitStatus::kWrongUsage};
        }
    }
    CLI::App program{"Reads, shows and writes the radio-frequency calibration items of phones.", "calvane-batch"};
    program.set_version_flag("--version", "Calvane 1.4.34");
    program.require_subcommand(1);
    program.footer(exitStatusHelp() + "Each command has a --help of its own, with an example.");
    describePhoneVerbs(program, arguments);
    describeFileVerbs(program, arguments);
    try {
        program.parse(argc, argv);
        requirePort(arguments);
    } catch (const CLI::ParseError& outcome) {
        return {std::nullopt, program.exit(outcome) == 0 ? ExitStatus::kDone : ExitStatus::kWrongUsage};
    }
    return {arguments, ExitStatus::kDone};
}

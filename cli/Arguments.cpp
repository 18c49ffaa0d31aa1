#include "cli/Arguments.h"

#include "cli/VerbOptions.h"
#include "platform/kernel/Process.h"
#include "workbench/ProgramFiles.h"
#include "workbench/ResultJson.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <array>
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

/// A read that goes on does so in its file. The items themselves are nothing to print.
void takeRawFile(Arguments& arguments) {
    arguments.jsonPath = arguments.jsonPath.empty() ? arguments.resumePath : arguments.jsonPath;
    if (arguments.verb == Arguments::Verb::kRead && arguments.raw && arguments.jsonPath.empty()) {
        throw CLI::RequiredError("--json, with --raw,");
    }
}

/// Several ports are named with commas between them.
void takePorts(Arguments& arguments) {
    using Verb = Arguments::Verb;
    constexpr std::array kVerbs{Verb::kRead, Verb::kWrite, Verb::kSet, Verb::kReset};
    if (std::ranges::find(kVerbs, arguments.verb) == kVerbs.end()) {
        return;
    }
    std::string_view rest(arguments.comPort);
    std::vector<std::string> ports;
    while (!rest.empty()) {
        const std::string_view port = rest.substr(0, rest.find(','));
        if (port.empty() || rest.ends_with(',') || std::ranges::find(ports, port) != ports.end()) {
            throw CLI::ValidationError("--port", "'" + arguments.comPort + "' names a port twice, or none");
        }
        ports.emplace_back(port);
        rest.remove_prefix(std::min(port.size() + 1, rest.size()));
    }
    if (ports.size() > 1) {
        arguments.comPorts = std::move(ports);
        arguments.comPort.clear();
    }
}

/// The words of the command line, the last one first, as the parser takes them. It would take no more words of a list
/// behind "--", which is to keep a value from being an option; one with a digit behind the minus is none anyhow.
std::vector<std::string> wordsOf(int argc, const char* const* argv) {
    std::vector<std::string> words(argv + std::min(argc, 1), argv + argc);
    if (std::ranges::find(words, "set") != words.end()) {
        if (const auto mark = std::ranges::find(words, "--"); mark != words.end()) {
            words.erase(mark);
        }
    }
    std::ranges::reverse(words);
    return words;
}

/// The library knows no option that another one makes dispensable.
void requirePort(const Arguments& arguments) {
    const bool isWrite = arguments.verb == Arguments::Verb::kSet || arguments.verb == Arguments::Verb::kWrite;
    if (isWrite && arguments.comPort.empty() && !arguments.isDryRun) {
        throw CLI::RequiredError("--port, unless --dry-run is given,");
    }
}

} // namespace

ParsedArguments parseArguments(int argc, const char* const* argv) {
    Arguments arguments;
    const kernel::ProgramFolders folders = kernel::programFolders();
    arguments.ringPath = workbench::ringFile(folders.own, folders.shipped);
    arguments.servicePath = folders.own / workbench::kServiceFileName;

    for (int at = 1; at < argc; ++at) {
        // The parser never comes back from an empty operand of a command that needs one option of several.
        if (*argv[at] == '\0' && std::string_view(argv[at - 1]) != "--expect-serial") {
            std::cerr << "Argument " << at << " is empty: was a variable never set?\n"
                      << "Run with --help for more information.\n";
            return {std::nullopt, ExitStatus::kWrongUsage};
        }
    }
    CLI::App program{"Reads, shows and writes the radio-frequency calibration items of phones.", "calvane-batch"};
    program.set_version_flag("--version", [ring = arguments.ringPath] {
        return workbench::kProgramVersion + ("\n" + workbench::ringLine(ring));
    });
    program.require_subcommand(1);
    program.footer(exitStatusHelp() + "Each command has a --help of its own, with an example.");
    describePhoneVerbs(program, arguments);
    describeFileVerbs(program, arguments);
    try {
        program.parse(wordsOf(argc, argv));
        requirePort(arguments);
        takePorts(arguments);
        takeRawFile(arguments);
    } catch (const CLI::ParseError& outcome) {
        return {std::nullopt, program.exit(outcome) == 0 ? ExitStatus::kDone : ExitStatus::kWrongUsage};
    }
    return {arguments, ExitStatus::kDone};
}

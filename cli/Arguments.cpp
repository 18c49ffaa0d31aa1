#include "cli/Arguments.h"

#include "cli/CommandText.h"
#include "cli/OptionKinds.h"
#include "cli/UnknownWords.h"
#include "cli/VerbOptions.h"
#include "platform/kernel/Process.h"
#include "workbench/ProgramFiles.h"
#include "workbench/ResultJson.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <functional>
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
    constexpr std::array kVerbs{Verb::kRead, Verb::kWrite, Verb::kSet, Verb::kReset, Verb::kCheck};
    if (std::ranges::find(kVerbs, arguments.verb) == kVerbs.end() || !arguments.devicePath.empty()) {
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

/// The words of the command line. The parser would take no more words of a list behind "--", which is to keep a value
/// from being an option; one with a digit behind the minus is none anyhow.
std::vector<std::string> wordsOf(int argc, const char* const* argv) {
    std::vector<std::string> words(argv + std::min(argc, 1), argv + argc);
    if (std::ranges::find(words, "set") != words.end()) {
        if (const auto mark = std::ranges::find(words, "--"); mark != words.end()) {
            words.erase(mark);
        }
    }
    return words;
}

/// One line for what is wrong with the command line: "calvane-batch: --port is required (calvane-batch read --help says
/// more)".
void tellWrongUsage(const CLI::App& program, const std::vector<std::string>& words, const CLI::ParseError& error) {
    const std::string unknown = unknownWord(program, words);
    std::string name = program.get_name();
    const CLI::App* innermost = &program;
    while (!innermost->get_subcommands().empty()) {
        innermost = innermost->get_subcommands().front();
        name += " " + innermost->get_name();
    }
    const bool lacksVerb =
        innermost->get_require_subcommand_min() > 0 && dynamic_cast<const CLI::RequiredError*>(&error) != nullptr;
    std::string known = lacksVerb ? "no verb is given" : error.what();
    if (known.starts_with(":")) {
        known.insert(0, "--only-port"); // the parser does not name an option that it hides
    }
    tellFailure((unknown.empty() ? known : unknown) + " (" + name + " --help says more)");
}

/// A process for one of several ports is started by one that has them all, whose number stands in front of the port.
void takeOnlyPort(Arguments& arguments) {
    const std::string starter = std::to_string(::getppid()) + ":";
    if (!arguments.onlyPort.empty() && !arguments.onlyPort.starts_with(starter)) {
        throw CLI::ValidationError("--only-port is for calvane-batch itself; name the port with --port");
    }
    arguments.onlyPort.erase(0, starter.size());
}

/// The library knows no option that another one makes dispensable.
void requirePort(Arguments& arguments) {
    using Verb = Arguments::Verb;
    if (!arguments.devicePath.empty()) {
        arguments.comPort = arguments.devicePath;
    } else if (!arguments.probedDevice.empty()) {
        arguments.comPort = arguments.probedDevice; // in reports and logs
    }
    const bool isWrite =
        arguments.verb == Verb::kSet || arguments.verb == Verb::kWrite || arguments.verb == Verb::kHistoryRestore;
    if (isWrite && arguments.comPort.empty() && !arguments.isDryRun) {
        throw CLI::RequiredError("--port or --device, unless --dry-run is given,");
    }
    if ((arguments.verb == Verb::kRead || arguments.verb == Verb::kReset) && arguments.comPort.empty()) {
        throw CLI::RequiredError("--port or --device");
    }
}

} // namespace

void describeProgram(CLI::App& program, Arguments& arguments) {
    program.name("calvane-batch");
    program.description("Reads, shows and writes the radio-frequency calibration items of phones.");
    program.set_version_flag("--version", [ring = arguments.ringPath] {
        return workbench::kProgramVersion + ("\n" + workbench::ringLine(ring));
    });
    program.require_subcommand(1);
    program.footer(exitStatusHelp() + "Each command has a --help of its own, with an example.");
    addVerbose(program, arguments);
    describePhoneVerbs(program, arguments);
    describeFileVerbs(program, arguments);
    describeHistoryVerbs(program, arguments);
}

ParsedArguments parseArguments(int argc, const char* const* argv) {
    Arguments arguments;
    const kernel::ProgramFolders folders = kernel::programFolders();
    arguments.ringPath = workbench::ringFile(folders.own, folders.shipped);
    arguments.servicePath = folders.own / workbench::kServiceFileName;

    for (int at = 1; at < argc; ++at) {
        // The parser never comes back from an empty operand of a command that needs one option of several.
        if (*argv[at] == '\0' && std::string_view(argv[at - 1]) != "--expect-serial") {
            tellFailure("argument " + std::to_string(at) + " is empty: was a variable never set?");
            return {std::nullopt, ExitStatus::kWrongUsage};
        }
    }
    CLI::App program;
    describeProgram(program, arguments);
    const std::vector<std::string> words = wordsOf(argc, argv);
    try {
        program.parse(std::vector<std::string>(words.rbegin(), words.rend()));
        requirePort(arguments);
        takeOnlyPort(arguments);
        takePorts(arguments);
        takeRawFile(arguments);
    } catch (const CLI::Success& help) {
        program.exit(help);
        return {std::nullopt, ExitStatus::kDone};
    } catch (const CLI::ParseError& error) {
        tellWrongUsage(program, words, error);
        return {std::nullopt, ExitStatus::kWrongUsage};
    }
    return {arguments, ExitStatus::kDone};
}

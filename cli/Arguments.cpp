#include "cli/Arguments.h"

#include "cli/ItemNumbers.h"
#include "platform/kernel/Process.h"
#include "platform/kernel/Text.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <functional>
#include <iostream>
#include <stdexcept>
#include <string_view>

namespace {

/// An option that names something. An empty name is a variable of a script that was never set: taken for none, it
/// would silently leave out what was asked for.
CLI::Option* addName(CLI::App& verb, const std::string& option, std::string& name, const std::string& description) {
    return verb.add_option(option, name, description)->check([](const std::string& text) {
        return std::string(text.empty() ? "it is empty" : "");
    });
}

void addRing(CLI::App& verb, Arguments& arguments) {
    addName(verb, "--ring", arguments.ringPath, "Decoder ring file (default: \"NV Decoder.vrk\" beside the program)");
}

void addService(CLI::App& verb, Arguments& arguments) {
    addName(verb, "--service", arguments.servicePath,
            "Ports of the phone service (default: Tessra.toml beside the program)");
}

CLI::Option* addPort(CLI::App& verb, Arguments& arguments) {
    CLI::Option* port = addName(verb, "--port", arguments.comPort, "Port of the phone, such as COM1");
    addService(verb, arguments);
    return port;
}

void addFlag(CLI::App& verb, const std::string& name, bool& flag, const std::string& description) {
    verb.add_flag(name, flag, description)->disable_flag_override();
}

/// What set and write have in common.
void addWriting(CLI::App& verb, Arguments& arguments) {
    addPort(verb, arguments);
    addRing(verb, arguments);
    CLI::Option* spc = addName(verb, "--spc", arguments.accessCode,
                               "Service programming code to send first, for items that the phone protects with it; "
                               "all users of the machine can see it");
    addName(verb, "--spc-file", arguments.accessCodePath,
            "File whose first line is that code (default: that of the environment's CALVANE_SPC)")
        ->excludes(spc);
    verb.add_option("--expect-serial", arguments.expectedSerial,
                    "Send nothing to a phone with another serial number, or with none");
    addFlag(verb, "--dry-run", arguments.isDryRun,
            "Print what would be written, and write nothing; the phone is read only where --port is given");
    addFlag(verb, "--changed-only", arguments.changedOnly, "Leave out what the phone has already");
    addFlag(verb, "--keep-going", arguments.keepGoing,
            "Go on behind an item that the phone refuses, and without items that can't be read before");
    addFlag(verb, "--verify-after-reset", arguments.verifyAfterReset,
            "Reset the phone at the end, and read everything back once more");
    addFlag(verb, "--wrap", arguments.wrap,
            "Take values that their types store as others, such as -1 for 65535 in a WORD");
}

/// An option whose text is a list of item numbers, handed to `take`.
template <class Take>
CLI::Option* addNumbers(CLI::App& verb, const std::string& name, const std::string& description, Take take) {
    return verb.add_option_function<std::string>(
        name,
        [name, take](const std::string& text) {
            try {
                take(parseItemNumbers(text));
            } catch (const std::invalid_argument& error) {
                throw CLI::ValidationError(name, error.what());
            }
        },
        description);
}

/// The two ways to name several items. The file is read when the arguments are carried out.
template <class Take>
void addItems(CLI::App& verb, Arguments& arguments, const std::string& what, Take take) {
    CLI::Option* numbers = addNumbers(verb, "--ids", what + " these items alone, such as 10,20-30", take);
    addName(verb, "--list", arguments.listPath, what + " the items of this list alone, a text file")->excludes(numbers);
}

/// The whole of `text` as a number, which may be hexadecimal behind 0x.
template <class Number>
bool parseNumber(std::string_view text, Number& number) {
    const bool isHex = text.starts_with("0x") || text.starts_with("0X");
    text.remove_prefix(isHex ? 2 : 0);
    const auto parsed = kernel::wholeNumber<Number>(text, isHex ? 16 : 10);
    number = parsed.value_or(number);
    return parsed.has_value();
}

/// An option whose text is handed to `take`, which answers whether it is what it should be.
template <class Take>
CLI::Option* addNumber(CLI::App& verb, const std::string& name, const std::string& description, Take take) {
    return verb.add_option_function<std::string>(
        name,
        [name, take](const std::string& text) {
            if (!take(text)) {
                throw CLI::ValidationError(name, "'" + text + "' is out of range or no number");
            }
        },
        description);
}

/// The options for the calibration file that a read writes. Any of the last four asks for a property record, in which
/// the others are 0 or empty.
void addMoxOutput(CLI::App& verb, Arguments& arguments) {
    CLI::Option* mox =
        addName(verb, "--mox", arguments.moxPath, "Write the items to this calibration file; other items in it stay");
    const auto add = [&](const std::string& name, const std::string& description, auto take) {
        addNumber(verb, name, description, take)->needs(mox);
    };
    const auto record = [&arguments]() -> PhoneProperties& {
        return arguments.properties ? *arguments.properties : arguments.properties.emplace();
    };
    add("--model-id", "Phone model id of a new calibration file (0 to 65535)",
        [&arguments](const std::string& text) { return parseNumber(text, arguments.phoneModelId); });
    add("--esn", "ESN for the file's record of the phone, such as 0x1A2B3C4D",
        [record](const std::string& text) { return parseNumber(text, record().esn); });
    add("--nv-version", "NV version for that record, such as 1.2", [record](const std::string& text) {
        const auto dot = text.find('.');
        return dot != std::string::npos && parseNumber(text.substr(0, dot), record().nvMajorVersion) &&
               parseNumber(text.substr(dot + 1), record().nvMinorVersion);
    });
    add("--software-version", "Software version for that record", [record](const std::string& text) {
        record().softwareVersion = text;
        return true;
    });
    add("--client-name", "Client name for that record", [record](const std::string& text) {
        record().clientName = text;
        return true;
    });
}

CLI::App* addVerb(CLI::App& program, Arguments& arguments, Arguments::Verb verb, const std::string& name,
                  const std::string& description, const std::string& example) {
    CLI::App* added = program.add_subcommand(name, description);
    added->footer("Example:\n  " + example);
    added->callback([&arguments, verb] { arguments.verb = verb; });
    return added;
}

template <class Take>
void describeFileVerbs(CLI::App& program, Arguments& arguments, Take takeItemNumbers) {
    using Verb = Arguments::Verb;
    CLI::App* show = addVerb(program, arguments, Verb::kShow, "show", "Print the items of a calibration file",
                             "calvane-batch show phone.mox --ids 1000-1099");
    addRing(*show, arguments);
    addName(*show, "file", arguments.moxPath, "Calibration file")->required();
    addItems(*show, arguments, "Show", takeItemNumbers);
    addFlag(*show, "--hex", arguments.hex,
            "Print the bytes of all items, also of those that the decoder ring does not describe");
    addName(*show, "--json", arguments.jsonPath, "Write the items to this JSON file (- for standard output)");

    CLI::App* prune = addVerb(program, arguments, Verb::kPrune, "prune",
                              "Remove items from a calibration file; those that it keeps are not touched",
                              "calvane-batch prune phone.mox --keep 10,1000-1099");
    addName(*prune, "file", arguments.moxPath, "Calibration file")->required();
    CLI::Option_group* kept = prune->add_option_group("Kept", "What stays in the file");
    addNumbers(*kept, "--keep", "Items to keep, such as 10,20-30", takeItemNumbers);
    addName(*kept, "--list", arguments.listPath, "Keep the items of this list, a text file");
    kept->require_option(1);

    CLI::App* tree = addVerb(program, arguments, Verb::kTree, "tree",
                             "Print the storages and streams of any compound file, with their sizes",
                             "calvane-batch tree phone.mox");
    addName(*tree, "file", arguments.inputPath, "Compound file")->required();
}

void describeVerbs(CLI::App& program, Arguments& arguments) {
    using Verb = Arguments::Verb;
    const auto takeItemNumbers = [&arguments](ItemNumbers numbers) {
        arguments.itemNumbers = std::move(numbers.all);
        arguments.singleNumbers = std::move(numbers.single);
    };

    CLI::App* ports = addVerb(program, arguments, Verb::kPorts, "ports", "Print the ports on which a phone is present",
                              "calvane-batch ports");
    addService(*ports, arguments);

    CLI::App* read = addVerb(program, arguments, Verb::kRead, "read", "Read the items of a phone",
                             "calvane-batch read --port COM1 --ids 10,1000-1099 --json before.json\n"
                             "  calvane-batch read --port COM1 --mox phone.mox --model-id 123 --nv-version 1.2");
    addPort(*read, arguments)->required();
    addRing(*read, arguments);
    addName(*read, "--text", arguments.textPath, "Write the values to this text file (- for standard output)");
    addName(*read, "--json", arguments.jsonPath, "Write the items to this JSON file (- for standard output)");
    addItems(*read, arguments, "Read", takeItemNumbers);
    addNumber(*read, "--retries", "How often an item is asked for again whose answer is lost or damaged (default: 5)",
              [&arguments](const std::string& text) { return parseNumber(text, arguments.retries); });
    addMoxOutput(*read, arguments);

    CLI::App* list = addVerb(program, arguments, Verb::kList, "list", "Print the items that the decoder ring describes",
                             "calvane-batch list --ids 1000-1099");
    addRing(*list, arguments);
    addItems(*list, arguments, "Print", takeItemNumbers);

    CLI::App* set = addVerb(program, arguments, Verb::kSet, "set",
                            "Change one item on a phone: read it, write it, and read it back",
                            "calvane-batch set --port COM1 1007 \"5,11,307\"");
    addWriting(*set, arguments);
    // As text: the library would take a leading zero for an octal number, and another item would be written.
    addNumbers(*set, "item", "Item number", [&arguments](const ItemNumbers& numbers) {
        if (numbers.all.size() != 1) {
            throw std::invalid_argument("one item at a time");
        }
        arguments.itemNumber = numbers.all.front();
    })->required();
    set->add_option("values", arguments.values, "One decimal value per sub-field, separated by commas")->required();

    CLI::App* write = addVerb(program, arguments, Verb::kWrite, "write", "Write the items of a file to a phone",
                              "calvane-batch write --port COM1 --from-json before.json --tolerate 7,9\n"
                              "  calvane-batch write --port COM1 --from-mox phone.mox --changed-only --dry-run");
    addWriting(*write, arguments);
    CLI::App* source = write->add_option_group("Source", "Where the items come from");
    addName(*source, "--from-json", arguments.inputPath, "Items as \"read --json\" writes them");
    addName(*source, "--from-mox", arguments.moxPath, "Items of a calibration file");
    source->require_option(1);
    addItems(*write, arguments, "Write", takeItemNumbers);
    addFlag(*write, "--offline-first", arguments.offlineFirst, "Put the phone offline before the first write");
    addNumbers(*write, "--tolerate", "Go on when the phone refuses these items, such as 7,9, and count it as done",
               [&arguments](const ItemNumbers& numbers) {
                   arguments.toleratedNumbers = {numbers.all.begin(), numbers.all.end()};
               });

    CLI::App* reset =
        addVerb(program, arguments, Verb::kReset, "reset",
                "Reset a phone and wait until it has come back (100 s at most)", "calvane-batch reset --port COM1");
    addPort(*reset, arguments)->required();
    describeFileVerbs(program, arguments, takeItemNumbers);
}

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
void requirePort(const Arguments& arguments) {
    const bool isWrite = arguments.verb == Arguments::Verb::kSet || arguments.verb == Arguments::Verb::kWrite;
    if (isWrite && arguments.comPort.empty() && !arguments.isDryRun) {
        throw CLI::RequiredError("--port, unless --dry-run is given,");
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
    describeVerbs(program, arguments);
    try {
        program.parse(argc, argv);
        requirePort(arguments);
    } catch (const CLI::ParseError& outcome) {
        return {std::nullopt, program.exit(outcome) == 0 ? ExitStatus::kDone : ExitStatus::kWrongUsage};
    }
    return {arguments, ExitStatus::kDone};
}

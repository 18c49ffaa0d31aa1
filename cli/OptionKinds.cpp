#include "cli/OptionKinds.h"

#include <map>
#include <stdexcept>
#include <utility>

namespace {

/// An option whose text is one of the names.
template <class Choice>
void addChoice(CLI::App& verb, const std::string& name, Choice& choice, const std::string& description,
               const std::map<std::string, Choice>& choices) {
    std::string names;
    for (const auto& [text, value] : choices) {
        names += (names.empty() ? "" : "|") + text;
    }
    verb.add_option_function<std::string>(
            name,
            [name, names, &choice, choices](const std::string& text) {
                const auto found = choices.find(text);
                if (found == choices.end()) {
                    throw CLI::ValidationError(name, "'" + text + "' is none of " + names);
                }
                choice = found->second;
            },
            description)
        ->type_name(names);
}

} // namespace

CLI::App* addVerb(CLI::App& program, Arguments& arguments, Arguments::Verb verb, const std::string& name,
                  const std::string& description, const std::string& example) {
    CLI::App* added = program.add_subcommand(name, description);
    added->footer("Example:\n  " + example);
    addVerbose(*added, arguments);
    added->callback([&arguments, verb, name] {
        arguments.verb = verb;
        arguments.verbName = name;
    });
    return added;
}

CLI::Option* addName(CLI::App& verb, const std::string& option, std::string& name, const std::string& description) {
    CLI::Option* added = verb.add_option(option, name, description)->type_name("FILE");
    return added->check([](const std::string& text) {
        // In a message it would stand for a line of ours.
        if (text.find_first_of("\n\r\t\a") != std::string::npos) {
            return std::string("it has a line end, a tab or a bell");
        }
        return std::string(text.empty() ? "it is empty" : "");
    });
}

CLI::Option* addFlag(CLI::App& verb, const std::string& name, bool& flag, const std::string& description) {
    return verb.add_flag(name, flag, description)->disable_flag_override();
}

CLI::Option* addNumbers(CLI::App& verb, const std::string& name, const std::string& description,
                        const std::function<void(const ItemNumbers&)>& take) {
    CLI::Option* added = verb.add_option_function<std::string>(
        name,
        [name, take](const std::string& text) {
            try {
                take(workbench::parseItemNumbers(text));
            } catch (const std::invalid_argument& error) {
                throw CLI::ValidationError(name, error.what());
            }
        },
        description);
    return added->type_name("IDS");
}

CLI::Option* addNumber(CLI::App& verb, const std::string& name, const std::string& description,
                       const std::function<bool(const std::string&)>& take) {
    CLI::Option* added = verb.add_option_function<std::string>(
        name,
        [name, take](const std::string& text) {
            if (!take(text)) {
                throw CLI::ValidationError(name, "'" + text + "' is out of range or no number");
            }
        },
        description);
    return added->type_name("VALUE");
}

void addVerbose(CLI::App& program, Arguments& arguments) {
    addFlag(program, "--verbose", arguments.isVerbose, "Name the functions in which failures were noticed");
}

void addRing(CLI::App& verb, Arguments& arguments) {
    addName(verb, "--ring", arguments.ringPath, "Decoder ring file (default: the one that --version names)");
}

void addService(CLI::App& verb, Arguments& arguments) {
    addName(verb, "--service", arguments.servicePath,
            "Ports of the phone service (default: Tessra.toml in the program's folder)");
    addName(verb, "--trace", arguments.tracePath,
            "Record every packet in this file (- for standard output), the service programming code blanked out");
}

CLI::Option* addPort(CLI::App& verb, CLI::App& group, Arguments& arguments) {
    CLI::Option* port = addName(group, "--port", arguments.comPort,
                                "Port of the phone, such as COM1; of several, such as COM1,COM2, side by side")
                            ->type_name("PORT");
    addService(verb, arguments);
    CLI::Option* device =
        addName(group, "--device", arguments.devicePath,
                "Serial device of the phone, such as /dev/ttyUSB0, instead of a port: no file with ports is needed");
    device->excludes(port);
    addBaud(verb, arguments)->needs(device);
    return port;
}

void addTelling(CLI::App& verb, Arguments& arguments) {
    addName(verb, "--log", arguments.logPath, "Append what happens to this file, a line of JSON each");
    addChoice<Progress>(verb, "--progress", arguments.progress,
                        "How standard error tells how far it has got: bar (at a terminal), json (a line for each item, "
                        "and for each message) or none (default: bar)",
                        {{"bar", Progress::kBar}, {"json", Progress::kJson}, {"none", Progress::kNone}});
    addChoice<ColourChoice>(
        verb, "--color", arguments.colour,
        "Whether differences and failures are coloured: auto (at a terminal, unless the environment has NO_COLOR), "
        "always or never (default: auto)",
        {{"auto", ColourChoice::kAuto}, {"always", ColourChoice::kAlways}, {"never", ColourChoice::kNever}});
    addFlag(verb, "--quiet", arguments.isQuiet, "Tell failures alone on standard error");
}

void addReport(CLI::App& verb, Arguments& arguments) {
    addName(verb, "--report", arguments.reportPath,
            "Write what was done, item by item, to this JSON file at the end, also after a failure (- for standard "
            "output)");
}

void addReporting(CLI::App& verb, Arguments& arguments) {
    addReport(verb, arguments);
    addTelling(verb, arguments);
    // Of a process of several that run side by side: which port it is for.
    verb.add_option("--only-port", arguments.onlyPort)->group("");
}

void addWriting(CLI::App& verb, Arguments& arguments) {
    addPort(verb, arguments);
    addReporting(verb, arguments);
    addRing(verb, arguments);
    CLI::Option* spc = addName(verb, "--spc", arguments.accessCode,
                               "Service programming code to send first, for items that the phone protects with it; "
                               "all users of the machine can see it")
                           ->type_name("CODE");
    addName(verb, "--spc-file", arguments.accessCodePath,
            "File whose first line is that code (default: that of the environment's CALVANE_SPC)")
        ->excludes(spc);
    verb.add_option("--expect-serial", arguments.expectedSerial,
                    "Send nothing to a phone with another serial number, or with none")
        ->type_name("SERIAL");
    addFlag(verb, "--dry-run", arguments.isDryRun,
            "Print what would be written, and write nothing; the phone is read only where --port is given");
    addFlag(verb, "--keep-going", arguments.keepGoing,
            "Go on behind an item that the phone refuses, and without items that can't be read before");
    addFlag(verb, "--verify-after-reset", arguments.verifyAfterReset,
            "Reset the phone at the end, and read everything back once more");
}

CLI::Option* addBaud(CLI::App& verb, Arguments& arguments) {
    return addNumber(verb, "--baud", "Speed of that device (default: 115200)",
                     [&arguments](const std::string& text) { return parseNumber(text, arguments.baud); });
}

CLI::Option* addItemNumbers(CLI::App& verb, Arguments& arguments, const std::string& name,
                            const std::string& description) {
    return addNumbers(verb, name, description, [&arguments](const ItemNumbers& numbers) {
        arguments.itemNumbers = numbers.all;
        arguments.singleNumbers = numbers.single;
    });
}

void addItems(CLI::App& verb, Arguments& arguments, const std::string& what) {
    CLI::Option* numbers = addItemNumbers(verb, arguments, "--ids", what + " these items alone, such as 10,20-30");
    addName(verb, "--list", arguments.listPath, what + " the items of this list alone, a text file")->excludes(numbers);
}

void addRetries(CLI::App& verb, Arguments& arguments) {
    addNumber(verb, "--retries", "How often an item is asked for again whose answer is lost or damaged (default: 5)",
              [&arguments](const std::string& text) { return parseNumber(text, arguments.retries); });
}

CLI::Option* addJson(CLI::App& verb, Arguments& arguments, const std::string& what) {
    return addName(verb, "--json", arguments.jsonPath, what + " to this JSON file (- for standard output)");
}

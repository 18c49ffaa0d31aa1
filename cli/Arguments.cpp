#include "cli/Arguments.h"

#include "cli/ItemNumbers.h"
#include "platform/kernel/Process.h"

#include <CLI/CLI.hpp>

#include <stdexcept>

namespace {

constexpr int kWrongUsage = 2;

void addRing(CLI::App& verb, Arguments& arguments) {
    verb.add_option("--ring", arguments.ringPath, "Decoder ring file (default: \"NV Decoder.vrk\" beside the program)");
}

void addService(CLI::App& verb, Arguments& arguments) {
    verb.add_option("--service", arguments.servicePath,
                    "Ports of the phone service (default: Tessra.toml beside the program)");
}

void addPort(CLI::App& verb, Arguments& arguments) {
    verb.add_option("--port", arguments.comPort, "Port of the phone, such as COM1")->required();
    addService(verb, arguments);
}

void addAccessCode(CLI::App& verb, Arguments& arguments) {
    verb.add_option("--spc", arguments.accessCode,
                    "Service programming code to send first, for items that the phone protects with it");
}

/// An option whose text is a list of item numbers, handed to `take`.
template <class Take>
void addNumbers(CLI::App& verb, const std::string& name, const std::string& description, Take take) {
    verb.add_option_function<std::string>(
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

CLI::App* addVerb(CLI::App& program, Arguments& arguments, Arguments::Verb verb, const std::string& name,
                  const std::string& description, const std::string& example) {
    CLI::App* added = program.add_subcommand(name, description);
    added->footer("Example:\n  " + example);
    added->callback([&arguments, verb] { arguments.verb = verb; });
    return added;
}

void describeVerbs(CLI::App& program, Arguments& arguments) {
    using Verb = Arguments::Verb;
    const auto takeItemNumbers = [&arguments](std::vector<std::uint16_t> numbers) {
        arguments.itemNumbers = std::move(numbers);
    };

    CLI::App* ports = addVerb(program, arguments, Verb::ports, "ports", "Print the ports on which a phone is present",
                              "calvane-batch ports");
    addService(*ports, arguments);

    CLI::App* read = addVerb(program, arguments, Verb::read, "read", "Read the items of a phone",
                             "calvane-batch read --port COM1 --ids 10,1000-1099 --json before.json");
    addPort(*read, arguments);
    addRing(*read, arguments);
    read->add_option("--text", arguments.textPath, "Write the values to this text file (- for standard output)");
    read->add_option("--json", arguments.jsonPath, "Write the items to this JSON file (- for standard output)");
    addNumbers(*read, "--ids", "Read these items alone, such as 10,20-30", takeItemNumbers);

    CLI::App* list = addVerb(program, arguments, Verb::list, "list", "Print the items that the decoder ring describes",
                             "calvane-batch list --ids 1000-1099");
    addRing(*list, arguments);
    addNumbers(*list, "--ids", "Print these items alone, such as 10,20-30", takeItemNumbers);

    CLI::App* set =
        addVerb(program, arguments, Verb::set, "set", "Change one item on a phone: read it, write it, and read it back",
                "calvane-batch set --port COM1 1007 \"5,11,307\"");
    addPort(*set, arguments);
    addRing(*set, arguments);
    addAccessCode(*set, arguments);
    set->add_option("item", arguments.itemNumber, "Item number")->required()->check(CLI::Range(0, 0xFFFF));
    set->add_option("values", arguments.values, "One decimal value per sub-field, separated by commas")->required();

    CLI::App* write = addVerb(program, arguments, Verb::write, "write", "Write the items of a JSON file to a phone",
                              "calvane-batch write --port COM1 --from-json before.json --tolerate 7,9");
    addPort(*write, arguments);
    addRing(*write, arguments);
    addAccessCode(*write, arguments);
    write->add_option("--from-json", arguments.inputPath, "Items as \"read --json\" writes them")->required();
    write->add_flag("--offline-first", arguments.offlineFirst, "Put the phone offline before the first write");
    addNumbers(*write, "--tolerate", "Go on when the phone refuses these items, such as 7,9",
               [&arguments](const std::vector<std::uint16_t>& numbers) {
                   arguments.toleratedNumbers = {numbers.begin(), numbers.end()};
               });

    CLI::App* reset =
        addVerb(program, arguments, Verb::reset, "reset",
                "Reset a phone and wait until it has come back (100 s at most)", "calvane-batch reset --port COM1");
    addPort(*reset, arguments);
}

} // namespace

ParsedArguments parseArguments(int argc, const char* const* argv) {
    Arguments arguments;
    const auto directory = kernel::programDirectory();
    arguments.ringPath = directory / "NV Decoder.vrk";
    arguments.servicePath = directory / "Tessra.toml";

    CLI::App program{"Reads, shows and writes the radio-frequency calibration items of phones.\n"
                     "Exit status: 0 done, 1 the phone or a file refused, 2 wrong usage.",
                     "calvane-batch"};
    program.set_version_flag("--version", "Calvane 1.4.34");
    program.require_subcommand(1);
    program.footer("Each command has a --help of its own, with an example.");
    describeVerbs(program, arguments);
    try {
        program.parse(argc, argv);
    } catch (const CLI::ParseError& outcome) {
        return {std::nullopt, program.exit(outcome) == 0 ? 0 : kWrongUsage};
    }
    return {arguments, 0};
}

#include "cli/OptionKinds.h"
#include "cli/VerbOptions.h"

#include <stdexcept>

namespace {

/// What set and write have in common.
void addValueWriting(CLI::App& verb, Arguments& arguments) {
    addWriting(verb, arguments);
    addFlag(verb, "--changed-only", arguments.changedOnly, "Leave out what the phone has already");
    addFlag(verb, "--wrap", arguments.wrap,
            "Take values that their types store as others, such as -1 for 65535 in a WORD");
}

/// The options for the calibration file that a read writes. Any of the last four asks for a property record, in which
/// the others are 0 or empty.
void addMoxOutput(CLI::App& verb, Arguments& arguments) {
    CLI::Option* mox =
        addName(verb, "--mox", arguments.moxPath, "Write the items to this calibration file; other items in it stay")
            ->check([](const std::string& path) {
                return std::string(path == "-" ? "a calibration file can't go to standard output" : "");
            });
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

void addRaw(CLI::App& read, Arguments& arguments) {
    CLI::Option* raw = addFlag(read, "--raw", arguments.raw,
                               "Read the bytes of all numbers, or of those of --ids, also where the decoder ring does "
                               "not describe them, into the file of --json");
    for (const char* other : {"--text", "--mox"}) {
        raw->excludes(read.get_option(other));
    }
    addName(read, "--resume", arguments.resumePath,
            "Go on with the --raw read that has left this JSON file (written there again, unless --json is given)")
        ->needs(raw);
}

void describePorts(CLI::App& program, Arguments& arguments) {
    CLI::App* ports = addVerb(program, arguments, Arguments::Verb::kPorts, "ports",
                              "Print the ports on which a phone is present, or all serial devices",
                              "calvane-batch ports\n  calvane-batch ports --all\n"
                              "  calvane-batch ports --all --probe /dev/ttyUSB0");
    addService(*ports, arguments);
    addReporting(*ports, arguments);
    CLI::Option* all = ports->add_flag("--all", arguments.allDevices,
                                       "Print the serial devices of the system instead, whether they can be used, and "
                                       "who uses them; opens none of them");
    CLI::Option* probe = addName(*ports, "--probe", arguments.probedDevice,
                                 "Open this one device and ask whether there is a phone; this sends it a few bytes");
    probe->needs(all);
    addBaud(*ports, arguments)->needs(probe);
    addName(*ports, "--json", arguments.jsonPath,
            "Write their names, or with --all the devices, to this JSON file (- or nothing for standard output)")
        ->expected(0, 1)
        ->default_str("-")
        ->excludes(probe);
    addName(*ports, "--device-folder", arguments.deviceFolder,
            "Take the devices in this folder, or links to devices, for those of the system")
        ->needs(all);
}

void describeRead(CLI::App& program, Arguments& arguments) {
    CLI::App* read = addVerb(program, arguments, Arguments::Verb::kRead, "read", "Read the items of a phone",
                             "calvane-batch read --port COM1 --ids 10,1000-1099 --json before.json\n"
                             "  calvane-batch read --port COM1 --mox phone.mox --model-id 123 --nv-version 1.2");
    addPort(*read, arguments);
    addReporting(*read, arguments);
    addRing(*read, arguments);
    addName(*read, "--text", arguments.textPath, "Write the values to this text file (- for standard output)");
    addJson(*read, arguments, "Write the items");
    addItems(*read, arguments, "Read");
    addRetries(*read, arguments);
    addMoxOutput(*read, arguments);
    addRaw(*read, arguments);
}

void describeSet(CLI::App& program, Arguments& arguments) {
    CLI::App* set = addVerb(program, arguments, Arguments::Verb::kSet, "set",
                            "Change items on a phone: read them, write them, and read them back",
                            "calvane-batch set --port COM1 1007 \"5,11,307\"\n"
                            "  calvane-batch set --port COM1 1007[3]=0x133 NV_AFC_SLOPE_I=412,418,421");
    addValueWriting(*set, arguments);
    set->add_option_function<std::vector<std::string>>(
           "items",
           [&arguments](const std::vector<std::string>& words) {
               try {
                   arguments.requests = parseSetRequests(words);
               } catch (const std::invalid_argument& error) {
                   throw CLI::ValidationError("items", error.what());
               }
           },
           "ITEM=VALUES or ITEM[N]=VALUE, also several of them; or ITEM VALUES. An item is its number or its name, "
           "a value decimal or hexadecimal behind 0x. Without [N] there is one value per sub-field, separated by "
           "commas; "
           "N is the number of a sub-field as show and list print it, and the others keep what the phone has")
        ->required()
        ->type_name("ITEM");
}

void describeWrite(CLI::App& program, Arguments& arguments) {
    CLI::App* write =
        addVerb(program, arguments, Arguments::Verb::kWrite, "write", "Write the items of a file to a phone",
                "calvane-batch write --port COM1 --from-json before.json --tolerate 7,9\n"
                "  calvane-batch write --port COM1 --from-mox phone.mox --changed-only --dry-run");
    addValueWriting(*write, arguments);
    CLI::App* source = write->add_option_group("Source", "Where the items come from");
    addName(*source, "--from-json", arguments.inputPath, "Items as \"read --json\" writes them (- for standard input)");
    addName(*source, "--from-mox", arguments.moxPath, "Items of a calibration file");
    source->require_option(1);
    addFlag(*write, "--raw", arguments.raw,
            "Take the bytes of a JSON of \"read --raw\", also of items that the decoder ring does not describe")
        ->needs(source->get_option("--from-json"));
    addItems(*write, arguments, "Write");
    addFlag(*write, "--offline-first", arguments.offlineFirst, "Put the phone offline before the first write");
    addNumbers(*write, "--tolerate", "Go on when the phone refuses these items, such as 7,9, and count it as done",
               [&arguments](const ItemNumbers& numbers) {
                   arguments.toleratedNumbers = {numbers.all.begin(), numbers.all.end()};
               });
}

} // namespace

void describePhoneVerbs(CLI::App& program, Arguments& arguments) {
    describePorts(program, arguments);
    describeRead(program, arguments);
    describeSet(program, arguments);
    describeWrite(program, arguments);
    CLI::App* reset =
        addVerb(program, arguments, Arguments::Verb::kReset, "reset",
                "Reset a phone and wait until it has come back (100 s at most)", "calvane-batch reset --port COM1");
    addPort(*reset, arguments);
    addReporting(*reset, arguments);
}

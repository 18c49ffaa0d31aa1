#include "cli/OptionKinds.h"
#include "cli/VerbOptions.h"

namespace {

CLI::Option* addUnits(CLI::App& verb, Arguments& arguments) {
    return addName(verb, "--units", arguments.unitsPath,
                   "File of units and limits (default: that beside the ring, with its name and .units)");
}

void describeDiff(CLI::App& program, Arguments& arguments) {
    CLI::App* diff = addVerb(program, arguments, Arguments::Verb::kDiff, "diff",
                             "Compare the items of two phones or files, sub-field by sub-field",
                             "calvane-batch diff before.json COM1 --ids 1000-1099\n"
                             "  calvane-batch diff golden.mox COM1 --changed-only-names\n"
                             "  calvane-batch diff golden.json /dev/ttyUSB0 --report told.json");
    const char* const sides[] = {"left", "right"};
    for (std::size_t i = 0; i < arguments.sides.size(); ++i) {
        addName(*diff, sides[i], arguments.sides[i].name,
                "A port of the phone service, a serial device such as /dev/ttyUSB0, or else a calibration file or JSON "
                "(- for standard input)")
            ->required()
            ->type_name("PORT|DEVICE|FILE");
    }
    addService(*diff, arguments);
    addBaud(*diff, arguments);
    addRing(*diff, arguments);
    addItems(*diff, arguments, "Compare");
    addRetries(*diff, arguments);
    addFlag(*diff, "--changed-only-names", arguments.namesOnly,
            "Print numbers and names of the items that differ, a line each");
    addUnits(*diff, arguments)->needs(addJson(*diff, arguments, "Write the differences"));
    addReport(*diff, arguments);
    addTelling(*diff, arguments);
}

void describeCheck(CLI::App& program, Arguments& arguments) {
    CLI::App* check = addVerb(program, arguments, Arguments::Verb::kCheck, "check",
                              "Hold the values of a phone or a file against their limits",
                              "calvane-batch check --port COM1 --ids 2000-2399\n"
                              "  calvane-batch check --from golden.mox --units line3.units --json -");
    CLI::Option_group* source = check->add_option_group("Source", "Where the values come from");
    addPort(*check, *source, arguments);
    addName(*source, "--from", arguments.inputPath, "Calibration file or JSON (- for standard input)");
    source->require_option(1);
    addRing(*check, arguments);
    addUnits(*check, arguments);
    addItems(*check, arguments, "Check");
    addRetries(*check, arguments);
    addJson(*check, arguments, "Write all values that have limits");
    addReporting(*check, arguments);
}

} // namespace

void describeFileVerbs(CLI::App& program, Arguments& arguments) {
    using Verb = Arguments::Verb;
    CLI::App* list = addVerb(program, arguments, Verb::kList, "list", "Print the items that the decoder ring describes",
                             "calvane-batch list --ids 1000-1099");
    addRing(*list, arguments);
    addItems(*list, arguments, "Print");
    addJson(*list, arguments, "Write the layouts of the items");

    CLI::App* show = addVerb(program, arguments, Verb::kShow, "show", "Print the items of a calibration file",
                             "calvane-batch show phone.mox --ids 1000-1099");
    addRing(*show, arguments);
    addName(*show, "file", arguments.moxPath, "Calibration file")->required();
    addItems(*show, arguments, "Show");
    CLI::Option* info = addFlag(*show, "--info", arguments.info,
                                "Print what the file says of itself: phone model id, ESN, versions, client");
    info->excludes("--ids")->excludes("--list");
    addFlag(*show, "--hex", arguments.hex,
            "Print the bytes of all items, also of those that the decoder ring does not describe")
        ->excludes(info);
    addJson(*show, arguments, "Write this");

    describeDiff(program, arguments);
    describeCheck(program, arguments);

    CLI::App* prune = addVerb(program, arguments, Verb::kPrune, "prune",
                              "Remove items from a calibration file; those that it keeps are not touched",
                              "calvane-batch prune phone.mox --keep 10,1000-1099");
    addName(*prune, "file", arguments.moxPath, "Calibration file")->required();
    CLI::Option_group* kept = prune->add_option_group("Kept", "What stays in the file");
    addItemNumbers(*kept, arguments, "--keep", "Items to keep, such as 10,20-30");
    addName(*kept, "--list", arguments.listPath, "Keep the items of this list, a text file");
    kept->require_option(1);

    CLI::App* tree = addVerb(program, arguments, Verb::kTree, "tree",
                             "Print the storages and streams of any compound file, with their sizes",
                             "calvane-batch tree phone.mox");
    addName(*tree, "file", arguments.inputPath, "Compound file")->required();
    addJson(*tree, arguments, "Write the tree");
}

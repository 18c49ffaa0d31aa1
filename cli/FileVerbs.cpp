#include "cli/OptionKinds.h"
#include "cli/VerbOptions.h"

void describeFileVerbs(CLI::App& program, Arguments& arguments) {
    using Verb = Arguments::Verb;
    CLI::App* list = addVerb(program, arguments, Verb::kList, "list", "Print the items that the decoder ring describes",
                             "calvane-batch list --ids 1000-1099");
    addRing(*list, arguments);
    addItems(*list, arguments, "Print");

    CLI::App* show = addVerb(program, arguments, Verb::kShow, "show", "Print the items of a calibration file",
                             "calvane-batch show phone.mox --ids 1000-1099");
    addRing(*show, arguments);
    addName(*show, "file", arguments.moxPath, "Calibration file")->required();
    addItems(*show, arguments, "Show");
    addFlag(*show, "--hex", arguments.hex,
            "Print the bytes of all items, also of those that the decoder ring does not describe");
    addName(*show, "--json", arguments.jsonPath, "Write the items to this JSON file (- for standard output)");

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
}

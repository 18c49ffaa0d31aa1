// calvane-pages: writes what is made of the programs' own help when they are built: pages for man, and the completion
// of calvane-batch for shells.

#include "cli/VerbOptions.h"
#include "cli/pages/Completion.h"
#include "cli/pages/Page.h"

#include <CLI/CLI.hpp>

#include <iostream>
#include <iterator>
#include <string>

namespace {

Page batchPage() {
    Arguments arguments;
    CLI::App program;
    describeProgram(program, arguments);
    return pageOf(program);
}

} // namespace

int main(int argc, char** argv) {
    const std::string what = argc > 1 ? argv[1] : "";
    if (what == "bash") {
        std::cout << bashCompletion(batchPage());
    } else if (what == "zsh") {
        std::cout << zshCompletion(batchPage());
    } else if (what == "man" && argc == 3) {
        std::cout << manPage(batchPage(), argv[2]);
    } else if (what == "man" && argc == 4) {
        const std::string help{std::istreambuf_iterator<char>(std::cin), {}};
        if (help.empty()) {
            std::cerr << "calvane-pages: " << argv[3] << " has printed no help\n";
            return 1;
        }
        std::cout << manPage(pageOfHelp(argv[3], help), argv[2]);
    } else {
        std::cerr << "usage: calvane-pages bash | zsh | man VERSION [PROGRAM <its help]\n";
        return 2;
    }
    std::cout.flush();
    return std::cout ? 0 : 1;
}

#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace CLI {
class App;
}

/// What a program or a verb takes, as its help tells it.
struct Page {
    struct Entry {
        std::string name;        ///< "--json FILE", "file"
        std::string description; ///< without line ends
    };
    struct Part {
        std::string title; ///< "Options"
        std::vector<Entry> entries;
    };

    std::string name; ///< "calvane-batch", "read"
    std::string description;
    std::string usage; ///< what stands behind the name
    std::vector<Part> parts;
    std::string footer; ///< lines, of which those that end in a colon are heads
    std::vector<Page> verbs;
};

/// The page of a description of the command line, with its verbs. Option groups are parts.
Page pageOf(const CLI::App& app);
/// The page of what a program prints for --help: a description, a line with its usage, and parts with an entry a line.
/// Lines further to the right belong to the entry above.
Page pageOfHelp(const std::string& name, std::string_view help);

/// The page for man, of section 1.
std::string manPage(const Page& page, const std::string& version);

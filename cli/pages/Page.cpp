#include "cli/pages/Page.h"

#include "platform/kernel/Text.h"

#include <CLI/CLI.hpp>

#include <algorithm>

namespace {

bool isGroup(const CLI::App* part) {
    return part->get_name().empty();
}

bool isVerb(const CLI::App* part) {
    return !isGroup(part);
}

std::string nameOf(const CLI::Option& option) {
    if (option.get_positional()) {
        return option.get_name(true);
    }
    const bool isFlag = option.get_items_expected_max() == 0;
    return "--" + option.get_lnames().front() + (isFlag ? "" : " " + option.get_type_name());
}

void addParts(std::vector<Page::Part>& parts, const CLI::App& app, const std::string& title) {
    Page::Part positionals{"Arguments", {}};
    Page::Part options{title, {}};
    for (const CLI::Option* option : app.get_options()) {
        // One without a group is for the program itself, not for its users; a part has its verb's help.
        if (option->get_group().empty() || (isGroup(&app) && option == app.get_help_ptr())) {
            continue;
        }
        auto& part = option->get_positional() ? positionals : options;
        part.entries.push_back({nameOf(*option), option->get_description()});
    }
    for (Page::Part* part : {&positionals, &options}) {
        if (!part->entries.empty()) {
            parts.push_back(std::move(*part));
        }
    }
    for (const CLI::App* group : app.get_subcommands(isGroup)) {
        addParts(parts, *group, group->get_description() + " (one of these)");
    }
}

std::string usageOf(const CLI::App& app) {
    std::string usage = "[OPTION]...";
    for (const CLI::Option* option : app.get_options()) {
        if (option->get_positional()) {
            usage += " " + option->get_name(true) + (option->get_items_expected_max() > 1 ? "..." : "");
        }
    }
    return app.get_subcommands(isVerb).empty() ? usage : "VERB " + usage;
}

} // namespace

Page pageOf(const CLI::App& app) {
    Page page{app.get_name(), app.get_description(), usageOf(app), {}, app.get_footer(), {}};
    addParts(page.parts, app, "Options");
    for (const CLI::App* verb : app.get_subcommands(isVerb)) {
        page.verbs.push_back(pageOf(*verb));
    }
    return page;
}

Page pageOfHelp(const std::string& name, std::string_view help) {
    Page page{name, {}, {}, {}, {}, {}};
    while (!help.empty()) {
        const std::string_view line = help.substr(0, help.find('\n'));
        help.remove_prefix(std::min(line.size() + 1, help.size()));
        const std::string text(kernel::trimmed(line));
        const std::size_t indent = line.size() - kernel::trimmedFront(line).size();
        constexpr std::string_view kUsage = "Usage: ";
        if (text.empty()) {
            continue;
        }
        if (indent > 2 && !page.parts.empty() && !page.parts.back().entries.empty()) {
            std::string& description = page.parts.back().entries.back().description;
            description += (description.empty() ? "" : " ") + text;
        } else if (indent > 0 && !page.parts.empty()) {
            const std::size_t gap = std::min(text.find("  "), text.size());
            page.parts.back().entries.push_back({text.substr(0, gap), std::string(kernel::trimmed(text.substr(gap)))});
        } else if (text.starts_with(kUsage)) {
            page.usage = text.substr(std::min(text.find(' ', kUsage.size()), text.size() - 1) + 1);
        } else if (text.ends_with(':')) {
            page.parts.push_back({text.substr(0, text.size() - 1), {}});
        } else {
            page.description += (page.description.empty() ? "" : " ") + text;
        }
    }
    return page;
}

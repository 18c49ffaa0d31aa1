#include "cli/pages/Page.h"
#include "platform/kernel/Text.h"

namespace {

/// A text as the formatter takes it: what it would obey is shown.
std::string plain(std::string_view text) {
    std::string safe = text.starts_with('.') || text.starts_with('\'') ? "\\&" : "";
    for (const char character : text) {
        safe += character == '\\' ? "\\e" : character == '-' ? "\\-" : std::string(1, character);
    }
    return safe;
}

std::string quotedArgument(std::string_view text) {
    std::string safe = "\"";
    for (const char character : plain(text)) {
        safe += character == '"' ? "\\(dq" : std::string(1, character);
    }
    return safe + "\"";
}

std::string entriesOf(const Page::Part& part) {
    std::string text;
    for (const Page::Entry& entry : part.entries) {
        text += ".TP\n.B " + quotedArgument(entry.name) + "\n" + plain(entry.description) + "\n";
    }
    return text;
}

/// The lines as they stand, heads in between.
std::string footerOf(std::string_view footer, const char* headMacro) {
    std::string text;
    while (!footer.empty()) {
        const std::string_view line = footer.substr(0, footer.find('\n'));
        footer.remove_prefix(std::min(line.size() + 1, footer.size()));
        if (line.ends_with(':') && !line.starts_with(' ')) {
            const std::string head(line.substr(0, line.size() - 1));
            text += std::string(headMacro) + " " +
                    quotedArgument(headMacro == std::string(".SH") ? kernel::upperCase(head) : head) + "\n";
        } else if (!line.empty()) {
            text += ".nf\n" + plain(line) + "\n.fi\n";
        }
    }
    return text;
}

/// `caller`: what stands before the verb's own name.
std::string verbOf(const std::string& caller, const Page& verb) {
    const std::string name = caller + " " + verb.name;
    std::string text = ".SS " + quotedArgument(name + " " + verb.usage) + "\n" + plain(verb.description) + ".\n";
    for (const Page::Part& part : verb.parts) {
        text += ".PP\n" + plain(part.title) + ":\n" + entriesOf(part);
    }
    text += footerOf(verb.footer, ".PP\n.B");
    for (const Page& further : verb.verbs) {
        text += verbOf(name, further);
    }
    return text;
}

} // namespace

std::string manPage(const Page& page, const std::string& version) {
    std::string text =
        ".\\\" Made from the program's own --help.\n.TH " + quotedArgument(kernel::upperCase(page.name)) + " 1 \"\" " +
        quotedArgument(version) + " \"User Commands\"\n.SH NAME\n" + plain(page.name) + " \\- " +
        plain(page.description.substr(0, page.description.find_last_not_of('.') + 1)) + "\n.SH SYNOPSIS\n.B " +
        quotedArgument(page.name) + "\n" + plain(page.usage) + "\n.SH DESCRIPTION\n" + plain(page.description) + "\n";
    for (const Page::Part& part : page.parts) {
        text += ".SH " + quotedArgument(kernel::upperCase(part.title)) + "\n" + entriesOf(part);
    }
    text += page.verbs.empty() ? "" : ".SH VERBS\n";
    for (const Page& verb : page.verbs) {
        text += verbOf(page.name, verb);
    }
    return text + footerOf(page.footer, ".SH");
}

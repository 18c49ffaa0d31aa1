#include "cli/pages/Completion.h"

#include "platform/kernel/Text.h"

#include <algorithm>
#include <functional>

namespace {

/// The entries that are options.
void eachOption(const Page& page, const std::function<void(const Page::Entry&, const std::string& option)>& take) {
    for (const Page::Part& part : page.parts) {
        for (const Page::Entry& entry : part.entries) {
            if (entry.name.starts_with("--")) {
                take(entry, entry.name.substr(0, entry.name.find(' ')));
            }
        }
    }
}

bool takesValue(const Page::Entry& entry) {
    return entry.name.find(' ') != std::string::npos;
}

bool takesFile(const Page::Entry& entry) {
    return entry.name.ends_with(" FILE");
}

/// The words of which an option takes one, with blanks between them: "bar json none". Empty where it takes any text.
std::string choicesOf(const Page::Entry& entry) {
    std::string choices = takesValue(entry) ? entry.name.substr(entry.name.find(' ') + 1) : "";
    if (choices.find('|') == std::string::npos) {
        return {};
    }
    std::ranges::replace(choices, '|', ' ');
    return choices;
}

std::string optionsOf(const Page& page) {
    std::string options;
    eachOption(
        page, [&](const Page::Entry&, const std::string& option) { options += (options.empty() ? "" : " ") + option; });
    return options;
}

std::string withoutDashes(std::string name) {
    std::ranges::replace(name, '-', '_');
    return name;
}

/// The text within single quotes of a shell; `special` characters get a backslash besides.
std::string shellText(std::string_view text, std::string_view special) {
    std::string safe;
    for (const char character : text) {
        safe += special.find(character) != special.npos ? "\\" : "";
        safe += character == '\'' ? "'\\''" : std::string(1, character);
    }
    return safe;
}

/// The names of the options of `page` for which `fits`, as the patterns of a case: "--json|--ring".
std::string patterns(const Page& page, bool (*fits)(const Page::Entry&)) {
    std::string text;
    eachOption(page, [&](const Page::Entry& entry, const std::string& option) {
        text += fits(entry) ? (text.empty() ? "" : "|") + option : "";
    });
    return text;
}

} // namespace

std::string bashCompletion(const Page& program) {
    const std::string function = "_" + withoutDashes(program.name);
    std::string verbs;
    std::string cases;
    for (const Page& verb : program.verbs) {
        verbs += (verbs.empty() ? "" : " ") + verb.name;
        const std::string files = patterns(verb, takesFile);
        const std::string values = patterns(verb, [](const Page::Entry& entry) {
            return takesValue(entry) && !takesFile(entry) && choicesOf(entry).empty();
        });
        std::string choices;
        eachOption(verb, [&](const Page::Entry& entry, const std::string& option) {
            const std::string words = choicesOf(entry);
            choices += words.empty() ? "" : "        " + option + ") words=\"" + words + "\" choice=1 ;;\n";
        });
        cases += "    " + verb.name + ")\n        words=\"" + optionsOf(verb) + "\"\n        case $previous in\n" +
                 (files.empty() ? "" : "        " + files + ") words= ;;\n") +
                 (values.empty() ? "" : "        " + values + ") return ;;\n") + choices + "        esac ;;\n";
    }
    return "# Completion of " + program.name + " for bash, made from its own --help.\n" + function +
           "() {\n"
           "    local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD-1]} verb= word words choice=\n"
           "    for word in \"${COMP_WORDS[@]:1:COMP_CWORD-1}\"; do\n"
           "        [[ $word == -* ]] || { verb=$word; break; }\n"
           "    done\n"
           "    COMPREPLY=()\n"
           "    case $verb in\n"
           "    '') words=\"" +
           verbs + " " + optionsOf(program) + "\" ;;\n" + cases +
           "    *) return ;;\n"
           "    esac\n"
           "    if [[ -z $verb || $choice || $current == -* ]]; then\n"
           "        mapfile -t COMPREPLY < <(compgen -W \"$words\" -- \"$current\")\n"
           "    else\n"
           "        compopt -o filenames 2>/dev/null\n"
           "        mapfile -t COMPREPLY < <(compgen -f -- \"$current\")\n"
           "    fi\n"
           "}\n"
           "complete -F " +
           function + " " + program.name + "\n";
}

std::string zshCompletion(const Page& program) {
    const std::string function = "_" + program.name;
    const auto options = [](const Page& page) {
        std::string text;
        eachOption(page, [&](const Page::Entry& entry, const std::string& option) {
            const std::string value = takesValue(entry) ? ":" + entry.name.substr(entry.name.find(' ') + 1) + ":" : "";
            text += " \\\n            '" + option + "[" + shellText(entry.description, "[]\\") + "]" +
                    shellText(value, "") +
                    (takesFile(entry)           ? "_files"
                     : choicesOf(entry).empty() ? ""
                                                : "(" + choicesOf(entry) + ")") +
                    "'";
        });
        return text;
    };
    std::string verbs;
    std::string cases;
    for (const Page& verb : program.verbs) {
        verbs += "            '" + verb.name + ":" + shellText(verb.description, ":\\") + "'\n";
        cases += "        " + verb.name + ")\n            _arguments" + options(verb) +
                 " \\\n            '*:file:_files' ;;\n";
    }
    return "#compdef " + program.name + "\n# Completion of " + program.name + " for zsh, made from its own --help.\n" +
           function + "() {\n    local context state line\n    typeset -A opt_args\n    _arguments -C" +
           options(program) + " \\\n            '1:verb:->verb' '*::argument:->argument'\n    case $state in\n" +
           "    verb)\n        local -a verbs=(\n" + verbs +
           "        )\n        _describe verb verbs ;;\n    argument)\n        case $words[1] in\n" + cases +
           "        esac ;;\n    esac\n}\n" + function + " \"$@\"\n";
}

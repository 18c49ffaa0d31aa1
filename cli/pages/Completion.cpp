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

/// What may stand next: its verbs, where it has some, and its options.
std::string wordsOf(const Page& page) {
    std::string words;
    for (const Page& verb : page.verbs) {
        words += verb.name + " ";
    }
    return words + optionsOf(page);
}

/// The verbs that have verbs, as the patterns of a case.
std::string groupsOf(const Page& program) {
    std::string names;
    for (const Page& verb : program.verbs) {
        names += verb.verbs.empty() ? "" : (names.empty() ? "" : "|") + verb.name;
    }
    return names;
}

/// For each verb what may follow it, as the cases of bash; `caller`: the verb around them, with a blank behind it.
std::string casesOf(const Page& page, const std::string& caller) {
    std::string cases;
    for (const Page& verb : page.verbs) {
        const std::string files = patterns(verb, takesFile);
        const std::string values = patterns(verb, [](const Page::Entry& entry) {
            return takesValue(entry) && !takesFile(entry) && choicesOf(entry).empty();
        });
        std::string choices;
        eachOption(verb, [&](const Page::Entry& entry, const std::string& option) {
            const std::string words = choicesOf(entry);
            choices += words.empty() ? "" : "        " + option + ") words=\"" + words + "\" choice=1 ;;\n";
        });
        const std::string name = caller + verb.name;
        cases += "    '" + name + "')\n        words=\"" + wordsOf(verb) + "\"\n        case $previous in\n" +
                 (files.empty() ? "" : "        " + files + ") words= ;;\n") +
                 (values.empty() ? "" : "        " + values + ") return ;;\n") + choices + "        esac ;;\n" +
                 casesOf(verb, name + " ");
    }
    return cases;
}

/// The function that completes what stands behind the program's name, or a verb's, and those of the verbs within.
std::string zshFunction(const Page& page, const std::string& function) {
    const auto options = [](const Page& of) {
        std::string text;
        eachOption(of, [&](const Page::Entry& entry, const std::string& option) {
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
    std::string within;
    std::string verbs;
    std::string cases;
    for (const Page& verb : page.verbs) {
        verbs += "            '" + verb.name + ":" + shellText(verb.description, ":\\") + "'\n";
        cases += "        " + verb.name + ")\n            ";
        if (verb.verbs.empty()) {
            cases += "_arguments" + options(verb) + " \\\n            '*:file:_files' ;;\n";
        } else {
            within += zshFunction(verb, function + "-" + verb.name);
            cases += function + "-" + verb.name + " ;;\n";
        }
    }
    return within + function + "() {\n    local context state line\n    typeset -A opt_args\n    _arguments -C" +
           options(page) + " \\\n            '1:verb:->verb' '*::argument:->argument'\n    case $state in\n" +
           "    verb)\n        local -a verbs=(\n" + verbs +
           "        )\n        _describe verb verbs ;;\n    argument)\n        case $words[1] in\n" + cases +
           "        esac ;;\n    esac\n}\n";
}

} // namespace

std::string bashCompletion(const Page& program) {
    const std::string function = "_" + withoutDashes(program.name);
    return "# Completion of " + program.name + " for bash, made from its own --help.\n" + function +
           "() {\n"
           "    local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD-1]} verb= word words choice=\n"
           "    for word in \"${COMP_WORDS[@]:1:COMP_CWORD-1}\"; do\n"
           "        [[ $word == -* ]] && continue\n"
           "        verb=${verb:+$verb }$word\n"
           "        case $verb in\n"
           "        " +
           groupsOf(program) +
           ") ;;\n"
           "        *) break ;;\n"
           "        esac\n"
           "    done\n"
           "    COMPREPLY=()\n"
           "    case $verb in\n"
           "    '') words=\"" +
           wordsOf(program) + "\" ;;\n" + casesOf(program, "") +
           "    *) return ;;\n"
           "    esac\n"
           "    case $verb in\n"
           "    ''|" +
           groupsOf(program) +
           ") word=verb ;;\n"
           "    *) word= ;;\n"
           "    esac\n"
           "    if [[ -n $word || -n $choice || $current == -* ]]; then\n"
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
    return "#compdef " + program.name + "\n# Completion of " + program.name + " for zsh, made from its own --help.\n" +
           zshFunction(program, function) + function + " \"$@\"\n";
}

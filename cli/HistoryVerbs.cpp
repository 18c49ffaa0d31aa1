#include "cli/OptionKinds.h"
#include "cli/VerbOptions.h"
#include "workbench/record/HistorySettings.h"
#include "workbench/record/SessionJson.h"

#include <array>
#include <ctime>
#include <stdexcept>

namespace {

using Verb = Arguments::Verb;

/// A verb of the record, with the record that it is about.
CLI::App* addHistoryVerb(CLI::App& history, Arguments& arguments, Verb verb, const std::string& name,
                         const std::string& description, const std::string& example) {
    CLI::App* added = addVerb(history, arguments, verb, name, description, example);
    added->callback([&arguments, verb, name] {
        arguments.verb = verb;
        arguments.verbName = "history " + name;
    });
    addName(*added, "--history", arguments.historyPlace,
            "The record to use, a file or the address of a database (default: that of the settings)")
        ->type_name("FILE|URL")
        ->check([](const std::string& place) {
            try {
                if (record::isUrl(place)) {
                    record::checkSharedUrl(place);
                }
            } catch (const std::runtime_error& error) {
                return std::string(error.what());
            }
            return std::string();
        });
    return added;
}

void addSession(CLI::App& verb, Arguments& arguments) {
    addName(verb, "session", arguments.history.session, "Its number, or as much of its begin as tells it from others")
        ->required()
        ->type_name("SESSION");
}

CLI::Option* addText(CLI::App& verb, const std::string& name, std::optional<std::string>& text,
                     const std::string& description, const std::string& type) {
    return verb.add_option(name, text, description)->type_name(type);
}

void addItemsOnly(CLI::App& verb, Arguments& arguments, const std::string& what) {
    addItemNumbers(verb, arguments, "--ids", what + " these items alone, such as 10,20-30");
}

/// Which of a write's two values are meant.
void addWhich(CLI::App& verb, Arguments& arguments) {
    CLI::Option* before =
        addFlag(verb, "--before", arguments.history.before, "Of a write: the values that the phone had before it");
    addFlag(verb, "--after", arguments.history.after, "Of a write: those that it had after it")->excludes(before);
}

/// The begin of that day, or that minute, in local time. Nothing where `text` is none.
std::optional<std::chrono::system_clock::time_point> localTime(const std::string& text) {
    for (const char* form : {"%Y-%m-%d", "%Y-%m-%dT%H:%M"}) {
        std::tm parts{};
        parts.tm_isdst = -1;
        const char* end = ::strptime(text.c_str(), form, &parts);
        if (end != nullptr && *end == '\0') {
            const int day = parts.tm_mday;
            const std::time_t time = std::mktime(&parts);
            return parts.tm_mday == day && time != -1 ? std::optional(std::chrono::system_clock::from_time_t(time))
                                                      : std::nullopt;
        }
    }
    return std::nullopt;
}

void addSince(CLI::App& verb, Arguments& arguments) {
    addNumber(
        verb, "--since",
        "Sessions that began on this day or later, such as 2026-11-17 or 2026-11-17T14:30 (local time), or within "
        "a period, such as 7d, 2w, 6m, 1y",
        [&arguments](const std::string& text) {
            const auto period = record::parsePeriod(text);
            arguments.history.since =
                period ? std::optional(std::chrono::system_clock::now() - *period) : localTime(text);
            return arguments.history.since.has_value();
        })
        ->type_name("WHEN");
}

void describeList(CLI::App& history, Arguments& arguments) {
    CLI::App* list = addHistoryVerb(history, arguments, Verb::kHistoryList, "list",
                                    "Print the phones of the record, or their sessions",
                                    "calvane-batch history list\n"
                                    "  calvane-batch history list --serial 0000000001 --since 7d");
    addFlag(*list, "--sessions", arguments.history.ofSessions,
            "Print sessions, also where none of the options below is given");
    addText(*list, "--serial", arguments.history.serial, "The sessions of the phone with this serial number", "SERIAL");
    addText(*list, "--port", arguments.history.port, "The sessions over this port", "PORT");
    addSince(*list, arguments);
    addNumber(*list, "--limit", "Print the newest sessions, so many at most (default: 1000)",
              [&arguments](const std::string& text) { return parseNumber(text, arguments.history.limit); });
    addJson(*list, arguments, "Write the list");
    addTelling(*list, arguments);
}

void describeItem(CLI::App& history, Arguments& arguments) {
    CLI::App* item = addHistoryVerb(history, arguments, Verb::kHistoryItem, "item",
                                    "Print what one item of a phone was when, or what is usual among all phones",
                                    "calvane-batch history item 1060 --serial 0000000001\n"
                                    "  calvane-batch history item 1060 --model Sample");
    addNumber(*item, "number", "Number of the item", [&arguments](const std::string& text) {
        return parseNumber(text, arguments.history.item);
    })->required();
    CLI::Option* serial = addText(*item, "--serial", arguments.history.serial,
                                  "Of the phone with this serial number, over time", "SERIAL");
    addText(*item, "--port", arguments.history.port,
            "Of the phones that were on this port and told no serial number, over time", "PORT")
        ->excludes(serial);
    addText(*item, "--model", arguments.history.model, "Of phones of this model alone", "MODEL");
    addRing(*item, arguments);
    addJson(*item, arguments, "Write it");
    addTelling(*item, arguments);
}

void describeRestore(CLI::App& history, Arguments& arguments) {
    CLI::App* restore =
        addHistoryVerb(history, arguments, Verb::kHistoryRestore, "restore",
                       "Put the values of a session back on its phone: what differs is written, and read back",
                       "calvane-batch history restore 1f2e3d4c --port COM1 --dry-run\n"
                       "  calvane-batch history restore 1f2e3d4c --port COM1 --before --ids 1060");
    addSession(*restore, arguments);
    addWhich(*restore, arguments);
    addItemsOnly(*restore, arguments, "Restore");
    addFlag(*restore, "--with-date", arguments.history.withDate,
            "Restore NV_RF_NV_LOADED_DATE_I, too, which gets the time of this write otherwise");
    addFlag(*restore, "--unknown-phone", arguments.history.unknownPhone,
            "Where the session's phone told no serial number, write to one of its model that tells none either");
    addWriting(*restore, arguments);
    restore->get_option("--port")->description("Port of the phone, such as COM1");
    restore->get_option("--expect-serial")
        ->description("Send nothing to a phone with another serial number (default: the session's phone)");
}

void describeExport(CLI::App& history, Arguments& arguments) {
    CLI::App* save = addHistoryVerb(history, arguments, Verb::kHistoryExport, "export",
                                    "Write a session to a file, as JSON that import takes, or its values as a "
                                    "calibration file",
                                    "calvane-batch history export 1f2e3d4c session.json\n"
                                    "  calvane-batch history export 1f2e3d4c before.mox --before");
    addSession(*save, arguments);
    addName(*save, "file", arguments.history.outputPath,
            "File to write, which ends in .json or .mox (- for JSON on "
            "standard output)")
        ->required();
    addWhich(*save, arguments);
    addItemsOnly(*save, arguments, "Write");
    addRing(*save, arguments);
    addTelling(*save, arguments);
}

void describeChanges(CLI::App& history, Arguments& arguments) {
    CLI::App* import = addHistoryVerb(history, arguments, Verb::kHistoryImport, "import",
                                      "Put a session from a file into the record of this computer, once",
                                      "calvane-batch history import session.json");
    addName(
        *import, "file", arguments.inputPath,
        "JSON that \"history export\", \"history show --json\" or \"read --json\" has written (- for standard input)")
        ->required();
    addTelling(*import, arguments);

    CLI::App* prune =
        addHistoryVerb(history, arguments, Verb::kHistoryPrune, "prune",
                       "Remove old sessions from the record of this computer", "calvane-batch history prune --keep 1y");
    addNumber(*prune, "--keep",
              "Keep those of this period, such as 30d, 2w, 6m, 1y; also those that are not yet in the "
              "shared record",
              [&arguments](const std::string& text) {
                  const auto period = record::parsePeriod(text);
                  arguments.history.keep = period.value_or(std::chrono::days());
                  return period.has_value();
              })
        ->type_name("PERIOD")
        ->required();
    addFlag(*prune, "--shared", arguments.history.isShared, "Remove them from the shared record instead");
    addTelling(*prune, arguments);

    CLI::App* note = addHistoryVerb(history, arguments, Verb::kHistoryNote, "note",
                                    "Keep a note with a session, in place of the one that it had",
                                    "calvane-batch history note 1f2e3d4c \"antenna exchanged\"");
    addSession(*note, arguments);
    note->add_option("text", arguments.history.note, "The note")
        ->required()
        ->type_name("TEXT")
        ->check([](const std::string& text) {
            const bool isShort = text.size() <= record::kMaxTextBytes;
            return isShort ? "" : "it is longer than " + std::to_string(record::kMaxTextBytes) + " bytes";
        });
    addTelling(*note, arguments);
}

} // namespace

void describeHistoryVerbs(CLI::App& program, Arguments& arguments) {
    CLI::App* history = program.add_subcommand(
        "history", "Ask the record what was read from phones and written to them, and put it back");
    history->require_subcommand(1);
    history->footer("Example:\n  calvane-batch history list\n  calvane-batch history show --help");
    describeList(*history, arguments);
    CLI::App* show = addHistoryVerb(*history, arguments, Verb::kHistoryShow, "show",
                                    "Print a session: who did what, and the items before and after",
                                    "calvane-batch history show 1f2e3d4c");
    addSession(*show, arguments);
    addItemsOnly(*show, arguments, "Print");
    addRing(*show, arguments);
    addJson(*show, arguments, "Write it");
    addTelling(*show, arguments);
    describeItem(*history, arguments);
    describeRestore(*history, arguments);
    describeExport(*history, arguments);
    describeChanges(*history, arguments);
}

#include "cli/CommandText.h"
#include "cli/HistoryAccount.h"
#include "cli/HistoryStore.h"
#include "cli/ItemSides.h"
#include "cli/MoxCommands.h"
#include "cli/Run.h"
#include "cli/Verbs.h"
#include "cli/WriteItems.h"
#include "platform/kernel/Text.h"
#include "workbench/LoadedDate.h"
#include "workbench/record/SessionItems.h"
#include "workbench/record/SessionJson.h"

#include <algorithm>
#include <ctime>
#include <filesystem>
#include <map>

namespace {

using record::ItemState;
using record::Which;

/// A session with the items that the arguments name.
struct NamedSession {
    record::Session session;
    std::vector<record::SessionItem> items;
};

NamedSession namedSession(const Arguments& arguments) {
    return onRecord([&] {
        ShownHistory shown(arguments);
        NamedSession named{.session = shown.session(arguments), .items = {}};
        named.items = shown.namedItems(named.session, arguments);
        return named;
    });
}

/// Which values are meant. Of a write there are two, and the wrong ones would undo what somebody relies on.
Which whichOf(const record::Session& session, const Arguments& arguments) {
    const bool isRead = session.kind == record::SessionKind::kRead;
    if (!isRead && !arguments.history.before && !arguments.history.after) {
        throw BatchFailure(ExitStatus::kWrongUsage,
                           "The session is a write: say --before for the values that the phone "
                           "had before it, or --after for those after it.");
    }
    if (isRead && arguments.history.before) {
        throw BatchFailure(ExitStatus::kWrongUsage, "The session is a read, which has no values from before it.");
    }
    return arguments.history.before ? Which::kBefore : Which::kAfter;
}

/// "Not restored (read-only): 20, 30." for each reason.
std::string leftText(const std::vector<record::LeftBehind>& left) {
    std::map<std::string, std::vector<std::uint16_t>> numbers;
    for (const record::LeftBehind& item : left) {
        numbers[item.reason].push_back(item.number);
    }
    std::string text;
    for (const auto& [reason, which] : numbers) {
        text += "Not restored (" + reason + "): " + joined(which) + ".\n";
    }
    return text;
}

/// Whether the session should know a value of this item, and does not.
bool isGap(const record::SessionItem& item, Which which) {
    return item.state != ItemState::kNoValue && !record::valueOf(item, which);
}

/// Says which phone it has to be.
void expectPhone(Arguments& arguments, const record::Session& session) {
    if (arguments.expectedSerial) {
        return;
    }
    if (!session.phone.isKnown() && !arguments.history.unknownPhone) {
        throw BatchFailure(ExitStatus::kOtherPhone,
                           "The phone of this session told no serial number, so that nobody can say which one it is: "
                           "give --unknown-phone for one that tells none either, or --expect-serial. Nothing was "
                           "written.");
    }
    arguments.expectedPhone = session.phone;
}

/// The date of this write, where the ring lets it be written.
std::optional<workbench::WantedItem> stampOf(Calvane& catalog) {
    for (NvItem& item : catalog.getSupportedNvItems()) {
        if (item.getName() == workbench::kLoadedDateItem && item.isWritable()) {
            item.setData(std::to_string(workbench::loadedDateStamp(std::time(nullptr))));
            return workbench::WantedItem{.item = std::move(item)};
        }
    }
    return std::nullopt;
}

} // namespace

ExitStatus restoreSession(Calvane& catalog, const Arguments& given) {
    Arguments arguments = given;
    const NamedSession named = namedSession(arguments);
    const Which which = whichOf(named.session, arguments);
    expectPhone(arguments, named.session);
    const bool withDate = arguments.history.withDate;
    record::SessionSet set = record::restorationOf(named.items, which, catalog, withDate);
    arguments.run->note("Restoring " + lineOf(named.session) + "\n" + leftText(set.left));
    if (set.items.empty()) {
        throw BatchFailure(ExitStatus::kValues, "Nothing of this session can be restored. Nothing was written.");
    }
    std::vector<workbench::WantedItem> wanted;
    for (NvItem& item : set.items) {
        wanted.push_back({.item = std::move(item), .bringsAllBytes = true});
    }
    std::optional<std::uint16_t> stamp;
    if (auto date = withDate ? std::nullopt : stampOf(catalog)) {
        stamp = date->item.getId();
        wanted.push_back(std::move(*date));
    }
    arguments.changedOnly = true;
    arguments.run->record().setKind(record::SessionKind::kRestore,
                                    "history restore " + shortNumber(named.session.uuid) +
                                        (which == Which::kBefore ? " --before" : " --after"));
    const bool isWhole = std::ranges::none_of(named.items, [&](const auto& item) { return isGap(item, which); });
    const ExitStatus status = writeItems(catalog, arguments, std::move(wanted), stamp);
    return isWhole ? status : worse(status, ExitStatus::kIncomplete);
}

ExitStatus exportSession(Calvane& catalog, const Arguments& arguments) {
    const std::string& path = arguments.history.outputPath;
    const bool isMox = kernel::lowerCase(path).ends_with(".mox");
    if (!isMox && path != "-" && !kernel::lowerCase(path).ends_with(".json")) {
        throw BatchFailure(ExitStatus::kWrongUsage, quoted(path) + " ends neither in .mox nor in .json.");
    }
    const NamedSession named = namedSession(arguments);
    if (!isMox) {
        const auto nameOf = [&](std::uint16_t number) { return catalog.describedItem(number).getName(); };
        writeOutput(path, record::sessionToJson(named.session, named.items, nameOf));
        arguments.run->note("Wrote session " + shortNumber(named.session.uuid) + " to " + quoted(path) + ".\n");
        return ExitStatus::kDone;
    }
    const Which which = whichOf(named.session, arguments);
    if (std::error_code error; std::filesystem::exists(path, error)) {
        throw BatchFailure(ExitStatus::kFile, quoted(path) + " is there already, and would have the items of both.");
    }
    Arguments ofFile = arguments;
    ofFile.moxPath = path;
    const record::SessionSet set = record::itemsOf(named.items, which, catalog);
    arguments.run->note(saveToMox(catalog, set.items, ofFile));
    return ExitStatus::kDone;
}

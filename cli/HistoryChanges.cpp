#include "cli/CommandText.h"
#include "cli/HistoryAccount.h"
#include "cli/HistoryStore.h"
#include "cli/Run.h"
#include "cli/SetItems.h"
#include "cli/Verbs.h"
#include "workbench/MessageText.h"
#include "workbench/record/SessionJson.h"

#include <chrono>
#include <filesystem>
#include <iostream>

namespace {

void requireWritable(const record::Store& store) {
    if (store.access() == record::Access::kReadOnly) {
        throw BatchFailure(ExitStatus::kFile, "The record can only be read: a newer program has made it, or it belongs "
                                              "to somebody else. Nothing was changed.");
    }
}

/// This computer's own, or the shared one, unless the arguments name one. What people have to know of it is told.
record::ShownStore storeToChange(const Arguments& arguments, bool mayMake, bool isShared) {
    return failingWith(ExitStatus::kFile, [&] {
        if (!arguments.historyPlace.empty()) {
            return record::openShownAt(arguments.historyPlace, mayMake);
        }
        const record::HistorySettings settings = historySettings();
        if (isShared && settings.sharedUrl.empty()) {
            throw BatchFailure(ExitStatus::kWrongUsage, "The settings name no shared record.");
        }
        auto open = isShared ? record::openShownAt(settings.sharedUrl) : record::openOwn(settings);
        if (!open.remark.empty()) {
            std::cerr << workbench::shownText(open.remark) << '\n';
        }
        return open;
    });
}

/// Whether what comes into this computer's own record is for the shared one, too.
bool waitsForServer(const Arguments& arguments) {
    return arguments.historyPlace.empty() && !historySettings().sharedUrl.empty();
}

/// The note goes with the session wherever it is: this computer's own record keeps its sessions, too.
void noteInOwn(const std::string& uuid, const std::string& note) {
    const record::HistorySettings settings = historySettings();
    std::error_code error;
    if (!std::filesystem::exists(settings.file, error)) {
        return;
    }
    const auto own = record::openShownAt(settings.file.string());
    if (own.store->access() == record::Access::kWritable && record::History(own.store->database()).session(uuid)) {
        own.store->setNote(uuid, note);
    }
}

} // namespace

ExitStatus importSession(const Arguments& arguments) {
    const std::string text = readInput(arguments.inputPath);
    const std::string name = inputName(arguments.inputPath);
    const auto recorded = takingValues([&] { return record::sessionFromJson(text, name); });
    return onRecord([&] {
        const record::ShownStore open = storeToChange(arguments, true, false);
        requireWritable(*open.store);
        const bool isNew = open.store->add(recorded.session, recorded.items);
        std::cout << recorded.session.uuid << '\n';
        arguments.run->note(
            quoted(name) + (isNew ? " is now in the record: " : " was in the record already: ") +
            counted(recorded.items.size()) + " of " +
            phoneText(recorded.session.phone.model, recorded.session.phone.serialNumber, recorded.session.port) +
            ".\n" +
            (isNew && waitsForServer(arguments)
                 ? "It waits there to be handed over to the shared record, by the next run on a phone or the window.\n"
                 : ""));
        return ExitStatus::kDone;
    });
}

ExitStatus pruneHistory(const Arguments& arguments) {
    return onRecord([&] {
        const record::ShownStore open = storeToChange(arguments, false, arguments.history.isShared);
        const bool keepsPending = waitsForServer(arguments);
        requireWritable(*open.store);
        const record::Time limit = std::chrono::system_clock::now() - arguments.history.keep;
        const std::size_t gone = open.store->prune(limit, keepsPending && !open.isShared);
        arguments.run->note("Removed " + std::to_string(gone) + (gone == 1 ? " session" : " sessions") + " from " +
                            quoted(open.place) + " that began before " + localText(limit) + ".\n");
        return ExitStatus::kDone;
    });
}

ExitStatus noteSession(const Arguments& arguments) {
    return onRecord([&] {
        ShownHistory shown(arguments);
        requireWritable(shown.store());
        const record::Session session = shown.session(arguments);
        shown.store().setNote(session.uuid, arguments.history.note);
        if (shown.shown().isShared && arguments.historyPlace.empty()) {
            noteInOwn(session.uuid, arguments.history.note);
        }
        arguments.run->note("Noted at session " + shortNumber(session.uuid) + ".\n");
        return ExitStatus::kDone;
    });
}

#include "cli/CommandText.h"
#include "cli/HistoryAccount.h"
#include "cli/HistoryStore.h"
#include "cli/Run.h"
#include "cli/SetItems.h"
#include "cli/Verbs.h"
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

/// A place to be changed, and what it is called.
struct OpenStore {
    std::unique_ptr<record::Store> store;
    std::string place;
    bool keepsPending = false; ///< what is not yet in the shared record
};

/// This computer's own, unless the arguments say otherwise.
OpenStore storeToChange(const Arguments& arguments, bool isShared) {
    return onRecord([&] {
        return failingWith(ExitStatus::kFile, [&] {
            if (!arguments.historyPlace.empty()) {
                auto shown = record::openShownAt(arguments.historyPlace);
                return OpenStore{.store = std::move(shown.store), .place = shown.place};
            }
            const record::HistorySettings settings = historySettings();
            if (!isShared) {
                return OpenStore{record::openOwn(settings), settings.file.string(), !settings.sharedUrl.empty()};
            }
            if (settings.sharedUrl.empty()) {
                throw BatchFailure(ExitStatus::kWrongUsage, "No shared record is set.");
            }
            auto shown = record::openShownAt(settings.sharedUrl);
            return OpenStore{.store = std::move(shown.store), .place = shown.place};
        });
    });
}

/// The note goes with the session wherever it is: this computer's own record keeps its sessions, too.
void noteInOwn(const std::string& uuid, const std::string& note) {
    const record::HistorySettings settings = historySettings();
    std::error_code error;
    if (!std::filesystem::exists(settings.file, error)) {
        return;
    }
    const auto store = record::openOwn(settings);
    if (store->access() == record::Access::kWritable && record::History(store->database()).session(uuid)) {
        store->setNote(uuid, note);
    }
}

} // namespace

ExitStatus importSession(const Arguments& arguments) {
    const std::string text = readInput(arguments.inputPath);
    const std::string name = inputName(arguments.inputPath);
    const auto recorded = takingValues([&] { return record::sessionFromJson(text, name); });
    return onRecord([&] {
        const OpenStore open = storeToChange(arguments, false);
        requireWritable(*open.store);
        const bool isNew = open.store->add(recorded.session, recorded.items);
        std::cout << recorded.session.uuid << '\n';
        arguments.run->note(
            quoted(name) + (isNew ? " is now in the record: " : " was in the record already: ") +
            counted(recorded.items.size()) + " of " +
            phoneText(recorded.session.phone.model, recorded.session.phone.serialNumber, recorded.session.port) +
            ".\n");
        return ExitStatus::kDone;
    });
}

ExitStatus pruneHistory(const Arguments& arguments) {
    return onRecord([&] {
        const OpenStore open = storeToChange(arguments, arguments.history.isShared);
        requireWritable(*open.store);
        const record::Time limit = std::chrono::system_clock::now() - arguments.history.keep;
        const std::size_t gone = open.store->prune(limit, open.keepsPending);
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

// What the window of the record does with a session, and with an item of it.

#include "app/dialogs/FileDialog.h"
#include "app/dialogs/ShownText.h"
#include "app/history/HistoryWindow.h"
#include "app/history/ReportFile.h"
#include "app/history/RestoreDialog.h"
#include "workbench/record/SessionJson.h"
#include "workbench/record/SessionText.h"

#include <QInputDialog>
#include <algorithm>
#include <stdexcept>

namespace {

constexpr std::size_t kMostSides = 30; ///< sessions that a comparison offers

std::string labelOf(const record::Session& session) {
    return "Session " + record::localTime(session.begun) + ", " + record::wordOf(session.kind);
}

/// The values of a session as a side of a comparison.
std::shared_ptr<const workbench::ItemSet> setOf(const record::Session& session, record::Which which, StoreLink& link) {
    record::SessionSet set = record::itemsOf(link.itemsOf(session), which, link.catalog());
    const auto source = std::make_shared<const workbench::Source>(
        workbench::Source{workbench::PhoneSource{session.phone, session.port}, session.begun});
    std::string remark;
    if (!set.left.empty()) {
        remark = std::to_string(set.left.size()) + " of its items have no known value, and are left out.";
    }
    return std::make_shared<const workbench::ItemSet>(
        workbench::ItemSet::About{workbench::ItemSet::Origin::kRecord,
                                  labelOf(session) + (which == record::Which::kBefore ? ", before it" : ""), source,
                                  true, remark},
        std::move(set.items));
}

} // namespace

void HistoryWindow::askValues(std::function<void(SessionValues)> use) {
    if (session() == nullptr) {
        return;
    }
    tell({});
    desk_.ask(
        kChange,
        [session = *session(), which = which()](StoreLink& link) {
            return SessionValues{session, record::itemsOf(link.itemsOf(session), which, link.catalog())};
        },
        std::move(use));
}

void HistoryWindow::openAsDocument() {
    askValues([this](SessionValues values) {
        if (values.set.items.empty()) {
            tell("The session has no values.");
            return;
        }
        tell(shownLines(actions_.openAsDocument(std::move(values))));
    });
}

SessionSide HistoryWindow::sideOf(const record::Session& session) const {
    const bool isChosen = &session == this->session();
    return {labelOf(session), [session, which = isChosen ? which() : record::Which::kAfter,
                               open = isOwnInstead_ ? source_.openOwn : source_.open, ring = source_.ringPath] {
                StoreLink link(open, ring);
                return setOf(session, which, link);
            }};
}

void HistoryWindow::compare() {
    if (session() == nullptr) {
        return;
    }
    std::vector<SessionSide> sides{sideOf(*session())};
    for (const record::Session& other : sessions_) {
        if (&other != session() && sides.size() < kMostSides) {
            sides.push_back(sideOf(other));
        }
    }
    tell(shownLines(actions_.compare(std::move(sides))));
}

void HistoryWindow::restore() {
    if (session() == nullptr) {
        return;
    }
    const std::string port = actions_.restorePort();
    if (port.empty()) {
        tell("Open a document window first: its port says where the phone is.");
        return;
    }
    tell({});
    desk_.ask(
        kChange,
        [session = *session(), which = which()](StoreLink& link) {
            const auto items = link.itemsOf(session);
            return Restoration{session, which, record::restorationOf(items, which, link.catalog(), true),
                               record::restorationOf(items, which, link.catalog(), false)};
        },
        [this, port](Restoration restoration) {
            RestoreDialog dialog(restoration, port, this);
            if (dialog.exec() == QDialog::Accepted) {
                const bool withDate = dialog.withDate();
                tell(shownLines(actions_.restore(
                    {restoration.session,
                     withDate ? std::move(restoration.withDate) : std::move(restoration.withoutDate), withDate})));
            }
        });
}

void HistoryWindow::report() {
    if (session() == nullptr) {
        return;
    }
    const auto path =
        askFileToSave(this, {"Save Report", "HTML File ( *.html ) |*.html|PDF File ( *.pdf ) |*.pdf||", "htm"});
    if (!path || session() == nullptr) {
        return;
    }
    tell({});
    desk_.ask(
        kChange,
        [session = *session(), file = *path, units = source_.units](StoreLink& link) {
            writeReport(file, session, link.itemsOf(session), link.catalog(), units);
            return file;
        },
        [this](const std::string& file) {
            rememberFolderOf(file);
            tell("Report saved to " + shownText(file));
        });
}

void HistoryWindow::editNote() {
    if (session() == nullptr) {
        return;
    }
    bool accepted = false;
    const QString note = QInputDialog::getMultiLineText(
        this, "Note", "Note of the session of " + shownText(record::localTime(session()->begun)) + ":",
        QString::fromStdString(session()->note), &accepted);
    if (!accepted || session() == nullptr) {
        return;
    }
    tell({});
    desk_.ask(
        kChange,
        [uuid = session()->uuid, note = note.toStdString()](StoreLink& link) {
            if (link.store().access() == record::Access::kReadOnly) {
                throw std::runtime_error("The store can only be read: the note was not stored.");
            }
            link.store().setNote(uuid, note);
            return note;
        },
        [this, uuid = session()->uuid](const std::string& stored) {
            const auto found = std::ranges::find(sessions_, uuid, &record::Session::uuid);
            if (found != sessions_.end()) {
                found->note = stored;
                sessionTable_.model().setText(static_cast<int>(found - sessions_.begin()), kNoteColumn,
                                              noteText(*found));
            }
            tell("The note is stored.");
        });
}

void HistoryWindow::showOverTime() {
    showItem(false);
}

void HistoryWindow::showOverPhones() {
    showItem(true);
}

void HistoryWindow::showItem(bool overPhones) {
    const int row = itemTable_.current();
    if (row >= 0 && phone() != nullptr) {
        actions_.showItem(*phone(), shownItems_[static_cast<std::size_t>(row)]->number, overPhones);
    }
}

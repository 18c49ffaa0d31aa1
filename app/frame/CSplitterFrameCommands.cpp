// The commands of a document's window; what is no more than one goes to its part or to the document.

#include "app/dialogs/CProgressDlg.h"
#include "app/dialogs/FocusHelp.h"
#include "app/dialogs/MessageBox.h"
#include "app/dialogs/ShownText.h"
#include "app/frame/CSplitterFrame.h"
#include "app/frame/EditGuard.h"
#include "app/frame/FilterPart.h"
#include "app/frame/QtUserInterface.h"
#include "app/review/ReviewDialog.h"
#include "app/views/CNvItemList.h"
#include "workbench/NumberTexts.h"

#include <QApplication>
#include <algorithm>

namespace {

/// When a command makes the list the active pane before it runs, so that the editor stores what was typed into it.
enum class ActivateList { kNever, kIfEditing, kAlways };

struct DocumentCommand {
    CommandId id;
    ActivateList activateList;
    void (*run)(CCalvaneDoc& document);
};

constexpr DocumentCommand kDocumentCommands[] = {
    {CommandId::kReadFromMox, ActivateList::kNever, [](CCalvaneDoc& document) { document.readFromMoxFile(); }},
    {CommandId::kReadSupportedItems, ActivateList::kNever,
     [](CCalvaneDoc& document) { document.readSupportedItems(); }},
    {CommandId::kWriteChangedToPhone, ActivateList::kIfEditing,
     [](CCalvaneDoc& document) { document.writeChangedToPhone(); }},
    {CommandId::kWriteListedToPhone, ActivateList::kIfEditing,
     [](CCalvaneDoc& document) { document.writeListedToPhone(); }},
    {CommandId::kWriteListedToMox, ActivateList::kAlways,
     [](CCalvaneDoc& document) { document.writeListedToMoxFile(); }},
    {CommandId::kWriteListedToText, ActivateList::kAlways, [](CCalvaneDoc& document) { document.writeListedToText(); }},
    {CommandId::kCustomizedList, ActivateList::kNever, [](CCalvaneDoc& document) { document.customizeList(); }},
    {CommandId::kSortByIdNumber, ActivateList::kNever, [](CCalvaneDoc& document) { document.sortItems(false); }},
    {CommandId::kSortAlphabetical, ActivateList::kNever, [](CCalvaneDoc& document) { document.sortItems(true); }},
    {CommandId::kResetPhone, ActivateList::kNever, [](CCalvaneDoc& document) { document.resetPhone(); }},
    {CommandId::kOfflineMode, ActivateList::kNever, [](CCalvaneDoc& document) { document.setPhoneOffline(); }},
    {CommandId::kComport, ActivateList::kNever, [](CCalvaneDoc& document) { document.chooseComPort(); }},
};

} // namespace

void CSplitterFrame::beginRead(const std::function<void(std::function<void()> ended)>& read) {
    progress_->setWindowTitle("Processing...");
    progress_->setCancelOffered(safeHands_.isOn());
    progress_->show();
    setBusy(true);
    read([this] {
        progress_->hide();
        setBusy(false);
        emit readEnded();
        if (closing_) {
            close();
        }
    });
}

void CSplitterFrame::readFromPhone() {
    beginRead([this](std::function<void()> ended) {
        if (safeHands_.isOn()) {
            desk_->read(*progress_, std::move(ended));
        } else {
            desk_->setReport({}); // it gives none, and that of another read would pass for its own
            document_->readFromPhone(*progress_, [this, before = document_->baseline().lastSource(), ended] {
                if (document_->baseline().lastSource() != before) {
                    desk_->noteUnasked();
                }
                ended();
            });
        }
    });
}

void CSplitterFrame::readMissing() {
    if (canReadMissing()) {
        beginRead([this](std::function<void()> ended) { desk_->readMissing(*progress_, std::move(ended)); });
    }
}

bool CSplitterFrame::runSafely(CommandId command, void (*run)(CCalvaneDoc& document)) {
    switch (command) {
    case CommandId::kWriteChangedToPhone:
        review(requestForChanged(*document_, *userInterface_));
        return true;
    case CommandId::kWriteListedToPhone:
        review(requestForListed(*document_, *userInterface_));
        return true;
    case CommandId::kResetPhone:
    case CommandId::kOfflineMode:
        if (desk_->connectFirst()) {
            run(*document_);
            desk_->askWho();
        }
        return true;
    default:
        return false;
    }
}

void CSplitterFrame::review(WriteRequest request) {
    if (request.wanted.empty()) {
        desk_->setReport({"Nothing to be written"});
        return;
    }
    WriteReview review(*document_, *desk_, std::move(request));
    reviewing_ = true;
    {
        ReviewDialog dialog(review, window());
        dialog.exec();
    }
    reviewing_ = false;
    document_->updateAllViews();
}

CommandPart* CSplitterFrame::partOf(CommandId command) const {
    const auto found = std::ranges::find_if(parts_, [command](const auto& part) { return part->owns(command); });
    return found == parts_.end() ? nullptr : found->get();
}

bool CSplitterFrame::isChecked(CommandId command) const {
    const CommandPart* part = partOf(command);
    return part != nullptr && part->isChecked(command);
}

void CSplitterFrame::runCommand(CommandId command) {
    if (CommandPart* part = partOf(command)) {
        part->run(command);
        emit stateChanged();
        return;
    }
    const auto mayRun = [this, command] {
        if (!guard_->mayRun(command, [this, command] { runCommand(command); })) {
            return false;
        }
        leaveEditorFor(command); // what was typed counts among the hidden items
        return filter_->agreesToHidden(command);
    };
    if (guard_->runEdit(command) || !mayRun()) {
        emit stateChanged();
        return;
    }
    if (command == CommandId::kReadFromPhone) {
        readFromPhone();
    } else if (command == CommandId::kReadMissingItems) {
        readMissing();
    } else if (command == CommandId::kSearch) {
        list_->search();
    } else if (command == CommandId::kHelpTopic) {
        showHelp();
    } else {
        runDocumentCommand(command);
    }
    // While a command waits the panes stay as they are, even if a screen reader moves the focus.
    focusMoved(QApplication::focusWidget());
    emit stateChanged();
}

bool CSplitterFrame::readCalibrationFile(const QString& path) {
    const bool isRead = guard_->mayRun(CommandId::kReadFromMox, [this, path] { readCalibrationFile(path); }) &&
                        document_->readMoxFile(path.toStdString());
    if (isRead && safeHands_.isOn()) {
        tellRepeated();
    }
    focusMoved(QApplication::focusWidget());
    emit stateChanged();
    return isRead;
}

bool CSplitterFrame::canRun(CommandId command) const {
    const CommandPart* part = partOf(command);
    return part != nullptr ? part->canRun(command) : guard_->canEdit(command);
}

void CSplitterFrame::writeSelectedItem() {
    const NvItem* item = document_->selectedItem();
    if (item == nullptr || isWaiting()) {
        return;
    }
    if (!item->isWritable()) {
        showMessageBox(window(), shownText(item->getName()) + " is read-only: it can't be written.", "Write NV",
                       MessageIcon::kExclamation);
        return;
    }
    review(requestForOne(*document_, *userInterface_, static_cast<std::size_t>(document_->selectedIndex())));
}

void CSplitterFrame::leaveEditorFor(CommandId command) {
    const auto* known = std::ranges::find(kDocumentCommands, command, &DocumentCommand::id);
    if (known == std::end(kDocumentCommands)) {
        return;
    }
    const bool editing = document_->activeEditor() == "NvParam";
    if (known->activateList == ActivateList::kAlways || (known->activateList == ActivateList::kIfEditing && editing)) {
        makeListActive();
    }
}

void CSplitterFrame::runDocumentCommand(CommandId command) {
    for (const DocumentCommand& known : kDocumentCommands) {
        if (known.id != command) {
            continue;
        }
        if (command == CommandId::kReadSupportedItems) {
            progress_->setWindowTitle("Processing...");
        }
        if (!safeHands_.isOn()) {
            known.run(*document_);
        } else if (!runSafely(command, known.run)) {
            const auto before = document_->baseline().lastSource();
            known.run(*document_);
            if (command == CommandId::kReadFromMox && document_->baseline().lastSource() != before) {
                tellRepeated();
            }
        }
    }
}

void CSplitterFrame::tellRepeated() {
    if (const auto repeated = repeatedNumbers(*document_); !repeated.empty()) {
        const std::string text = workbench::repeatedText(document_->fileName(), repeated);
        userInterface_->showMessage(text + "\nNobody can say which value is meant, so that none is written to a phone.",
                                    "Read From MOX", MessageIcon::kExclamation);
    }
}

void CSplitterFrame::showHelp() {
    FocusHelp::show(programDirectory_, {}, window());
}

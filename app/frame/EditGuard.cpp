#include "app/frame/EditGuard.h"

#include "app/document/CCalvaneDoc.h"
#include "app/views/CNvParam.h"

#include <QApplication>
#include <QMdiArea>
#include <QMdiSubWindow>
#include <QMessageBox>
#include <QPushButton>

namespace {

QString text(std::string_view view) {
    return QString::fromUtf8(view.data(), static_cast<qsizetype>(view.size()));
}

QString changedItems(std::size_t count) {
    return count == 1 ? QString("1 item is") : QString("%1 items are").arg(count);
}

/// The box in which the user types, if the window's focus is on one.
QLineEdit* typingBox() {
    return qobject_cast<QLineEdit*>(QApplication::focusWidget());
}

bool replacesList(CommandId command) {
    return command == CommandId::kReadFromPhone || command == CommandId::kReadFromMox ||
           command == CommandId::kReadSupportedItems;
}

} // namespace

EditGuard::EditGuard(QWidget& window, CCalvaneDoc& document, CNvParam& editor, EditHistory& history,
                     const SafeHands& safeHands)
    : window_(window), document_(document), editor_(editor), history_(history), safeHands_(safeHands) {}

bool EditGuard::mayRun(CommandId command, std::function<void()> again) {
    const bool safe = safeHands_.isOn();
    if (replacesList(command)) {
        document_.setKeepsEdits(safe);
    }
    if (!safe || command == CommandId::kHelpTopic) {
        return true;
    }
    const QString name = text(documentMenuText(command));
    return editor_.settle({name, std::move(again)}) && (!replacesList(command) || askWhetherToKeepEdits(name));
}

bool EditGuard::askWhetherToKeepEdits(const QString& command) {
    const std::size_t changed = document_.changedCount();
    if (changed == 0) {
        return true;
    }
    QMessageBox box(QMessageBox::Question, command, changedItems(changed) + " changed and not written.",
                    QMessageBox::Cancel, &window_);
    box.setInformativeText("Their changes can stay: the values that are read become the ones that they are compared "
                           "with.");
    const QPushButton* keep = box.addButton("Keep Changes", QMessageBox::AcceptRole);
    const QPushButton* discard = box.addButton("Discard Changes", QMessageBox::DestructiveRole);
    box.setDefaultButton(QMessageBox::Cancel);
    box.exec();
    if (box.clickedButton() == discard) {
        document_.keepLaterEdits(); // a read takes a while
    }
    return box.clickedButton() == keep || box.clickedButton() == discard;
}

bool EditGuard::mayClose(std::function<void()> again, const std::function<void()>& write) {
    // A session that ends by force waits for nobody.
    if (!safeHands_.isOn() || qGuiApp->isSavingSession()) {
        return true;
    }
    if (!editor_.settle({"Closing", std::move(again)})) {
        bringToFront();
        return false;
    }
    const std::size_t changed = document_.changedCount();
    if (changed == 0) {
        return true;
    }
    bringToFront();
    QMessageBox box(QMessageBox::Question, "Close", changedItems(changed) + " changed and not written.",
                    QMessageBox::Discard | QMessageBox::Cancel, &window_);
    const QPushButton* writeFirst = write ? box.addButton("Write...", QMessageBox::AcceptRole) : nullptr;
    if (!write) {
        box.setInformativeText("The read from the phone is cancelled then. To write first, cancel the read yourself.");
    }
    box.setDefaultButton(QMessageBox::Cancel);
    box.exec();
    if (writeFirst != nullptr && box.clickedButton() == writeFirst) {
        write();
        return document_.changedCount() == 0;
    }
    return box.clickedButton() == box.button(QMessageBox::Discard);
}

void EditGuard::bringToFront() {
    auto* window = qobject_cast<QMdiSubWindow*>(&window_);
    if (window != nullptr && window->mdiArea() != nullptr) {
        window->mdiArea()->setActiveSubWindow(window);
    }
}

bool EditGuard::canEdit(CommandId command) const {
    const QLineEdit* box = typingBox();
    const NvItem* item = document_.selectedItem();
    switch (command) {
    case CommandId::kUndo:
        return history_.canUndo() || (box != nullptr && box->isUndoAvailable());
    case CommandId::kRedo:
        return history_.canRedo() || (box != nullptr && box->isRedoAvailable());
    case CommandId::kRevertSubField:
        return item != nullptr && editor_.focusedRow() && document_.baseline().isChanged(*item);
    case CommandId::kRevertItem:
        return item != nullptr && document_.baseline().isChanged(*item);
    case CommandId::kRevertAll:
        return document_.changedCount() > 0;
    default:
        return true;
    }
}

bool EditGuard::runEdit(CommandId command) {
    switch (command) {
    case CommandId::kUndo:
        undo();
        return true;
    case CommandId::kRedo:
        redo();
        return true;
    case CommandId::kRevertSubField:
    case CommandId::kRevertItem:
    case CommandId::kRevertAll:
        revert(command);
        return true;
    default:
        return false;
    }
}

void EditGuard::undo() {
    QLineEdit* box = typingBox();
    if (box != nullptr && (box->isUndoAvailable() || !editor_.isAncestorOf(box))) {
        box->undo(); // in a box beside the editor, such as the filter's, Undo is never about the values
        return;
    }
    // What was typed in another box is the newest edit.
    editor_.store();
    if (editor_.settle()) {
        history_.undo();
    }
}

void EditGuard::redo() {
    QLineEdit* box = typingBox();
    if (box != nullptr && (box->isRedoAvailable() || !editor_.isAncestorOf(box))) {
        box->redo();
        return;
    }
    editor_.store();
    if (editor_.settle()) {
        history_.redo();
    }
}

void EditGuard::revert(CommandId command) {
    editor_.store(); // so that undoing brings it back
    const auto row = editor_.focusedRow();
    if (command == CommandId::kRevertSubField && row && safeHands_.isOn()) {
        editor_.dropTyped(*row); // what is held in the other boxes is none of its business
    } else {
        editor_.drop();
    }
    const NvItem* item = document_.selectedItem();
    if (command == CommandId::kRevertAll) {
        history_.revertAll();
    } else if (item != nullptr && command == CommandId::kRevertItem) {
        history_.revertItem(*item);
    } else if (item != nullptr && row) {
        history_.revertField(*item, *row);
    }
}

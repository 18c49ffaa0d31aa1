#include "app/frame/CSplitterFrame.h"

#include "app/dialogs/CProgressDlg.h"
#include "app/dialogs/MessageBox.h"
#include "app/dialogs/ShellOpen.h"
#include "app/frame/QtUserInterface.h"
#include "app/views/CNvItemList.h"
#include "app/views/CNvParam.h"

#include <QApplication>
#include <QCloseEvent>
#include <QMdiArea>
#include <QPointer>
#include <QSplitter>
#include <algorithm>

namespace {

constexpr int kPaneWidth = 300;
constexpr const char* kHelpFileName = "CALVANE.HLP";

/// Makes a part of the window; a failure is shown with `message`.
template <typename Make>
void makeOrReport(QWidget* owner, const char* message, Make make) {
    try {
        make();
    } catch (const std::exception&) {
        showMessageBox(owner, message, "", MessageIcon::kNone);
        throw CSplitterFrame::NotCreated();
    }
}

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

CSplitterFrame::CSplitterFrame(QWidget* mainWindow, const std::filesystem::path& programDirectory)
    : programDirectory_(programDirectory), userInterface_(std::make_unique<QtUserInterface>(mainWindow)),
      progress_(std::make_unique<CProgressDlg>(mainWindow)),
      document_(std::make_unique<CCalvaneDoc>(*userInterface_, programDirectory)) {
    setAttribute(Qt::WA_DeleteOnClose);
    setWindowTitle(CCalvaneDoc::kTitle);
    try {
        makePanes();
    } catch (...) {
        delete splitter_; // while the document that its panes look at is still there
        throw;
    }
    connect(qApp, &QApplication::focusChanged, this, [this](QWidget*, QWidget* to) { focusMoved(to); });
}

bool CSplitterFrame::isAnyBusy(const QWidget& mainWindow) {
    return std::ranges::any_of(allIn(mainWindow), &CSplitterFrame::isBusy);
}

bool CSplitterFrame::isAnyWaiting(const QWidget& mainWindow) {
    return std::ranges::any_of(allIn(mainWindow), &CSplitterFrame::isWaiting);
}

CSplitterFrame::~CSplitterFrame() {
    disconnect(qApp, nullptr, this, nullptr);
    // The document may show a message while it is destroyed; a busy window is not deleted a second time meanwhile.
    closing_ = true;
    busy_ = true;
    // The panes use the document until they are destroyed.
    delete splitter_;
    document_.reset();
}

void CSplitterFrame::makePanes() {
    makeOrReport(this, "Failed to create first static splitter", [this] { splitter_ = new QSplitter(this); });
    splitter_->setObjectName("splitter");
    splitter_->setChildrenCollapsible(false);
    setWidget(splitter_);
    makeOrReport(this, "Failed to create left view", [this] {
        list_ = new CNvItemList(*document_);
        splitter_->addWidget(list_);
        editor_ = new CNvParam(*document_);
        splitter_->addWidget(editor_);
    });
    // As with a click on a line, the editor stores what was typed before a search selects another item.
    connect(list_, &CNvItemList::aboutToSelect, this, &CSplitterFrame::makeListActive);
    splitter_->setStretchFactor(0, 0);
    splitter_->setStretchFactor(1, 1);
    splitter_->setSizes({kPaneWidth, 2 * kPaneWidth});
    list_->setFocus();
}

void CSplitterFrame::focusMoved(QWidget* to) {
    if (to == nullptr) {
        return;
    }
    if (to == list_ || list_->isAncestorOf(to)) {
        setActivePane(Pane::kList);
    } else if (to == editor_ || editor_->isAncestorOf(to)) {
        setActivePane(Pane::kEditor);
    }
}

void CSplitterFrame::setActivePane(Pane pane) {
    if (pane == activePane_ || closing_ || isWaiting()) {
        return;
    }
    // First, so that a message box that the editor shows on its way out finds the switch done.
    activePane_ = pane;
    if (pane == Pane::kEditor) {
        editor_->activate();
    } else {
        editor_->deactivate();
    }
}

void CSplitterFrame::makeListActive() {
    list_->setFocus();
    setActivePane(Pane::kList); // the focus does not move while the window is inactive
}

void CSplitterFrame::switchPane() {
    if (activePane_ == Pane::kEditor) {
        makeListActive();
        return;
    }
    editor_->focusEditing();
    setActivePane(Pane::kEditor);
}

void CSplitterFrame::setFrameActive(bool active) {
    // A closing window does not store what was typed, so it asks nothing about it.
    if (activePane_ != Pane::kEditor || closing_ || isWaiting()) {
        return;
    }
    if (active) {
        editor_->activate();
    } else {
        editor_->deactivate();
    }
}

void CSplitterFrame::setBusy(bool busy) {
    busy_ = busy;
    editor_->setWritingAllowed(!busy);
    emit stateChanged();
}

void CSplitterFrame::readFromPhone() {
    progress_->setWindowTitle("Processing...");
    progress_->show();
    setBusy(true);
    document_->readFromPhone(*progress_, [this] {
        progress_->hide();
        setBusy(false);
        emit readEnded();
        if (closing_) {
            close();
        }
    });
}

void CSplitterFrame::runCommand(CommandId command) {
    if (command == CommandId::kReadFromPhone) {
        readFromPhone();
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

void CSplitterFrame::runDocumentCommand(CommandId command) {
    for (const DocumentCommand& known : kDocumentCommands) {
        if (known.id != command) {
            continue;
        }
        const bool editing = document_->activeEditor() == "NvParam";
        if (known.activateList == ActivateList::kAlways ||
            (known.activateList == ActivateList::kIfEditing && editing)) {
            makeListActive();
        }
        if (command == CommandId::kReadSupportedItems) {
            progress_->setWindowTitle("Processing...");
        }
        known.run(*document_);
    }
}

void CSplitterFrame::showHelp() {
    std::error_code ignored; // as the result of showing the help is
    std::filesystem::current_path(programDirectory_, ignored);
    shellOpen(QString::fromStdString((programDirectory_ / kHelpFileName).string()), window());
}

void CSplitterFrame::closeWhenIdle() {
    closing_ = true;
    progress_->hide();
    if (busy_) {
        document_->cancelRead();
        hide();
        if (mdiArea() != nullptr) {
            mdiArea()->activateNextSubWindow();
        }
        emit stateChanged();
    } else {
        close();
    }
}

void CSplitterFrame::changeEvent(QEvent* event) {
    const QPointer<QWidget> focus = focusWidget();
    QMdiSubWindow::changeEvent(event);
    // A subwindow hides itself for a moment on its way to another size, also when it gives way to the next maximized
    // one, and a hidden box passes the focus on.
    if (event->type() == QEvent::WindowStateChange && focus != nullptr && focus != focusWidget()) {
        focus->setFocus();
    }
}

void CSplitterFrame::closeEvent(QCloseEvent* event) {
    if (busy_ || isWaiting()) {
        event->ignore();
        if (busy_ && !isWaiting()) {
            closeWhenIdle();
        }
        return;
    }
    closing_ = true;
    QMdiSubWindow::closeEvent(event);
}

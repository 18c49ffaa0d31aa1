#include "app/CSplitterFrame.h"

#include "app/CNvItemList.h"
#include "app/CNvParam.h"
#include "app/CProgressDlg.h"
#include "app/MessageBox.h"
#include "app/QtUserInterface.h"
#include "app/dialogs/ShellOpen.h"

#include <QApplication>
#include <QCloseEvent>
#include <QMdiArea>
#include <QSplitter>

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

CSplitterFrame::~CSplitterFrame() {
    disconnect(qApp, nullptr, this, nullptr);
    // The document may show a message on its way out; until it has gone, nobody else is to delete this window.
    closing_ = true;
    busy_ = true;
    // The panes look at the document until they are gone.
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
    // A line that a search selects is as good as clicked: what was typed into the editor goes to its item first.
    connect(list_, &CNvItemList::aboutToSelect, this, &CSplitterFrame::makeListActive);
    splitter_->setStretchFactor(0, 0);
    splitter_->setStretchFactor(1, 1);
    splitter_->setSizes({kPaneWidth, 2 * kPaneWidth});
    list_->setFocus();
}

void CSplitterFrame::focusMoved(QWidget* to) {
    if (to == nullptr)
        return;
    if (to == list_ || list_->isAncestorOf(to))
        setActivePane(Pane::kList);
    else if (to == editor_ || editor_->isAncestorOf(to))
        setActivePane(Pane::kEditor);
}

void CSplitterFrame::setActivePane(Pane pane) {
    if (pane == activePane_ || closing_)
        return;
    // First, so that a message box that the editor shows on its way out finds the switch done.
    activePane_ = pane;
    if (pane == Pane::kEditor)
        editor_->activate();
    else
        editor_->deactivate();
}

void CSplitterFrame::makeListActive() {
    list_->setFocus();
    setActivePane(Pane::kList); // the focus alone does nothing while the window has none to give
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
    // A window that goes asks nothing any more about what was typed into it.
    if (activePane_ != Pane::kEditor || closing_)
        return;
    if (active)
        editor_->activate();
    else
        editor_->deactivate();
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
        if (closing_)
            close();
    });
}

void CSplitterFrame::runCommand(CommandId command) {
    switch (command) {
    case CommandId::UpdateAllViews:
        document_->updateAllViews();
        break;
    case CommandId::ReadFromPhone:
        readFromPhone();
        break;
    case CommandId::ReadFromMox:
        document_->readFromMoxFile();
        break;
    case CommandId::ReadSupportedItems:
        progress_->setWindowTitle("Processing...");
        document_->readSupportedItems();
        break;
    case CommandId::WriteChangedToPhone:
    case CommandId::WriteListedToPhone:
        if (document_->activeEditor() == "NvParam")
            makeListActive();
        command == CommandId::WriteChangedToPhone ? document_->writeChangedToPhone() : document_->writeListedToPhone();
        break;
    case CommandId::WriteListedToMox:
        makeListActive();
        document_->writeListedToMoxFile();
        break;
    case CommandId::WriteListedToText:
        makeListActive();
        document_->writeListedToText();
        break;
    case CommandId::CustomizedList:
        document_->customizeList();
        break;
    case CommandId::SortByIdNumber:
        document_->sortItems(false);
        break;
    case CommandId::SortAlphabetical:
        document_->sortItems(true);
        break;
    case CommandId::Search:
        list_->search();
        break;
    case CommandId::ResetPhone:
        document_->resetPhone();
        break;
    case CommandId::OfflineMode:
        document_->setPhoneOffline();
        break;
    case CommandId::Comport:
        document_->chooseComPort();
        break;
    case CommandId::HelpTopic:
        showHelp();
        break;
    default:
        break;
    }
    emit stateChanged();
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
        if (mdiArea() != nullptr)
            mdiArea()->activateNextSubWindow();
        emit stateChanged();
    } else {
        close();
    }
}

bool CSplitterFrame::isWaiting() const {
    return userInterface_->isWaiting();
}

void CSplitterFrame::closeEvent(QCloseEvent* event) {
    if (busy_ || isWaiting()) {
        event->ignore();
        if (busy_ && !isWaiting())
            closeWhenIdle();
        return;
    }
    QMdiSubWindow::closeEvent(event);
}

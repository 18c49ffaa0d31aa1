#include "app/frame/CSplitterFrame.h"

#include "app/dialogs/CProgressDlg.h"
#include "app/dialogs/FocusHelp.h"
#include "app/dialogs/MessageBox.h"
#include "app/dialogs/ShownText.h"
#include "app/frame/CCalvaneApp.h"
#include "app/frame/ComparePart.h"
#ifdef CALVANE_CURVES
#include "app/frame/CurvePart.h"
#endif
#include "app/frame/DocumentPropertiesPart.h"
#include "app/frame/EditGuard.h"
#include "app/frame/FilterPart.h"
#include "app/frame/HistoryPart.h"
#include "app/frame/QtUserInterface.h"
#include "app/frame/TableCommands.h"
#include "app/frame/TracePart.h"
#include "app/review/ItemReportDialog.h"
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
      progress_(std::make_unique<CProgressDlg>(mainWindow)), watch_(std::make_unique<PhoneWatch>(*userInterface_)),
      document_(std::make_unique<CCalvaneDoc>(*userInterface_, programDirectory)),
      desk_(std::make_unique<PhoneDesk>(
          *document_, *userInterface_, *watch_, [this] { emit stateChanged(); }, &safeHands_)) {
    desk_->setRecorder(static_cast<CCalvaneApp*>(qApp)->recorder());
    setAttribute(Qt::WA_DeleteOnClose);
    setWindowTitle(CCalvaneDoc::kTitle);
    setHelpPart(*this, "window");
    try {
        makePanes();
    } catch (...) {
        delete splitter_; // while the document that its panes look at is still there
        throw;
    }
    connect(progress_.get(), &CProgressDlg::cancelRequested, this, [this] { desk_->cancel(); });
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
    // The parts use the panes, and these the document, until they are destroyed.
    parts_.clear();
    delete splitter_;
    guard_.reset();
    history_.reset();
    desk_.reset();
    document_.reset();
}

void CSplitterFrame::makePanes() {
    makeOrReport(this, "Failed to create first static splitter", [this] { splitter_ = new QSplitter(this); });
    splitter_->setObjectName("splitter");
    splitter_->setChildrenCollapsible(false);
    setWidget(splitter_);
    makeOrReport(this, "Failed to create left view", [this] {
        list_ = new CNvItemList(*document_, &safeHands_);
        splitter_->addWidget(list_);
        history_ = std::make_unique<EditHistory>(*document_);
        editor_ = new CNvParam(*document_, *history_, &safeHands_);
        splitter_->addWidget(editor_);
    });
    connectEdits();
    // As with a click on a line, the editor stores what was typed before a search selects another item.
    connect(list_, &CNvItemList::aboutToSelect, this, &CSplitterFrame::makeListActive);
    makeParts();
    // Behind the parts: one may stand in the editor's place.
    splitter_->setStretchFactor(0, 0);
    splitter_->setStretchFactor(1, 1);
    splitter_->setSizes({kPaneWidth, 2 * kPaneWidth});
    list_->setFocus();
}

void CSplitterFrame::makeParts() {
    parts_.push_back(std::make_unique<DocumentPropertiesPart>(*this, *document_));
    parts_.push_back(std::make_unique<TracePart>(*this));
    auto filter = std::make_unique<FilterPart>(*this, *document_, *list_, *editor_);
    filter_ = filter.get();
    parts_.push_back(std::move(filter));
    parts_.push_back(
        std::make_unique<TableCommands>(editor_->table(), [this](CommandId command) { runCommand(command); }));
    const std::string ring = document_->ring().path.string();
    auto compare = std::make_unique<ComparePart>(
        ComparePart::Document{*this, *editor_, *history_, ring,
                              [this](WriteRequest request) { review(std::move(request)); }},
        [this] { showCompared(); });
    compare_ = compare.get();
    parts_.push_back(std::move(compare));
    auto history = std::make_unique<HistoryPart>(
        HistoryPart::Document{*this, *editor_, *history_, *compare_, programDirectory_,
                              [this](WriteRequest request) { review(std::move(request)); },
                              [this](PhoneReport report) { desk_->setReport(std::move(report)); }});
    historyPart_ = history.get();
    parts_.push_back(std::move(history));
#ifdef CALVANE_CURVES
    const auto storeTyped = [this] {
        if (safeHands_.isOn()) {
            return editor_->settle();
        }
        editor_->store();
        return true;
    };
    auto curve = std::make_unique<CurvePart>(*splitter_, *editor_, *document_, *history_, *userInterface_, storeTyped);
    curve_ = curve.get();
    parts_.push_back(std::move(curve));
#endif
}

void CSplitterFrame::showCompared() {
#ifdef CALVANE_CURVES
    const auto set = compare_->comparedSet();
    if (set == nullptr) {
        curve_->setCompared({});
    } else {
        curve_->setCompared({[set](std::uint16_t number) { return set->find(number); }, set->about().label});
    }
#endif
}

void CSplitterFrame::connectEdits() {
    guard_ = std::make_unique<EditGuard>(*this, *document_, *editor_, *history_, safeHands_);
    list_->setLeaveQuestion([this] { return editor_->settle(); });
    connect(history_.get(), &EditHistory::restored, list_, &CNvItemList::selectItem);
    connect(history_.get(), &EditHistory::changed, this, [this] {
        list_->showMarks();
        editor_->showMarks();
        emit stateChanged();
    });
    connect(editor_, &CNvParam::writeRequested, this, &CSplitterFrame::writeSelectedItem);
}

void CSplitterFrame::focusMoved(QWidget* to) {
    if (to == nullptr) {
        return;
    }
    if (to == list_ || list_->isAncestorOf(to)) {
        setActivePane(Pane::kList);
    } else if (to == editor_ || editor_->isAncestorOf(to)) {
        setActivePane(Pane::kEditor);
    } else if (std::ranges::any_of(parts_, [to](const auto& part) { return part->pane() == to; })) {
        setActivePane(Pane::kList); // what was typed is stored as on the way to the list
    }
}

void CSplitterFrame::setActivePane(Pane pane) {
    if (pane == activePane_ || closing_ || isWaiting()) {
        return;
    }
    if (pane == Pane::kList && !editor_->settle()) {
        return; // the focus is back on a value that can't be stored
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

void CSplitterFrame::safeHandsChanged() {
    editor_->forgetHeld();
}

void CSplitterFrame::switchPane(int way) {
    std::vector<QWidget*> panes{list_, editor_};
    for (const auto& part : parts_) {
        if (QWidget* pane = part->pane()) {
            panes.push_back(pane);
        }
    }
    const QWidget* focus = QApplication::focusWidget();
    const auto hasFocus = [focus](const QWidget* pane) { return pane == focus || pane->isAncestorOf(focus); };
    const auto found = std::ranges::find_if(panes, hasFocus);
    const auto now = found != panes.end() ? found - panes.begin() : activePane_ == Pane::kEditor ? 1 : 0;
    const auto count = std::ssize(panes);
    QWidget* next = panes[static_cast<std::size_t>((now + way + count) % count)];
    if (next == list_) {
        makeListActive();
    } else if (next == editor_) {
        editor_->focusEditing();
        setActivePane(Pane::kEditor);
    } else {
        next->setFocus(Qt::ShortcutFocusReason);
    }
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

QString CSplitterFrame::reportText() const {
    return busy_ ? QString("Reading...") : shownText(desk_->report().line);
}

QString CSplitterFrame::phoneText() const {
    return shownText(desk_->paneText());
}

void CSplitterFrame::showReport() {
    if (busy_) {
        progress_->show();
        progress_->raise();
        return;
    }
    ItemReportDialog dialog(desk_->report(), window());
    if (canReadMissing()) {
        dialog.addCommand("Read Missing Items");
    }
    if (dialog.exec() == QDialog::Accepted) {
        runCommand(CommandId::kReadMissingItems);
    }
}

void CSplitterFrame::showPhone() {
    const QString title = shownText(desk_->title());
    if (title != windowTitle()) {
        setWindowTitle(title);
    }
}

bool CSplitterFrame::mayClose(std::function<void()> again) {
    std::function<void()> write;
    if (!busy_) {
        write = [this] { runCommand(CommandId::kWriteChangedToPhone); };
    }
    return guard_->mayClose(std::move(again), write);
}

void CSplitterFrame::closeWhenIdle() {
    closing_ = true;
    progress_->hide();
    if (busy_) {
        document_->cancelRead();
        desk_->cancel();
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
        if (busy_ && !isWaiting() && (closing_ || mayClose([this] { close(); }))) {
            closeWhenIdle();
        }
        return;
    }
    if (!closing_ && !mayClose([this] { close(); })) {
        event->ignore();
        return;
    }
    closing_ = true;
    QMdiSubWindow::closeEvent(event);
}

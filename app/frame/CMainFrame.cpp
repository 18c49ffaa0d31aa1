#include "app/frame/CMainFrame.h"

#include "app/compare/CompareWindow.h"
#include "app/dialogs/DialogTemplate.h"
#include "app/dialogs/FocusHelp.h"
#include "app/dialogs/HistorySettingsDlg.h"
#include "app/dialogs/MessageBox.h"
#include "app/frame/CCalvaneApp.h"
#include "app/frame/CSplitterFrame.h"
#include "app/frame/CommandTable.h"
#include "app/frame/FileDrop.h"
#include "app/frame/HistoryPart.h"
#include "app/frame/Licences.h"
#include "app/frame/MainMenus.h"
#include "app/frame/MainStatusBar.h"
#include "app/frame/ReviewSwitch.h"
#include "app/frame/Shutdown.h"
#include "workbench/ProgramFiles.h"

#include <QAbstractEventDispatcher>
#include <QApplication>
#include <QCloseEvent>
#include <QFile>
#include <QLabel>
#include <QMdiArea>
#include <QMenuBar>
#include <QScreen>
#include <QSettings>
#include <QTimer>
#include <QToolBar>
#include <filesystem>
#include <utility>

namespace {

constexpr QSize kFirstSize{1000, 680};
constexpr int kFrameRoom = 30; ///< for the title bar and borders around a window
constexpr int kToolbarIconPixels = 16;

QString text(std::string_view view) {
    return QString::fromUtf8(view.data(), static_cast<qsizetype>(view.size()));
}

constexpr int kIconId = 128;
constexpr int kVersionId = 1020;

constexpr DialogControl kAboutControls[] = {
    {kIconId, ControlKind::kIcon, "", 11, 17, 21, 20},
    {kVersionId, ControlKind::kStaticText, "Calvane Version 1.4.34", 45, 23, 119, 8},
    {kIdOk, ControlKind::kDefaultButton, "OK", 174, 98, 50, 14},
};
constexpr DialogTemplate kAboutTemplate{100, "About Calvane", 231, 119, kAboutControls};

void showAbout(QWidget* owner) {
    TemplateDialog dialog(kAboutTemplate, owner);
    dialog.item<QLabel>(kIconId).setPixmap(QApplication::windowIcon().pixmap({32, 32}, owner->devicePixelRatioF()));
    dialog.exec();
}

} // namespace

CMainFrame::CMainFrame(std::filesystem::path programDirectory)
    : programDirectory_(std::move(programDirectory)), area_(new QMdiArea(this)),
      menus_(new MainMenus(*menuBar(), *area_, actions_, this)), title_(kTitle), statusBar_(new MainStatusBar(this)),
      shutdown_(new Shutdown(*this)) {
    new FocusHelp(programDirectory_, this);
    setObjectName("frame_128");
    setCentralWidget(area_);
    setStatusBar(statusBar_);
    makeActions();
    makeKeys();
    makeToolbar();
    menus_->show(false);
    setWindowTitle(kTitle);
    restorePlaces();
    connect(area_, &QMdiArea::subWindowActivated, this, &CMainFrame::activated);
    connect(menus_, &MainMenus::portFileChosen, this, &CMainFrame::recentRequested);
    connect(menus_, &MainMenus::calibrationFileChosen, this, &CMainFrame::recentCalibrationFileRequested);
    connect(new FileDrop(*this), &FileDrop::dropped, this, &CMainFrame::calibrationFilesDropped);
    connect(shutdown_, &Shutdown::postponed, statusBar_,
            [this] { statusBar_->setNotice("Calvane closes when the running command has ended."); });
    connect(shutdown_, &Shutdown::refused, statusBar_, [this] { statusBar_->setNotice(""); });
    connect(shutdown_, &Shutdown::started, this, [this] {
        savePlaces();
        disconnect(area_, nullptr, this, nullptr);
    });
    connect(shutdown_, &Shutdown::finished, this, &CMainFrame::closed);
    connect(statusBar_, &MainStatusBar::reportAsked, this, [this] {
        if (CSplitterFrame* frame = activeFrame(); frame != nullptr && !CSplitterFrame::isAnyWaiting(*this)) {
            frame->showReport();
        }
    });
    // Panes and commands are brought up to date whenever the program is idle.
    connect(QAbstractEventDispatcher::instance(), &QAbstractEventDispatcher::aboutToBlock, this, &CMainFrame::refresh);
    connect(QAbstractEventDispatcher::instance(), &QAbstractEventDispatcher::aboutToBlock, shutdown_,
            &Shutdown::startIfRequested);
    refresh();
}

CMainFrame::~CMainFrame() {
    disconnect(QAbstractEventDispatcher::instance(), nullptr, this, nullptr);
    disconnect(QAbstractEventDispatcher::instance(), nullptr, shutdown_, nullptr);
    disconnect(area_, nullptr, this, nullptr);
    qDeleteAll(CSplitterFrame::allIn(*this));
}

// Takes the keys of the library's own command away from the window: with two commands for a key, neither is done.
void CMainFrame::leaveCloseKeys(QMdiSubWindow* window) {
    const QMenu* const menu = window == nullptr ? nullptr : window->systemMenu();
    const auto actions = menu == nullptr ? QList<QAction*>() : menu->actions();
    for (QAction* action : actions) {
        for (const QKeySequence& key : actions_[CommandId::kCloseWindow]->shortcuts()) {
            if (action->shortcuts().contains(key)) {
                action->setShortcuts(QList<QKeySequence>());
            }
        }
    }
}

void CMainFrame::makeActions() {
    for (const CommandInfo& info : commandTable()) {
        auto* action = new QAction(this);
        const auto number = static_cast<int>(info.id);
        action->setObjectName("cmd_" + QString::number(number));
        action->setProperty("commandId", number);
        action->setStatusTip(text(info.prompt));
        action->setToolTip(text(info.toolTip));
        const QString picture = ":/calvane/toolbar/" + QString::number(number);
        if (QFile::exists(picture)) {
            action->setIcon(QIcon(picture));
        }
        action->setMenuRole(QAction::NoRole);
        action->setCheckable(info.isToggle);
        connect(action, &QAction::triggered, this, [this, id = info.id] { runCommand(id); });
        actions_[info.id] = action;
        addAction(action);
    }
    actions_[CommandId::kNew]->setShortcut(QKeySequence("Ctrl+N"));
    actions_[CommandId::kOpen]->setShortcut(QKeySequence("Ctrl+O"));
    actions_[CommandId::kNextWindow]->setShortcut(QKeySequence("Ctrl+F6"));
    actions_[CommandId::kPreviousWindow]->setShortcut(QKeySequence("Ctrl+Shift+F6"));
    actions_[CommandId::kCloseWindow]->setShortcuts({QKeySequence("Ctrl+F4"), QKeySequence("Ctrl+W")});
    actions_[CommandId::kFilter]->setShortcut(QKeySequence("Ctrl+F"));
    actions_[CommandId::kFindNext]->setShortcut(QKeySequence("F3"));
    actions_[CommandId::kFindPrevious]->setShortcut(QKeySequence("Shift+F3"));
    actions_[CommandId::kUndo]->setShortcuts({QKeySequence("Ctrl+Z"), QKeySequence("Alt+Backspace")});
    actions_[CommandId::kRedo]->setShortcuts({QKeySequence("Ctrl+Y"), QKeySequence("Ctrl+Shift+Z")});
    for (const CommandId id : {CommandId::kViewToolbar, CommandId::kViewStatusBar}) {
        actions_[id]->setCheckable(true);
        actions_[id]->setChecked(true);
    }
    actions_[CommandId::kReviewBeforeWriting]->setCheckable(true);
    actions_[CommandId::kReviewBeforeWriting]->setChecked(ReviewSwitch().isOn());
}

void CMainFrame::makeKeys() {
    const auto addKeys = [this](const char* name, const QList<QKeySequence>& keys, const auto& run) {
        auto* action = new QAction(this);
        action->setObjectName(name);
        action->setShortcuts(keys);
        connect(action, &QAction::triggered, this, run);
        addAction(action);
    };
    addKeys("file_save", {QKeySequence("Ctrl+S")}, [this] { emit saveRequested(); });
    addKeys("pane_switch", {QKeySequence("F6")}, [this] {
        if (CSplitterFrame* frame = activeFrame()) {
            frame->switchPane(1);
        }
    });
    addKeys("pane_back", {QKeySequence("Shift+F6")}, [this] {
        if (CSplitterFrame* frame = activeFrame()) {
            frame->switchPane(-1);
        }
    });
}

void CMainFrame::makeToolbar() {
    toolbar_ = addToolBar("Toolbar");
    toolbar_->setObjectName("toolbar_134");
    toolbar_->setIconSize({kToolbarIconPixels, kToolbarIconPixels});
    toolbar_->setMovable(true);
    toolbar_->setAllowedAreas(Qt::AllToolBarAreas);
    for (const CommandId id : toolbarButtons()) {
        if (id == kToolbarSeparator) {
            toolbar_->addSeparator();
        } else {
            toolbar_->addAction(actions_[id]);
        }
    }
    connect(toolbar_, &QToolBar::visibilityChanged, actions_[CommandId::kViewToolbar],
            [this] { actions_[CommandId::kViewToolbar]->setChecked(!toolbar_->isHidden()); });
}

QMenu* CMainFrame::createPopupMenu() {
    auto* menu = new QMenu(this);
    menu->addActions({actions_[CommandId::kViewToolbar], actions_[CommandId::kViewStatusBar]});
    return menu;
}

QAction* CMainFrame::action(CommandId id) const {
    const auto found = actions_.find(id);
    return found == actions_.end() ? nullptr : found->second;
}

CSplitterFrame* CMainFrame::addDocument() {
    CSplitterFrame* frame = nullptr;
    try {
        frame = new CSplitterFrame(this, programDirectory_);
    } catch (const CSplitterFrame::NotCreated&) {
        return nullptr;
    } catch (const std::exception& failure) {
        showMessageBox(this, failure.what(), kExceptionCaption, MessageIcon::kError);
        return nullptr;
    }
    connect(frame, &CSplitterFrame::stateChanged, this, &CMainFrame::refresh);
    connect(frame, &CSplitterFrame::readEnded, shutdown_, &Shutdown::finishIfIdle);
    connect(frame, &QObject::destroyed, shutdown_, &Shutdown::finishIfIdle);
    connect(frame, &QObject::destroyed, this, &CMainFrame::refresh, Qt::QueuedConnection);
    area_->addSubWindow(frame);
    frame->showMaximized();
    area_->setActiveSubWindow(frame);
    refresh();
    return frame;
}

CSplitterFrame* CMainFrame::activeFrame() const {
    // A window that was closed while it read is hidden until its read has ended, and takes no more commands.
    QMdiSubWindow* current = area_->currentSubWindow();
    if (const auto* beside = qobject_cast<CompareWindow*>(current)) {
        current = beside->documentWindow();
    }
    auto* frame = qobject_cast<CSplitterFrame*>(current);
    return frame != nullptr && frame->isClosing() ? nullptr : frame;
}

void CMainFrame::activated(QMdiSubWindow* window) {
    leaveCloseKeys(window);
    CSplitterFrame* now = activeFrame();
    if (now == lastActive_) {
        refresh(); // a compare window may have come or gone
        return;
    }
    if (lastActive_ != nullptr) {
        lastActive_->setFrameActive(false);
    }
    if (now != nullptr) {
        now->setFrameActive(true);
    }
    // At the start the title says the program's name alone; from the next change on also the document's.
    const bool first = !started_ && now != nullptr;
    started_ = started_ || now != nullptr;
    lastActive_ = now;
    showTitle(now != nullptr && !first);
    refresh();
}

void CMainFrame::showTitle(bool withDocument) {
    title_ = withDocument ? QString("%1 - [%2]").arg(kTitle, CCalvaneDoc::kTitle) : QString(kTitle);
    setWindowTitle(title_);
}

void CMainFrame::changeEvent(QEvent* event) {
    QMainWindow::changeEvent(event);
    // A maximized document window writes its own title into this one.
    if (event->type() == QEvent::WindowTitleChange && windowTitle() != title_) {
        setWindowTitle(title_);
    }
}

bool CMainFrame::event(QEvent* event) {
    if (event->type() == QEvent::StatusTip) {
        statusBar_->setPrompt(static_cast<QStatusTipEvent*>(event)->tip());
        return true;
    }
    return QMainWindow::event(event);
}

void CMainFrame::refresh() {
    CSplitterFrame* frame = activeFrame();
    // From a compare window the Window menu leads to the documents; it may outlive them, and then there are none.
    const bool isCompare = qobject_cast<CompareWindow*>(area_->currentSubWindow()) != nullptr;
    const bool hasWindow = frame != nullptr || (isCompare && !CSplitterFrame::allIn(*this).empty());
    if (hasWindow != menus_->isForDocument()) {
        menus_->show(hasWindow);
    }
    for (const CommandInfo& info : commandTable()) {
        const bool isForWindows = info.id == CommandId::kNextWindow || info.id == CommandId::kPreviousWindow ||
                                  info.id == CommandId::kCloseWindow;
        const bool available =
            !info.needsDocument || (isForWindows && (hasWindow || isCompare)) ||
            (frame != nullptr && !(info.disabledWhileReading && frame->isBusy()) && frame->canRun(info.id));
        actions_[info.id]->setEnabled(available);
        if (info.id == CommandId::kHistorySettings) {
            actions_[info.id]->setEnabled(static_cast<CCalvaneApp*>(qApp)->recorder() != nullptr);
        }
        if (info.isToggle) {
            actions_[info.id]->setChecked(frame != nullptr && frame->isChecked(info.id));
        }
    }
    if (frame == nullptr || !frame->canReadMissing()) {
        actions_[CommandId::kReadMissingItems]->setEnabled(false);
    }
    for (CSplitterFrame* one : CSplitterFrame::allIn(*this)) {
        one->showPhone();
    }
    statusBar_->showDocument(frame != nullptr ? &frame->document() : nullptr);
    showPhone(frame);
    statusBar_->showKeyboardLocks();
}

void CMainFrame::showPhone(CSplitterFrame* frame) {
    if (frame == nullptr) {
        statusBar_->showPhone({}, {});
        return;
    }
    statusBar_->showPhone(frame->phoneText(), frame->reportText());
}

void CMainFrame::runCommand(CommandId id) {
    // No key and no click comes here while a command waits, but a screen reader's request may.
    const bool asksNothing = id == CommandId::kExit || id == CommandId::kViewToolbar || id == CommandId::kViewStatusBar;
    if (CSplitterFrame::isAnyWaiting(*this) && !asksNothing) {
        return;
    }
    switch (id) {
    case CommandId::kNew:
        emit newRequested();
        break;
    case CommandId::kOpen:
        emit openRequested();
        break;
    case CommandId::kAbout:
        showAbout(this);
        break;
    case CommandId::kLicences:
        showVersions();
        break;
    case CommandId::kHelpOnFocus:
        FocusHelp::show(programDirectory_, helpPartOf(QApplication::focusWidget()), this);
        break;
    case CommandId::kExit:
        close();
        break;
    case CommandId::kNextWindow:
        area_->activateNextSubWindow();
        break;
    case CommandId::kPreviousWindow:
        area_->activatePreviousSubWindow();
        break;
    case CommandId::kCloseWindow:
        if (auto* compare = qobject_cast<CompareWindow*>(area_->currentSubWindow())) {
            compare->close();
        } else if (CSplitterFrame* frame = activeFrame()) {
            frame->close();
        }
        break;
    case CommandId::kReviewBeforeWriting:
        ReviewSwitch::setOn(actions_[id]->isChecked());
        for (CSplitterFrame* frame : CSplitterFrame::allIn(*this)) {
            frame->safeHandsChanged();
        }
        break;
    case CommandId::kHistorySettings:
        if (record::Recorder* recorder = static_cast<CCalvaneApp*>(qApp)->recorder()) {
            HistorySettingsDlg(programDirectory_, *recorder, this).exec();
        }
        break;
    case CommandId::kViewToolbar:
        toolbar_->setVisible(actions_[id]->isChecked());
        break;
    case CommandId::kViewStatusBar:
        statusBar_->setVisible(actions_[id]->isChecked());
        break;
    case CommandId::kHistory:
        showHistory();
        refresh();
        break;
    default:
        if (CSplitterFrame* frame = activeFrame(); frame != nullptr && actions_[id]->isEnabled()) {
            frame->runCommand(id);
        }
        refresh();
        break;
    }
}

void CMainFrame::showHistory(const std::string& uuid) {
    HistoryPart::showHistoryOf(*this, programDirectory_, uuid);
}

void CMainFrame::tellForAWhile(const QString& text) {
    constexpr int kWhileMs = 60000;
    statusBar_->setNotice(text);
    QTimer::singleShot(kWhileMs, this, [this, text] {
        if (statusBar_->notice() == text) {
            statusBar_->setNotice("");
        }
    });
}

void CMainFrame::showVersions() {
    CSplitterFrame* frame = activeFrame();
    showLicences(this, frame != nullptr ? workbench::ringLine(frame->document().ring())
                                        : workbench::ringLine(workbench::ringFile(programDirectory_)));
}

void CMainFrame::restorePlaces() {
    QSettings settings;
    resize(kFirstSize);
    restoreGeometry(settings.value("frame/geometry").toByteArray());
    // Another screen or scale may have less room than the window had.
    const QRect room = screen()->availableGeometry();
    resize(size().boundedTo(room.size() - QSize(kFrameRoom, kFrameRoom)));
    if (!room.contains(geometry())) {
        move(room.center() - rect().center());
    }
    restoreState(settings.value("frame/bars").toByteArray());
    statusBar_->setVisible(settings.value("frame/statusBar", true).toBool());
    actions_[CommandId::kViewToolbar]->setChecked(!toolbar_->isHidden());
    actions_[CommandId::kViewStatusBar]->setChecked(!statusBar_->isHidden());
}

void CMainFrame::savePlaces() {
    QSettings settings;
    settings.setValue("frame/geometry", saveGeometry());
    settings.setValue("frame/bars", saveState());
    settings.setValue("frame/statusBar", !statusBar_->isHidden());
}

void CMainFrame::closeEvent(QCloseEvent* event) {
    event->ignore(); // the window closes after the documents
    shutdown_->request();
}

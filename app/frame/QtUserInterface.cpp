#include "app/frame/QtUserInterface.h"

#include "app/devices/DevicesDlg.h"
#include "app/dialogs/CComPortDlg.h"
#include "app/dialogs/CCustomListDlg.h"
#include "app/dialogs/CFilePropertiesDlg.h"
#include "app/dialogs/FileDialog.h"
#include "app/dialogs/MessageBox.h"
#include "app/dialogs/ShownText.h"
#include "app/frame/CCalvaneApp.h"
#include "app/frame/MainStatusBar.h"
#include "app/frame/RecentFiles.h"
#include "platform/kernel/Thread.h"
#include "workbench/MessageText.h"

#include <QApplication>
#include <QEventLoop>
#include <QPointer>
#include <QTimer>
#include <QWidget>
#include <exception>
#include <utility>

namespace {

/// Drops the program's input while it exists. Keys and buttons pressed before may still be released, and a message box
/// that opens meanwhile (of a read that failed) can be confirmed.
class InputDropper : public QObject {
public:
    InputDropper() { qApp->installEventFilter(this); }

    bool eventFilter(QObject*, QEvent* event) override {
        if (QApplication::activeModalWidget() != nullptr) {
            return false;
        }
        switch (event->type()) {
        case QEvent::ShortcutOverride:
            event->accept(); // an accepted key triggers no shortcut
            return true;
        case QEvent::KeyPress:
        case QEvent::Shortcut:
        case QEvent::InputMethod:
        case QEvent::MouseButtonPress:
        case QEvent::MouseButtonDblClick:
        case QEvent::Wheel:
        case QEvent::TouchBegin:
        case QEvent::TabletPress:
        case QEvent::ContextMenu:
        case QEvent::Drop:
            return true;
        default:
            return false;
        }
    }
};

/// Counts the seconds of a wait in the status bar while it exists, unless another notice stands there.
class WaitClock {
public:
    explicit WaitClock(MainStatusBar* statusBar) : statusBar_(statusBar) {
        QObject::connect(&ticks_, &QTimer::timeout, &ticks_, [this] { show(); });
        ticks_.start(1000);
    }
    ~WaitClock() {
        if (isMine()) {
            statusBar_->setNotice("");
        }
    }
    WaitClock(const WaitClock&) = delete;
    WaitClock& operator=(const WaitClock&) = delete;

private:
    bool isMine() const {
        return statusBar_ != nullptr && (statusBar_->notice().isEmpty() || statusBar_->notice() == text_);
    }
    void show() {
        ++seconds_;
        if (!isMine()) {
            return;
        }
        text_ = QString("Waiting: %1 s").arg(seconds_);
        statusBar_->setNotice(text_);
    }

    QPointer<MainStatusBar> statusBar_;
    QTimer ticks_;
    int seconds_ = 0;
    QString text_;
};

} // namespace

QtUserInterface::QtUserInterface(QWidget* mainWindow) : mainWindow_(mainWindow) {}

QWidget* QtUserInterface::owner() const {
    return mainWindow_->isVisible() ? mainWindow_ : nullptr;
}

void QtUserInterface::showMessage(const std::string& text, const std::string& caption, MessageIcon icon) {
    // Bytes that are no UTF-8 are shown before the toolkit replaces them.
    showMessageBox(owner(), QString::fromStdString(workbench::shownMessage(text)), shownText(caption), icon);
}

std::optional<std::string> QtUserInterface::askFileToOpen(const FileQuestion& question) {
    return ::askFileToOpen(owner(), question);
}

std::optional<std::string> QtUserInterface::askFileToSave(const FileQuestion& question) {
    return ::askFileToSave(owner(), question);
}

void QtUserInterface::fileWritten(const std::string& path) {
    rememberFolderOf(path);
}

void QtUserInterface::calibrationFileUsed(const std::string& path) {
    recentCalibrationFiles().add(QString::fromStdString(path));
}

std::optional<FileProperties> QtUserInterface::askFileProperties(const OfferedProperties& offered) {
    CFilePropertiesDlg dialog(owner());
    dialog.setOffered(offered);
    if (dialog.exec() != QDialog::Accepted) {
        return std::nullopt;
    }
    return dialog.results();
}

std::optional<std::string> QtUserInterface::askComPort(const std::vector<std::string>& portNames) {
    CComPortDlg dialog(owner());
    dialog.setPortNames(portNames);
    const auto* const app = qobject_cast<CCalvaneApp*>(QCoreApplication::instance());
    if (app != nullptr && app->deviceDesk() != nullptr) {
        dialog.setDeviceChooser([desk = app->deviceDesk()](QWidget* parent) -> std::optional<std::string> {
            DevicesDlg devices(*desk, parent);
            return devices.exec() == QDialog::Accepted ? std::optional(devices.chosenPort()) : std::nullopt;
        });
    }
    if (dialog.exec() != QDialog::Accepted) {
        return std::nullopt;
    }
    return dialog.chosenPort();
}

std::optional<std::vector<NvItem>> QtUserInterface::askCustomizedList(const std::vector<NvItem>& available,
                                                                      const std::vector<NvItem>& customized) {
    CCustomListDlg dialog(owner());
    dialog.setAvailableItems(available);
    dialog.setCustomizedItems(customized);
    if (dialog.exec() != QDialog::Accepted) {
        return std::nullopt;
    }
    return dialog.customizedItems();
}

void QtUserInterface::runWaiting(const std::function<void()>& work) {
    std::exception_ptr failure; // written by the thread, read when it has ended
    QEventLoop loop;
    kernel::Thread thread([&] {
        try {
            work();
        } catch (...) {
            failure = std::current_exception();
        }
        QMetaObject::invokeMethod(&loop, &QEventLoop::quit, Qt::QueuedConnection);
    });
    {
        const InputDropper dropper;
        const WaitClock clock(mainWindow_->findChild<MainStatusBar*>());
        loop.exec();
        thread.join();
        QCoreApplication::processEvents(); // input that is still queued is dropped too
    }
    if (failure) {
        std::rethrow_exception(failure);
    }
}

void QtUserInterface::beginBusyCursor() {
    QApplication::setOverrideCursor(Qt::WaitCursor);
}

void QtUserInterface::endBusyCursor() {
    QApplication::restoreOverrideCursor();
}

void QtUserInterface::post(std::function<void()> work) {
    QMetaObject::invokeMethod(this, std::move(work), Qt::QueuedConnection);
}

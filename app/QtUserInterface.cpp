#include "app/QtUserInterface.h"

#include "app/MessageBox.h"
#include "app/dialogs/CComPortDlg.h"
#include "app/dialogs/CCustomListDlg.h"
#include "app/dialogs/CFilePropertiesDlg.h"
#include "app/dialogs/FileDialog.h"

#include <QApplication>
#include <QEventLoop>
#include <QWidget>
#include <exception>
#include <thread>
#include <utility>

namespace {

FileDialogTexts textsOf(const FileQuestion& question) {
    return {QString::fromStdString(question.title), QString::fromStdString(question.filters),
            QString::fromStdString(question.extension)};
}

std::optional<std::string> toPath(const std::optional<QString>& path) {
    return path ? std::optional(path->toStdString()) : std::nullopt;
}

} // namespace

QtUserInterface::QtUserInterface(QWidget* mainWindow) : mainWindow_(mainWindow) {}

QWidget* QtUserInterface::owner() const {
    return mainWindow_->isVisible() ? mainWindow_ : nullptr;
}

void QtUserInterface::showMessage(const std::string& text, const std::string& caption, MessageIcon icon) {
    showMessageBox(owner(), QString::fromStdString(text), QString::fromStdString(caption), icon);
}

std::optional<std::string> QtUserInterface::askFileToOpen(const FileQuestion& question) {
    return toPath(::askFileToOpen(owner(), textsOf(question)));
}

std::optional<std::string> QtUserInterface::askFileToSave(const FileQuestion& question) {
    return toPath(::askFileToSave(owner(), textsOf(question)));
}

std::optional<FileProperties> QtUserInterface::askFileProperties() {
    CFilePropertiesDlg dialog(owner());
    if (dialog.exec() != QDialog::Accepted)
        return std::nullopt;
    const CFilePropertiesDlg::Results& typed = dialog.results();
    return FileProperties{typed.fileName,       typed.phoneModelId,          typed.esn,       typed.nvMajorVersion,
                          typed.nvMinorVersion, typed.systemSoftwareVersion, typed.clientName};
}

std::optional<std::string> QtUserInterface::askComPort(const std::vector<std::string>& portNames) {
    CComPortDlg dialog(owner());
    dialog.setPortNames(portNames);
    if (dialog.exec() != QDialog::Accepted)
        return std::nullopt;
    return dialog.chosenPort();
}

std::optional<std::vector<NvItem>> QtUserInterface::askCustomizedList(const std::vector<NvItem>& available,
                                                                      const std::vector<NvItem>& customized) {
    CCustomListDlg dialog(owner());
    dialog.setAvailableItems(available);
    dialog.setCustomizedItems(customized);
    if (dialog.exec() != QDialog::Accepted)
        return std::nullopt;
    return dialog.customizedItems();
}

void QtUserInterface::runWaiting(const std::function<void()>& work) {
    std::exception_ptr failure; // written by the thread, read when it has ended
    QEventLoop loop;
    std::thread thread([&] {
        try {
            work();
        } catch (...) {
            failure = std::current_exception();
        }
        QMetaObject::invokeMethod(&loop, &QEventLoop::quit, Qt::QueuedConnection);
    });
    const bool outer = std::exchange(waiting_, true);
    loop.exec(QEventLoop::ExcludeUserInputEvents);
    waiting_ = outer;
    thread.join();
    if (failure)
        std::rethrow_exception(failure);
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

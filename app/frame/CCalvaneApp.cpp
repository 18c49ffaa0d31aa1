#include "app/frame/CCalvaneApp.h"

#include "app/dialogs/FileDialog.h"
#include "app/dialogs/MessageBox.h"
#include "app/dialogs/ShownText.h"
#include "app/document/ConfigurationFile.h"
#include "app/frame/CMainFrame.h"
#include "app/frame/CSplitterFrame.h"
#include "app/frame/RecentFiles.h"
#include "platform/kernel/RegularFile.h"

#include <QFileInfo>
#include <QIcon>
#include <QMdiArea>
#include <QMessageBox>
#include <algorithm>
#include <cerrno>

/// Makes the pictures available as ":/calvane/...". Expands to a declaration of the global namespace, and is called by
/// name, as a static library's resources are not linked otherwise.
static void initResources() {
    Q_INIT_RESOURCE(calvane);
}

namespace {

constexpr const char* kSettingsKey = "Local AppWizard-Generated Applications";
constexpr const char* kName = "Calvane";

/// Whether the file begins as compound files do, which calibration files are.
bool isCompoundFile(const QString& path) {
    constexpr std::string_view kSignature = "\xD0\xCF\x11\xE0\xA1\xB1\x1A\xE1";
    std::string head;
    const int error = kernel::readRegularFile(path.toStdString(), kSignature.size(), head);
    return (error == 0 || error == EFBIG) && head.starts_with(kSignature);
}

} // namespace

CCalvaneApp::CCalvaneApp(int& argc, char** argv) : QApplication(argc, argv) {
    setOrganizationName(kSettingsKey);
    setApplicationName(kName);
    setApplicationVersion("1.4.34");
    setApplicationDisplayName("");
    setDesktopFileName("calvane");
    setQuitOnLastWindowClosed(false);
    initResources();
    QIcon icon(":/calvane/icon");
    for (const char* size : {"16", "32", "48", "64", "256"}) {
        icon.addFile(QString(":/calvane/icon-") + size);
    }
    setWindowIcon(icon);
}

CCalvaneApp::~CCalvaneApp() = default;

bool CCalvaneApp::notify(QObject* receiver, QEvent* event) {
    try {
        return QApplication::notify(receiver, event);
    } catch (const std::exception& failure) {
        // Commands show their own failures; others, such as a lack of memory, end here. The program continues, as what
        // was typed and read so far is worth more than a clean end.
        showMessageBox(mainFrame_.get(), failure.what(), kExceptionCaption, MessageIcon::kError);
        return true;
    }
}

bool CCalvaneApp::initInstance(const std::filesystem::path& programDirectory, const QString& file,
                               const QStringList& calibrationFiles) {
    QStringList paths;
    const bool isCalibrationFile = isCompoundFile(file);
    for (const QString& path : isCalibrationFile ? calibrationFiles + QStringList(file) : calibrationFiles) {
        if (!path.isEmpty()) {
            paths << QFileInfo(path).absoluteFilePath(); // a document changes the current directory
        }
    }
    const QString portFile = isCalibrationFile ? QString() : file;
    try {
        if (!portFile.isEmpty()) {
            readComPortOf(portFile.toStdString());
        }
    } catch (const std::runtime_error& failure) {
        qCritical("Couldn't open %s", failure.what());
        return false;
    }
    mainFrame_ = std::make_unique<CMainFrame>(programDirectory);
    connect(mainFrame_.get(), &CMainFrame::newRequested, this, &CCalvaneApp::newDocument);
    connect(mainFrame_.get(), &CMainFrame::openRequested, this, &CCalvaneApp::askAndOpen);
    connect(mainFrame_.get(), &CMainFrame::saveRequested, this, &CCalvaneApp::save);
    connect(mainFrame_.get(), &CMainFrame::recentRequested, this, &CCalvaneApp::openDocument);
    connect(mainFrame_.get(), &CMainFrame::recentCalibrationFileRequested, this,
            &CCalvaneApp::openRecentCalibrationFile);
    connect(mainFrame_.get(), &CMainFrame::calibrationFilesDropped, this, &CCalvaneApp::openCalibrationFiles);
    connect(mainFrame_.get(), &CMainFrame::closed, this, &QCoreApplication::quit);
    if (!(portFile.isEmpty() ? newDocument() : openDocument(portFile))) {
        return false;
    }
    mainFrame_->show();
    mainFrame_->repaint();
    QMetaObject::invokeMethod(
        mainFrame_.get(),
        [this, paths] {
            openCalibrationFiles(paths);
            takeRecordNews();
        },
        Qt::QueuedConnection);
    return true;
}

void CCalvaneApp::end() {
    setRecorder(nullptr);
    mainFrame_.reset();
}

void CCalvaneApp::setRecorder(record::Recorder* recorder) {
    if (recorder_ != nullptr) {
        recorder_->setNews({});
    }
    recorder_ = recorder;
    if (recorder_ != nullptr) {
        recorder_->setNews([this] {
            QMetaObject::invokeMethod(
                this, [this] { takeRecordNews(); }, Qt::QueuedConnection);
        });
    }
}

void CCalvaneApp::takeRecordNews() {
    if (recorder_ == nullptr || mainFrame_ == nullptr || !mainFrame_->isVisible()) {
        return;
    }
    for (const std::string& loss : recorder_->takeLosses()) {
        qCritical("%s", loss.c_str());
        mainFrame_->tellForAWhile(shownText(loss));
    }
    const auto left = recorder_->takeInterrupted();
    if (left.empty()) {
        return;
    }
    constexpr std::size_t kMostTold = 5;
    std::string text;
    for (std::size_t at = 0; at < std::min(left.size(), kMostTold); ++at) {
        text += (at == 0 ? "" : "\n") + record::textOf(left[at]);
    }
    text += left.size() > kMostTold ? "\nSo did " + std::to_string(left.size() - kMostTold) + " more." : "";
    QMessageBox box(QMessageBox::Warning, "History", shownLines(text), QMessageBox::NoButton, mainFrame_.get());
    box.setTextFormat(Qt::PlainText);
    box.setStandardButtons(showHistory_ ? QMessageBox::Yes | QMessageBox::No : QMessageBox::Ok);
    box.setInformativeText(showHistory_ ? "Look at what became of its items?"
                                        : "Read the phone before you rely on it.");
    makeRoomForCaption(box);
    if (box.exec() == QMessageBox::Yes) {
        showHistory_(left.back().session.uuid);
    }
}

bool CCalvaneApp::newDocument() {
    return mainFrame_->addDocument() != nullptr;
}

bool CCalvaneApp::openDocument(const QString& path) {
    // The document makes the program's directory the current one, so where the file is must be settled before.
    const QString file = QFileInfo(path).absoluteFilePath();
    CSplitterFrame* frame = mainFrame_->addDocument();
    if (frame == nullptr) {
        return false;
    }
    if (!frame->document().openDocument(file.toStdString())) {
        frame->close();
        return false;
    }
    recentPortFiles().add(file);
    mainFrame_->refresh();
    return true;
}

void CCalvaneApp::askAndOpen() {
    if (const auto path = askFileToOpen(mainFrame_.get(), {"", "All Files ( *.* )|*.*||", ""})) {
        openDocument(QString::fromStdString(*path));
    }
}

void CCalvaneApp::save() {
    // Only a document that was opened has a file to go to: the port file that it came from.
    CSplitterFrame* frame = mainFrame_->activeFrame();
    if (frame != nullptr && !frame->document().path().empty()) {
        frame->document().saveDocument();
    }
}

void CCalvaneApp::openCalibrationFiles(const QStringList& paths) {
    for (const QString& path : paths) {
        openCalibrationFile(path);
    }
}

void CCalvaneApp::openCalibrationFile(const QString& path) {
    if (CSplitterFrame::isAnyWaiting(*mainFrame_) || !mainFrame_->isVisible()) {
        return;
    }
    CSplitterFrame* present = mainFrame_->activeFrame();
    const bool isUnused = present != nullptr && present->isUnused();
    CSplitterFrame* frame = isUnused ? present : mainFrame_->addDocument();
    if (frame == nullptr) {
        return;
    }
    if (!frame->readCalibrationFile(QFileInfo(path).absoluteFilePath()) && !isUnused) {
        frame->close();
        if (present != nullptr) {
            present->mdiArea()->setActiveSubWindow(present); // the area would show its first window
        }
    }
    mainFrame_->refresh();
}

void CCalvaneApp::openRecentCalibrationFile(const QString& path) {
    if (CSplitterFrame::isAnyWaiting(*mainFrame_)) {
        return;
    }
    if (isGone(path.toStdString())) {
        recentCalibrationFiles().remove(path);
        showMessageBox(mainFrame_.get(), path + " is gone. It has been taken off the list.", "Recent Calibration Files",
                       MessageIcon::kExclamation);
        return;
    }
    openCalibrationFile(path);
}

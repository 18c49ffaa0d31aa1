#include "app/frame/CCalvaneApp.h"

#include "app/dialogs/FileDialog.h"
#include "app/dialogs/MessageBox.h"
#include "app/document/ConfigurationFile.h"
#include "app/frame/CMainFrame.h"
#include "app/frame/CSplitterFrame.h"

#include <QFileInfo>
#include <QIcon>
#include <QSettings>

/// Makes the pictures available as ":/calvane/...". Expands to a declaration of the global namespace, and is called by
/// name, as a static library's resources are not linked otherwise.
static void initResources() {
    Q_INIT_RESOURCE(calvane);
}

namespace {

constexpr const char* kSettingsKey = "Local AppWizard-Generated Applications";
constexpr const char* kName = "Calvane";
constexpr const char* kRecentSetting = "recent/files";

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

bool CCalvaneApp::initInstance(const std::filesystem::path& programDirectory, const QString& file) {
    try {
        if (!file.isEmpty()) {
            readComPortOf(file.toStdString());
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
    connect(mainFrame_.get(), &CMainFrame::closed, this, &QCoreApplication::quit);
    mainFrame_->setRecentFiles(recentFiles());
    if (!(file.isEmpty() ? newDocument() : openDocument(file))) {
        return false;
    }
    mainFrame_->show();
    mainFrame_->repaint();
    return true;
}

void CCalvaneApp::end() {
    mainFrame_.reset();
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
    remember(file);
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

QStringList CCalvaneApp::recentFiles() const {
    return QSettings().value(kRecentSetting).toStringList().mid(0, kRecentFiles);
}

void CCalvaneApp::remember(const QString& path) {
    QStringList files = recentFiles();
    files.removeAll(path);
    files.prepend(path);
    files = files.mid(0, kRecentFiles);
    QSettings().setValue(kRecentSetting, files);
    mainFrame_->setRecentFiles(files);
}

#pragma once

#include <QApplication>
#include <filesystem>
#include <memory>

class CMainFrame;

/// The program: makes the main window and the first document at the start, and the documents that New and Open ask
/// for. Lives as long as the process does.
class CCalvaneApp : public QApplication {
    Q_OBJECT
public:
    static constexpr int kRecentFiles = 4;

    CCalvaneApp(int& argc, char** argv);
    ~CCalvaneApp() override;

    /// Shows what no command has caught, and goes on.
    bool notify(QObject* receiver, QEvent* event) override;

    /// Makes and shows the main window with one document: a new one, or `file` opened where it is not empty. Side files
    /// are looked for in `programDirectory`. False, without a message box, ends the program.
    bool initInstance(const std::filesystem::path& programDirectory, const QString& file);

    /// Destroys the main window with all documents, which write their configuration.
    void end();

    CMainFrame* mainFrame() { return mainFrame_.get(); }

    bool newDocument();
    /// Makes a document and takes its port from the first line of `path`.
    bool openDocument(const QString& path);

private:
    void askAndOpen();
    void save();
    QStringList recentFiles() const;
    void remember(const QString& path);

    std::unique_ptr<CMainFrame> mainFrame_;
};

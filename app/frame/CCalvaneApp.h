#pragma once

#include "app/trace/TraceSource.h"
#include "workbench/record/Recorder.h"

#include <QApplication>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>

class CMainFrame;
class DeviceDesk;

/// The program: makes the main window and the first document at the start, and the documents that New and Open ask
/// for. Lives as long as the process does.
class CCalvaneApp : public QApplication {
    Q_OBJECT
public:
    CCalvaneApp(int& argc, char** argv);
    ~CCalvaneApp() override;

    /// Shows what no command has caught, and goes on.
    bool notify(QObject* receiver, QEvent* event) override;

    /// Makes and shows the main window with one document: a new one, or `file` opened where it is not empty. Side files
    /// are looked for in `programDirectory`. False, without a message box, ends the program. The `calibrationFiles`,
    /// and `file` where it begins as a compound file does, are read into documents once the program runs.
    bool initInstance(const std::filesystem::path& programDirectory, const QString& file,
                      const QStringList& calibrationFiles = {});

    /// Destroys the main window with all documents, which write their configuration.
    void end();

    /// Where the packets of the ports come from, for the window that shows them; without one there is no such window.
    /// To be set before initInstance().
    void setTraceSource(const TraceSource& source) { traceSource_ = source; }
    const std::optional<TraceSource>& traceSource() const { return traceSource_; }

    /// Where documents find what is done with serial devices; null, as at the start: nothing can be. `desk` outlives
    /// the windows.
    void setDeviceDesk(DeviceDesk* desk) { deviceDesk_ = desk; }
    DeviceDesk* deviceDesk() const { return deviceDesk_; }

    /// Where reads and reviewed writes are recorded; null, as at the start: nowhere. `recorder` lives until end(). To
    /// be set before initInstance().
    void setRecorder(record::Recorder* recorder);
    record::Recorder* recorder() const { return recorder_; }
    /// What shows a session of the record to the user; without it, a write that was left in the middle is told and not
    /// shown.
    void setShowHistory(std::function<void(const std::string& uuid)> show) { showHistory_ = std::move(show); }

    CMainFrame* mainFrame() { return mainFrame_.get(); }

    bool newDocument();
    /// Makes a document and takes its port from the first line of `path`.
    bool openDocument(const QString& path);
    /// Reads each file into a document of its own, or into the active one while that lists nothing: what is on the
    /// screen is never replaced by a file that was dropped or chosen by its name. A file that can't be read leaves no
    /// new document behind. Does nothing while a command of a document waits.
    void openCalibrationFiles(const QStringList& paths);

private:
    /// Tells what could not be recorded, and, once, which writes an earlier run has left in the middle.
    void takeRecordNews();
    void askAndOpen();
    void save();
    void openCalibrationFile(const QString& path);
    /// A file that is gone is told and leaves the list.
    void openRecentCalibrationFile(const QString& path);

    std::optional<TraceSource> traceSource_;
    DeviceDesk* deviceDesk_ = nullptr;
    record::Recorder* recorder_ = nullptr;
    std::function<void(const std::string& uuid)> showHistory_;
    std::unique_ptr<CMainFrame> mainFrame_;
};

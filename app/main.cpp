#include "app/devices/DeviceDesk.h"
#include "app/dialogs/MessageBox.h"
#include "app/frame/CCalvaneApp.h"
#include "app/frame/CMainFrame.h"
#include "platform/kernel/MessageException.h"
#include "platform/kernel/Process.h"
#include "platform/kernel/StandardDescriptors.h"
#include "platform/kernel/Trace.h"
#include "tessra/host/ServiceHost.h"
#include "workbench/MessageText.h"
#include "workbench/ProgramFiles.h"
#include "workbench/RingInfo.h"
#include "workbench/record/Recorder.h"

#include <QCommandLineParser>
#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <iostream>
#include <memory>

namespace {

/// The phone service of this process; without it, where its configuration can't be used, there are no ports.
std::unique_ptr<tessra::ServiceHost> startService(const std::filesystem::path& programDirectory,
                                                  const std::shared_ptr<tessra::PacketRecorder>& recorder) {
    try {
        return std::make_unique<tessra::ServiceHost>(tessra::loadServiceConfig(programDirectory / "Tessra.toml"),
                                                     tessra::ServiceHost::Wrapping::kWhereConfigured, recorder);
    } catch (const std::exception& failure) {
        const std::string shown = workbench::shownMessage(kernel::messageOf(failure));
        showMessageBox(nullptr, QString::fromStdString(shown), kExceptionCaption, MessageIcon::kError);
        return nullptr;
    }
}

/// What records reads and writes; without it, where the settings can't be used, nothing is recorded.
std::unique_ptr<record::Recorder> startRecorder(const std::filesystem::path& own) {
    try {
        return std::make_unique<record::Recorder>(record::readSettings(own));
    } catch (const std::exception& failure) {
        const std::string shown = workbench::shownMessage(failure.what()) + "\nNothing is recorded.";
        showMessageBox(nullptr, QString::fromStdString(shown), "History", MessageIcon::kError);
        return nullptr;
    }
}

void tellMessage(QtMsgType type, const QMessageLogContext& context, const QString& message) {
    const std::string line = qFormatLogMessage(type, context, message).toStdString();
    std::cerr << workbench::shownMessage(line) + '\n' << std::flush;
}

/// Takes the toolkit's messages until the application is there. Without a display the toolkit would abort the program
/// and advise to install it anew.
void tellStart(QtMsgType type, const QMessageLogContext& context, const QString& message) {
    if (type == QtFatalMsg) {
        std::cerr << "calvane: no window can be opened: there is no display, or it can't be used.\n" << std::flush;
        std::_Exit(EXIT_FAILURE);
    }
    tellMessage(type, context, message);
}

void tellVersion() {
    const auto ring = workbench::ringFile(kernel::programDirectory());
    std::cout << CMainFrame::kTitle << '\n' << workbench::ringLine(ring) << '\n';
}

/// A desktop names several calibration files behind the option for one. What else is named is the one file that the
/// program is started with.
void takeFiles(const QStringList& named, QString& file, QStringList& calibrationFiles) {
    const bool areCalibrationFiles = !calibrationFiles.isEmpty();
    for (const QString& path : named) {
        if (areCalibrationFiles && path.endsWith(".mox", Qt::CaseInsensitive)) {
            calibrationFiles << path;
        } else if (file.isEmpty()) {
            file = path;
        }
    }
}

} // namespace

int main(int argc, char** argv) {
    kernel::openStandardDescriptors();
    std::signal(SIGPIPE, SIG_IGN); // whoever read the log has gone; the user's work stays
    std::signal(SIGXFSZ, SIG_IGN); // a file that may not grow is a failure of a write like any other, to be told
    kernel::setErrorLog([](std::string_view message) {
        std::cerr << workbench::shownMessage(message) + '\n' << std::flush;
    });
    if (std::any_of(argv, argv + argc,
                    [](const std::string_view word) { return word == "--version" || word == "-v"; })) {
        tellVersion(); // also where there is no display
        return EXIT_SUCCESS;
    }
    qInstallMessageHandler(tellStart);
    CCalvaneApp app(argc, argv);
    qInstallMessageHandler(tellMessage);
    QCommandLineParser parser;
    parser.setApplicationDescription("Reads, shows and writes the calibration items of a phone.");
    parser.addHelpOption();
    parser.addVersionOption();
    parser.addPositionalArgument("file", "A file whose first line names the port of the phone, or a calibration file.",
                                 "[file]");
    const QCommandLineOption calibrationFile("calibration-file",
                                             "Reads this calibration file, and those named *.mox behind it.", "FILE");
    const QCommandLineOption deviceFolder("device-folder", "Takes the devices in this folder for those of the system.",
                                          "FOLDER");
    parser.addOptions({calibrationFile, deviceFolder});
    QStringList words = QCoreApplication::arguments();
    if (words.endsWith("--calibration-file")) {
        words.removeLast(); // a desktop says so where it starts the program without a file
    }
    // The parser would print what is wrong with the arguments, and quote them, by itself.
    if (!parser.parse(words)) {
        std::cerr << workbench::shownMessage(parser.errorText().toStdString()) + '\n';
        return EXIT_FAILURE;
    }
    parser.process(words);
    QString file;
    QStringList calibrationFiles = parser.values(calibrationFile);
    takeFiles(parser.positionalArguments(), file, calibrationFiles);

    try {
        workbench::bringUpToDate(kernel::programFolders());
        const std::filesystem::path programDirectory = kernel::programDirectory();
        const TraceSource trace;
        app.setTraceSource(trace);
        const auto service = startService(programDirectory, trace.recorder);
        DeviceDesk desk(programDirectory / "Tessra.toml", parser.value(deviceFolder).toStdString(), service.get());
        app.setDeviceDesk(&desk);
        const auto recorder = startRecorder(programDirectory);
        app.setRecorder(recorder.get());
        app.setShowHistory([&app](const std::string& uuid) { app.mainFrame()->showHistory(uuid); });
        const bool started = app.initInstance(programDirectory, file, calibrationFiles);
        const int status = started ? CCalvaneApp::exec() : EXIT_FAILURE;
        app.end(); // while the service that its sessions use is still there
        return status;
    } catch (const std::exception& failure) {
        qCritical("%s", failure.what());
        return EXIT_FAILURE;
    }
}

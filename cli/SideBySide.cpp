#include "cli/SideBySide.h"

#include "cli/ChildProcesses.h"
#include "cli/CommandText.h"
#include "cli/FileUses.h"
#include "cli/Interruption.h"
#include "cli/PortFiles.h"
#include "cli/ProgressBar.h"
#include "cli/RunEvents.h"
#include "cli/RunReport.h"
#include "platform/kernel/WriteAll.h"
#include "workbench/MessageText.h"

#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <iostream>
#include <iterator>
#include <optional>
#include <string_view>
#include <system_error>

namespace {

using Json = nlohmann::json;

/// The longest wait of a child that can't be called off is that for a reset, 100 seconds.
constexpr std::chrono::seconds kPatience{110};

/// The command line of the process for one port: the hidden option stands behind the verb.
std::vector<std::string> commandLineFor(std::vector<std::string> commandLine, const std::string& port) {
    const auto verb = std::find_if(commandLine.begin() + 1, commandLine.end(),
                                   [](const std::string& argument) { return !argument.starts_with('-'); });
    commandLine.insert(verb + 1, "--only-port=" + std::to_string(::getpid()) + ":" + port);
    return commandLine;
}

/// This program, by the name that others see when it uses a port.
std::string programPath() {
    const char* const self = "/proc/self/exe";
    std::error_code error;
    const std::filesystem::path path = std::filesystem::read_symlink(self, error);
    return !error && std::filesystem::exists(path, error) ? path.string() : self;
}

/// What is shown of all ports.
class Display {
public:
    Display(const Arguments& arguments, RunEvents& events)
        : ports_(arguments.comPorts), progress_(arguments.isQuiet ? Progress::kNone : arguments.progress),
          isJson_(arguments.progress == Progress::kJson), events_(events), counts_(ports_.size()) {}

    void take(std::size_t child, ChildProcesses::Output output, const std::string& line) {
        if (output == ChildProcesses::kStandard) {
            bar_.clear();
            std::cout << workbench::shownText(ports_[child]) + ": " + line + "\n" << std::flush;
            return;
        }
        const Json event = Json::parse(line, nullptr, false);
        if (!event.is_object() || !event.contains("event")) {
            tell(ports_[child], line); // of the system's, or of a library in its last moment
        } else if (isJson_) {
            (void)kernel::writeAll(STDERR_FILENO, line + "\n"); // nobody is left to be told
        } else if (event["event"] == "message") {
            print(ports_[child], event.value("text", ""));
        } else if (event["event"] == "item") {
            counts_[child] = {event.value("position", 0U), event.value("count", 0U)};
            showBar();
        }
    }

    /// A line that no child has told.
    void tell(const std::string& port, const std::string& line) {
        events_.message(port + ": " + line, !isJson_);
        if (!isJson_) {
            print(port, line);
        }
    }

private:
    struct Count {
        std::uint32_t position = 0;
        std::uint32_t count = 0;
    };

    void print(const std::string& port, const std::string& line) {
        if (!line.empty()) {
            bar_.clear();
            std::cerr << workbench::shownText(port) + ": " + line + "\n";
        }
    }

    void showBar() {
        if (progress_ != Progress::kBar) {
            return;
        }
        Count sum;
        std::string label;
        for (std::size_t child = 0; child < ports_.size(); ++child) {
            sum.position += counts_[child].position;
            sum.count += counts_[child].count;
            label += (child == 0 ? "" : ", ") + ports_[child] + " " + std::to_string(counts_[child].position);
        }
        bar_.show(sum.position, sum.count, label);
    }

    const std::vector<std::string>& ports_;
    const Progress progress_;
    const bool isJson_;
    RunEvents& events_;
    std::vector<Count> counts_;
    ProgressBar bar_;
};

/// How a child ended, where it told so itself; nothing for one that crashed, was killed or never began.
std::optional<ExitStatus> statusOf(int waitStatus) {
    if (waitStatus == -1 || !WIFEXITED(waitStatus)) {
        return std::nullopt;
    }
    const auto known =
        std::ranges::find(kExitStatuses, static_cast<ExitStatus>(WEXITSTATUS(waitStatus)), &ExitStatusRow::status);
    return known == kExitStatuses.end() ? std::nullopt : std::optional(known->status);
}

/// Tells of a child that could not do so, also in the report that it was to write: an older one may stand there.
void tellCrash(const Arguments& arguments, const std::string& port, const std::string& why, Display& display) {
    display.tell(port, why);
    const std::string path = forPort(arguments, port).reportPath;
    if (!path.empty()) {
        RunReport report(arguments.verbName, port);
        report.addMessage(why);
        try {
            writeOutput(path, report.json(ExitStatus::kOtherFailure, {}));
        } catch (const BatchFailure& failure) {
            display.tell(port, failure.what());
        }
    }
}

std::string crashText(int waitStatus) {
    if (!WIFSIGNALED(waitStatus)) {
        return "The process for it ended with status " + std::to_string(WEXITSTATUS(waitStatus)) + ".";
    }
    const char* const name = ::sigdescr_np(WTERMSIG(waitStatus));
    return "The process for it was ended by signal " + std::to_string(WTERMSIG(waitStatus)) +
           (name == nullptr ? "" : std::string(" (") + name + ")") +
           ". What it did until then is not known: read the phone before you rely on it.";
}

} // namespace

ExitStatus runSideBySide(const Arguments& arguments, const std::vector<std::string>& commandLine) {
    refuseSharedFiles(arguments);
    std::vector<Arguments> ports;
    std::ranges::transform(arguments.comPorts, std::back_inserter(ports),
                           [&](const std::string& port) { return forPort(arguments, port); });
    refuseFilesOfTwoUses(ports);
    const Interruption interruption;
    RunEvents events("", arguments.progress == Progress::kJson);
    if (!arguments.logPath.empty() && arguments.logPath.find("{port}") == std::string::npos) {
        (void)events.openLog(arguments.logPath); // the children tell why it can't be written
    }
    Display display(arguments, events);
    ExitStatus status = ExitStatus::kDone;
    ChildProcesses children(kPatience);
    for (const std::string& port : arguments.comPorts) {
        if (const int error = children.start(programPath(), commandLineFor(commandLine, port)); error != 0) {
            status = ExitStatus::kOtherFailure;
            tellCrash(arguments, port, "No process could be started for it: " + std::generic_category().message(error),
                      display);
        }
    }
    children.wait([&](std::size_t child, auto output, const std::string& line) { display.take(child, output, line); },
                  [] { return Interruption::signal() == SIGPIPE ? SIGTERM : Interruption::signal(); });
    for (std::size_t child = 0; child < children.count(); ++child) {
        const int waitStatus = children.statusOf(child);
        const auto own = statusOf(waitStatus);
        if (!own && waitStatus != -1) {
            tellCrash(arguments, arguments.comPorts[child], crashText(waitStatus), display);
        }
        status = worse(status, own.value_or(ExitStatus::kOtherFailure));
    }
    flushOutput();
    return status;
}

void followStarter() {
    ::prctl(PR_SET_PDEATHSIG, SIGTERM);
    ChildProcesses::takeSignals();
}

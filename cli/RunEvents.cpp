#include "cli/RunEvents.h"

#include "cli/CommandText.h"
#include "platform/kernel/RegularFile.h"
#include "platform/kernel/WriteAll.h"
#include "workbench/ItemJson.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <system_error>
#include <utility>

using Json = nlohmann::ordered_json;

namespace {

/// Appends to the log. A reader who has left its pipe is a failure of the log alone, and no reason to end the run.
int append(int file, std::string_view text) {
    sigset_t pipe{};
    sigset_t before{};
    sigemptyset(&pipe);
    sigaddset(&pipe, SIGPIPE);
    ::pthread_sigmask(SIG_BLOCK, &pipe, &before);
    const int error = kernel::writeAll(file, text);
    if (error == EPIPE) {
        const timespec now{};
        ::sigtimedwait(&pipe, nullptr, &now);
    }
    ::pthread_sigmask(SIG_SETMASK, &before, nullptr);
    return error;
}

} // namespace

std::string RunEvents::openLog(const std::string& path) {
    const std::scoped_lock lock(mutex_);
    int error = 0;
    if (path == "-") {
        log_ = kernel::FileDescriptor(::fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1));
        error = log_ ? 0 : errno;
    } else {
        error = kernel::openOutput(path, O_APPEND | O_CREAT, log_);
    }
    return error == 0 ? "" : outputProblem(error);
}

std::string RunEvents::takeLogFailure() {
    const std::scoped_lock lock(mutex_);
    return std::exchange(logFailure_, {});
}

void RunEvents::start(const std::string& verb) {
    tell("start", {{"program", workbench::kProgramVersion}, {"verb", verb}}, false);
}

void RunEvents::item(const char* stage, std::size_t position, std::size_t count, std::uint16_t number,
                     const std::string& name) {
    tell("item",
         {{"stage", stage},
          {"position", position},
          {"count", count},
          {"id", number},
          {"name", workbench::utf8Text(name)}},
         false);
}

void RunEvents::result(const char* stage, const std::string& name, const Json& outcome) {
    Json more{{"stage", stage}, {"name", workbench::utf8Text(name)}};
    more.update(outcome);
    tell("result", more, true);
}

void RunEvents::message(std::string_view line, bool isShown) {
    tell("message", {{"text", line}}, isShown);
}

void RunEvents::end(int exitStatus, const std::string& meaning) {
    tell("end", {{"exitStatus", exitStatus}, {"meaning", meaning}}, false);
}

void RunEvents::tell(const char* event, const Json& more, bool logAlone) {
    const bool isShown = toStandardError_ && !logAlone;
    const std::scoped_lock lock(mutex_);
    if (!isShown && !log_) {
        return;
    }
    Json line{{"event", event},
              {"schema", workbench::kResultSchema},
              {"time", workbench::utcText(std::chrono::system_clock::now())},
              {"port", port_.empty() ? Json() : Json(workbench::utf8Text(port_))}};
    line.update(more);
    const std::string text = line.dump(-1, ' ', false, Json::error_handler_t::replace) + "\n";
    if (isShown) {
        (void)kernel::writeAll(STDERR_FILENO, text); // nobody is left to be told
    }
    if (log_) {
        if (const int error = append(log_.number(), text); error != 0) {
            log_ = kernel::FileDescriptor();
            logFailure_ = std::generic_category().message(error);
        }
    }
}

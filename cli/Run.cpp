#include "cli/Run.h"

#include "cli/CommandText.h"
#include "cli/FileUses.h"
#include "cli/Interruption.h"
#include "cli/MessageLines.h"
#include "cli/Verbs.h"
#include "platform/kernel/Thread.h"

#include <algorithm>
#include <cstdlib>
#include <exception>
#include <iostream>

namespace {

/// Everything for people goes to standard error while standard output is the report or the log.
class OutputKept {
public:
    explicit OutputKept(bool isWanted) : buffer_(isWanted ? std::cout.rdbuf(std::cerr.rdbuf()) : nullptr) {}
    ~OutputKept() {
        if (buffer_ != nullptr) {
            std::cout.rdbuf(buffer_);
        }
    }
    OutputKept(const OutputKept&) = delete;
    OutputKept& operator=(const OutputKept&) = delete;

private:
    std::streambuf* const buffer_;
};

ExitStatus runWithFailures(Arguments arguments, Run& run) {
    arguments.run = &run;
    try {
        return runBatch(arguments);
    } catch (const std::exception& failure) {
        return report(failure);
    }
}

} // namespace

Run::Run(const Arguments& arguments)
    : isQuiet_(arguments.isQuiet), showsBar_(arguments.progress == Progress::kBar && !arguments.isQuiet),
      needsRing_(!arguments.reportPath.empty() || !arguments.jsonPath.empty()), reportPath_(arguments.reportPath),
      logPath_(arguments.logPath), verbName_(arguments.verbName),
      events_(arguments.comPort, arguments.progress == Progress::kJson),
      report_(arguments.verbName, arguments.comPort) {}

void Run::useRing(const std::string& path, Calvane& catalog) {
    for (const NvItem& item : catalog.getSupportedNvItems()) {
        names_.emplace(item.getId(), item.getName());
    }
    if (needsRing_ || record_.isOpen()) {
        ring_ = workbench::ringInfo(path, catalog);
        record_.setRing(*ring_);
        report_.setRing(*ring_);
    }
}

std::string Run::nameOf(std::uint16_t number) const {
    const auto name = names_.find(number);
    return name == names_.end() ? "" : name->second;
}

std::string Run::labelOf(std::uint16_t number) const {
    const std::string name = nameOf(number);
    return std::to_string(number) + (name.empty() ? "" : " " + name);
}

void Run::itemBegins(const char* stage, std::size_t position, std::size_t count, std::uint16_t number) {
    events_.item(stage, position, count, number, nameOf(number));
}

void Run::itemDone(const workbench::ItemReading& reading) {
    events_.result("read", nameOf(reading.number), outcomeJson(reading));
}

void Run::itemDone(const workbench::WriteResult& result) {
    events_.result("write", nameOf(result.number), outcomeJson(result));
}

void Run::account(const std::string& text, const std::string& failures, ExitStatus status) {
    const bool isDone = status == ExitStatus::kDone;
    const std::string& told = !isQuiet_ ? text : isDone ? "" : failures;
    if (isDone) {
        std::cerr << told;
    } else {
        std::cerr << Colour::kFailure << told << Colour::kPlain;
    }
    std::string_view rest(isQuiet_ ? std::string_view(text) : "");
    while (!rest.empty()) {
        const std::string line(rest.substr(0, rest.find('\n')));
        if (("\n" + told).find("\n" + line + "\n") == std::string::npos) {
            events_.message(line, true);
            report_.addMessage(line);
        }
        rest.remove_prefix(std::min(line.size() + 1, rest.size()));
    }
}

void Run::begin() {
    const std::string failure = logPath_.empty() ? "" : events_.openLog(logPath_);
    events_.start(verbName_);
    if (!failure.empty()) {
        tellFailure("Can't write " + quoted(logPath_) + ": " + failure + "\nGoing on without a log.");
    }
}

// A run that is refused as wrong usage has touched nothing, and may have named an input for its report.
ExitStatus Run::finish(ExitStatus status) {
    try {
        if (!reportPath_.empty() && status != ExitStatus::kWrongUsage) {
            writeOutput(reportPath_, report_.json(status, names_));
        }
    } catch (const std::exception& failure) {
        status = worse(status, ::report(failure));
    }
    events_.end(static_cast<int>(status), meaningOf(status));
    if (const std::string failure = events_.takeLogFailure(); !failure.empty()) {
        tellFailure("The log " + quoted(logPath_) + " lacks what came last: " + failure);
    }
    return status;
}

void Run::giveUpWhenInterrupted(const std::function<void()>& step) {
    constexpr std::uint32_t kLookMs = 50;
    const Interruption interruption;
    std::exception_ptr failure;
    kernel::Thread thread([&] {
        try {
            step();
        } catch (...) {
            failure = std::current_exception();
        }
    });
    while (thread.ended().wait(kLookMs) == kernel::WaitResult::kTimedOut) {
        if (Interruption::came()) {
            std::cerr << "Interrupted.\n";
            std::cout.flush();
            std::_Exit(static_cast<int>(finish(Interruption::status())));
        }
    }
    thread.join();
    if (failure) {
        std::rethrow_exception(failure);
    }
}

ExitStatus runRecorded(const Arguments& arguments) {
    refuseFilesOfTwoUses(arguments);
    Run run(arguments);
    const bool isText = arguments.progress != Progress::kJson;
    const MessageLines lines(std::cerr, isText, [&](const std::string& line) {
        run.events().message(line, isText);
        run.report().addMessage(line);
    });
    run.begin();
    const OutputKept kept(arguments.reportPath == "-" || arguments.logPath == "-");
    ExitStatus status = runWithFailures(arguments, run);
    std::cout.flush();
    const Interruption interruption; // the report and the log have their ends also then
    status = worse(status, run.record().finish());
    return run.finish(status);
}

#pragma once

#include "platform/kernel/FileDescriptor.h"
#include "workbench/ResultJson.h"

#include <cstddef>
#include <cstdint>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

/// What happens while the tool runs, a line of JSON for each: to a log file, and to standard error where a program
/// follows it there. docs/schema/event.json has the form. Any thread may tell something.
class RunEvents {
public:
    /// `toStandardError`: the lines go there, too.
    RunEvents(std::string port, bool toStandardError) : port_(std::move(port)), toStandardError_(toStandardError) {}

    /// Appends to this file from now on. Answers why it can't; then there is no log. Each line is one write, so that
    /// the lines of several processes do not mix.
    std::string openLog(const std::string& path);
    /// Why the log has ended before its end, told once; empty where it has not.
    std::string takeLogFailure();

    void start(const std::string& verb);
    void item(const char* stage, std::size_t position, std::size_t count, std::uint16_t number,
              const std::string& name);
    /// What an item came to, for the log alone. `outcome`: as outcomeJson() has it, with the item's number.
    void result(const char* stage, const std::string& name, const nlohmann::ordered_json& outcome);
    /// A line for people. `isShown`: it is on standard error already, as text, or is not to stand there.
    void message(std::string_view line, bool isShown);
    void end(int exitStatus, const std::string& meaning);

private:
    void tell(const char* event, const nlohmann::ordered_json& more, bool logAlone);

    const std::string port_;
    const bool toStandardError_;
    std::mutex mutex_; ///< for what follows
    kernel::FileDescriptor log_;
    std::string logFailure_;
};

#pragma once

#include "platform/kernel/FileDescriptor.h"

#include <sys/types.h>

#include <array>
#include <chrono>
#include <csignal>
#include <cstddef>
#include <functional>
#include <string>
#include <vector>

/// Programs that run beside each other without a standard input, while what they write is taken line by line here.
///
/// Belongs to one thread. In wait(), SIGINT, SIGTERM and SIGHUP reach this thread while it waits or tells a line, so
/// that none comes between a look at what it has set and the wait. A child begins with them blocked: it takes them once
/// it can, see takeSignals(), so that none ends it before.
class ChildProcesses {
public:
    enum Output { kStandard, kError, kOutputs };
    using TakeLine = std::function<void(std::size_t child, Output output, const std::string& line)>;

    /// `patience`: how long children may go on after a signal was passed on to them.
    explicit ChildProcesses(std::chrono::milliseconds patience) : patience_(patience) {}
    /// Kills those that still run, and waits for them.
    ~ChildProcesses();
    ChildProcesses(const ChildProcesses&) = delete;
    ChildProcesses& operator=(const ChildProcesses&) = delete;

    /// In a child that handles these signals by now: lets them come.
    static void takeSignals();

    /// Starts the program at this path; arguments[0] is its name. Returns 0, or the error number of what failed; the
    /// child then counts as one that has ended. Children are numbered from 0 in the order of the calls.
    int start(const std::string& program, const std::vector<std::string>& arguments);
    /// Takes lines, without their ends, until all children have ended. `signalCame` answers the signal that has come, 0
    /// for none: it is passed on once, and who still runs when the patience ends is killed.
    void wait(const TakeLine& takeLine, const std::function<int()>& signalCame);

    std::size_t count() const { return children_.size(); }
    /// As waitpid() tells it; -1 for one that was never started.
    int statusOf(std::size_t child) const { return children_.at(child).status; }

private:
    struct Pipe {
        kernel::FileDescriptor file; ///< none once the child has closed it
        std::string line;            ///< the begin of one
    };
    struct Child {
        pid_t process = -1; ///< -1 once it is waited for
        int status = -1;
        std::array<Pipe, kOutputs> pipes;
    };

    static bool isOpen(const Child& child);
    void read(std::size_t child, Output output, const TakeLine& takeLine);
    /// Waits for something to read, a signal that is not in the mask, or so long.
    void poll(const TakeLine& takeLine, std::chrono::milliseconds most, const sigset_t& mask);
    void collect();
    void signalAll(int signal) const;
    bool hasRunning() const;

    const std::chrono::milliseconds patience_;
    std::vector<Child> children_;
};

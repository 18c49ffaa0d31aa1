#pragma once

#include <string>

class Run;

/// While it lives, what the layers below log goes to the run's log, and with --verbose to standard error: the failure
/// that follows is what people are told, in one line. Before and after, it goes to standard error. One at a time.
class FailureLog {
public:
    FailureLog(Run& run, bool isVerbose);
    ~FailureLog();
    FailureLog(const FailureLog&) = delete;
    FailureLog& operator=(const FailureLog&) = delete;

    /// What was logged first since the last call: the place in a file that a failure calls damaged without more. Any
    /// thread may ask.
    static std::string takeFirst();
};

#include "cli/FailureLog.h"

#include "cli/CommandText.h"
#include "cli/Run.h"
#include "platform/kernel/Trace.h"

#include <mutex>
#include <string_view>
#include <utility>

namespace {

std::mutex firstMutex;
std::string first;

} // namespace

FailureLog::FailureLog(Run& run, bool isVerbose) {
    kernel::setErrorLog([&run, isVerbose](std::string_view line) {
        {
            const std::scoped_lock lock(firstMutex);
            first = first.empty() ? std::string(line) : first;
        }
        if (isVerbose) {
            tellFailure(std::string(line));
        } else {
            run.events().message(line, true);
        }
    });
}

FailureLog::~FailureLog() {
    kernel::setErrorLog([](std::string_view line) { tellFailure(std::string(line)); });
}

std::string FailureLog::takeFirst() {
    const std::scoped_lock lock(firstMutex);
    return std::exchange(first, {});
}

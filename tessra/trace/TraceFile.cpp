#include "tessra/trace/TraceFile.h"

#include "platform/kernel/Trace.h"
#include "platform/kernel/WriteAll.h"
#include "tessra/trace/TraceText.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

namespace tessra {
namespace {

constexpr mode_t kRights = 0666; // less what the process does not give

int openTrace(const std::string& path) {
    return path == "-" ? ::fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1)
                       : ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC | O_NOCTTY, kRights);
}

} // namespace

TraceFile::TraceFile(const std::filesystem::path& path, std::chrono::system_clock::time_point begin)
    : path_(path), file_(openTrace(path_)) {
    const int error = file_ ? append(traceHeadLine(begin)) : errno;
    if (error != 0) {
        throw std::system_error(error, std::generic_category(), path_);
    }
}

void TraceFile::add(const TraceRecord& record) {
    if (!isWhole_) {
        return;
    }
    if (const int error = append(traceLine(record)); error != 0) {
        isWhole_ = false;
        kernel::logError("The trace '" + path_ + "' ends here, as it can't be written: " +
                         std::generic_category().message(error) + ". The run goes on.");
    }
}

// Of a regular file whole lines stay.
int TraceFile::append(std::string_view line) {
    const int error = kernel::writeAll(file_.number(), line);
    struct stat status {};
    if (error == 0) {
        bytes_ += static_cast<std::int64_t>(line.size());
    } else if (path_ != "-" && ::fstat(file_.number(), &status) == 0 && S_ISREG(status.st_mode)) {
        [[maybe_unused]] const int ignored = ::ftruncate(file_.number(), bytes_);
    }
    return error;
}

} // namespace tessra

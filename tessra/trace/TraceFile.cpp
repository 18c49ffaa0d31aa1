#include "tessra/trace/TraceFile.h"

#include "platform/kernel/RegularFile.h"
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

int openTrace(const std::string& path, kernel::FileDescriptor& file) {
    if (path != "-") {
        return kernel::openOutput(path, O_CREAT | O_TRUNC, file);
    }
    file = kernel::FileDescriptor(::fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1));
    return file ? 0 : errno;
}

} // namespace

TraceFile::TraceFile(const std::filesystem::path& path, std::chrono::system_clock::time_point begin) : path_(path) {
    int error = openTrace(path_, file_);
    error = error == 0 ? append(traceHeadLine(begin)) : error;
    if (error != 0) {
        throw std::system_error(error, std::generic_category(), path_);
    }
}

void TraceFile::add(const TraceRecord& record) {
    if (!isWhole()) {
        return;
    }
    if (const int error = append(traceLine(record)); error != 0) {
        error_ = error;
        kernel::logError(failure());
    }
}

std::string TraceFile::failure() const {
    return "The trace '" + path_ + "' ends early, as it can't be written: " + std::generic_category().message(error_);
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

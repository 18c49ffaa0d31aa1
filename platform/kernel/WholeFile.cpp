#include "platform/kernel/WholeFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <string>

namespace kernel {
namespace {

/// Answers 0, or the error number of why not everything could be written.
int writeAll(int file, std::string_view content) {
    while (!content.empty()) {
        const ssize_t written = ::write(file, content.data(), content.size());
        if (written < 0) {
            if (errno == EINTR) {
                continue;
            }
            return errno;
        }
        content.remove_prefix(static_cast<std::size_t>(written));
    }
    return 0;
}

WholeFileResult writeInPlace(const std::filesystem::path& path, std::string_view content) {
    const int file = ::open(path.c_str(), O_WRONLY | O_TRUNC | O_CLOEXEC);
    if (file < 0) {
        return {.openError = errno};
    }
    const int error = writeAll(file, content);
    ::close(file);
    return {.writeError = error};
}

/// The access rights of the file that is being replaced, or those that a new file gets.
mode_t modeOf(const std::filesystem::path& path) {
    struct stat status {};
    if (::stat(path.c_str(), &status) == 0) {
        return status.st_mode & 07777;
    }
    const mode_t mask = ::umask(0);
    ::umask(mask);
    return 0666 & ~mask;
}

WholeFileResult replace(const std::filesystem::path& path, std::string_view content) {
    const bool isThere = ::access(path.c_str(), F_OK) == 0;
    if (isThere && ::access(path.c_str(), W_OK) != 0) {
        return {.openError = errno}; // a file that nobody may write is not to be replaced either
    }
    std::string temporary = path.string() + ".XXXXXX";
    const int file = ::mkstemp(temporary.data());
    if (file < 0) {
        const bool folderRefuses = errno == EACCES || errno == EPERM || errno == EROFS || errno == ENAMETOOLONG;
        return isThere && folderRefuses ? writeInPlace(path, content) : WholeFileResult{.openError = errno};
    }
    int error = writeAll(file, content);
    if (error == 0 && (::fchmod(file, modeOf(path)) != 0 || ::fsync(file) != 0)) {
        error = errno;
    }
    ::close(file);
    if (error == 0 && ::rename(temporary.c_str(), path.c_str()) != 0) {
        error = errno;
    }
    if (error != 0) {
        ::unlink(temporary.c_str());
    }
    return {.writeError = error};
}

} // namespace

WholeFileResult writeWholeFile(const std::filesystem::path& path, std::string_view content) {
    std::error_code ignored;
    const auto type = std::filesystem::status(path, ignored).type();
    if (type != std::filesystem::file_type::regular && type != std::filesystem::file_type::not_found) {
        return writeInPlace(path, content);
    }
    const auto target = std::filesystem::weakly_canonical(path, ignored);
    return replace(target.empty() ? path : target, content);
}

} // namespace kernel

#include "cli/OutputFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <stdexcept>
#include <string_view>
#include <system_error>

namespace {

[[noreturn]] void fail(const std::filesystem::path& path, int reason) {
    throw std::runtime_error("Can't write '" + path.string() + "': " + std::generic_category().message(reason));
}

/// Answers 0, or the reason why not everything could be written.
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

/// Pipes, terminals and the like can't be replaced, only written to.
void writeInPlace(const std::filesystem::path& path, const std::string& content) {
    const int file = ::open(path.c_str(), O_WRONLY | O_CLOEXEC);
    if (file < 0) {
        fail(path, errno);
    }
    const int reason = writeAll(file, content);
    ::close(file);
    if (reason != 0) {
        fail(path, reason);
    }
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

void replace(const std::filesystem::path& path, const std::string& content) {
    std::string temporary = path.string() + ".XXXXXX";
    const int file = ::mkstemp(temporary.data());
    if (file < 0) {
        fail(path, errno);
    }
    int reason = writeAll(file, content);
    if (reason == 0 && (::fchmod(file, modeOf(path)) != 0 || ::fsync(file) != 0)) {
        reason = errno;
    }
    ::close(file);
    if (reason == 0 && ::rename(temporary.c_str(), path.c_str()) != 0) {
        reason = errno;
    }
    if (reason != 0) {
        ::unlink(temporary.c_str());
        fail(path, reason);
    }
}

} // namespace

void writeOutput(const std::filesystem::path& path, const std::string& content) {
    if (path == "-") {
        if (const int reason = writeAll(STDOUT_FILENO, content)) {
            fail("standard output", reason);
        }
        return;
    }
    std::error_code ignored;
    const auto type = std::filesystem::status(path, ignored).type();
    if (type == std::filesystem::file_type::regular || type == std::filesystem::file_type::not_found) {
        // Through a link, it is the file that it leads to that is replaced, or made.
        const auto target = std::filesystem::is_symlink(path, ignored)
                                ? path.parent_path() / std::filesystem::read_symlink(path, ignored)
                                : path;
        replace(target, content);
    } else {
        writeInPlace(path, content);
    }
}

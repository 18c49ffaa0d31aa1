#include "platform/kernel/RegularFile.h"

#include "platform/kernel/TickCount.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

namespace kernel {
namespace {

int readAll(int file, std::size_t maxBytes, std::string& text) {
    struct stat status {};
    if (::fstat(file, &status) != 0) {
        return errno;
    }
    // A byte more than is allowed, to notice a file that is longer; its size may change meanwhile.
    const std::size_t expected = static_cast<std::size_t>(std::max<off_t>(status.st_size, 0));
    text.resize(std::min(expected, maxBytes) + 1);
    std::size_t length = 0;
    for (;;) {
        const ssize_t count = ::read(file, text.data() + length, text.size() - length);
        if (count < 0) {
            if (errno == EINTR) {
                continue;
            }
            return errno;
        }
        length += static_cast<std::size_t>(count);
        if (length > maxBytes) {
            return EFBIG;
        }
        if (count == 0) {
            text.resize(length);
            return 0;
        }
        if (length == text.size()) {
            text.resize(std::min(2 * length, maxBytes + 1));
        }
    }
}

} // namespace

int openRegularFile(const std::filesystem::path& path, bool forWriting, FileDescriptor& file) {
    // Without O_NONBLOCK, opening a pipe would wait for its other end.
    file = FileDescriptor(::open(path.c_str(), (forWriting ? O_RDWR : O_RDONLY) | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    if (!file) {
        return errno;
    }
    struct stat status {};
    int error = ::fstat(file.number(), &status) == 0 ? 0 : errno;
    if (error == 0 && !S_ISREG(status.st_mode)) {
        error = S_ISDIR(status.st_mode) ? EISDIR : EINVAL;
    }
    if (error != 0) {
        file = {};
    }
    return error;
}

int readRegularFile(const std::filesystem::path& path, std::size_t maxBytes, std::string& text) {
    FileDescriptor file;
    const int error = openRegularFile(path, false, file);
    return error != 0 ? error : readAll(file.number(), maxBytes, text);
}

int readInput(const std::filesystem::path& path, std::size_t maxBytes, std::string& text) {
    if (path == "-") {
        return readAll(STDIN_FILENO, maxBytes, text);
    }
    const FileDescriptor file(::open(path.c_str(), O_RDONLY | O_NOCTTY | O_CLOEXEC));
    return file ? readAll(file.number(), maxBytes, text) : errno;
}

int openOutput(const std::filesystem::path& path, int flags, FileDescriptor& file) {
    constexpr mode_t kAnyone = 0666; // as far as the process gives rights to new files
    constexpr int kLooks = 100;
    constexpr std::uint32_t kPauseMs = 20;
    for (int look = 0; !file; ++look) {
        file = FileDescriptor(::open(path.c_str(), O_WRONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK | flags, kAnyone));
        if (!file && (errno != ENXIO || look == kLooks)) {
            return errno;
        }
        if (!file) {
            sleepMs(kPauseMs);
        }
    }
    return ::fcntl(file.number(), F_SETFL, flags & O_APPEND) == 0 ? 0 : errno;
}

} // namespace kernel

#include "platform/kernel/RegularFile.h"

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
    if (!S_ISREG(status.st_mode)) {
        return S_ISDIR(status.st_mode) ? EISDIR : EINVAL;
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

int readRegularFile(const std::filesystem::path& path, std::size_t maxBytes, std::string& text) {
    // Without O_NONBLOCK, opening a pipe would wait for somebody to write to it.
    const int file = ::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    if (file < 0) {
        return errno;
    }
    const int error = readAll(file, maxBytes, text);
    ::close(file);
    return error;
}

} // namespace kernel

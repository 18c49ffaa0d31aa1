#include "platform/storage/FileBytes.h"

#include "platform/storage/Status.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

namespace storage {
namespace {

[[noreturn]] void failReading() {
    throw Failure(statusOfErrno(errno, kReadFault));
}

// Fills `out` with the bytes from `offset` on, as many as there are.
void readAt(int file, std::uint64_t offset, std::span<std::uint8_t> out) {
    while (!out.empty()) {
        const ssize_t count = ::pread(file, out.data(), out.size(), static_cast<off_t>(offset));
        if (count == 0) {
            return;
        }
        if (count < 0 && errno != EINTR) {
            failReading();
        }
        const auto done = static_cast<std::size_t>(std::max<ssize_t>(count, 0));
        offset += done;
        out = out.subspan(done);
    }
}

} // namespace

FileBytes readFileBytes(int file) {
    struct stat status {};
    if (::fstat(file, &status) != 0) {
        failReading();
    }
    const auto size = static_cast<std::size_t>(std::min<std::uint64_t>(kMaxFileBytes, status.st_size));
    // Memory that is zero without being written: the system gives it when it is first used.
    FileBytes bytes{decltype(FileBytes::data)(static_cast<std::uint8_t*>(std::calloc(size + kZerosBehind, 1))), size};
    if (bytes.data == nullptr) {
        throw Failure(kInsufficientMemory);
    }
    // From one piece with data to the next. A file system that knows no holes answers that all is data, or nothing.
    for (std::size_t at = 0; at < size;) {
        const off_t data = ::lseek(file, static_cast<off_t>(at), SEEK_DATA);
        if (data < 0 && errno == ENXIO) {
            break;
        }
        const off_t hole = ::lseek(file, std::max<off_t>(data, 0), SEEK_HOLE);
        const std::size_t begin = data < 0 ? at : std::min(size, static_cast<std::size_t>(data));
        const std::size_t end = hole < 0 ? size : std::min(size, static_cast<std::size_t>(hole));
        readAt(file, begin, {bytes.data.get() + begin, end - begin});
        at = end;
    }
    return bytes;
}

} // namespace storage

#include "platform/storage/FileBytes.h"

#include "platform/storage/Status.h"

#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <utility>

namespace storage {
namespace {

[[noreturn]] void failReading() {
    throw Failure(statusOfErrno(errno, kReadFault));
}

// Reads up to `out.size()` bytes; answers how many there were.
std::size_t readAt(int file, std::uint64_t offset, std::span<std::uint8_t> out) {
    std::size_t done = 0;
    while (done < out.size()) {
        const ssize_t count = ::pread(file, out.data() + done, out.size() - done, static_cast<off_t>(offset + done));
        if (count == 0) {
            break;
        }
        if (count < 0 && errno != EINTR) {
            failReading();
        }
        done += static_cast<std::size_t>(std::max<ssize_t>(count, 0));
    }
    return done;
}

// The next piece from `offset` on that is no hole: its beginning and its end. A file system without holes has one
// piece.
std::pair<std::uint64_t, std::uint64_t> nextPiece(int file, std::uint64_t offset, std::uint64_t length) {
    const off_t begin = ::lseek(file, static_cast<off_t>(offset), SEEK_DATA);
    if (begin < 0) {
        return {errno == ENXIO ? length : offset, length};
    }
    const off_t end = ::lseek(file, begin, SEEK_HOLE);
    return {begin, end < 0 ? length : std::min<std::uint64_t>(static_cast<std::uint64_t>(end), length)};
}

} // namespace

FileBytes::FileBytes(int file) {
    struct stat status {};
    if (::fstat(file, &status) != 0) {
        failReading();
    }
    const std::uint64_t length = std::min<std::uint64_t>(static_cast<std::uint64_t>(status.st_size), kMaxFileBytes);
    if (length == 0) {
        return;
    }
    void* memory = ::mmap(nullptr, length, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    if (memory == MAP_FAILED) {
        throw Failure(kInsufficientMemory);
    }
    data_ = static_cast<std::uint8_t*>(memory);
    size_ = length;
    try {
        for (std::uint64_t offset = 0; offset < size_;) {
            const auto [begin, end] = nextPiece(file, offset, length);
            if (begin < length && readAt(file, begin, {data_ + begin, end - begin}) < end - begin) {
                break; // cut meanwhile: the rest is zeros
            }
            offset = std::max(end, offset + 1);
        }
    } catch (...) {
        ::munmap(data_, size_);
        throw;
    }
}

FileBytes::FileBytes(FileBytes&& other) noexcept
    : size_(std::exchange(other.size_, 0)), data_(std::exchange(other.data_, nullptr)) {}

FileBytes::~FileBytes() {
    if (data_ != nullptr) {
        ::munmap(data_, size_);
    }
}

} // namespace storage

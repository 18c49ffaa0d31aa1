#include "platform/storage/FileBytes.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>

namespace storage {
namespace {

[[noreturn]] void failErrno(Status otherwise) {
    throw Failure(statusOfErrno(errno, otherwise));
}

// The file system has no such call: without it there is no more to be had, and every change would be refused.
bool cannotFlush(int error) {
    return error == EROFS || error == EINVAL || error == EOPNOTSUPP || error == ENOSYS;
}

void ignoreFileSizeSignal() {
    struct sigaction present {};
    if (sigaction(SIGXFSZ, nullptr, &present) == 0 && present.sa_handler == SIG_DFL) {
        std::signal(SIGXFSZ, SIG_IGN);
    }
}

} // namespace

Status statusOfErrno(int error, Status otherwise) {
    switch (error) {
    case ENOENT:
        return kFileNotFound;
    case ENOTDIR:
    case ENAMETOOLONG:
    case ELOOP:
        return kPathNotFound;
    case EACCES:
    case EPERM:
    case EROFS:
    case EISDIR:
    case ETXTBSY:
        return kAccessDenied;
    case EEXIST:
        return kFileAlreadyExists;
    case EMFILE:
    case ENFILE:
        return kTooManyOpenFiles;
    case ENOSPC:
    case EDQUOT:
    case EFBIG:
        return kMediumFull;
    case EWOULDBLOCK:
        return kShareViolation;
    case ENOMEM:
        return kInsufficientMemory;
    default:
        return otherwise;
    }
}

PosixFile::PosixFile(const std::string& path, Open how) {
    ignoreFileSizeSignal();
    const int flags = how == Open::forReading      ? O_RDONLY
                      : how == Open::forWriting    ? O_RDWR
                      : how == Open::createUnnamed ? O_RDWR | O_TMPFILE
                                                   : O_RDWR | O_CREAT | O_EXCL;
    // A pipe or a device must not hold the open call up.
    descriptor_ = open(path.c_str(), flags | O_CLOEXEC | O_NONBLOCK | O_NOCTTY, 0666);
    if (descriptor_ < 0) {
        failErrno(kUnknownFailure);
    }
    struct stat status {};
    Status failure = com::kOk;
    if (fstat(descriptor_, &status) != 0) {
        failure = statusOfErrno(errno, kUnknownFailure);
    } else if (!S_ISREG(status.st_mode)) {
        failure = kAccessDenied;
    } else if (flock(descriptor_, LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK) {
        // Any other refusal comes from a file system without locks: the table of this process must do there.
        failure = kShareViolation;
    }
    if (com::failed(failure)) {
        close(descriptor_);
        throw Failure(failure);
    }
}

PosixFile::~PosixFile() {
    close(descriptor_);
}

PosixFile::Identity PosixFile::identity() const {
    struct stat status {};
    if (fstat(descriptor_, &status) != 0) {
        failErrno(kUnknownFailure);
    }
    return {status.st_dev, status.st_ino};
}

bool PosixFile::canBeNamed() const {
    return access(("/proc/self/fd/" + std::to_string(descriptor_)).c_str(), F_OK) == 0;
}

bool PosixFile::nameAs(const std::string& path) const {
    const std::string self = "/proc/self/fd/" + std::to_string(descriptor_);
    return linkat(AT_FDCWD, self.c_str(), AT_FDCWD, path.c_str(), AT_SYMLINK_FOLLOW) == 0;
}

void PosixFile::copyPermissions(const PosixFile& other) {
    struct stat status {};
    if (fstat(other.descriptor_, &status) != 0 || fchmod(descriptor_, status.st_mode & 07777) != 0) {
        failErrno(kAccessDenied);
    }
}

std::uint64_t PosixFile::size() {
    // Asked before every write: the cheapest call that answers it.
    const off_t end = lseek(descriptor_, 0, SEEK_END);
    if (end < 0) {
        failErrno(kReadFault);
    }
    return static_cast<std::uint64_t>(end);
}

std::size_t PosixFile::read(std::uint64_t offset, std::span<std::uint8_t> out) {
    std::size_t done = 0;
    while (done < out.size()) {
        const ssize_t count =
            pread(descriptor_, out.data() + done, out.size() - done, static_cast<off_t>(offset + done));
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count < 0) {
            failErrno(kReadFault);
        }
        if (count == 0) {
            break;
        }
        done += static_cast<std::size_t>(count);
    }
    return done;
}

void PosixFile::write(std::uint64_t offset, ByteView bytes) {
    std::size_t done = 0;
    while (done < bytes.size()) {
        const ssize_t count =
            pwrite(descriptor_, bytes.data() + done, bytes.size() - done, static_cast<off_t>(offset + done));
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count <= 0) {
            failErrno(kWriteFault);
        }
        done += static_cast<std::size_t>(count);
    }
}

void PosixFile::resize(std::uint64_t newSize) {
    const std::uint64_t present = size();
    if (newSize <= present) {
        if (ftruncate(descriptor_, static_cast<off_t>(newSize)) != 0) {
            failErrno(kWriteFault);
        }
        return;
    }
    const int error = posix_fallocate(descriptor_, static_cast<off_t>(present), static_cast<off_t>(newSize - present));
    if (error != 0) {
        // Part of the room may have been granted: the length goes back to what it was.
        (void)!ftruncate(descriptor_, static_cast<off_t>(present));
        throw Failure(statusOfErrno(error, kWriteFault));
    }
}

void PosixFile::flush() {
    if (fsync(descriptor_) != 0 && !cannotFlush(errno)) {
        failErrno(kWriteFault);
    }
}

} // namespace storage

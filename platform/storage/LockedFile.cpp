#include "platform/storage/LockedFile.h"

#include "platform/kernel/RegularFile.h"
#include "platform/kernel/WholeFile.h"
#include "platform/storage/Status.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <functional>
#include <system_error>
#include <utility>

namespace storage {
namespace {

[[noreturn]] void fail(int error, Status otherwise, const std::string& path) {
    const Status status = error == EINVAL ? kAccessDenied : statusOfErrno(error, otherwise);
    const bool isOrdinary = status == kFileNotFound || status == kShareViolation || status == kFileAlreadyExists;
    throw Failure(status, isOrdinary ? "" : "'" + path + "': " + std::generic_category().message(error));
}

// The folder that is current now need not be so at the save.
std::filesystem::path absolute(const std::string& path) {
    return path.empty() ? std::filesystem::path() : std::filesystem::absolute(path);
}

// Reserves a name in the machine's table of local sockets, which the system gives to one owner at a time and takes back
// when that process ends, however it ends. Returns 0, EADDRINUSE, or that no more files can be opened. A machine
// without such sockets reserves nothing.
int reserve(const std::string& name, kernel::FileDescriptor& reservation) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    // The leading zero is what makes it no file.
    const std::string text = "calvane/" + name;
    std::copy(text.begin(), text.end(), address.sun_path + 1);
    const auto length = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + 1 + text.size());
    reservation = kernel::FileDescriptor(::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    if (!reservation && (errno == EMFILE || errno == ENFILE)) {
        return errno;
    }
    const int bound = ::bind(reservation.number(), reinterpret_cast<const sockaddr*>(&address), length);
    return bound != 0 && errno == EADDRINUSE ? EADDRINUSE : 0;
}

// What tells a file from all others of the machine.
std::string identityOf(const struct stat& status) {
    return std::to_string(status.st_dev) + "/" + std::to_string(status.st_ino);
}

} // namespace

int FileLock::take(kernel::FileDescriptor file) {
    struct stat status {};
    if (!file || ::fstat(file.number(), &status) != 0) {
        return errno;
    }
    if (::flock(file.number(), LOCK_EX | LOCK_NB) != 0 &&
        (errno == EWOULDBLOCK || reserve(identityOf(status), reservation_) != 0)) {
        return EWOULDBLOCK;
    }
    file_ = std::move(file);
    return 0;
}

bool FileLock::standsAt(const std::string& path) const {
    struct stat present {};
    struct stat held {};
    return file_ && ::stat(path.c_str(), &present) == 0 && ::fstat(file_.number(), &held) == 0 &&
           identityOf(present) == identityOf(held);
}

bool LockedFile::lockExisting(bool forWriting) {
    // Between the opening and the lock, whoever held the file may have exchanged it.
    do {
        lock_ = {};
        kernel::FileDescriptor file;
        int error = kernel::openRegularFile(path_, forWriting, file);
        if (error == ENOENT) {
            return false;
        }
        error = error == 0 ? lock_.take(std::move(file)) : error;
        if (error != 0) {
            fail(error, kUnknownFailure, path_);
        }
    } while (!lock_.standsAt(path_));
    return true;
}

void LockedFile::reservePath() {
    const std::filesystem::path path(path_);
    const std::string folder = path.parent_path().string();
    struct stat status {};
    if (::stat(folder.c_str(), &status) != 0 || ::faccessat(AT_FDCWD, folder.c_str(), W_OK | X_OK, AT_EACCESS) != 0) {
        throw Failure(errno == ENOENT ? kPathNotFound : statusOfErrno(errno, kUnknownFailure));
    }
    // A name of a file can be longer than one of a socket.
    const std::size_t name = std::hash<std::string>()(path.filename().string());
    if (const int error = reserve(identityOf(status) + "/" + std::to_string(name), reservation_); error != 0) {
        throw Failure(error == EADDRINUSE ? kShareViolation : kTooManyOpenFiles);
    }
}

LockedFile LockedFile::open(const std::string& path, bool forWriting) {
    LockedFile file(absolute(path).string());
    if (!file.lockExisting(forWriting)) {
        fail(ENOENT, kFileNotFound, path);
    }
    return file;
}

LockedFile LockedFile::create(const std::string& path, bool mayReplace) {
    LockedFile file(kernel::endOfLinks(absolute(path)).string());
    if (!file.lockExisting(true)) {
        file.reservePath();
        // Its last creator may have finished just before.
        (void)file.lockExisting(true);
    }
    if (!mayReplace && file.lock_.standsAt(file.path_)) {
        throw Failure(kFileAlreadyExists);
    }
    return file;
}

void LockedFile::save(ByteView content) {
    FileLock next;
    kernel::WholeFileOptions options;
    options.mayReplace = lock_.standsAt(path_);
    options.beforeNaming = [&](int file) {
        // Somebody may have put another file there meanwhile.
        const bool isOurs = !options.mayReplace || lock_.standsAt(path_);
        return isOurs ? next.take(kernel::FileDescriptor(::fcntl(file, F_DUPFD_CLOEXEC, 0))) : EEXIST;
    };
    const std::string_view text(reinterpret_cast<const char*>(content.data()), content.size());
    const kernel::WholeFileResult result = kernel::writeWholeFile(path_, text, options);
    if (!result.succeeded()) {
        fail(result.error(), kWriteFault, path_);
    }
    if (next.standsAt(path_)) { // it was not written in place
        lock_ = std::move(next);
    }
    reservation_ = {};
}

} // namespace storage

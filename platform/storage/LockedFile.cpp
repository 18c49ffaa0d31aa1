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
#include <cstring>
#include <functional>
#include <mutex>
#include <set>
#include <utility>

namespace storage {
namespace {

[[noreturn]] void fail(int error, Status otherwise, const std::string& path) {
    const Status status = error == EINVAL ? kAccessDenied : statusOfErrno(error, otherwise);
    const bool isOrdinary = status == kFileNotFound || status == kShareViolation || status == kFileAlreadyExists;
    throw Failure(status, isOrdinary ? "" : "'" + path + "': " + std::strerror(error));
}

// The folder that is current now need not be so at the save.
std::filesystem::path absolute(const std::string& path) {
    return path.empty() ? std::filesystem::path() : std::filesystem::absolute(path);
}

// The files that this process holds, by what tells a file from all others of the machine.
template <class Identity>
class HeldFiles {
public:
    static HeldFiles& instance() {
        static HeldFiles files;
        return files;
    }
    bool add(const Identity& file) {
        const std::lock_guard lock(mutex_);
        return files_.insert(file).second;
    }
    void remove(const Identity& file) {
        const std::lock_guard lock(mutex_);
        files_.erase(file);
    }

private:
    std::mutex mutex_;
    std::set<Identity> files_;
};

} // namespace

FileLock::FileLock(FileLock&& other) noexcept
    : file_(std::move(other.file_)), identity_(std::exchange(other.identity_, {})) {}

FileLock& FileLock::operator=(FileLock&& other) noexcept {
    std::swap(file_, other.file_);
    std::swap(identity_, other.identity_);
    return *this;
}

FileLock::~FileLock() {
    if (file_) {
        HeldFiles<Identity>::instance().remove(identity_);
    }
}

int FileLock::take(kernel::FileDescriptor file) {
    struct stat status {};
    if (!file || ::fstat(file.number(), &status) != 0) {
        return errno;
    }
    // Any other refusal comes from a file system without locks: the table must do there.
    if (::flock(file.number(), LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK) {
        return errno;
    }
    const Identity identity{status.st_dev, status.st_ino};
    if (!HeldFiles<Identity>::instance().add(identity)) {
        return EWOULDBLOCK;
    }
    file_ = std::move(file);
    identity_ = identity;
    return 0;
}

bool FileLock::standsAt(const std::string& path) const {
    struct stat status {};
    return isHeld() && ::stat(path.c_str(), &status) == 0 && identity_ == Identity{status.st_dev, status.st_ino};
}

bool LockedFile::lockExisting(Access access) {
    // Between the opening and the lock, whoever held the file may have exchanged it.
    do {
        lock_ = {};
        kernel::FileDescriptor file;
        int error = kernel::openRegularFile(path_, access == Access::readWrite, file);
        if (error == ENOENT) {
            return false;
        }
        if (error == 0) {
            error = lock_.take(std::move(file));
        }
        if (error != 0) {
            fail(error, kUnknownFailure, path_);
        }
    } while (!lock_.standsAt(path_));
    return true;
}

// A name in the machine's table of local sockets stands for the path: the system lets one process have it, and takes it
// back when that process ends, however it ends.
void LockedFile::reserve() {
    const std::filesystem::path path(path_);
    const std::string folder = path.has_parent_path() ? path.parent_path().string() : ".";
    struct stat status {};
    if (!path.has_filename()) {
        throw Failure(kPathNotFound);
    }
    if (::stat(folder.c_str(), &status) != 0 || ::faccessat(AT_FDCWD, folder.c_str(), W_OK | X_OK, AT_EACCESS) != 0) {
        throw Failure(errno == ENOENT ? kPathNotFound : statusOfErrno(errno, kUnknownFailure));
    }
    const std::string name = "calvane-new-file/" + std::to_string(status.st_dev) + "/" + std::to_string(status.st_ino) +
                             "/" + std::to_string(std::hash<std::string>()(path.filename().string()));
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    // The leading zero is what makes it no file.
    std::copy(name.begin(), name.end(), address.sun_path + 1);
    const auto length = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + 1 + name.size());
    reservation_ = kernel::FileDescriptor(::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    if (::bind(reservation_.number(), reinterpret_cast<const sockaddr*>(&address), length) != 0 &&
        errno == EADDRINUSE) {
        throw Failure(kShareViolation);
    }
    // Without such sockets two may create the file; the later one to save it is refused.
}

LockedFile LockedFile::open(const std::string& path, Access access) {
    LockedFile file(absolute(path).string());
    if (!file.lockExisting(access)) {
        fail(ENOENT, kFileNotFound, path);
    }
    return file;
}

LockedFile LockedFile::create(const std::string& path, bool mayReplace) {
    LockedFile file(kernel::endOfLinks(absolute(path)).string());
    bool isThere = file.lockExisting(Access::readWrite);
    if (!isThere) {
        file.reserve();
        // Its last creator may have finished just before.
        isThere = file.lockExisting(Access::readWrite);
    }
    if (isThere && !mayReplace) {
        throw Failure(kFileAlreadyExists);
    }
    return file;
}

void LockedFile::save(ByteView content) {
    FileLock next;
    kernel::WholeFileOptions options;
    options.mayReplace = lock_.standsAt(path_);
    options.beforeNaming = [&](int file) {
        return next.take(kernel::FileDescriptor(::fcntl(file, F_DUPFD_CLOEXEC, 0)));
    };
    const std::string_view text(reinterpret_cast<const char*>(content.data()), content.size());
    const kernel::WholeFileResult result = kernel::writeWholeFile(path_, text, options);
    if (result.openError != 0) {
        fail(result.openError, kUnknownFailure, path_);
    }
    if (result.writeError != 0) {
        fail(result.writeError, kWriteFault, path_);
    }
    if (next.standsAt(path_)) { // it was not written in place
        lock_ = std::move(next);
    }
    reservation_ = {};
}

} // namespace storage

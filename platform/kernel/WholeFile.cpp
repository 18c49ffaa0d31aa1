#include "platform/kernel/WholeFile.h"

#include "platform/kernel/WriteAll.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <string>

namespace kernel {
namespace {

/// As many as the system follows.
constexpr int kMostLinks = 40;

/// Whether the file system does not know what it was asked for, which is then no failure.
bool isUnknownHere(int error) {
    return error == EINVAL || error == EOPNOTSUPP || error == ENOSYS;
}

/// 0, or the error number of why the content may not be on the disk.
int sync(int file) {
    return ::fsync(file) == 0 || isUnknownHere(errno) ? 0 : errno;
}

int overwrite(int file, std::string_view content) {
    struct stat before {};
    if (::fstat(file, &before) != 0) {
        return errno;
    }
    if (!S_ISREG(before.st_mode)) {
        return writeAll(file, content);
    }
    const auto size = static_cast<off_t>(content.size());
    if (size > before.st_size) {
        const int error = ::posix_fallocate(file, before.st_size, size - before.st_size);
        if (error != 0 && !isUnknownHere(error)) {
            (void)!::ftruncate(file, before.st_size); // part of the room may have been granted
            return error;
        }
    }
    if (const int error = writeAll(file, content); error != 0) {
        return error;
    }
    return ::ftruncate(file, size) == 0 ? sync(file) : errno;
}

WholeFileResult writeInPlace(const std::filesystem::path& path, std::string_view content) {
    const int file = ::open(path.c_str(), O_WRONLY | O_CLOEXEC);
    if (file < 0) {
        return {.openError = errno};
    }
    const int error = overwrite(file, content);
    ::close(file);
    return {.writeError = error};
}

/// Where the links that begin at `path` end, whether or not there is a file; those on the way go to `visit`.
template <typename Visit>
std::filesystem::path followLinks(std::filesystem::path path, Visit visit) {
    for (int links = 0; links < kMostLinks; ++links) {
        std::error_code noLink;
        const auto next = std::filesystem::read_symlink(path, noLink);
        if (noLink) {
            break;
        }
        visit(path.string());
        path = path.parent_path() / next;
    }
    return path;
}

std::filesystem::path endOfLinks(const std::filesystem::path& path) {
    return followLinks(path, [](const std::string&) {});
}

/// Whether `path` is one for an open file, such as /dev/stdout: its owner goes on writing to that very file.
bool leadsThroughDescriptor(const std::filesystem::path& path) {
    bool found = false;
    followLinks(path, [&](const std::string& link) {
        found = found || link.starts_with("/proc/") || link.starts_with("/dev/fd/");
    });
    return found;
}

/// Whether more is said about the rights to the file than its mode says.
bool hasAccessList(const std::filesystem::path& path) {
    return ::getxattr(path.c_str(), "system.posix_acl_access", nullptr, 0) > 0;
}

/// Makes a new file in the folder of `target`, under a short name: one made of the target's could be too long. Returns
/// the open file, or -1 with the reason in errno.
int createBeside(const std::filesystem::path& target, mode_t mode, std::filesystem::path& name) {
    static std::atomic<unsigned> counter;
    for (;;) {
        const std::string own = std::to_string(::getpid()) + "-" + std::to_string(++counter);
        name = target.parent_path() / (".calvane-" + own);
        const int file = ::open(name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, mode);
        if (file >= 0 || errno != EEXIST) {
            return file;
        }
    }
}

/// Gives `file` the owner, the group and the access rights of `old`; 0, or the error number.
int makeLike(int file, const struct stat& old) {
    struct stat present {};
    if (::fstat(file, &present) != 0) {
        return errno;
    }
    const bool sameOwners = present.st_uid == old.st_uid && present.st_gid == old.st_gid;
    if (!sameOwners && ::fchown(file, old.st_uid, old.st_gid) != 0) {
        return errno;
    }
    const mode_t mode = old.st_mode & 07777;
    return (present.st_mode & 07777) == mode || ::fchmod(file, mode) == 0 ? 0 : errno;
}

/// After a power cut the new file is found under its name. Not every file system knows this, and the file is there.
void syncFolderOf(const std::filesystem::path& file) {
    const std::filesystem::path folder = file.has_parent_path() ? file.parent_path() : ".";
    const int descriptor = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (descriptor >= 0) {
        ::fsync(descriptor);
        ::close(descriptor);
    }
}

/// Exchanges `target` for a new file that is like `old`, or makes it where `old` is null.
WholeFileResult replace(const std::filesystem::path& target, const struct stat* old, std::string_view content) {
    std::filesystem::path temporary;
    // What replaces a file is nobody else's to read before it has that file's rights.
    const int file = createBeside(target, old != nullptr ? 0600 : 0666, temporary);
    if (file < 0) {
        return {.openError = errno};
    }
    int error = old != nullptr ? makeLike(file, *old) : 0;
    if (error == 0) {
        error = writeAll(file, content);
    }
    if (error == 0) {
        error = sync(file);
    }
    ::close(file);
    if (error == 0 && ::rename(temporary.c_str(), target.c_str()) != 0) {
        error = errno;
    }
    if (error == 0) {
        syncFolderOf(target);
    } else {
        ::unlink(temporary.c_str());
    }
    return {.writeError = error};
}

/// Whether an exchange failed for a reason that need not keep the content from being written: the folder's, the
/// owner's (EINVAL is one that this process has no number for) or a mount's.
bool isRefusedExchange(const WholeFileResult& result) {
    switch (result.openError != 0 ? result.openError : result.writeError) {
    case EACCES:
    case EPERM:
    case EROFS:
    case EINVAL:
    case EOPNOTSUPP:
    case ENOSYS:
    case EBUSY:
    case ENAMETOOLONG:
        return true;
    default:
        return false;
    }
}

} // namespace

WholeFileResult writeWholeFile(const std::filesystem::path& path, std::string_view content) {
    struct stat old {};
    if (::stat(path.c_str(), &old) != 0) {
        return errno == ENOENT ? replace(endOfLinks(path), nullptr, content) : WholeFileResult{.openError = errno};
    }
    // To replace a file with several names would part them: the others are kept in step rather than left behind. One
    // with none is somebody's open file, reached through a descriptor.
    if (!S_ISREG(old.st_mode) || old.st_nlink != 1 || hasAccessList(path) || leadsThroughDescriptor(path)) {
        return writeInPlace(path, content);
    }
    if (::access(path.c_str(), W_OK) != 0) {
        return {.openError = errno}; // a file that nobody may write is not to be replaced either
    }
    const WholeFileResult result = replace(endOfLinks(path), &old, content);
    return isRefusedExchange(result) ? writeInPlace(path, content) : result;
}

} // namespace kernel

#include "platform/kernel/WholeFile.h"

#include "platform/kernel/FileDescriptor.h"
#include "platform/kernel/RegularFile.h"
#include "platform/kernel/SignalHold.h"
#include "platform/kernel/WriteAll.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <string>

namespace kernel {
namespace {

// As many as the system follows.
constexpr int kMostLinks = 40;

// Whether the file system does not know what it was asked for, which is then no failure.
bool isUnknownHere(int error) {
    return error == EINVAL || error == EOPNOTSUPP || error == ENOSYS;
}

// A file that passes its size limit is a failure of the write, not the end of the process.
void ignoreFileSizeSignal() {
    struct sigaction present {};
    if (::sigaction(SIGXFSZ, nullptr, &present) == 0 && present.sa_handler == SIG_DFL) {
        (void)std::signal(SIGXFSZ, SIG_IGN);
    }
}

// 0, or the error number of why the content may not be on the disk.
int sync(int file) {
    return ::fsync(file) == 0 || isUnknownHere(errno) ? 0 : errno;
}

int overwrite(int file, std::string_view content, bool toDisk) {
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
    if (::ftruncate(file, size) != 0) {
        return errno;
    }
    return toDisk ? sync(file) : 0;
}

// Where the links that begin at `path` end, whether or not there is a file; those on the way go to `visit`.
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

// Whether `path` is one for an open file, such as /dev/stdout: its owner goes on writing to that very file.
bool leadsThroughDescriptor(const std::filesystem::path& path) {
    bool found = false;
    followLinks(path, [&](const std::string& link) {
        found = found || link.starts_with("/proc/") || link.starts_with("/dev/fd/");
    });
    return found;
}

// Whether more is said about the rights to the file than its mode says.
bool hasAccessList(const std::filesystem::path& path) {
    return ::getxattr(path.c_str(), "system.posix_acl_access", nullptr, 0) > 0;
}

// Gives `file` the owner, the group and the access rights of `old`; 0, or the error number.
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

std::filesystem::path folderOf(const std::filesystem::path& file) {
    return file.has_parent_path() ? file.parent_path() : ".";
}

// After a power cut the new file is found under its name. Not every file system knows this, and the file is there.
void syncFolderOf(const std::filesystem::path& file) {
    const FileDescriptor folder(::open(folderOf(file).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (folder) {
        (void)::fsync(folder.number());
    }
}

// A file that is being made and will stand at `target`. Until then it has no name, or, where the file system has no
// such files or one that ends with the process will not do, a short one of its own beside the target, which goes with
// this object: one made of the target's name could be too long.
class NewFile {
public:
    enum class Naming { kLate, kAtOnce };

    NewFile(const std::filesystem::path& target, mode_t mode, Naming naming = Naming::kLate) : target_(target) {
        if (naming == Naming::kLate) {
            file_ = FileDescriptor(::open(folderOf(target_).c_str(), O_WRONLY | O_TMPFILE | O_CLOEXEC, mode));
            if (file_ && ::access(ownPath().c_str(), F_OK) == 0) {
                return;
            }
        }
        error_ = giveOwnName([&](const char* name) {
            file_ = FileDescriptor(::open(name, O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, mode));
            return static_cast<bool>(file_);
        });
    }
    ~NewFile() {
        if (!ownName_.empty()) {
            ::unlink(ownName_.c_str());
        }
    }
    NewFile(const NewFile&) = delete;
    NewFile& operator=(const NewFile&) = delete;

    // Why there is no file; 0 where there is one.
    int error() const { return error_; }
    int number() const { return file_.number(); }

    // 0, or the error number: EEXIST where a file is at the target that may not be replaced.
    int takeTarget(bool mayReplace) {
        if (ownName_.empty()) {
            if (linkTo(target_.c_str())) {
                return 0;
            }
            if (errno != EEXIST || !mayReplace) {
                return errno;
            }
            // Only a name can be exchanged for another.
            if (const int error = giveOwnName([&](const char* name) { return linkTo(name); }); error != 0) {
                return error;
            }
        }
        if (mayReplace ? ::rename(ownName_.c_str(), target_.c_str()) == 0 : renameToFreeTarget()) {
            ownName_.clear();
            return 0;
        }
        return errno;
    }

private:
    std::string ownPath() const { return "/proc/self/fd/" + std::to_string(file_.number()); }
    bool linkTo(const char* name) const {
        return ::linkat(AT_FDCWD, ownPath().c_str(), AT_FDCWD, name, AT_SYMLINK_FOLLOW) == 0;
    }

    // A process of the same number that was killed may have left some names.
    template <typename Make>
    int giveOwnName(Make make) {
        static std::atomic<unsigned> counter;
        for (;;) {
            const std::string name = ".calvane-" + std::to_string(::getpid()) + "-" + std::to_string(++counter);
            const std::filesystem::path path = target_.parent_path() / name;
            if (make(path.c_str())) {
                ownName_ = path;
                return 0;
            }
            if (errno != EEXIST) {
                return errno;
            }
        }
    }

    // Some file systems have only the second way; the own name is then a further one for a moment.
    bool renameToFreeTarget() const {
        if (::renameat2(AT_FDCWD, ownName_.c_str(), AT_FDCWD, target_.c_str(), RENAME_NOREPLACE) == 0) {
            return true;
        }
        return isUnknownHere(errno) && ::link(ownName_.c_str(), target_.c_str()) == 0 &&
               ::unlink(ownName_.c_str()) == 0;
    }

    const std::filesystem::path target_;
    std::filesystem::path ownName_; // empty while the file has none
    FileDescriptor file_;
    int error_ = 0;
};

// Exchanges `target` for a new file that is like `old`, or makes it where `old` is null.
WholeFileResult replace(const std::filesystem::path& target, const struct stat* old, std::string_view content,
                        const WholeFileOptions& options) {
    // What replaces a file is nobody else's to read before it has that file's rights.
    NewFile file(target, old != nullptr ? 0600 : 0666);
    if (file.error() != 0) {
        return {.openError = file.error()};
    }
    int error = old != nullptr ? makeLike(file.number(), *old) : 0;
    if (error == 0) {
        error = writeAll(file.number(), content);
    }
    if (error == 0 && options.toDisk) {
        error = sync(file.number());
    }
    if (error == 0 && options.beforeNaming) {
        error = options.beforeNaming(file.number());
    }
    if (error == 0) {
        error = file.takeTarget(options.mayReplace);
    }
    if (error == 0 && options.toDisk) {
        syncFolderOf(target);
    }
    return {.writeError = error};
}

// Whether a file can't be exchanged for another for a reason that need not keep the content from being written: the
// folder's, the owner's (EINVAL is one that this process has no number for) or a mount's.
bool isRefusedExchange(int error) {
    switch (error) {
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

// Writes over a file, of which a kill in the midst of it would make a mixture: the content stands complete beside it
// meanwhile, where its folder takes new files.
WholeFileResult writeInPlace(const std::filesystem::path& path, std::string_view content, bool toDisk) {
    FileDescriptor file;
    if (const int error = openOutput(path, 0, file); error != 0) {
        return {.openError = error};
    }
    struct stat old {};
    if (::fstat(file.number(), &old) != 0) {
        return {.openError = errno};
    }
    if (!S_ISREG(old.st_mode) || leadsThroughDescriptor(path)) {
        return {.writeError = overwrite(file.number(), content, toDisk)};
    }
    const NewFile copy(endOfLinks(path), 0600, NewFile::Naming::kAtOnce);
    int error = copy.error();
    if (error == 0) {
        error = writeAll(copy.number(), content);
    }
    if (error == 0 && toDisk) {
        error = sync(copy.number());
        syncFolderOf(path);
    }
    if (error != 0 && !isRefusedExchange(error)) {
        return {.writeError = error};
    }
    return {.writeError = overwrite(file.number(), content, toDisk)};
}

} // namespace

std::filesystem::path endOfLinks(const std::filesystem::path& path) {
    return followLinks(path, [](const std::string&) {});
}

WholeFileResult writeWholeFile(const std::filesystem::path& path, std::string_view content,
                               const WholeFileOptions& options) {
    ignoreFileSizeSignal();
    struct stat old {};
    if (::stat(path.c_str(), &old) != 0) {
        if (errno != ENOENT) {
            return {.openError = errno};
        }
        const SignalHold untilWhole;
        return replace(endOfLinks(path), nullptr, content, options);
    }
    if (!options.mayReplace) {
        return {.openError = EEXIST};
    }
    if (!S_ISREG(old.st_mode)) {
        return writeInPlace(path, content, options.toDisk); // it may wait for whoever reads it
    }
    const SignalHold untilWhole;
    // To replace a file with several names would part them: the others are kept in step rather than left behind. One
    // with none is somebody's open file, reached through a descriptor.
    if (old.st_nlink != 1 || hasAccessList(path) || leadsThroughDescriptor(path)) {
        return writeInPlace(path, content, options.toDisk);
    }
    if (::access(path.c_str(), W_OK) != 0) {
        return {.openError = errno}; // a file that nobody may write is not to be replaced either
    }
    const WholeFileResult result = replace(endOfLinks(path), &old, content, options);
    return isRefusedExchange(result.error()) ? writeInPlace(path, content, options.toDisk) : result;
}

} // namespace kernel

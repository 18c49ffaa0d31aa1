#include "tessra/simulator/NvMemoryFile.h"

#include "platform/kernel/FileUsers.h"
#include "platform/kernel/RegularFile.h"
#include "platform/kernel/Trace.h"
#include "platform/kernel/WholeFile.h"
#include "tessra/simulator/ConfigError.h"

#include <fcntl.h>
#include <sys/file.h>

#include <algorithm>
#include <cerrno>
#include <optional>
#include <system_error>
#include <utility>

namespace tessra {
namespace {

// Three times what 65,536 items take.
constexpr std::size_t kMaxFileBytes = std::size_t{64} << 20;

std::string reasonOf(int error) {
    return std::generic_category().message(error);
}

[[noreturn]] void failUnavailable(const std::filesystem::path& path, const std::string& reason) {
    throw NvMemoryUnavailable(path.string() + ": " + reason);
}

// Where the file is, or is to be made, whatever links lead there: who comes by another way has the same path.
std::filesystem::path realPath(const std::filesystem::path& path) {
    return path.empty() ? path : std::filesystem::weakly_canonical(kernel::endOfLinks(std::filesystem::absolute(path)));
}

// `file` is open under the name `name`, for the memory at `path`.
void takeLock(const kernel::FileDescriptor& file, const std::string& name, const std::filesystem::path& path) {
    if (::flock(file.number(), LOCK_EX | LOCK_NB) != 0) {
        failUnavailable(path, errno == EWOULDBLOCK ? "this phone memory is in use: " + kernel::useText(name)
                                                   : "can't be locked: " + reasonOf(errno));
    }
}

// A link in the lock file's place is somebody else's trap: nothing is made where it points. A lock file that another
// user has made can be locked, but need not be written.
kernel::FileDescriptor lockBeside(const std::filesystem::path& path) {
    const std::string name = path.string() + ".lock";
    constexpr int kFlags = O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK;
    kernel::FileDescriptor lock(::open(name.c_str(), O_RDWR | O_CREAT | kFlags, 0666));
    if (!lock && errno == EACCES) {
        lock = kernel::FileDescriptor(::open(name.c_str(), O_RDONLY | kFlags));
    }
    if (!lock) {
        failUnavailable(path, "its lock file can't be opened: " + reasonOf(errno));
    }
    takeLock(lock, name, path);
    return lock;
}

// Under another of its names the file has another lock file beside it. Nothing where there is no file, or none that
// can be locked this way: reading it says what is wrong.
kernel::FileDescriptor lockItself(const std::filesystem::path& path) {
    kernel::FileDescriptor file;
    if (kernel::openRegularFile(path, true, file) != 0 && kernel::openRegularFile(path, false, file) != 0) {
        return {};
    }
    takeLock(file, path.string(), path);
    return file;
}

// Nothing where there is no such file.
std::optional<NvCells> readMemory(const std::filesystem::path& path) {
    std::string text;
    const int error = kernel::readRegularFile(path, kMaxFileBytes, text);
    if (error == ENOENT) {
        return std::nullopt;
    }
    if (error != 0) {
        failUnavailable(path, "can't be read: " + reasonOf(error));
    }
    return parseNvMemory(text, path);
}

NvCells readInitial(const std::filesystem::path& path) {
    std::string text;
    if (const int error = kernel::readRegularFile(path, kMaxFileBytes, text); error != 0) {
        throw ConfigError(path, 0, "can't be read: " + reasonOf(error));
    }
    return parseNvMemory(text, path);
}

// 0, or the error number; the file is then as before. A new file in the place of the old one is locked before others
// can see it, and `lock` is then its lock.
int exchangeFile(const std::filesystem::path& path, const NvCells& cells, kernel::FileDescriptor& lock) {
    kernel::FileDescriptor newLock;
    kernel::WholeFileOptions options;
    options.toDisk = false;
    options.beforeNaming = [&newLock](int file) {
        newLock = kernel::FileDescriptor(::fcntl(file, F_DUPFD_CLOEXEC, 0));
        return newLock && ::flock(newLock.number(), LOCK_EX | LOCK_NB) == 0 ? 0 : errno;
    };
    const int error = kernel::writeWholeFile(path, formatNvMemory(cells), options).error();
    if (error == 0 && newLock) {
        lock = std::move(newLock);
    }
    return error;
}

bool isOutOfSpace(int error) {
    return error == ENOSPC || error == EDQUOT || error == EFBIG;
}

} // namespace

NvMemoryFile::NvMemoryFile(const std::filesystem::path& path, const std::filesystem::path& initial)
    : path_(realPath(path)) {
    std::optional<NvCells> stored;
    if (!path_.empty()) {
        lock_ = lockBeside(path_);
        fileLock_ = lockItself(path_);
        stored = readMemory(path_);
    }
    if (stored) {
        cells_ = std::move(*stored);
    } else if (!initial.empty()) {
        cells_ = readInitial(initial);
    }
}

const NvCell* NvMemoryFile::find(std::uint16_t number) const {
    const auto found = cells_.find(number);
    return found == cells_.end() ? nullptr : &found->second;
}

std::uint16_t NvMemoryFile::store(std::uint16_t number, std::span<const std::uint8_t, kNvDataBytes> data) {
    const NvCell* const present = find(number);
    const std::optional<NvCell> old = present != nullptr ? std::optional(*present) : std::nullopt;
    NvCell next = old.value_or(NvCell{.status = kNvInactive});
    next.status = kNvDone;
    std::copy(data.begin(), data.end(), next.data.begin());
    if (next == old) {
        return kNvDone;
    }
    cells_[number] = next;
    const int error = path_.empty() ? 0 : exchangeFile(path_, cells_, fileLock_);
    if (error == 0) {
        return kNvDone;
    }
    if (old) {
        cells_[number] = *old;
    } else {
        cells_.erase(number);
    }
    kernel::logError("NvMemoryFile: item " + std::to_string(number) + " can't be stored in " + path_.string() + ": " +
                     reasonOf(error));
    return isOutOfSpace(error) ? kNvFull : kNvFailed;
}

} // namespace tessra

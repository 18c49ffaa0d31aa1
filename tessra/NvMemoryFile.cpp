#include "tessra/NvMemoryFile.h"

#include "platform/kernel/RegularFile.h"
#include "platform/kernel/Trace.h"
#include "platform/kernel/WriteAll.h"
#include "tessra/ConfigError.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <system_error>

namespace tessra {
namespace {

// Stands among the error numbers for a file that is not as this process left it; no call used here fails with it.
constexpr int kChangedByOthers = EBUSY;

// 65,536 items, each written a few times since the last rewrite.
constexpr std::size_t kMaxFileBytes = std::size_t{64} << 20;
// Number, status, 256 digits and all marks.
constexpr std::size_t kMaxLineBytes = 300;

std::string reasonOf(int error) {
    return error == kChangedByOthers ? "somebody else has changed the file" : std::generic_category().message(error);
}

[[noreturn]] void unavailable(const std::filesystem::path& path, const std::string& reason) {
    throw NvMemoryUnavailable(path.string() + ": " + reason);
}

FileDescriptor takeLock(const std::filesystem::path& path) {
    FileDescriptor lock(::open((path.string() + ".lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0666));
    if (!lock) {
        unavailable(path, "its lock file can't be opened: " + reasonOf(errno));
    }
    if (::flock(lock.number(), LOCK_EX | LOCK_NB) != 0) {
        unavailable(path, errno == EWOULDBLOCK ? "another program uses this phone memory"
                                               : "can't be locked: " + reasonOf(errno));
    }
    return lock;
}

NvCells readInitial(const std::filesystem::path& path) {
    std::string text;
    if (const int error = kernel::readRegularFile(path, kMaxFileBytes, text); error != 0) {
        throw ConfigError(path, 0, "can't be read: " + reasonOf(error));
    }
    return parseNvMemory(text, path).cells;
}

// Whether `tail` can be the beginning of an item line, which is what an interrupted append leaves. Anything else that
// has no line feed is no memory file, and is not to be cut off.
bool isTornLine(std::string_view tail) {
    return tail.size() <= kMaxLineBytes &&
           tail.find_first_not_of("0123456789abcdefghijklmnopqrstuvwxyz-, ") == std::string_view::npos;
}

bool isOutOfSpace(int error) {
    return error == ENOSPC || error == EDQUOT || error == EFBIG;
}

} // namespace

NvMemoryFile::NvMemoryFile(const std::filesystem::path& path, const std::filesystem::path& initial)
    : path_(path.empty() ? path : std::filesystem::weakly_canonical(std::filesystem::absolute(path))) {
    if (!path_.empty()) {
        lock_ = takeLock(path_);
        open();
    }
    if (file_) {
        load();
    } else if (!initial.empty()) {
        cells_ = readInitial(initial);
    }
}

NvMemoryFile::~NvMemoryFile() {
    if (!changed_) {
        return;
    }
    if (const int error = rewrite(); error != 0) {
        kernel::logError("NvMemoryFile: " + path_.string() + " keeps its appended lines: " + reasonOf(error));
    }
}

const NvCell* NvMemoryFile::find(std::uint16_t number) const {
    const auto found = cells_.find(number);
    return found == cells_.end() ? nullptr : &found->second;
}

std::uint16_t NvMemoryFile::store(std::uint16_t number, std::span<const std::uint8_t, kNvDataBytes> data) {
    const auto found = cells_.find(number);
    const NvCell old = found == cells_.end() ? NvCell{.status = kNvInactive} : found->second;
    NvCell next = old;
    next.status = kNvDone;
    std::copy(data.begin(), data.end(), next.data.begin());
    if (next == old) {
        return kNvDone;
    }
    cells_[number] = next;
    const int error = path_.empty() ? 0 : file_ ? append(number, next) : rewrite();
    if (error == 0) {
        return kNvDone;
    }
    if (found == cells_.end()) {
        cells_.erase(number);
    } else {
        found->second = old;
    }
    kernel::logError("NvMemoryFile: item " + std::to_string(number) + " can't be stored in " + path_.string() + ": " +
                     reasonOf(error));
    return isOutOfSpace(error) ? kNvFull : kNvFailed;
}

void NvMemoryFile::open() {
    file_ = FileDescriptor(::open(path_.c_str(), O_RDWR | O_APPEND | O_NONBLOCK | O_CLOEXEC));
    if (!file_ && errno != ENOENT) {
        unavailable(path_, "can't be opened: " + reasonOf(errno));
    }
}

void NvMemoryFile::load() {
    std::string text;
    if (const int error = kernel::readRegularFile(path_, kMaxFileBytes, text); error != 0) {
        unavailable(path_, "can't be read: " + reasonOf(error));
    }
    fileBytes_ = text.size();
    goodBytes_ = text.rfind('\n') + 1; // 0 where there is none
    if (!isTornLine(std::string_view(text).substr(goodBytes_))) {
        const auto lines = std::count(text.begin(), text.end(), '\n');
        throw ConfigError(path_, static_cast<std::size_t>(lines) + 1, "this is no item line, and it has no end");
    }
    NvMemoryText memory = parseNvMemory(std::string_view(text).substr(0, goodBytes_), path_);
    cells_ = std::move(memory.cells);
    extraLines_ = memory.itemLines - cells_.size();
    if (goodBytes_ < fileBytes_) {
        kernel::logError("NvMemoryFile: the last line of " + path_.string() + " is incomplete and does not count");
    }
}

// 0, or the error number; the file is then as before, or has a torn tail that the next append cuts off.
int NvMemoryFile::append(std::uint16_t number, const NvCell& cell) {
    if (!untouchedByOthers()) {
        return kChangedByOthers;
    }
    if (const int error = cutTornTail(); error != 0) {
        return error;
    }
    const std::string line = formatNvLine(number, cell);
    const ssize_t count = ::write(file_.number(), line.data(), line.size());
    fileBytes_ += static_cast<std::size_t>(std::max<ssize_t>(count, 0));
    if (count != static_cast<ssize_t>(line.size())) {
        const int error = count < 0 ? errno : ENOSPC;
        cutTornTail(); // if that fails too, the next append tries again
        return error;
    }
    goodBytes_ += line.size();
    changed_ = true;
    if (++extraLines_ > 2 * cells_.size() + 100) {
        extraLines_ = 0; // also after a failure, so that it is not tried again with every line
        if (const int error = rewrite(); error != 0) {
            kernel::logError("NvMemoryFile: " + path_.string() + " can't be rewritten: " + reasonOf(error));
        }
    }
    return 0;
}

// 0, or the error number; the file is then as before.
int NvMemoryFile::cutTornTail() {
    if (goodBytes_ < fileBytes_) {
        if (::ftruncate(file_.number(), static_cast<off_t>(goodBytes_)) != 0) {
            return errno;
        }
        fileBytes_ = goodBytes_;
    }
    return 0;
}

// 0, or the error number; the file is then as before.
int NvMemoryFile::rewrite() {
    if (!untouchedByOthers()) {
        return kChangedByOthers;
    }
    struct stat old {};
    const mode_t permissions = file_ && ::fstat(file_.number(), &old) == 0 ? old.st_mode & 0777 : 0666;
    const std::string temporary = path_.string() + ".tmp";
    const std::string text = formatNvMemory(cells_);
    // What stands at that name is left from a rewrite that was interrupted, or is somebody's trap: it is not followed.
    ::unlink(temporary.c_str());
    FileDescriptor next(
        ::open(temporary.c_str(), O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_APPEND | O_CLOEXEC, permissions));
    if (!next) {
        return errno;
    }
    int error = kernel::writeAll(next.number(), text);
    if (error == 0 && (::fsync(next.number()) != 0 || ::rename(temporary.c_str(), path_.c_str()) != 0)) {
        error = errno;
    }
    if (error != 0) {
        ::unlink(temporary.c_str());
        return error;
    }
    const std::string parent = path_.has_parent_path() ? path_.parent_path().string() : ".";
    const FileDescriptor folder(::open(parent.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (folder) {
        ::fsync(folder.number());
    }
    file_ = std::move(next);
    goodBytes_ = text.size();
    fileBytes_ = text.size();
    extraLines_ = 0;
    changed_ = false;
    return 0;
}

// Whether the file is still the one that was read or written last: an editor may have replaced it or its text.
bool NvMemoryFile::untouchedByOthers() const {
    struct stat named {};
    if (::stat(path_.c_str(), &named) != 0) {
        return !file_ && errno == ENOENT;
    }
    struct stat own {};
    return file_ && ::fstat(file_.number(), &own) == 0 && named.st_ino == own.st_ino && named.st_dev == own.st_dev &&
           static_cast<std::size_t>(named.st_size) == fileBytes_;
}

} // namespace tessra

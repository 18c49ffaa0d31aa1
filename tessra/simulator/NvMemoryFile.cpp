#include "tessra/simulator/NvMemoryFile.h"

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

kernel::FileDescriptor takeLock(const std::filesystem::path& path) {
    kernel::FileDescriptor lock(::open((path.string() + ".lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0666));
    if (!lock) {
        failUnavailable(path, "its lock file can't be opened: " + reasonOf(errno));
    }
    if (::flock(lock.number(), LOCK_EX | LOCK_NB) != 0) {
        failUnavailable(path, errno == EWOULDBLOCK ? "another program uses this phone memory"
                                                   : "can't be locked: " + reasonOf(errno));
    }
    return lock;
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

// 0, or the error number; the file is then as before.
int exchangeFile(const std::filesystem::path& path, const NvCells& cells) {
    kernel::WholeFileOptions options;
    options.toDisk = false;
    return kernel::writeWholeFile(path, formatNvMemory(cells), options).error();
}

bool isOutOfSpace(int error) {
    return error == ENOSPC || error == EDQUOT || error == EFBIG;
}

} // namespace

NvMemoryFile::NvMemoryFile(const std::filesystem::path& path, const std::filesystem::path& initial)
    : path_(path.empty() ? path : std::filesystem::weakly_canonical(std::filesystem::absolute(path))) {
    std::optional<NvCells> stored;
    if (!path_.empty()) {
        lock_ = takeLock(path_);
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
    const int error = path_.empty() ? 0 : exchangeFile(path_, cells_);
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

#pragma once

#include "platform/kernel/FileDescriptor.h"
#include "tessra/simulator/NvMemoryText.h"

#include <cstdint>
#include <filesystem>
#include <span>
#include <stdexcept>

namespace tessra {

/// The memory file can't be used just now: another phone or process has it, or the system refuses it.
class NvMemoryUnavailable : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// A simulated phone's NV memory and the file in which it lasts (see NvMemoryText.h for its text). The owner calls it
/// from one thread at a time.
///
/// The file is read once, at the start; what somebody else writes to it later is lost with the next store(), which
/// exchanges the file whole. A stored item is in the file when store() returns, and survives the process's end from
/// then on; it does not wait for the disk.
///
/// One object at a time uses a file, in all processes and under whichever of its names: advisory locks on the file
/// itself, and on "<file>.lock" beside it, which is there before the file is and stays when the lock goes.
class NvMemoryFile {
public:
    /// Reads the file at `path`; where there is none, the memory starts as `initial` says (a path that may be empty: an
    /// empty memory), and the file is made by the first store(). With an empty `path` nothing lasts.
    /// NvMemoryUnavailable where the file can't be read or is locked, ConfigError for a line that is wrong; both leave
    /// everything as it was.
    NvMemoryFile(const std::filesystem::path& path, const std::filesystem::path& initial);
    NvMemoryFile(const NvMemoryFile&) = delete;
    NvMemoryFile& operator=(const NvMemoryFile&) = delete;

    /// Null for an item that the memory does not have.
    const NvCell* find(std::uint16_t number) const;
    /// Gives an item this value and status 0, keeping its marks. kNvDone, or what is wrong: kNvFull where the disk (or
    /// the size that a file may have) is used up, kNvFailed otherwise; memory and file are then as before.
    std::uint16_t store(std::uint16_t number, std::span<const std::uint8_t, kNvDataBytes> data);

private:
    std::filesystem::path path_;
    kernel::FileDescriptor lock_;
    kernel::FileDescriptor fileLock_; ///< none while there is no file
    NvCells cells_;
};

} // namespace tessra

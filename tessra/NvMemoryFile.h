#pragma once

#include "tessra/FileDescriptor.h"
#include "tessra/NvMemoryText.h"

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

/// A phone's NV memory and the file in which it lasts (see NvMemoryText.h for its text). The owner calls it from one
/// thread at a time.
///
/// A stored item is in the file, by one write of one line, before store() returns: from then on it survives the
/// process's end at any moment. (It survives a power failure from the next rewrite on.) Now and then, and when the
/// object goes, the file is replaced as a whole by a rewrite: a temporary file beside it that takes its name when it is
/// complete, so that the file is at every moment either the old one or the new one. A file that cannot be read to its
/// end, or that somebody else has changed meanwhile, is never written to.
///
/// One object at a time uses a file, in all processes: an advisory lock on "<file>.lock" beside it, which stays when
/// the lock goes.
class NvMemoryFile {
public:
    /// Reads the file at `path`; where there is none, the memory starts as `initial` says (a path that may be empty: an
    /// empty memory), and the file is made by the first store(). With an empty `path` nothing lasts. A last line
    /// without line feed is what an interrupted write has left and does not count. NvMemoryUnavailable where the file
    /// can't be opened or is locked, ConfigError for a line that is wrong; both leave everything as it was.
    NvMemoryFile(const std::filesystem::path& path, const std::filesystem::path& initial);
    /// Rewrites the file if it has changed; a failure is logged, and the file then stays as it was, complete.
    ~NvMemoryFile();
    NvMemoryFile(const NvMemoryFile&) = delete;
    NvMemoryFile& operator=(const NvMemoryFile&) = delete;

    /// Null for an item that the memory does not have.
    const NvCell* find(std::uint16_t number) const;
    /// Gives an item this value and status 0, keeping its marks. kNvDone, or what is wrong: kNvFull where the disk (or
    /// the size that a file may have) is used up, kNvFailed otherwise; memory and file are then as before.
    std::uint16_t store(std::uint16_t number, std::span<const std::uint8_t, kNvDataBytes> data);

private:
    void open();
    void load();
    int append(std::uint16_t number, const NvCell& cell);
    int cutTornTail();
    int rewrite();
    bool untouchedByOthers() const;

    std::filesystem::path path_;
    FileDescriptor lock_;
    FileDescriptor file_; ///< none until the file exists
    NvCells cells_;
    std::size_t goodBytes_ = 0;  ///< the file's length up to its last complete line
    std::size_t fileBytes_ = 0;  ///< its whole length; what lies between is a torn tail, cut off before an append
    std::size_t extraLines_ = 0; ///< lines that a rewrite would save
    bool changed_ = false;       ///< something was stored since the last rewrite
};

} // namespace tessra

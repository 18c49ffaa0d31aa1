#pragma once

#include "platform/storage/FileBytes.h"

#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace storage {

/// Throws Failure(kFileCorrupt) with the reason "compound file: `what` `number`".
[[noreturn]] void failCorrupt(const std::string& what, std::uint64_t number);

/// Sectors of one size: which follows which, and where each lies in the file. The file's own sectors, or the mini
/// sectors within the mini stream. Throws kFileCorrupt for a sector that there is not.
class SectorChains {
public:
    SectorChains() = default;
    /// The file's own sectors of 2^`shift` bytes; `table` lists those that say which follows which.
    SectorChains(const FileBytes& file, unsigned shift, std::vector<std::uint32_t> table);
    /// Mini sectors in a stream of `size` bytes that lies in the sectors `stream` of the file; `table` as above.
    SectorChains(const SectorChains& fileSectors, std::vector<std::uint32_t> stream, std::uint64_t size,
                 std::vector<std::uint32_t> table);

    /// How many sectors there are.
    std::uint32_t count() const { return count_; }
    std::uint64_t sectorBytes() const { return std::uint64_t{1} << shift_; }
    /// What follows a sector: another one, or a mark that is no sector.
    std::uint32_t next(std::uint32_t sector) const;
    /// The first `length` bytes of a sector. Those past the file's end are none.
    ByteView bytes(std::uint32_t sector, std::uint64_t length) const;
    /// Copies the bytes from `offset` on of the chain that begins at `start`.
    void read(std::uint32_t start, std::uint64_t offset, std::span<std::uint8_t> out) const;

private:
    const std::uint8_t* place(std::uint32_t sector) const;
    const std::uint8_t* placeInFile(std::uint32_t fileSector) const;

    ByteView file_;
    unsigned fileShift_ = 0;
    unsigned shift_ = 0;
    std::uint32_t count_ = 0;
    std::vector<std::uint32_t> table_;
    std::vector<std::uint32_t> stream_; // empty for the file's own sectors
};

/// The bytes of a compound file and its two kinds of sectors.
struct FileSectors {
    FileBytes bytes;
    SectorChains large;
    SectorChains mini;

    /// The sectors that a stream of `size` bytes lies in.
    const SectorChains& chainsOf(std::uint64_t size) const;
    /// Copies bytes of the stream of `size` bytes that begins at `start`; those that are asked for lie within it.
    void read(std::uint32_t start, std::uint64_t size, std::uint64_t offset, std::span<std::uint8_t> out) const;
};

} // namespace storage

#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <vector>

namespace storage {

using ByteView = std::span<const std::uint8_t>;

/// The longest file that is written, and as much as is read of a longer one: the format's own limit for version 3.
inline constexpr std::uint64_t kMaxFileBytes = 0x80000000;

/// Longer than any sector: so many zeros follow the bytes of a file in memory.
inline constexpr std::size_t kZerosBehind = 4096;

/// The bytes of a file in memory. They stay what they were when the file changes or is cut. Holes of the file take no
/// memory, so that a short file on the disk which claims to be a long one costs what it holds.
struct FileBytes {
    std::shared_ptr<std::uint8_t> data;
    std::size_t size = 0;
};

/// Reads an open file, kMaxFileBytes of it at most. Throws Failure: kReadFault, kInsufficientMemory.
FileBytes readFileBytes(int file);

/// Throws Failure(kFileCorrupt) with the reason "`what` `number`".
[[noreturn]] void failCorrupt(const char* what, std::uint64_t number);

using SectorList = std::vector<std::uint32_t>;

/// Sectors of one size: where each lies in the file, and which follows which. Throws kFileCorrupt for a sector that
/// there is not.
struct SectorChains {
    ByteView file;
    std::uint64_t sectorBytes = 0;
    /// What follows each sector: another one, or a mark that is no sector.
    SectorList following;
    /// Where each sector lies in the file.
    SectorList places;
    /// Whether it belongs to something already: no chain is claimed twice, or goes in a circle.
    std::vector<bool> claimed;

    std::size_t count() const { return places.size(); }
    std::uint32_t next(std::uint32_t sector) const;
    void claim(std::uint32_t sector);
    /// Claims a chain to its end and answers its sectors.
    SectorList claimAll(std::uint32_t start);
    /// Claims as much of a chain as `size` bytes need, all of which must be there; it may be longer.
    void claimBytes(std::uint32_t start, std::uint64_t size);
    /// The first `length` bytes of a sector, all of them within the file.
    ByteView bytes(std::uint32_t sector, std::uint64_t length) const;
    /// Copies the bytes from `offset` on of the chain that begins at `sector`.
    void read(std::uint32_t sector, std::uint64_t offset, std::span<std::uint8_t> out) const;
};

/// The bytes of a compound file and its two kinds of sectors: its own, and the mini sectors of small streams.
struct FileSectors {
    FileBytes bytes;
    SectorChains large;
    SectorChains mini;
};

} // namespace storage

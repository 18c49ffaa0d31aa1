#pragma once

#include "platform/storage/FileBytes.h"

#include <cstdint>
#include <span>
#include <vector>

namespace storage {

/// Throws Failure(kFileCorrupt) with the reason "`what` `number`".
[[noreturn]] void failCorrupt(const char* what, std::uint64_t number);

/// Sectors of one size: where each lies in the file, and which follows which. Throws kFileCorrupt for a sector that
/// there is not.
struct SectorChains {
    ByteView file;
    std::uint64_t sectorBytes = 0;
    /// What follows each sector: another one, or a mark that is no sector.
    std::vector<std::uint32_t> following;
    /// Where each sector lies in the file.
    std::vector<std::uint32_t> places;

    std::size_t count() const { return places.size(); }
    std::uint32_t next(std::uint32_t sector) const;
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

#pragma once

#include "platform/storage/BlockCache.h"

#include <cstdint>

namespace storage {

// Words of the allocation tables ([MS-CFB] 2.1) and of the directory that stand for no sector or no entry.
inline constexpr std::uint32_t kMaxRegularSector = 0xFFFFFFFA;
inline constexpr std::uint32_t kDifatSector = 0xFFFFFFFC;
inline constexpr std::uint32_t kFatSector = 0xFFFFFFFD;
inline constexpr std::uint32_t kEndOfChain = 0xFFFFFFFE;
inline constexpr std::uint32_t kFreeSector = 0xFFFFFFFF;

// Offsets of the header's fields that change ([MS-CFB] 2.2).
namespace header {
inline constexpr std::uint32_t kDirectorySectors = 40;
inline constexpr std::uint32_t kFatSectors = 44;
inline constexpr std::uint32_t kFirstDirectorySector = 48;
inline constexpr std::uint32_t kFirstMiniFatSector = 60;
inline constexpr std::uint32_t kMiniFatSectors = 64;
inline constexpr std::uint32_t kFirstDifatSector = 68;
inline constexpr std::uint32_t kDifatSectors = 72;
inline constexpr std::uint32_t kDifat = 76;
inline constexpr std::uint32_t kDifatEntries = 109;
} // namespace header

inline constexpr std::uint32_t kMiniSectorBytes = 64;
// Streams below this size live in the mini stream.
inline constexpr std::uint32_t kMiniStreamCutoff = 4096;

// The file as a header and numbered sectors. Knows where a sector lies; what it is for is the matter of the layers
// above.
class Sectors {
public:
    // Reads the header of the file behind `cache`. kInvalidHeader where it is none of version 3 or 4.
    explicit Sectors(BlockCache& cache);

    // The bytes of a new version 3 file: header, allocation sector, directory sector with the root entry.
    static Buffer emptyFile();

    unsigned majorVersion() const { return majorVersion_; }
    std::uint32_t sectorBytes() const { return 1U << sectorShift_; }
    // The power of two that a sector has of bytes: what lies where is asked too often for divisions.
    unsigned sectorShift() const { return sectorShift_; }
    std::uint32_t wordsPerSector() const { return sectorBytes() / 4; }
    unsigned wordsShift() const { return sectorShift_ - 2; }
    // Number of sectors up to the end of what is in use, the last one perhaps in part.
    std::uint32_t count() const;
    std::uint64_t offsetOf(std::uint32_t sector) const { return (std::uint64_t{sector} + 1) << sectorShift_; }

    // The bytes of a sector from `offset` on. kFileCorrupt where the file has no such sector.
    const std::uint8_t* read(std::uint32_t sector, std::uint32_t offset) {
        return cache_.read(offsetOf(sector) + offset);
    }
    std::uint8_t* change(std::uint32_t sector, std::uint32_t offset, std::uint32_t length) {
        return cache_.change(offsetOf(sector) + offset, length);
    }
    std::uint32_t headerField(std::uint32_t offset) { return get32(cache_.read(offset)); }
    void setHeaderField(std::uint32_t offset, std::uint32_t value) { put32(cache_.change(offset, 4), value); }

    BlockCache& cache() { return cache_; }

private:
    BlockCache& cache_;
    unsigned majorVersion_ = 0;
    unsigned sectorShift_ = 0;
};

} // namespace storage

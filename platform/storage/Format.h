#pragma once

#include <cstdint>

/// Where things stand in a compound file: [MS-CFB] 2.2 (header), 2.3 to 2.5 (tables), 2.6 (directory).
namespace storage::format {

/// Sector number n begins at (n + 1) times the sector size. Numbers from here on mark other things.
inline constexpr std::uint32_t kDifatSector = 0xFFFFFFFC;
inline constexpr std::uint32_t kFatSector = 0xFFFFFFFD;
inline constexpr std::uint32_t kEndOfChain = 0xFFFFFFFE;
inline constexpr std::uint32_t kNoEntry = 0xFFFFFFFF;

inline constexpr std::uint8_t kSignature[]{0xD0, 0xCF, 0x11, 0xE0, 0xA1, 0xB1, 0x1A, 0xE1};
inline constexpr std::uint16_t kMinorVersion = 0x3E;
inline constexpr std::uint16_t kByteOrder = 0xFFFE;
inline constexpr std::uint32_t kMiniCutoff = 4096; ///< streams below it lie in the mini stream
inline constexpr unsigned kMiniShift = 6;
inline constexpr unsigned kShift3 = 9; ///< of the sector size in version 3
inline constexpr unsigned kShift4 = 12;
inline constexpr std::uint32_t kHeaderFatSectors = 109; ///< places for them in the header

/// Offsets in the header; the first 512 bytes of the file.
enum Header : unsigned {
    kAtMinorVersion = 24,
    kAtMajorVersion = 26,
    kAtByteOrder = 28,
    kAtSectorShift = 30,
    kAtMiniShift = 32,
    kAtFatSectors = 44,
    kAtFirstDirectory = 48,
    kAtMiniCutoff = 56,
    kAtFirstMiniFat = 60,
    kAtMiniFatSectors = 64,
    kAtFirstDifat = 68,
    kAtDifatSectors = 72,
    kAtDifat = 76,
    kHeaderBytes = 512
};

/// Offsets in an entry of the directory.
enum Entry : unsigned {
    kAtName = 0,
    kAtNameBytes = 64, ///< with the closing zero
    kAtType = 66,
    kAtColour = 67,
    kAtLeft = 68,
    kAtRight = 72,
    kAtChild = 76,
    kAtClassId = 80, ///< the first of the EntryProperties
    kAtStart = 116,
    kAtSize = 120,
    kEntryBytes = 128
};

/// Of a name with its closing zero.
inline constexpr unsigned kMaxNameBytes = 64;

inline constexpr std::uint8_t kStorageType = 1;
inline constexpr std::uint8_t kStreamType = 2;
inline constexpr std::uint8_t kRootType = 5;
inline constexpr std::uint8_t kRed = 0;
inline constexpr std::uint8_t kBlack = 1;

} // namespace storage::format

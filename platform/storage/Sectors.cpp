#include "platform/storage/Sectors.h"

#include "platform/storage/Directory.h"
#include "platform/storage/Tolerances.h"

#include <algorithm>
#include <array>

namespace storage {
namespace {

// The header, [MS-CFB] 2.2:
//
//   | Offset | Size | Field                                | Written                     |
//   |--------|------|--------------------------------------|-----------------------------|
//   | 0      | 8    | signature                            | D0 CF 11 E0 A1 B1 1A E1     |
//   | 8      | 16   | class id                             | 0                           |
//   | 24     | 2    | minor version                        | 0x003E                      |
//   | 26     | 2    | major version                        | 3                           |
//   | 28     | 2    | byte order mark                      | 0xFFFE                      |
//   | 30     | 2    | sector size, power of two            | 9                           |
//   | 32     | 2    | mini sector size, power of two       | 6                           |
//   | 34     | 6    | reserved                             | 0                           |
//   | 40     | 4    | number of directory sectors          | 0 (version 4 only)          |
//   | 44     | 4    | number of allocation sectors         | 1 in a new file             |
//   | 48     | 4    | first directory sector               | 1 in a new file             |
//   | 52     | 4    | transaction signature                | 0                           |
//   | 56     | 4    | mini stream cutoff                   | 4096                        |
//   | 60     | 4    | first sector of the mini allocation  | end of chain in a new file  |
//   | 64     | 4    | number of those                      | 0 in a new file             |
//   | 68     | 4    | first sector of the DIFAT            | end of chain in a new file  |
//   | 72     | 4    | number of those                      | 0 in a new file             |
//   | 76     | 436  | the first 109 allocation sectors     | 0, then free                |
constexpr std::array<std::uint8_t, 8> kSignature{0xD0, 0xCF, 0x11, 0xE0, 0xA1, 0xB1, 0x1A, 0xE1};
constexpr std::uint32_t kHeaderBytes = 512;
constexpr std::uint16_t kMinorVersion = 0x3E;
constexpr std::uint16_t kByteOrderMark = 0xFFFE;

} // namespace

Sectors::Sectors(BlockCache& cache) : cache_(cache) {
    if (cache.size() < kHeaderBytes) {
        throw Failure(kInvalidHeader);
    }
    const std::uint8_t* bytes = cache.read(0);
    majorVersion_ = get16(bytes + 26);
    const unsigned shift = get16(bytes + 30);
    const bool geometryKnown = (majorVersion_ == 3 && shift == 9) || (majorVersion_ == 4 && shift == 12);
    if (!std::equal(kSignature.begin(), kSignature.end(), bytes) || get16(bytes + 28) != kByteOrderMark ||
        !tolerance::acceptsMinorVersion(get16(bytes + 24)) || !geometryKnown || get16(bytes + 32) != 6 ||
        get32(bytes + 56) != kMiniStreamCutoff) {
        throw Failure(kInvalidHeader);
    }
    sectorShift_ = shift;
}

Buffer Sectors::emptyFile() {
    constexpr std::uint32_t kSectorBytes = 512;
    Buffer file(kHeaderBytes + 2 * kSectorBytes);
    std::copy(kSignature.begin(), kSignature.end(), file.begin());
    put16(&file[24], kMinorVersion);
    put16(&file[26], 3);
    put16(&file[28], kByteOrderMark);
    put16(&file[30], 9);
    put16(&file[32], 6);
    put32(&file[header::kFatSectors], 1);
    put32(&file[header::kFirstDirectorySector], 1);
    put32(&file[56], kMiniStreamCutoff);
    put32(&file[header::kFirstMiniFatSector], kEndOfChain);
    put32(&file[header::kFirstDifatSector], kEndOfChain);
    std::fill(file.begin() + header::kDifat + 4, file.begin() + kHeaderBytes, std::uint8_t{0xFF});

    std::uint8_t* fat = &file[kHeaderBytes];
    std::fill(fat, fat + kSectorBytes, std::uint8_t{0xFF});
    put32(fat, kFatSector);
    put32(fat + 4, kEndOfChain);
    for (std::uint32_t entry = 0; entry < kSectorBytes / kEntryBytes; ++entry) {
        EntryWriter(fat + kSectorBytes + entry * kEntryBytes).reset();
    }
    EntryWriter(fat + kSectorBytes).makeRoot();
    return file;
}

std::uint32_t Sectors::count() const {
    const std::uint64_t size = cache_.usedEnd();
    const std::uint64_t sectors =
        size <= sectorBytes() ? 0 : tolerance::sectorsInFile(size - sectorBytes(), sectorShift_);
    return static_cast<std::uint32_t>(std::min<std::uint64_t>(sectors, kMaxRegularSector));
}

} // namespace storage

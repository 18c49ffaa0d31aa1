#include "platform/storage/FileSectors.h"

#include "platform/kernel/LittleEndian.h"
#include "platform/storage/Format.h"
#include "platform/storage/Status.h"

#include <algorithm>
#include <utility>

namespace storage {

void failCorrupt(const std::string& what, std::uint64_t number) {
    throw Failure(kFileCorrupt, "compound file: " + what + " " + std::to_string(number));
}

SectorChains::SectorChains(const FileBytes& file, unsigned shift, std::vector<std::uint32_t> table)
    : file_(file.data(), file.size()), fileShift_(shift), shift_(shift), table_(std::move(table)) {
    // The header takes the place of one sector; a last one that the file has only a part of counts.
    const std::uint64_t inFile = (file.size() + sectorBytes() - 1) / sectorBytes();
    count_ = static_cast<std::uint32_t>(
        std::min<std::uint64_t>(std::max<std::uint64_t>(inFile, 1) - 1, table_.size() * sectorBytes() / 4));
}

SectorChains::SectorChains(const SectorChains& fileSectors, std::vector<std::uint32_t> stream, std::uint64_t size,
                           std::vector<std::uint32_t> table)
    : file_(fileSectors.file_), fileShift_(fileSectors.shift_), shift_(format::kMiniShift), table_(std::move(table)),
      stream_(std::move(stream)) {
    const std::uint64_t fileSector = fileSectors.sectorBytes();
    // A size that is no multiple of a mini sector ends in one that counts.
    const std::uint64_t inStream = std::min(size, stream_.size() * fileSector);
    count_ = static_cast<std::uint32_t>(
        std::min((inStream + sectorBytes() - 1) / sectorBytes(), table_.size() * fileSector / 4));
}

std::uint32_t SectorChains::next(std::uint32_t sector) const {
    if (sector >= count_) {
        failCorrupt("a chain leads to no sector,", sector);
    }
    const std::uint32_t perTable = (1U << fileShift_) / 4;
    return kernel::get32(placeInFile(table_[sector / perTable]) + std::size_t{4} * (sector % perTable));
}

const std::uint8_t* SectorChains::placeInFile(std::uint32_t fileSector) const {
    return file_.data() + ((std::size_t{fileSector} + 1) << fileShift_);
}

const std::uint8_t* SectorChains::place(std::uint32_t sector) const {
    if (stream_.empty()) {
        return placeInFile(sector);
    }
    const std::size_t offset = std::size_t{sector} << shift_;
    return placeInFile(stream_[offset >> fileShift_]) + (offset & ((std::size_t{1} << fileShift_) - 1));
}

ByteView SectorChains::bytes(std::uint32_t sector, std::uint64_t length) const {
    if (sector >= count_) {
        failCorrupt("a chain leads to no sector,", sector);
    }
    const std::uint8_t* at = place(sector);
    if (at + length > file_.data() + file_.size()) {
        failCorrupt("the file ends within sector", sector);
    }
    return {at, length};
}

void SectorChains::read(std::uint32_t start, std::uint64_t offset, std::span<std::uint8_t> out) const {
    std::uint32_t sector = start;
    for (std::uint64_t before = offset / sectorBytes(); before > 0; --before) {
        sector = next(sector);
    }
    std::size_t within = offset % sectorBytes();
    while (!out.empty()) {
        const std::size_t length = std::min<std::size_t>(sectorBytes() - within, out.size());
        std::ranges::copy(bytes(sector, within + length).subspan(within), out.begin());
        out = out.subspan(length);
        within = 0;
        if (!out.empty()) {
            sector = next(sector);
        }
    }
}

const SectorChains& FileSectors::chainsOf(std::uint64_t size) const {
    return size < format::kMiniCutoff ? mini : large;
}

void FileSectors::read(std::uint32_t start, std::uint64_t size, std::uint64_t offset,
                       std::span<std::uint8_t> out) const {
    const SectorChains& chains = chainsOf(size);
    if (size > chains.count() * chains.sectorBytes()) {
        failCorrupt("a stream is longer than the file,", size);
    }
    chains.read(start, offset, out);
}

} // namespace storage

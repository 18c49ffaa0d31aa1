#include "platform/storage/FileSectors.h"

#include "platform/storage/Status.h"

#include <algorithm>

namespace storage {

void failCorrupt(const char* what, std::uint64_t number) {
    throw Failure(kFileCorrupt, what + (" " + std::to_string(number)));
}

std::uint32_t SectorChains::next(std::uint32_t sector) const {
    if (sector >= following.size()) {
        failCorrupt("a chain leads to no sector,", sector);
    }
    return following[sector];
}

ByteView SectorChains::bytes(std::uint32_t sector, std::uint64_t length) const {
    if (sector >= count()) {
        failCorrupt("a chain leads to no sector,", sector);
    }
    if (places[sector] + length > file.size()) {
        failCorrupt("the file ends within sector", sector);
    }
    return file.subspan(places[sector], length);
}

void SectorChains::read(std::uint32_t sector, std::uint64_t offset, std::span<std::uint8_t> out) const {
    while (!out.empty()) {
        if (offset < sectorBytes) {
            const std::size_t length = std::min<std::size_t>(sectorBytes - offset, out.size());
            std::ranges::copy(bytes(sector, offset + length).subspan(offset), out.begin());
            out = out.subspan(length);
            offset = 0;
        } else {
            offset -= sectorBytes;
        }
        if (!out.empty()) {
            sector = next(sector);
        }
    }
}

} // namespace storage

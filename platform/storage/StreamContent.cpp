#include "platform/storage/StreamContent.h"

#include "platform/storage/Tolerances.h"

#include <algorithm>
#include <cstring>

namespace storage {
namespace {

constexpr std::uint64_t kLargestStream = 0x7FF00000;
// New sectors are filled through a buffer of this size.
constexpr std::uint64_t kFillBytes = 64 * 1024;

constexpr bool isSmall(std::uint64_t size) {
    return size < kMiniStreamCutoff;
}
// More than any chain has, where the size that a file claims needs more than can be counted.
constexpr std::uint32_t unitsFor(std::uint64_t size, std::uint32_t unit) {
    return static_cast<std::uint32_t>(std::min<std::uint64_t>(size / unit + (size % unit != 0), UINT32_MAX));
}

} // namespace

std::size_t StreamContent::read(std::uint32_t id, StreamChain& chain, std::uint64_t position,
                                std::span<std::uint8_t> out) {
    const std::uint64_t size = directory_.sizeOf(id);
    if (position >= size) {
        return 0;
    }
    const auto length = static_cast<std::size_t>(std::min<std::uint64_t>(out.size(), size - position));
    std::size_t done = 0;
    if (isSmall(size)) {
        const auto numbers = mini_.chain(directory_.read(id).start(), unitsFor(position + length, kMiniSectorBytes));
        if (numbers.size() < unitsFor(position + length, kMiniSectorBytes)) {
            throw Failure(kFileCorrupt);
        }
        while (done < length) {
            const std::size_t at = static_cast<std::size_t>(position) + done;
            const std::size_t step = std::min(length - done, kMiniSectorBytes - at % kMiniSectorBytes);
            std::memcpy(&out[done], mini_.read(numbers[at / kMiniSectorBytes]) + at % kMiniSectorBytes, step);
            done += step;
        }
        return done;
    }
    const auto& sectors = sectorsOf(id, chain);
    while (done < length) {
        std::size_t index = static_cast<std::size_t>((position + done) / sectorBytes());
        const std::uint64_t within = (position + done) % sectorBytes();
        const std::uint64_t offset = allocation_.sectors().offsetOf(sectors[index]) + within;
        std::uint64_t run = sectorBytes() - within;
        while (run < length - done && sectors[index + 1] == sectors[index] + 1) {
            run += sectorBytes();
            ++index;
        }
        const auto step = static_cast<std::size_t>(std::min<std::uint64_t>(run, length - done));
        allocation_.sectors().cache().readDirect(offset, out.subspan(done, step));
        done += step;
    }
    return done;
}

void StreamContent::write(std::uint32_t id, StreamChain& chain, std::uint64_t position, ByteView bytes) {
    const std::uint64_t size = directory_.sizeOf(id);
    if (position > kLargestStream || bytes.size() > kLargestStream - position) {
        throw Failure(kMediumFull);
    }
    const std::uint64_t newSize = std::max(size, position + bytes.size());
    const Piece piece{position, bytes};
    if (isSmall(newSize)) {
        storeMini(id, newSize, piece);
    } else if (isSmall(size)) {
        moveToSectors(id, chain, newSize, piece);
    } else {
        storeLarge(id, chain, newSize, piece);
    }
}

void StreamContent::resize(std::uint32_t id, StreamChain& chain, std::uint64_t newSize) {
    const std::uint64_t size = directory_.sizeOf(id);
    if (newSize >= size) {
        if (newSize > size) {
            write(id, chain, newSize, {});
        }
        return;
    }
    if (isSmall(size)) {
        auto numbers = miniSectorsOf(id);
        mini_.shorten(numbers, unitsFor(newSize, kMiniSectorBytes));
        if (const auto used = newSize % kMiniSectorBytes; used != 0) {
            std::memset(mini_.change(numbers.back()) + used, 0, kMiniSectorBytes - used);
        }
        setContents(id, numbers.empty() ? kEndOfChain : numbers.front(), newSize);
    } else if (isSmall(newSize)) {
        moveToMini(id, chain, newSize);
    } else {
        (void)sectorsOf(id, chain);
        allocation_.shorten(chain.sectors, unitsFor(newSize, sectorBytes()));
        zero(chain.sectors, newSize, std::uint64_t{chain.sectors.size()} * sectorBytes());
        setContents(id, chain.sectors.front(), newSize);
    }
}

void StreamContent::claim(std::uint32_t id, Owned& owned) {
    const auto add = [](std::vector<bool>& set, std::uint32_t number) {
        if (number >= set.size()) {
            set.resize(number + number / 2 + 64);
        }
        if (set[number]) {
            throw Failure(kFileCorrupt);
        }
        set[number] = true;
    };
    const std::uint64_t size = directory_.sizeOf(id);
    if (size == 0) {
        return;
    }
    if (isSmall(size)) {
        for (const std::uint32_t number : miniSectorsOf(id)) {
            add(owned.mini, number);
        }
    } else {
        StreamChain chain;
        add(owned.first, sectorsOf(id, chain).front());
    }
}

void StreamContent::free(std::uint32_t id) {
    const std::uint64_t size = directory_.sizeOf(id);
    if (size == 0) {
        return;
    }
    if (isSmall(size)) {
        auto numbers = miniSectorsOf(id);
        mini_.shorten(numbers, 0);
    } else {
        StreamChain chain;
        (void)sectorsOf(id, chain);
        allocation_.shorten(chain.sectors, 0);
    }
}

const std::vector<std::uint32_t>& StreamContent::sectorsOf(std::uint32_t id, StreamChain& chain) {
    if (!chain.known) {
        chain.sectors = allocation_.chain(directory_.read(id).start());
        if (!tolerance::acceptsChain(chain.sectors.size(), unitsFor(directory_.sizeOf(id), sectorBytes()))) {
            chain.sectors.clear();
            throw Failure(kFileCorrupt);
        }
        chain.known = true;
    }
    return chain.sectors;
}

std::vector<std::uint32_t> StreamContent::miniSectorsOf(std::uint32_t id) {
    const std::uint64_t size = directory_.sizeOf(id);
    if (size == 0) {
        return {};
    }
    auto numbers = mini_.chain(directory_.read(id).start());
    if (!tolerance::acceptsChain(numbers.size(), unitsFor(size, kMiniSectorBytes))) {
        throw Failure(kFileCorrupt);
    }
    return numbers;
}

void StreamContent::storeMini(std::uint32_t id, std::uint64_t newSize, const Piece& piece) {
    const std::uint64_t size = directory_.sizeOf(id);
    auto numbers = miniSectorsOf(id);
    const std::uint32_t needed = unitsFor(newSize, kMiniSectorBytes);
    if (numbers.size() < needed) {
        mini_.extend(numbers, needed - static_cast<std::uint32_t>(numbers.size()));
    }
    const std::uint64_t end = piece.position + piece.bytes.size();
    // Only what is new or written is touched: from the old end or the piece's beginning, to the last sector's end.
    const std::uint64_t from = std::min(size, piece.position);
    const std::uint64_t to = newSize > size ? std::uint64_t{needed} * kMiniSectorBytes : end;
    for (std::uint64_t at = from; at < to;) {
        const std::uint64_t within = at % kMiniSectorBytes;
        const std::uint64_t step = std::min<std::uint64_t>(to - at, kMiniSectorBytes - within);
        std::uint8_t* target = mini_.change(numbers[at / kMiniSectorBytes]) + within;
        if (at + step > size) {
            const std::uint64_t kept = size > at ? size - at : 0;
            std::memset(target + kept, 0, step - kept);
        }
        const std::uint64_t first = std::max(at, piece.position);
        const std::uint64_t last = std::min(at + step, end);
        if (first < last) {
            std::memcpy(target + (first - at), &piece.bytes[first - piece.position], last - first);
        }
        at += step;
    }
    setContents(id, numbers.empty() ? kEndOfChain : numbers.front(), newSize);
}

void StreamContent::storeLarge(std::uint32_t id, StreamChain& chain, std::uint64_t newSize, const Piece& piece) {
    const std::uint64_t size = directory_.sizeOf(id);
    (void)sectorsOf(id, chain);
    const std::uint64_t owned = std::uint64_t{chain.sectors.size()} * sectorBytes();
    if (newSize > size) {
        const std::uint64_t sectorEnd = std::uint64_t{unitsFor(newSize, sectorBytes())} * sectorBytes();
        zero(chain.sectors, size, std::min(owned, sectorEnd));
    }
    if (piece.position < owned) {
        const std::uint64_t length = std::min<std::uint64_t>(piece.bytes.size(), owned - piece.position);
        replace(chain.sectors, piece.position, piece.bytes.first(length));
    }
    append(chain.sectors, newSize, {&piece, 1});
    setContents(id, chain.sectors.front(), newSize);
}

void StreamContent::moveToSectors(std::uint32_t id, StreamChain& chain, std::uint64_t newSize, const Piece& piece) {
    Buffer old(static_cast<std::size_t>(directory_.sizeOf(id)));
    read(id, chain, 0, old);
    auto numbers = miniSectorsOf(id);
    mini_.shorten(numbers, 0);
    chain = {true, {}};
    const Piece pieces[]{{0, old}, piece};
    append(chain.sectors, newSize, pieces);
    setContents(id, chain.sectors.front(), newSize);
}

void StreamContent::moveToMini(std::uint32_t id, StreamChain& chain, std::uint64_t newSize) {
    Buffer kept(static_cast<std::size_t>(newSize));
    read(id, chain, 0, kept);
    allocation_.shorten(chain.sectors, 0);
    chain = {};
    setContents(id, kEndOfChain, 0);
    storeMini(id, newSize, {0, kept});
}

void StreamContent::replace(const std::vector<std::uint32_t>& sectors, std::uint64_t position, ByteView bytes) {
    const bool atomic = bytes.size() <= kAtomicBytes;
    for (std::size_t done = 0; done < bytes.size();) {
        const std::uint64_t at = position + done;
        const auto within = static_cast<std::uint32_t>(at % sectorBytes());
        const std::size_t step = std::min<std::size_t>(bytes.size() - done, sectorBytes() - within);
        const std::uint32_t sector = sectors[at / sectorBytes()];
        if (atomic) {
            std::memcpy(allocation_.sectors().change(sector, within, static_cast<std::uint32_t>(step)), &bytes[done],
                        step);
        } else {
            allocation_.sectors().cache().writeDirect(allocation_.sectors().offsetOf(sector) + within,
                                                      bytes.subspan(done, step), false);
        }
        done += step;
    }
}

void StreamContent::zero(const std::vector<std::uint32_t>& sectors, std::uint64_t from, std::uint64_t to) {
    while (from < to) {
        const auto within = static_cast<std::uint32_t>(from % sectorBytes());
        const auto step = static_cast<std::uint32_t>(std::min<std::uint64_t>(to - from, sectorBytes() - within));
        std::memset(allocation_.sectors().change(sectors[from / sectorBytes()], within, step), 0, step);
        from += step;
    }
}

void StreamContent::append(std::vector<std::uint32_t>& sectors, std::uint64_t newSize, std::span<const Piece> pieces) {
    const auto first = sectors.size();
    const std::size_t needed = unitsFor(newSize, sectorBytes());
    if (needed <= first) {
        return;
    }
    allocation_.extend(sectors, static_cast<std::uint32_t>(needed - first));
    Buffer fill;
    for (std::size_t at = first; at < needed;) {
        std::size_t next = at + 1;
        while (next < needed && sectors[next] == sectors[next - 1] + 1 && (next - at) * sectorBytes() < kFillBytes) {
            ++next;
        }
        fill.assign((next - at) * sectorBytes(), 0);
        const std::uint64_t begin = std::uint64_t{at} * sectorBytes();
        for (const Piece& piece : pieces) {
            const std::uint64_t from = std::max(begin, piece.position);
            const std::uint64_t to = std::min(begin + fill.size(), piece.position + piece.bytes.size());
            if (from < to) {
                std::memcpy(&fill[from - begin], &piece.bytes[from - piece.position], to - from);
            }
        }
        allocation_.sectors().cache().writeDirect(allocation_.sectors().offsetOf(sectors[at]), fill, true);
        at = next;
    }
}

void StreamContent::setContents(std::uint32_t id, std::uint32_t start, std::uint64_t size) {
    const EntryReader present = directory_.read(id);
    if (present.start() != start || present.size() != size) {
        directory_.changeContents(id).setContents(start, size);
    }
}

} // namespace storage

#include "platform/storage/MiniStream.h"

#include <algorithm>
#include <cstring>

namespace storage {

std::vector<std::uint32_t> MiniStream::chain(std::uint32_t start, std::size_t most) {
    load();
    std::vector<std::uint32_t> found;
    // Most streams are an item's.
    found.reserve(std::min<std::size_t>(most, 4));
    for (std::uint32_t number = start; number != kEndOfChain && found.size() < most; number = word(number)) {
        // A small stream has no more than 64: its circles are found at the first step.
        const auto recent = found.size() > kMiniStreamCutoff / kMiniSectorBytes ? found.end() : found.begin();
        if (number >= count_ || found.size() >= count_ || std::find(recent, found.end(), number) != found.end()) {
            throw Failure(kFileCorrupt);
        }
        found.push_back(number);
    }
    return found;
}

const std::uint8_t* MiniStream::read(std::uint32_t number) {
    return allocation_.sectors().read(dataSectors_[number >> perSectorShift()], offsetInSector(number));
}

std::uint8_t* MiniStream::change(std::uint32_t number) {
    return allocation_.sectors().change(dataSectors_[number >> perSectorShift()], offsetInSector(number),
                                        kMiniSectorBytes);
}

void MiniStream::extend(std::vector<std::uint32_t>& numbers, std::uint32_t added) {
    load();
    numbers.reserve(numbers.size() + added);
    for (; added > 0; --added) {
        const std::uint32_t number = take();
        setWord(number, kEndOfChain);
        if (!numbers.empty()) {
            setWord(numbers.back(), number);
        }
        numbers.push_back(number);
    }
}

void MiniStream::shorten(std::vector<std::uint32_t>& numbers, std::uint32_t kept) {
    for (std::size_t at = kept; at < numbers.size(); ++at) {
        setWord(numbers[at], kFreeSector);
        std::memset(change(numbers[at]), 0, kMiniSectorBytes);
        free_.add(numbers[at]);
    }
    if (kept > 0 && kept < numbers.size()) {
        setWord(numbers[kept - 1], kEndOfChain);
    }
    numbers.resize(std::min<std::size_t>(numbers.size(), kept));
}

void MiniStream::load() {
    if (loaded_) {
        return;
    }
    const EntryReader root = directory_.read(kRootEntry);
    const std::uint64_t size = directory_.sizeOf(kRootEntry);
    if (size > 0) {
        dataSectors_ = allocation_.tableChain(root.start());
        tableSectors_ = allocation_.tableChain(allocation_.sectors().headerField(header::kFirstMiniFatSector));
    }
    if (size > std::uint64_t{dataSectors_.size()} * allocation_.sectors().sectorBytes()) {
        throw Failure(kFileCorrupt);
    }
    count_ = static_cast<std::uint32_t>(std::min<std::uint64_t>(size / kMiniSectorBytes, words()));
    loaded_ = true;
}

std::uint32_t MiniStream::word(std::uint32_t number) {
    const std::uint32_t table = tableSectors_[number >> allocation_.sectors().wordsShift()];
    return get32(allocation_.sectors().read(table, offsetOfWord(number)));
}

void MiniStream::setWord(std::uint32_t number, std::uint32_t value) {
    const std::uint32_t table = tableSectors_[number >> allocation_.sectors().wordsShift()];
    put32(allocation_.sectors().change(table, offsetOfWord(number), 4), value);
}

std::uint32_t MiniStream::take() {
    if (const auto known = free_.takeFirst()) {
        return *known;
    }
    for (;;) {
        while (scanned_ < count_) {
            if (word(scanned_++) == kFreeSector) {
                return scanned_ - 1;
            }
        }
        grow();
    }
}

// A small stream's first sectors come one by one, so that a small file stays small; later ones in runs, which keeps
// what is read together together.
void MiniStream::grow() {
    const auto present = static_cast<std::uint32_t>(dataSectors_.size());
    // Other writers end the mini stream within a sector.
    const std::uint32_t added = count_ < present * perSector() ? 0 : std::clamp(present / 16, 1U, 16U);
    allocation_.extendTable(dataSectors_, added, 0);
    const std::uint32_t grown = (present + added) * perSector();
    const bool first = tableSectors_.empty();
    while (words() < grown) {
        allocation_.extendTable(tableSectors_, 1, 0xFF);
        allocation_.sectors().setHeaderField(header::kMiniFatSectors, static_cast<std::uint32_t>(tableSectors_.size()));
    }
    if (first) {
        allocation_.sectors().setHeaderField(header::kFirstMiniFatSector, tableSectors_.front());
    }
    for (std::uint32_t number = count_; number < grown; ++number) {
        if (word(number) != kFreeSector) {
            setWord(number, kFreeSector);
        }
    }
    count_ = grown;
    directory_.changeContents(kRootEntry).setContents(dataSectors_.front(), std::uint64_t{grown} * kMiniSectorBytes);
}

} // namespace storage

#include "platform/storage/Allocation.h"

#include "platform/storage/Tolerances.h"

#include <algorithm>
#include <cstring>

namespace storage {

Allocation::Allocation(Sectors& sectors) : sectors_(sectors) {
    loadFatSectors();
    countPredecessors();
}

std::vector<std::uint32_t> Allocation::chain(std::uint32_t start) const {
    std::vector<std::uint32_t> found;
    if (start != kEndOfChain && (start >= reached_.size() || reached_[start])) {
        throw Failure(kFileCorrupt);
    }
    const std::size_t limit = std::min<std::size_t>(sectors_.count(), coverage());
    for (std::uint32_t sector = start; sector != kEndOfChain; sector = word(sector)) {
        if (sector >= limit || claimed_[sector] || crossed_[sector] || found.size() >= limit) {
            throw Failure(kFileCorrupt);
        }
        found.push_back(sector);
    }
    return found;
}

std::vector<std::uint32_t> Allocation::tableChain(std::uint32_t start) {
    auto found = chain(start);
    for (const std::uint32_t sector : found) {
        claim(sector);
    }
    return found;
}

void Allocation::extend(std::vector<std::uint32_t>& sectors, std::uint32_t added) {
    sectors.reserve(sectors.size() + added);
    for (; added > 0; --added) {
        const std::uint32_t sector = take(kEndOfChain);
        sectors_.cache().useUpTo(sectors_.offsetOf(sector + 1));
        if (!sectors.empty()) {
            setWord(sectors.back(), sector);
        }
        sectors.push_back(sector);
    }
}

void Allocation::extendTable(std::vector<std::uint32_t>& sectors, std::uint32_t added, std::uint8_t fill) {
    for (; added > 0; --added) {
        const std::uint64_t zeroFrom = sectors_.cache().usedEnd();
        extend(sectors, 1);
        clearNewSector(sectors.back(), fill, sectors_.offsetOf(sectors.back()) >= zeroFrom);
    }
}

void Allocation::shorten(std::vector<std::uint32_t>& sectors, std::uint32_t kept) {
    // Before the words change: what they free is to be used after the commit only.
    learnFree();
    for (std::size_t at = kept; at < sectors.size(); ++at) {
        setWord(sectors[at], kFreeSector);
        sectors_.cache().clear(sectors_.offsetOf(sectors[at]), sectors_.sectorBytes());
        freed_.push_back(sectors[at]);
    }
    if (kept > 0 && kept < sectors.size()) {
        setWord(sectors[kept - 1], kEndOfChain);
    }
    sectors.resize(std::min<std::size_t>(sectors.size(), kept));
}

void Allocation::afterCommit() {
    for (const std::uint32_t sector : freed_) {
        free_.add(sector);
    }
    freed_.clear();
}

std::uint32_t Allocation::usedSectors() {
    std::uint32_t end = std::min(sectors_.count(), coverage());
    while (end > 0 && word(end - 1) == kFreeSector && !claimed_[end - 1]) {
        --end;
    }
    return end;
}

std::uint32_t Allocation::word(std::uint32_t sector) const {
    const std::uint32_t perSector = sectors_.wordsPerSector();
    return get32(sectors_.read(fatSectors_[sector / perSector], sector % perSector * 4));
}

void Allocation::setWord(std::uint32_t sector, std::uint32_t value) {
    const std::uint32_t perSector = sectors_.wordsPerSector();
    const std::uint32_t old = word(sector);
    if (old < reached_.size()) {
        reached_[old] = false;
    }
    if (value < reached_.size()) {
        reached_[value] = true;
    }
    put32(sectors_.change(fatSectors_[sector / perSector], sector % perSector * 4, 4), value);
}

void Allocation::loadFatSectors() {
    const std::uint32_t expected = sectors_.headerField(header::kFatSectors);
    const std::uint32_t count = sectors_.count();
    if (expected > count) {
        throw Failure(kFileCorrupt);
    }
    claimed_.resize(count);
    const auto add = [&](std::uint32_t sector) {
        if (fatSectors_.size() < expected) {
            claim(sector);
            fatSectors_.push_back(sector);
        }
    };
    for (std::uint32_t slot = 0; slot < header::kDifatEntries; ++slot) {
        add(sectors_.headerField(header::kDifat + 4 * slot));
    }
    const std::uint32_t perSector = sectors_.wordsPerSector() - 1;
    std::uint32_t difat = sectors_.headerField(header::kFirstDifatSector);
    while (fatSectors_.size() < expected && difat < kMaxRegularSector) {
        claim(difat);
        difatSectors_.push_back(difat);
        for (std::uint32_t slot = 0; slot < perSector; ++slot) {
            add(get32(sectors_.read(difat, 4 * slot)));
        }
        difat = get32(sectors_.read(difat, 4 * perSector));
    }
    if (fatSectors_.size() < expected || expected == 0) {
        throw Failure(kFileCorrupt);
    }
    // A table that lies where the allocation table does not reach would be cut off with the free end of the file.
    if (std::find(claimed_.begin() + std::min<std::ptrdiff_t>(coverage(), std::ssize(claimed_)), claimed_.end(), true) !=
        claimed_.end()) {
        throw Failure(kFileCorrupt);
    }
    claimed_.resize(coverage());
}

// Two chains that lead to one sector are found before the first of them is walked.
void Allocation::countPredecessors() {
    const std::uint32_t end = std::min(sectors_.count(), coverage());
    reached_.resize(coverage());
    crossed_.resize(coverage());
    for (std::uint32_t sector = 0; sector < end; ++sector) {
        const std::uint32_t next = word(sector);
        if (next < end) {
            crossed_[next] = crossed_[next] || reached_[next];
            reached_[next] = true;
        }
    }
}

void Allocation::claim(std::uint32_t sector) {
    if (sector >= sectors_.count() || (sector < claimed_.size() && claimed_[sector])) {
        throw Failure(kFileCorrupt);
    }
    if (sector >= claimed_.size()) {
        claimed_.resize(sector + 1);
    }
    claimed_[sector] = true;
}

void Allocation::learnFree() {
    if (freeKnown_) {
        return;
    }
    for (std::uint32_t sector = 0; sector < coverage(); ++sector) {
        if (word(sector) == kFreeSector && !claimed_[sector]) {
            free_.add(sector);
        }
    }
    freeKnown_ = true;
}

std::uint32_t Allocation::take(std::uint32_t value) {
    learnFree();
    auto sector = free_.takeFirst();
    if (!sector) {
        addFatSector();
        sector = free_.takeFirst();
    }
    crossed_[*sector] = false;
    setWord(*sector, value);
    return *sector;
}

void Allocation::clearNewSector(std::uint32_t sector, std::uint8_t fill, bool known) {
    if (!known || fill != 0) {
        std::memset(sectors_.change(sector, 0, sectors_.sectorBytes()), fill, sectors_.sectorBytes());
    }
    if (claimed_.size() <= sector) {
        claimed_.resize(sector + 1);
    }
    claimed_[sector] = true;
}

// The new allocation sector is the first one that it covers itself.
void Allocation::addFatSector() {
    const std::uint32_t slot = static_cast<std::uint32_t>(fatSectors_.size());
    const std::uint32_t sector = coverage();
    const std::uint32_t perDifat = sectors_.wordsPerSector() - 1;
    const bool needsDifat = slot >= header::kDifatEntries && (slot - header::kDifatEntries) / perDifat >= difatSectors_.size();

    sectors_.cache().useUpTo(sectors_.offsetOf(sector + (needsDifat ? 2 : 1)));
    clearNewSector(sector, 0xFF, false);
    fatSectors_.push_back(sector);
    claimed_.resize(coverage());
    reached_.resize(coverage());
    crossed_.resize(coverage());
    setWord(sector, kFatSector);
    if (needsDifat) {
        addDifatSector(sector + 1);
    }
    if (slot < header::kDifatEntries) {
        sectors_.setHeaderField(header::kDifat + 4 * slot, sector);
    } else {
        const std::uint32_t at = slot - header::kDifatEntries;
        put32(sectors_.change(difatSectors_[at / perDifat], at % perDifat * 4, 4), sector);
    }
    sectors_.setHeaderField(header::kFatSectors, slot + 1);
    for (std::uint32_t added = sector + (needsDifat ? 2 : 1); added < coverage(); ++added) {
        free_.add(added);
    }
}

void Allocation::addDifatSector(std::uint32_t sector) {
    clearNewSector(sector, 0xFF, false);
    put32(sectors_.change(sector, sectors_.sectorBytes() - 4, 4), kEndOfChain);
    setWord(sector, kDifatSector);
    if (difatSectors_.empty()) {
        sectors_.setHeaderField(header::kFirstDifatSector, sector);
    } else {
        put32(sectors_.change(difatSectors_.back(), sectors_.sectorBytes() - 4, 4), sector);
    }
    difatSectors_.push_back(sector);
    sectors_.setHeaderField(header::kDifatSectors, static_cast<std::uint32_t>(difatSectors_.size()));
}

} // namespace storage

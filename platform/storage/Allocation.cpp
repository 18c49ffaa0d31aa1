#include "platform/storage/Allocation.h"

#include "platform/storage/Tolerances.h"

#include <algorithm>
#include <cstring>
#include <unordered_set>
#include <utility>

namespace storage {

Allocation::Allocation(Sectors& sectors) : sectors_(sectors) {
    loadFatSectors();
    loadWords();
    countPredecessors();
}

std::vector<std::uint32_t> Allocation::chain(std::uint32_t start) const {
    std::vector<std::uint32_t> found;
    if (start == kEndOfChain) {
        return found;
    }
    const std::size_t limit = std::min<std::size_t>(sectors_.count(), coverage());
    if (start >= limit || has(start, kReached)) {
        throw Failure(kFileCorrupt);
    }
    for (std::uint32_t sector = start; sector != kEndOfChain; sector = words_[sector]) {
        if (sector >= limit || (marks_[sector] & (kClaimed | kCrossed)) != 0 || found.size() >= limit) {
            throw Failure(kFileCorrupt);
        }
        found.push_back(sector);
    }
    return found;
}

std::vector<std::uint32_t> Allocation::tableChain(std::uint32_t start) {
    auto found = chain(start);
    for (const std::uint32_t sector : found) {
        set(sector, kClaimed, true);
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
    while (end > 0 && words_[end - 1] == kFreeSector && !has(end - 1, kClaimed)) {
        --end;
    }
    return end;
}

void Allocation::freeBeyondEnd() {
    for (std::uint32_t sector = sectors_.count(); sector < coverage(); ++sector) {
        if (words_[sector] != kFreeSector) {
            // What leads to a sector was counted without these.
            storeWord(sector, kFreeSector);
        }
    }
}

void Allocation::requireNoLooseEnds() const {
    for (std::uint32_t sector = 0; sector < coverage(); ++sector) {
        const std::uint32_t next = words_[sector];
        if (next <= kMaxRegularSector && next >= coverage()) {
            throw Failure(kFileCorrupt);
        }
    }
}

std::uint32_t Allocation::storeWord(std::uint32_t sector, std::uint32_t value) {
    const std::uint32_t offset = (sector & (sectors_.wordsPerSector() - 1)) * 4;
    put32(sectors_.change(fatSectors_[sector >> sectors_.wordsShift()], offset, 4), value);
    return std::exchange(words_[sector], value);
}

void Allocation::setWord(std::uint32_t sector, std::uint32_t value) {
    const std::uint32_t old = storeWord(sector, value);
    if (old < coverage()) {
        set(old, kReached, false);
    }
    if (value < coverage()) {
        set(value, kReached, true);
    }
}

void Allocation::loadFatSectors() {
    const std::uint32_t expected = sectors_.headerField(header::kFatSectors);
    const std::uint32_t count = sectors_.count();
    if (expected > count) {
        throw Failure(kFileCorrupt);
    }
    // Not by sector number: a forged file may claim to be far longer than the disk that it is on.
    std::unordered_set<std::uint32_t> claimed;
    const auto claim = [&](std::uint32_t sector) {
        if (sector >= count || !claimed.insert(sector).second) {
            throw Failure(kFileCorrupt);
        }
    };
    const auto add = [&](std::uint32_t sector) {
        if (fatSectors_.size() < expected) {
            claim(sector);
            fatSectors_.push_back(sector);
        }
    };
    for (std::uint32_t slot = 0; slot < header::kDifatEntries; ++slot) {
        add(sectors_.headerField(header::kDifat + 4 * slot));
    }
    Buffer listed(sectors_.sectorBytes());
    const std::uint32_t perSector = sectors_.wordsPerSector() - 1;
    std::uint32_t difat = sectors_.headerField(header::kFirstDifatSector);
    while (fatSectors_.size() < expected && difat < kMaxRegularSector) {
        claim(difat);
        difatSectors_.push_back(difat);
        sectors_.cache().readDirect(sectors_.offsetOf(difat), listed);
        for (std::uint32_t slot = 0; slot < perSector; ++slot) {
            add(get32(&listed[4 * slot]));
        }
        difat = get32(&listed[4 * perSector]);
    }
    if (fatSectors_.size() < expected || expected == 0) {
        throw Failure(kFileCorrupt);
    }
}

void Allocation::loadWords() {
    // Sectors that lie side by side come with one call.
    constexpr std::size_t kMostAtOnce = 64;
    words_.resize(fatSectors_.size() << sectors_.wordsShift());
    Buffer bytes;
    for (std::size_t first = 0; first < fatSectors_.size();) {
        std::size_t end = first + 1;
        while (end < fatSectors_.size() && end - first < kMostAtOnce && fatSectors_[end] == fatSectors_[end - 1] + 1) {
            ++end;
        }
        bytes.resize((end - first) << sectors_.sectorShift());
        sectors_.cache().readDirect(sectors_.offsetOf(fatSectors_[first]), bytes);
        std::uint32_t* words = &words_[first << sectors_.wordsShift()];
        for (std::size_t at = 0; at < bytes.size() / 4; ++at) {
            words[at] = get32(&bytes[4 * at]);
        }
        first = end;
    }
    marks_.resize(coverage());
    for (const auto* table : {&fatSectors_, &difatSectors_}) {
        for (const std::uint32_t sector : *table) {
            // Where the allocation table does not reach, it would be cut off with the free end of the file.
            if (sector >= coverage()) {
                throw Failure(kFileCorrupt);
            }
            set(sector, kClaimed, true);
        }
    }
}

// Two chains that lead to one sector are found before the first of them is walked.
void Allocation::countPredecessors() {
    const std::uint32_t end = std::min(sectors_.count(), coverage());
    for (std::uint32_t sector = 0; sector < end; ++sector) {
        const std::uint32_t next = words_[sector];
        if (next < coverage()) {
            const unsigned mark = marks_[next];
            marks_[next] = static_cast<std::uint8_t>(mark | kReached | (mark & kReached) << 1);
        }
    }
}

void Allocation::learnFree() {
    if (freeKnown_) {
        return;
    }
    for (std::uint32_t sector = 0; sector < coverage(); ++sector) {
        // A chain that nobody owns may lead to a free sector: a stream that got it would be part of two chains.
        if (words_[sector] == kFreeSector && !has(sector, kClaimed) && !has(sector, kReached)) {
            free_.add(sector);
        }
    }
    freeKnown_ = true;
}

std::uint32_t Allocation::take(std::uint32_t value) {
    learnFree();
    auto sector = free_.takeFirst();
    if (!sector) {
        addFatSectors();
        sector = free_.takeFirst();
    }
    set(*sector, kCrossed, false);
    setWord(*sector, value);
    return *sector;
}

void Allocation::clearNewSector(std::uint32_t sector, std::uint8_t fill, bool known) {
    if (!known || fill != 0) {
        std::memset(sectors_.change(sector, 0, sectors_.sectorBytes()), fill, sectors_.sectorBytes());
    }
    if (marks_.size() <= sector) {
        marks_.resize(sector + 1);
    }
    set(sector, kClaimed, true);
}

// The first new allocation sector is the first one that it covers itself. In larger files more follow it at once, side
// by side: a reader of the table gets them with one call.
void Allocation::addFatSectors() {
    const auto added = std::clamp<std::uint32_t>(static_cast<std::uint32_t>(fatSectors_.size()) / 16, 1, 16);
    addFatSector(coverage());
    for (std::uint32_t more = 1; more < added; ++more) {
        const std::uint32_t sector = *free_.takeFirst();
        sectors_.cache().useUpTo(sectors_.offsetOf(sector + 1));
        addFatSector(sector);
    }
}

void Allocation::addFatSector(std::uint32_t sector) {
    const std::uint32_t slot = static_cast<std::uint32_t>(fatSectors_.size());
    const std::uint32_t known = coverage();
    const std::uint32_t perDifat = sectors_.wordsPerSector() - 1;
    const bool needsDifat =
        slot >= header::kDifatEntries && (slot - header::kDifatEntries) / perDifat >= difatSectors_.size();
    std::uint32_t difat = sector + 1;

    if (sector == known) {
        sectors_.cache().useUpTo(sectors_.offsetOf(sector + (needsDifat ? 2 : 1)));
    } else if (needsDifat) {
        difat = *free_.takeFirst();
        sectors_.cache().useUpTo(sectors_.offsetOf(difat + 1));
    }
    clearNewSector(sector, 0xFF, false);
    fatSectors_.push_back(sector);
    words_.resize(words_.size() + sectors_.wordsPerSector(), kFreeSector);
    marks_.resize(coverage());
    setWord(sector, kFatSector);
    if (needsDifat) {
        addDifatSector(difat);
    }
    if (slot < header::kDifatEntries) {
        sectors_.setHeaderField(header::kDifat + 4 * slot, sector);
    } else {
        const std::uint32_t at = slot - header::kDifatEntries;
        put32(sectors_.change(difatSectors_[at / perDifat], at % perDifat * 4, 4), sector);
    }
    sectors_.setHeaderField(header::kFatSectors, slot + 1);
    for (std::uint32_t added = known; added < coverage(); ++added) {
        if (added != sector && (!needsDifat || added != difat)) {
            free_.add(added);
        }
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

#pragma once

#include "platform/storage/FreeMap.h"
#include "platform/storage/Sectors.h"

#include <vector>

namespace storage {

// Which sector is used, and which one follows it in its chain: the allocation table (FAT) with the list of its own
// sectors (DIFAT). Every chain that is walked is bounded by the number of sectors, so that a cycle ends in kFileCorrupt.
class Allocation {
public:
    // Reads the table. kFileCorrupt where it lies outside of the file, is cut short, or claims a sector twice.
    explicit Allocation(Sectors& sectors);

    Sectors& sectors() { return sectors_; }

    // All sectors of the chain that begins at `start`, an empty list for an end of chain. kFileCorrupt where the chain
    // has a cycle, meets a free sector, one outside of the file, one that another chain leads to as well, or one that
    // belongs to the container's own tables.
    std::vector<std::uint32_t> chain(std::uint32_t start) const;
    // The same for a chain of the container's own tables, whose sectors no other chain may touch from now on.
    std::vector<std::uint32_t> tableChain(std::uint32_t start);

    // Appends `added` free sectors to a chain that has `sectors` so far, and to that list. Their contents are
    // undefined. Only sectors that were free before the present change are taken: writing into them harms nothing.
    void extend(std::vector<std::uint32_t>& sectors, std::uint32_t added);
    // The same for a table's chain: the new sectors are filled with `fill`.
    void extendTable(std::vector<std::uint32_t>& sectors, std::uint32_t added, std::uint8_t fill);
    // Keeps the first `kept` sectors of the chain and frees the others: their bytes are zero after the commit, and they
    // are used again after it.
    void shorten(std::vector<std::uint32_t>& sectors, std::uint32_t kept);

    // The present change is in the file: what it freed may be used again.
    void afterCommit();
    // Number of sectors up to the last one that is in use.
    std::uint32_t usedSectors();

private:
    std::uint32_t word(std::uint32_t sector) const;
    void setWord(std::uint32_t sector, std::uint32_t value);
    std::uint32_t coverage() const { return static_cast<std::uint32_t>(fatSectors_.size()) * sectors_.wordsPerSector(); }
    void loadFatSectors();
    void countPredecessors();
    void claim(std::uint32_t sector);
    void learnFree();
    std::uint32_t take(std::uint32_t value);
    void clearNewSector(std::uint32_t sector, std::uint8_t fill, bool known);
    void addFatSector();
    void addDifatSector(std::uint32_t sector);

    Sectors& sectors_;
    std::vector<std::uint32_t> fatSectors_;
    std::vector<std::uint32_t> difatSectors_;
    // Per sector: whether it is part of a table; whether a chain leads to it; whether two do.
    std::vector<bool> claimed_;
    std::vector<bool> reached_;
    std::vector<bool> crossed_;
    FreeMap free_;
    bool freeKnown_ = false;
    std::vector<std::uint32_t> freed_;
};

} // namespace storage

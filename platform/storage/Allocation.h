#pragma once

#include "platform/storage/FreeMap.h"
#include "platform/storage/Sectors.h"

#include <vector>

namespace storage {

// Which sector is used, and which one follows it in its chain: the allocation table (FAT) with the list of its own
// sectors (DIFAT). Every chain that is walked is bounded by the number of sectors, so that a cycle ends in
// kFileCorrupt.
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
    // Makes words free that other writers left set for sectors beyond the file's end: once the file is that long they
    // would count.
    void freeBeyondEnd();
    // kFileCorrupt where a word leads to a sector that the table does not cover: a change could make that sector part
    // of two chains.
    void requireNoLooseEnds() const;
    // Number of sectors up to the last one that is in use.
    std::uint32_t usedSectors();

private:
    // Of a sector: it is part of a table; a chain leads to it; two do.
    enum Mark : std::uint8_t { kClaimed = 1, kReached = 2, kCrossed = 4 };

    // The word alone, and what stood there; setWord() notes what it leads to as well.
    std::uint32_t storeWord(std::uint32_t sector, std::uint32_t value);
    void setWord(std::uint32_t sector, std::uint32_t value);
    std::uint32_t coverage() const { return static_cast<std::uint32_t>(words_.size()); }
    void loadFatSectors();
    void loadWords();
    void countPredecessors();
    bool has(std::uint32_t sector, Mark mark) const { return (marks_[sector] & mark) != 0; }
    void set(std::uint32_t sector, Mark mark, bool on) {
        marks_[sector] = static_cast<std::uint8_t>(on ? marks_[sector] | mark : marks_[sector] & ~mark);
    }
    void learnFree();
    std::uint32_t take(std::uint32_t value);
    void clearNewSector(std::uint32_t sector, std::uint8_t fill, bool known);
    void addFatSectors();
    void addFatSector(std::uint32_t sector);
    void addDifatSector(std::uint32_t sector);

    Sectors& sectors_;
    std::vector<std::uint32_t> fatSectors_;
    // The whole table, as it stands in those sectors.
    std::vector<std::uint32_t> words_;
    std::vector<std::uint32_t> difatSectors_;
    // Per sector that the table covers.
    std::vector<std::uint8_t> marks_;
    FreeMap free_;
    bool freeKnown_ = false;
    std::vector<std::uint32_t> freed_;
};

} // namespace storage

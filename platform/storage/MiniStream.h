#pragma once

#include "platform/storage/Directory.h"

#include <vector>

namespace storage {

// The sectors of 64 bytes for small streams: cut from one stream that the root entry owns, with an allocation table of
// their own. Reads its tables when it is first used.
class MiniStream {
public:
    MiniStream(Allocation& allocation, Directory& directory) : allocation_(allocation), directory_(directory) {}

    // Reads the tables, whose sectors no stream may touch from then on. kFileCorrupt where they are broken.
    void load();
    // The mini sectors of the chain that begins at `start`: all of them, or the first `most`, and then whatever the
    // last one leads to. kFileCorrupt where the chain meets one that does not exist, or goes on at one that is free; a
    // cycle that is longer than a small stream may go unnoticed.
    std::vector<std::uint32_t> chain(std::uint32_t start, std::size_t most = SIZE_MAX);
    // The 64 bytes of a mini sector.
    const std::uint8_t* read(std::uint32_t number);
    std::uint8_t* change(std::uint32_t number);

    // Appends `added` free mini sectors, of undefined contents, to a chain.
    void extend(std::vector<std::uint32_t>& numbers, std::uint32_t added);
    // Keeps the first `kept` mini sectors of a chain; the others are set to zero and free.
    void shorten(std::vector<std::uint32_t>& numbers, std::uint32_t kept);

private:
    std::uint32_t word(std::uint32_t number);
    void setWord(std::uint32_t number, std::uint32_t value);
    std::uint32_t take();
    void grow();
    std::uint32_t perSector() const { return 1U << perSectorShift(); }
    unsigned perSectorShift() const { return allocation_.sectors().sectorShift() - 6; }
    std::uint32_t offsetInSector(std::uint32_t number) const { return (number & (perSector() - 1)) * kMiniSectorBytes; }
    std::uint32_t offsetOfWord(std::uint32_t number) const {
        return (number & (allocation_.sectors().wordsPerSector() - 1)) * 4;
    }
    std::uint32_t words() const {
        return static_cast<std::uint32_t>(tableSectors_.size()) * allocation_.sectors().wordsPerSector();
    }

    Allocation& allocation_;
    Directory& directory_;
    bool loaded_ = false;
    std::vector<std::uint32_t> tableSectors_;
    std::vector<std::uint32_t> dataSectors_;
    // Number of mini sectors.
    std::uint32_t count_ = 0;
    FreeMap free_;
    // Words before this one have been looked at: the free ones are in the map.
    std::uint32_t scanned_ = 0;
};

} // namespace storage

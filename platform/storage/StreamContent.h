#pragma once

#include "platform/storage/MiniStream.h"

#include <vector>

namespace storage {

// The sectors of one large stream, kept by whoever has it open so that the chain is walked once.
struct StreamChain {
    bool known = false;
    std::vector<std::uint32_t> sectors;
};

// The bytes of streams, wherever they live: below 4096 in the mini stream, otherwise in sectors of their own. A stream
// moves when its size crosses that line. What is unused in its last sector is zero.
//
// Bytes that replace others, up to kAtomicBytes in one write, change with the rest of the commit. New sectors are
// written at once: nothing refers to them until the commit.
class StreamContent {
public:
    static constexpr std::size_t kAtomicBytes = 64 * 1024;

    StreamContent(Allocation& allocation, Directory& directory, MiniStream& mini)
        : allocation_(allocation), directory_(directory), mini_(mini) {}

    // Reads from `position` up to the stream's end and answers the number of bytes read.
    std::size_t read(std::uint32_t id, StreamChain& chain, std::uint64_t position, std::span<std::uint8_t> out);
    // Writes at `position`, lengthening the stream where needed; what lies between its old end and `position` is zero.
    void write(std::uint32_t id, StreamChain& chain, std::uint64_t position, ByteView bytes);
    void resize(std::uint32_t id, StreamChain& chain, std::uint64_t newSize);
    // The sectors that are known to belong to a stream.
    struct Owned {
        std::vector<bool> mini;
        // Sectors that begin a chain; that no other one leads into it is known to the allocation.
        std::vector<bool> first;
    };
    // Adds those of a stream. kFileCorrupt where one of them is another stream's as well, or the chain is broken.
    void claim(std::uint32_t id, Owned& owned);
    // Frees all sectors of a stream whose entry is about to be changed.
    void free(std::uint32_t id);

private:
    struct Piece {
        std::uint64_t position;
        ByteView bytes;
    };

    std::uint32_t sectorBytes() const { return allocation_.sectors().sectorBytes(); }
    const std::vector<std::uint32_t>& sectorsOf(std::uint32_t id, StreamChain& chain);
    std::vector<std::uint32_t> miniSectorsOf(std::uint32_t id);
    void storeMini(std::uint32_t id, std::uint64_t newSize, const Piece& piece);
    void storeLarge(std::uint32_t id, StreamChain& chain, std::uint64_t newSize, const Piece& piece);
    void moveToSectors(std::uint32_t id, StreamChain& chain, std::uint64_t newSize, const Piece& piece);
    void moveToMini(std::uint32_t id, StreamChain& chain, std::uint64_t newSize);
    void replace(const std::vector<std::uint32_t>& sectors, std::uint64_t position, ByteView bytes);
    void zero(const std::vector<std::uint32_t>& sectors, std::uint64_t from, std::uint64_t to);
    void append(std::vector<std::uint32_t>& sectors, std::uint64_t newSize, std::span<const Piece> pieces);
    void setContents(std::uint32_t id, std::uint32_t start, std::uint64_t size);

    Allocation& allocation_;
    Directory& directory_;
    MiniStream& mini_;
};

} // namespace storage

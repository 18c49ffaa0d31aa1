#pragma once

#include "platform/storage/FileBytes.h"
#include "platform/storage/JournalRecord.h"

#include <array>
#include <memory>
#include <utility>
#include <vector>

namespace storage {

// A container's file as blocks in memory, loaded when first asked for and kept, and the one place through which the file
// changes. Changes are collected in memory and reach the file together in commit(), which goes this way:
//
//   1. the record of all changed ranges is written behind the last sector, at the end of the file,
//   2. the ranges are written where they belong,
//   3. the record is overwritten with zeros.
//
// A process that ends before step 1 is complete leaves the old state, one that ends later leaves a record from which the
// next open completes the new one. The ranges never lie in the record, and no step lengthens the file.
class BlockCache {
public:
    static constexpr std::size_t kBlockBytes = 4096;

    // Takes over the file. A whole record at its end is carried out: in the file where it may be written, otherwise in
    // memory.
    BlockCache(std::unique_ptr<FileBytes> file, bool writable);

    bool writable() const { return writable_; }
    // Length of the file in bytes.
    std::uint64_t size() const { return size_; }
    // End of what has been in use since the file was opened: all beyond is zero. As long as nothing changed, size().
    std::uint64_t usedEnd() const { return usedEnd_; }

    // The bytes at `offset` up to the end of their block. kReadFault where the file was cut.
    const std::uint8_t* read(std::uint64_t offset) {
        const std::size_t block = offset / kBlockBytes;
        if (block >= blocks_.size() || blocks_[block] == nullptr) {
            load(block);
        }
        return blocks_[block]->data() + offset % kBlockBytes;
    }
    // The same for changing `length` bytes of one block as a part of the next commit().
    std::uint8_t* change(std::uint64_t offset, std::size_t length);
    // Sets a range to zero as a part of the next commit(). Until then nothing may be read there.
    void clear(std::uint64_t offset, std::uint64_t length);

    // Past the blocks, for the contents of large streams: reads, and writes at once, to places that the container does
    // not refer to yet.
    void readDirect(std::uint64_t offset, std::span<std::uint8_t> out);
    void writeDirect(std::uint64_t offset, ByteView bytes);

    // Before the first change: cuts what trails behind `usedEnd`, or completes a last sector that was cut short.
    void prepare(std::uint64_t usedEnd);
    // Makes the file long enough to use it up to `end` and to hold the record of the next commit. kMediumFull where the
    // disk lacks the room.
    void useUpTo(std::uint64_t end);
    // Completes what a failure left undone: a change whose record is in the file, or a torn record. Throws while it
    // cannot; nothing else may change before.
    void settle();

    bool changed() const { return !changes_.empty() || !cleared_.empty(); }
    // Makes the file so long that the commit of the present changes needs no more room.
    void reserveForCommit();
    // Puts all changes into the file. After a failure with changed() they have not happened and are still there to be
    // discarded; after a failure without, they are in the record and settle() completes them.
    void commit();
    // Forgets all changes and every block.
    void discard();

    // Flushes; an unfinished record stays, otherwise the file is first cut to `end`.
    void close(std::uint64_t end);
    void flush() { file_->flush(); }

private:
    using Block = std::array<std::uint8_t, kBlockBytes>;
    struct Span {
        std::uint64_t offset = 0;
        std::uint64_t length = 0;
        std::uint64_t end() const { return offset + length; }
    };
    enum class Unfinished { nothing, apply, erase };

    void load(std::size_t block);
    void resize(std::uint64_t newSize);
    void replay();
    void zeroInBlocks(const Span& range);
    void mergeChanges();
    void buildRecord();
    void growFor(std::uint64_t usedEnd, std::uint64_t room);
    void apply(const std::vector<JournalRecord::Range>& ranges);
    void writeZeros(std::uint64_t offset, std::uint64_t length);
    void eraseRecord();

    std::unique_ptr<FileBytes> file_;
    bool writable_;
    std::uint64_t size_ = 0;
    std::uint64_t usedEnd_ = 0;
    std::vector<std::unique_ptr<Block>> blocks_;
    std::vector<Span> changes_;
    std::vector<Span> cleared_;
    JournalRecord record_;
    std::vector<JournalRecord::Range> ranges_;
    Unfinished unfinished_ = Unfinished::nothing;
};

} // namespace storage

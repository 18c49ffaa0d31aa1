#pragma once

#include "platform/storage/FileBytes.h"
#include "platform/storage/JournalRecord.h"
#include "platform/storage/SlabPool.h"

#include <array>
#include <memory>
#include <vector>

namespace storage {

// A container's file as blocks in memory, loaded when first asked for and kept, and the one place through which the
// file changes. Changes are collected in memory and reach the file together in commit(): as one record of a journal at
// the end of the file. From time to time, and at the latest when the file is flushed or closed, checkpoint() brings the
// journal's changes to their places:
//
//   1. every changed range is written where it belongs,
//   2. the oldest record is made invalid, and with it the whole journal,
//   3. the journal is overwritten with zeros.
//
// The disk gets each step when it has all before it, so that all this holds when the machine stops, too.
//
// A process that ends before the record of a commit is complete leaves the state before it; one that ends later, up to
// step 2, leaves a journal from which the next open completes every change. No range lies in the journal, and the file
// is not lengthened while there is one.
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
    const std::uint8_t* read(std::uint64_t offset) { return &loaded(offset / kBlockBytes).bytes[offset % kBlockBytes]; }
    // The same for changing `length` bytes of one block as a part of the next commit().
    std::uint8_t* change(std::uint64_t offset, std::size_t length);
    // Sets a range to zero as a part of the next commit(). Until then nothing may be read there.
    void clear(std::uint64_t offset, std::uint64_t length);

    // Past the blocks, for the contents of large streams: reads, and writes that happen at once. `fresh`: nothing
    // refers to these places yet; should the change fail, they are made zero again.
    void readDirect(std::uint64_t offset, std::span<std::uint8_t> out);
    void writeDirect(std::uint64_t offset, ByteView bytes, bool fresh);

    // Before the first change: cuts what trails behind `usedEnd`, or completes a last sector that was cut short.
    void prepare(std::uint64_t usedEnd);
    // Makes the file long enough to use it up to `end` and to hold the record of the next commit. kMediumFull where the
    // disk lacks the room.
    void useUpTo(std::uint64_t end);
    // Before a change: removes a torn record, makes room in the journal. Throws while it cannot; nothing may change
    // then.
    void settle();

    bool changed() const { return changedBlocks_ > 0 || !cleared_.empty(); }
    // Makes the file so long that the commit of the present changes needs no more room.
    void reserveForCommit();
    // Puts all changes into the file. After a failure they have not happened, and are still there to be discarded.
    void commit();
    // Undoes all changes since the last commit; zeroes what was written directly, if it can. Blocks move.
    void discard();
    // Brings the journal's changes to their places. After a failure they are still in the journal.
    void checkpoint();

    // Checkpoint, then all on the disk.
    void flush();
    // The same, the file cut to `end` in between.
    void close(std::uint64_t end);

private:
    // Changes are noted in pieces of 8 bytes, one bit each; what goes from the journal to its place, in pieces of 64.
    static constexpr std::size_t kPieceBytes = 8;
    static constexpr std::size_t kPlaceBytes = 64;

    struct Change;
    struct Block {
        std::array<std::uint8_t, kBlockBytes> bytes;
        // What the records of the journal have set.
        std::uint64_t journaled = 0;
        // Set while the block is part of the present change.
        Change* change = nullptr;
    };
    // A block's part in the present change, and what stood in the noted pieces before it.
    struct Change {
        std::size_t block = 0;
        std::array<std::uint64_t, kBlockBytes / kPieceBytes / 64> noted{};
        std::array<std::uint8_t, kBlockBytes> before;
        // Copies the noted pieces over `target`, the block's bytes.
        void undo(std::uint8_t* target) const;
    };
    struct Span {
        std::uint64_t offset = 0;
        std::uint64_t length = 0;
        std::uint64_t end() const { return offset + length; }
    };

    // Blocks in memory: BlockCache.cpp.
    Block& loaded(std::size_t block) {
        if (block >= blocks_.size() || blocks_[block] == nullptr) {
            load(block);
        }
        return *blocks_[block];
    }
    // Null where a block is not in memory.
    Block* inMemory(std::size_t block) const { return block < blocks_.size() ? blocks_[block] : nullptr; }
    void load(std::size_t block);
    void drop(std::size_t block);
    void note(Block& block, std::size_t index, std::size_t offset, std::size_t length);
    void endChanges();
    void readFile(std::uint64_t offset, std::span<std::uint8_t> out);
    void requireWhole();
    void resize(std::uint64_t newSize);
    void growFor(std::uint64_t usedEnd, std::uint64_t room);
    void writeZeros(std::uint64_t offset, std::uint64_t length);
    std::uint64_t journalStart() const { return size_ - journalBytes_; }
    std::uint64_t longJournal() const;

    // The journal: BlockJournal.cpp.
    void replay();
    void patch(const JournalRecord::Range& range);
    void buildRecord();
    bool isCleared(std::uint64_t offset) const;
    void zeroInBlocks(const Span& range);
    void zeroClearedInBlocks();
    void recordChange(const Change& change);
    void addToRecord(std::size_t block, std::size_t firstPiece, std::size_t lastPiece);
    void markJournaled(const Span& span);
    void writeJournaledPlaces();
    void copyCommitted(const Span& span, std::uint8_t* out);
    void eraseJournal();
    void eraseTornRecord();
    void orderWrites();

    std::unique_ptr<FileBytes> file_;
    bool writable_;
    std::uint64_t size_ = 0;
    std::uint64_t usedEnd_ = 0;
    // A block that begins here or beyond, and is not in memory, is zero: it needs no reading. None, until prepare().
    std::uint64_t untouchedFrom_ = UINT64_MAX;
    // Where what became zero since the disk got all begins. A record leaves out what it takes for zero: before one that
    // uses these places is written, the disk must have the zeros.
    std::uint64_t unflushedFrom_ = UINT64_MAX;
    bool prepared_ = false;
    SlabPool<Block> pool_;
    // Up to the last one that was asked for; null where a block is not in memory.
    std::vector<Block*> blocks_;
    // Since the last commit: the blocks that were changed (the first of `changes_`, the others are spare), their noted
    // bytes and the runs of these, the ranges to be zero, and fresh places that were written past the blocks.
    std::vector<std::unique_ptr<Change>> changes_;
    std::size_t changedBlocks_ = 0;
    std::uint64_t notedBytes_ = 0;
    std::uint64_t notedRuns_ = 0;
    std::vector<Span> cleared_;
    std::vector<Span> fresh_;
    JournalRecord record_;
    std::vector<Span> recorded_;
    // Since the last checkpoint: the number of records in the journal, their length together, and what they set.
    std::uint64_t journalRecords_ = 0;
    std::uint64_t journalBytes_ = 0;
    // Number of its first record.
    std::uint64_t firstNumber_ = 0;
    std::vector<std::size_t> journaledBlocks_;
    // In ascending order, without overlaps, all of the last record.
    std::vector<Span> journaledZeros_;
    // What they set is in its places, and the call that makes them invalid was begun.
    bool journalEnds_ = false;
    // Length of a record whose writing failed: what of it is in the file lies before the journal.
    std::uint64_t tornBytes_ = 0;
    Buffer gather_;
};

} // namespace storage

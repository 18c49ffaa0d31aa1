// How the changes of a BlockCache reach the file.

#include "platform/storage/BlockCache.h"
#include "platform/storage/JournalReader.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <iterator>
#include <random>
#include <utility>

namespace storage {
namespace {

// Unchanged bytes between two changed ranges are part of the record up to this length: about what a range of its own
// takes.
constexpr std::size_t kMergeGapPieces = 2;
// Unchanged bytes between two ranges that a checkpoint writes: one call for both is cheaper than two. Shorter than a
// block, so that they lie in loaded blocks as what is on both sides of them does.
constexpr std::uint64_t kWriteGapBytes = 2048;
// Room kept between two changes for the next one: its record, and the sectors by which it lengthens the file. A change
// that needs more has a checkpoint in its midst.
constexpr std::uint64_t kChangeRoom = 64 * 1024;
// The journal's length that brings on a checkpoint: a part of the file, so that the places that it sets come to lie
// together in large files as they do in small ones.
constexpr std::uint64_t kShortestLongJournal = 256 * 1024;
constexpr std::uint64_t kLongestLongJournal = 4 * 1024 * 1024;

template <class Element>
void makeRoom(std::vector<Element>& list, std::size_t added) {
    if (list.capacity() - list.size() < added) {
        list.reserve(std::max(2 * list.capacity(), list.size() + added));
    }
}

} // namespace

std::uint64_t BlockCache::longJournal() const {
    return std::clamp(usedEnd_ / 8, kShortestLongJournal, kLongestLongJournal);
}

void BlockCache::settle() {
    if (tornBytes_ > 0) {
        eraseTornRecord();
    }
    // A journal that sets ranges to zero stays no longer than its last record, and one whose end may be gone takes
    // none.
    if (!journaledZeros_.empty() || journalEnds_) {
        checkpoint();
    }
    // Between two changes a checkpoint is cheap: the blocks hold what the journal says, and nothing newer.
    if (changed() || !prepared_) {
        return;
    }
    const bool low = journalStart() < usedEnd_ + kChangeRoom;
    if (journalBytes_ > longJournal() || (low && journalBytes_ > 0)) {
        checkpoint();
    }
    if (low && size_ < usedEnd_ + kChangeRoom) {
        try {
            growFor(usedEnd_, kChangeRoom);
        } catch (const Failure&) {
            // The change may do with less.
        }
    }
}

void BlockCache::commit() {
    if (!changed()) {
        return;
    }
    buildRecord();
    if (!record_.empty()) {
        if (record_.sealedSize() > JournalRecord::kLongestJournal) {
            throw Failure(kFileTooLarge);
        }
        if (record_.sealedSize() > JournalRecord::kLongestJournal - journalBytes_) {
            checkpoint();
        }
        growFor(usedEnd_, record_.sealedSize());
        requireWhole();
        // Once the record is written, nothing may fail.
        makeRoom(journaledBlocks_, changedBlocks_);
        makeRoom(journaledZeros_, cleared_.size());
        if (journalRecords_ == 0) {
            firstNumber_ = std::uint64_t{std::random_device{}()} << 32;
        }
        // The record says nothing of what it takes for zero.
        if (!fresh_.empty() || usedEnd_ > unflushedFrom_) {
            orderWrites();
        }
        record_.seal(journalStart(), firstNumber_ + journalRecords_);
        tornBytes_ = record_.bytes().size();
        file_->write(journalStart() - tornBytes_, record_.bytes());
        journalBytes_ += std::exchange(tornBytes_, 0);
        ++journalRecords_;
        for (const Span& span : recorded_) {
            markJournaled(span);
        }
        zeroClearedInBlocks();
        journaledZeros_.insert(journaledZeros_.end(), cleared_.begin(), cleared_.end());
    }
    endChanges();
    if (!journaledZeros_.empty()) {
        try {
            checkpoint();
        } catch (const Failure&) {
            // The change is in the file; the next one tries again.
        }
    }
}

void BlockCache::buildRecord() {
    std::sort(cleared_.begin(), cleared_.end(),
              [](const Span& left, const Span& right) { return left.offset < right.offset; });
    record_.clear();
    recorded_.clear();
    for (const Span& range : cleared_) {
        record_.addZeros(range.offset, range.length);
    }
    for (std::size_t at = 0; at < changedBlocks_; ++at) {
        recordChange(*changes_[at]);
    }
}

// Whatever stood there, and was changed before: it is zero now.
bool BlockCache::isCleared(std::uint64_t offset) const {
    const auto behind = std::upper_bound(cleared_.begin(), cleared_.end(), offset,
                                         [](std::uint64_t value, const Span& span) { return value < span.offset; });
    return behind != cleared_.begin() && std::prev(behind)->end() > offset;
}

void BlockCache::zeroInBlocks(const Span& range) {
    for (std::uint64_t at = range.offset; at < range.end() && at / kBlockBytes < blocks_.size();) {
        const std::uint64_t length = std::min(range.end() - at, kBlockBytes - at % kBlockBytes);
        if (Block* block = inMemory(at / kBlockBytes)) {
            std::memset(&block->bytes[at % kBlockBytes], 0, length);
        }
        at += length;
    }
}

void BlockCache::zeroClearedInBlocks() {
    for (const Span& range : cleared_) {
        zeroInBlocks(range);
    }
}

// A piece that is as it was before the change needs no place in the record.
void BlockCache::recordChange(const Change& change) {
    const std::uint64_t start = std::uint64_t{change.block} * kBlockBytes;
    const std::uint8_t* bytes = blocks_[change.block]->bytes.data();
    constexpr std::size_t kNone = SIZE_MAX;
    std::size_t first = kNone;
    std::size_t last = 0;
    for (std::size_t word = 0; word < change.noted.size(); ++word) {
        for (std::uint64_t bits = change.noted[word]; bits != 0; bits &= bits - 1) {
            const std::size_t piece = word * 64 + static_cast<std::size_t>(std::countr_zero(bits));
            if (std::memcmp(&bytes[piece * kPieceBytes], &change.before[piece * kPieceBytes], kPieceBytes) == 0 ||
                isCleared(start + piece * kPieceBytes)) {
                continue;
            }
            if (first != kNone && piece > last + 1 + kMergeGapPieces) {
                addToRecord(change.block, first, last);
                first = kNone;
            }
            first = first == kNone ? piece : first;
            last = piece;
        }
    }
    if (first != kNone) {
        addToRecord(change.block, first, last);
    }
}

void BlockCache::addToRecord(std::size_t block, std::size_t firstPiece, std::size_t lastPiece) {
    const std::size_t within = firstPiece * kPieceBytes;
    const std::size_t length = (lastPiece + 1 - firstPiece) * kPieceBytes;
    const Span span{std::uint64_t{block} * kBlockBytes + within, length};
    std::memcpy(record_.addRange(span.offset, length), &blocks_[block]->bytes[within], length);
    recorded_.push_back(span);
}

// The span lies within one loaded block.
void BlockCache::markJournaled(const Span& span) {
    const std::size_t index = span.offset / kBlockBytes;
    Block& block = *blocks_[index];
    if (block.journaled == 0) {
        journaledBlocks_.push_back(index);
    }
    const std::size_t first = span.offset % kBlockBytes / kPlaceBytes;
    const std::size_t last = ((span.end() - 1) % kBlockBytes) / kPlaceBytes;
    block.journaled |= ~std::uint64_t{0} << first & ~std::uint64_t{0} >> (63 - last);
}

void BlockCache::checkpoint() {
    if (tornBytes_ > 0) {
        eraseTornRecord();
    }
    if (journalRecords_ == 0) {
        return;
    }
    requireWhole();
    // The disk gets the records before the places, and the places before the end of the records.
    orderWrites();
    writeJournaledPlaces();
    orderWrites();
    eraseJournal();
}

void BlockCache::writeJournaledPlaces() {
    for (const Span& span : journaledZeros_) {
        writeZeros(span.offset, span.length);
    }
    std::sort(journaledBlocks_.begin(), journaledBlocks_.end());
    std::vector<Span> places;
    for (const std::size_t index : journaledBlocks_) {
        for (std::uint64_t bits = blocks_[index]->journaled; bits != 0;) {
            const auto first = static_cast<std::size_t>(std::countr_zero(bits));
            const auto run = static_cast<std::size_t>(std::countr_one(bits >> first));
            bits = first + run == 64 ? 0 : bits >> (first + run) << (first + run);
            const std::uint64_t from = std::uint64_t{index} * kBlockBytes + first * kPlaceBytes;
            // In a file of odd length the journal may begin within the last place.
            const std::uint64_t to = std::min(from + run * kPlaceBytes, journalStart());
            if (places.empty() || from > places.back().end() + kWriteGapBytes) {
                places.push_back({from, 0});
            }
            places.back().length = to - places.back().offset;
        }
    }
    for (const Span& place : places) {
        gather_.resize(place.length);
        copyCommitted(place, gather_.data());
        file_->write(place.offset, gather_);
    }
}

// Bytes of loaded blocks as the last commit left them.
void BlockCache::copyCommitted(const Span& span, std::uint8_t* out) {
    std::array<std::uint8_t, kBlockBytes> committed;
    for (std::uint64_t at = span.offset; at < span.end();) {
        const Block& block = *blocks_[at / kBlockBytes];
        const std::uint64_t length = std::min(span.end() - at, kBlockBytes - at % kBlockBytes);
        const std::uint8_t* bytes = block.bytes.data();
        if (block.change != nullptr) {
            committed = block.bytes;
            block.change->undo(committed.data());
            bytes = committed.data();
        }
        std::memcpy(out + (at - span.offset), bytes + at % kBlockBytes, length);
        at += length;
    }
}

void BlockCache::eraseJournal() {
    // Without its oldest record the journal is none; until then it holds all of it. Should the call fail, nobody knows.
    journalEnds_ = true;
    writeZeros(size_ - JournalRecord::kFooterBytes, JournalRecord::kFooterBytes);
    // A newer record that went before the oldest would leave a part of the journal, which says what is out of date.
    orderWrites();
    for (const std::size_t index : journaledBlocks_) {
        blocks_[index]->journaled = 0;
    }
    journaledBlocks_.clear();
    journaledZeros_.clear();
    journalRecords_ = 0;
    journalEnds_ = false;
    tornBytes_ = std::exchange(journalBytes_, 0);
    eraseTornRecord();
}

void BlockCache::orderWrites() {
    file_->orderWrites();
    unflushedFrom_ = UINT64_MAX;
}

void BlockCache::flush() {
    checkpoint();
    file_->flush();
    unflushedFrom_ = UINT64_MAX;
}

void BlockCache::close(std::uint64_t end) {
    checkpoint();
    if (end < size_) {
        requireWhole();
        file_->resize(end);
    }
    file_->flush();
}

// The journal of a process that ended without a checkpoint.
void BlockCache::replay() {
    const FoundJournal journal = findJournal(*file_, size_);
    std::vector<JournalRecord::Range> ranges;
    for (const Buffer& record : journal.records) {
        JournalRecord::listRanges(record, journal.start, ranges);
        for (const auto& range : ranges) {
            patch(range);
        }
    }
    if (!writable_ || journal.records.empty()) {
        return;
    }
    journalRecords_ = journal.records.size();
    journalBytes_ = size_ - journal.start;
    orderWrites();
    writeJournaledPlaces();
    orderWrites();
    eraseJournal();
    // The last of them may hold what was the journal.
    for (std::size_t index = 0; index < blocks_.size(); ++index) {
        drop(index);
    }
}

void BlockCache::patch(const JournalRecord::Range& range) {
    if (range.bytes == nullptr) {
        zeroInBlocks({range.offset, range.length});
        journaledZeros_.push_back({range.offset, range.length});
        return;
    }
    for (std::uint64_t done = 0; done < range.length;) {
        const std::uint64_t at = range.offset + done;
        const std::uint64_t length = std::min(range.length - done, kBlockBytes - at % kBlockBytes);
        std::memcpy(&loaded(at / kBlockBytes).bytes[at % kBlockBytes], range.bytes + done, length);
        markJournaled({at, length});
        done += length;
    }
}

void BlockCache::eraseTornRecord() {
    const std::uint64_t start = journalStart() - tornBytes_;
    unflushedFrom_ = std::min(unflushedFrom_, start);
    writeZeros(start, tornBytes_);
    tornBytes_ = 0;
}

} // namespace storage

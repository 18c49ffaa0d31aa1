#include "platform/storage/BlockCache.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <utility>

namespace storage {
namespace {

// Room kept for the record of a commit: what most commits need.
constexpr std::uint64_t kRecordRoom = 16 * 1024;
// By how much the file grows at once: enough for a long journal and for what the changes in it lengthen the file by.
constexpr std::uint64_t kSmallestGrowth = 512 * 1024;
constexpr std::uint64_t kLargestGrowth = 5 * 1024 * 1024;
// Spare records of changed blocks that are kept for the next change.
constexpr std::size_t kKeptChanges = 64;

constexpr std::array<std::uint8_t, 64 * 1024> kZeros{};

} // namespace

BlockCache::BlockCache(std::unique_ptr<FileBytes> file, bool writable)
    : file_(std::move(file)), writable_(writable), size_(file_->size()), usedEnd_(size_) {
    replay();
}

void BlockCache::Change::undo(std::uint8_t* target) const {
    for (std::size_t word = 0; word < noted.size(); ++word) {
        for (std::uint64_t bits = noted[word]; bits != 0; bits &= bits - 1) {
            const std::size_t at = (word * 64 + static_cast<std::size_t>(std::countr_zero(bits))) * kPieceBytes;
            std::memcpy(target + at, &before[at], kPieceBytes);
        }
    }
}

std::uint8_t* BlockCache::change(std::uint64_t offset, std::size_t length) {
    const std::size_t index = offset / kBlockBytes;
    Block& block = loaded(index);
    note(block, index, offset % kBlockBytes, length);
    return &block.bytes[offset % kBlockBytes];
}

void BlockCache::note(Block& block, std::size_t index, std::size_t offset, std::size_t length) {
    if (block.change == nullptr) {
        if (changedBlocks_ == changes_.size()) {
            changes_.push_back(std::make_unique<Change>());
        }
        block.change = changes_[changedBlocks_++].get();
        block.change->block = index;
        block.change->noted.fill(0);
    }
    Change& change = *block.change;
    const std::size_t end = (offset + length + kPieceBytes - 1) / kPieceBytes;
    for (std::size_t piece = offset / kPieceBytes; piece < end;) {
        const std::size_t word = piece / 64;
        const std::size_t count = std::min(end, word * 64 + 64) - piece;
        const std::uint64_t asked = (count == 64 ? ~std::uint64_t{0} : (std::uint64_t{1} << count) - 1) << piece % 64;
        std::uint64_t added = asked & ~change.noted[word];
        change.noted[word] |= asked;
        while (added != 0) {
            const auto first = static_cast<std::size_t>(std::countr_zero(added));
            const auto run = static_cast<std::size_t>(std::countr_one(added >> first));
            const std::size_t at = (word * 64 + first) * kPieceBytes;
            std::memcpy(&change.before[at], &block.bytes[at], run * kPieceBytes);
            notedBytes_ += run * kPieceBytes;
            ++notedRuns_;
            added = run + first == 64 ? 0 : added >> (run + first) << (run + first);
        }
        piece += count;
    }
}

void BlockCache::endChanges() {
    for (std::size_t at = 0; at < changedBlocks_; ++at) {
        if (Block* block = blocks_[changes_[at]->block]) {
            block->change = nullptr;
        }
    }
    changedBlocks_ = 0;
    notedBytes_ = 0;
    notedRuns_ = 0;
    cleared_.clear();
    fresh_.clear();
    if (changes_.size() > kKeptChanges) {
        changes_.resize(kKeptChanges);
    }
}

void BlockCache::clear(std::uint64_t offset, std::uint64_t length) {
    if (!cleared_.empty() && cleared_.back().end() == offset) {
        cleared_.back().length += length;
    } else {
        cleared_.push_back({offset, length});
    }
}

void BlockCache::readDirect(std::uint64_t offset, std::span<std::uint8_t> out) {
    for (std::size_t done = 0; done < out.size();) {
        // What is in a block may be newer than the file.
        const std::uint64_t at = offset + done;
        const std::size_t index = at / kBlockBytes;
        std::size_t step = std::min<std::size_t>(out.size() - done, kBlockBytes - at % kBlockBytes);
        if (const Block* block = inMemory(index)) {
            std::memcpy(&out[done], &block->bytes[at % kBlockBytes], step);
        } else {
            for (std::size_t next = index + 1; step < out.size() - done && inMemory(next) == nullptr; ++next) {
                step = std::min(out.size() - done, step + kBlockBytes);
            }
            readFile(at, out.subspan(done, step));
        }
        done += step;
    }
}

// Bytes of the file; zeros behind its end.
void BlockCache::readFile(std::uint64_t offset, std::span<std::uint8_t> out) {
    const auto inFile = static_cast<std::size_t>(std::min<std::uint64_t>(out.size(), size_ - std::min(size_, offset)));
    if (file_->read(offset, out.first(inFile)) < inFile) {
        throw Failure(kReadFault);
    }
    std::fill(out.begin() + static_cast<std::ptrdiff_t>(inFile), out.end(), std::uint8_t{0});
}

void BlockCache::writeDirect(std::uint64_t offset, ByteView bytes, bool fresh) {
    // A record of the journal may say that these places are zero.
    checkpoint();
    requireWhole();
    if (fresh) {
        fresh_.push_back({offset, bytes.size()});
    }
    untouchedFrom_ = std::max(untouchedFrom_, offset + bytes.size());
    file_->write(offset, bytes);
    for (std::size_t done = 0; done < bytes.size();) {
        const std::size_t within = (offset + done) % kBlockBytes;
        const std::size_t length = std::min(bytes.size() - done, kBlockBytes - within);
        if (Block* block = inMemory((offset + done) / kBlockBytes)) {
            std::memcpy(&block->bytes[within], &bytes[done], length);
            if (block->change != nullptr) {
                // What was there before the change is now this, too.
                std::memcpy(&block->change->before[within], &bytes[done], length);
            }
        }
        done += length;
    }
}

void BlockCache::prepare(std::uint64_t usedEnd) {
    if (usedEnd < size_) {
        unflushedFrom_ = std::min(unflushedFrom_, usedEnd);
        if (Block* last = inMemory(usedEnd / kBlockBytes)) {
            std::fill(last->bytes.begin() + usedEnd % kBlockBytes, last->bytes.end(), std::uint8_t{0});
        }
    }
    if (usedEnd != size_) {
        resize(usedEnd);
    }
    usedEnd_ = usedEnd;
    untouchedFrom_ = usedEnd;
    prepared_ = true;
}

void BlockCache::useUpTo(std::uint64_t end) {
    if (end > usedEnd_) {
        growFor(end, kRecordRoom);
        usedEnd_ = end;
    }
}

void BlockCache::reserveForCommit() {
    const std::uint64_t most = JournalRecord::kFooterBytes + cleared_.size() * JournalRecord::kRangeOverhead +
                               notedBytes_ + notedRuns_ * JournalRecord::kRangeOverhead;
    // A longer record is refused.
    growFor(usedEnd_, std::min(most, JournalRecord::kLongestJournal));
}

void BlockCache::discard() {
    try {
        for (const Span& span : fresh_) {
            unflushedFrom_ = std::min(unflushedFrom_, span.offset);
            writeZeros(span.offset, span.length);
        }
    } catch (const Failure&) {
        // They are free: harmless, and overwritten with their next use.
    }
    for (std::size_t at = 0; at < changedBlocks_; ++at) {
        if (Block* block = blocks_[changes_[at]->block]) {
            changes_[at]->undo(block->bytes.data());
        }
    }
    endChanges();
    // A checkpoint may have written what the blocks held.
    untouchedFrom_ = std::max(untouchedFrom_, usedEnd_);
    // The others are as they are in the file, or should be: a write past the blocks may have failed half-way.
    for (std::size_t index = 0; index < blocks_.size(); ++index) {
        if (blocks_[index] != nullptr && blocks_[index]->journaled == 0) {
            drop(index);
        }
    }
}

void BlockCache::load(std::size_t block) {
    const std::uint64_t offset = std::uint64_t{block} * kBlockBytes;
    if (offset >= size_) {
        throw Failure(kFileCorrupt);
    }
    if (block >= blocks_.size()) {
        blocks_.resize(block + 1);
    }
    Block* fresh = pool_.take();
    blocks_[block] = fresh;
    if (offset >= untouchedFrom_) {
        fresh->bytes.fill(0);
    } else {
        try {
            readFile(offset, fresh->bytes);
        } catch (...) {
            drop(block);
            throw;
        }
        const auto zero = [&](std::uint64_t from, std::uint64_t to) {
            from = std::max(from, offset);
            to = std::min(to, offset + kBlockBytes);
            if (from < to) {
                std::memset(&fresh->bytes[from - offset], 0, to - from);
            }
        };
        // The journal may begin in the block in which the used part ends; its records are no contents.
        if (prepared_) {
            zero(usedEnd_, UINT64_MAX);
        }
        const auto behind = [](const Span& span, std::uint64_t place) { return span.end() <= place; };
        for (auto span = std::lower_bound(journaledZeros_.begin(), journaledZeros_.end(), offset, behind);
             span != journaledZeros_.end() && span->offset < offset + kBlockBytes; ++span) {
            zero(span->offset, span->end());
        }
    }
}

void BlockCache::drop(std::size_t block) {
    if (Block* dropped = std::exchange(blocks_[block], nullptr)) {
        pool_.give(dropped);
    }
}

// Writing into a file that somebody cut, or lengthening it, would tear a hole instead of completing it.
void BlockCache::requireWhole() {
    if (file_->size() != size_) {
        throw Failure(kWriteFault);
    }
}

void BlockCache::resize(std::uint64_t newSize) {
    requireWhole();
    file_->resize(newSize);
    size_ = newSize;
    const std::size_t count = (size_ + kBlockBytes - 1) / kBlockBytes;
    for (std::size_t index = count; index < blocks_.size(); ++index) {
        drop(index);
    }
    blocks_.resize(std::min(blocks_.size(), count));
}

void BlockCache::growFor(std::uint64_t usedEnd, std::uint64_t room) {
    const std::uint64_t needed = usedEnd + room;
    if (needed <= journalStart()) {
        return;
    }
    // The journal must stand at the end of the file: it goes before the file grows.
    checkpoint();
    if (needed <= size_) {
        return;
    }
    if (usedEnd > JournalRecord::kLargestFile) {
        throw Failure(kFileTooLarge);
    }
    const std::uint64_t generous = needed + std::clamp(size_ / 8, kSmallestGrowth, kLargestGrowth);
    try {
        resize(generous);
    } catch (const Failure& failure) {
        if (failure.code() != kMediumFull) {
            throw;
        }
        resize(needed);
    }
}

void BlockCache::writeZeros(std::uint64_t offset, std::uint64_t length) {
    for (std::uint64_t done = 0; done < length;) {
        const std::uint64_t step = std::min<std::uint64_t>(length - done, kZeros.size());
        file_->write(offset + done, {kZeros.data(), step});
        done += step;
    }
}

} // namespace storage

#include "platform/storage/BlockCache.h"

#include <algorithm>
#include <cstring>

namespace storage {
namespace {

// Unchanged bytes between two changed ranges are part of the record up to this length: about what a range of its own
// takes.
constexpr std::uint64_t kMergeGapBytes = 16;
// Unchanged bytes between two ranges that a checkpoint writes: one call for both is cheaper than two. Shorter than a
// block, so that they lie in loaded blocks as what is on both sides of them does.
constexpr std::uint64_t kWriteGapBytes = 2048;
// Room kept for the record of a commit: what most commits need.
constexpr std::uint64_t kRecordRoom = 16 * 1024;
// Room kept between two changes for the next one: its record, and the sectors by which it lengthens the file. A change
// that needs more has a checkpoint in its midst, which writes every range of the journal by itself.
constexpr std::uint64_t kChangeRoom = 64 * 1024;
// The journal's length that brings on a checkpoint.
constexpr std::uint64_t kLongJournal = 256 * 1024;
// By how much the file grows at once: enough for a long journal and for what the changes in it lengthen the file by.
constexpr std::uint64_t kSmallestGrowth = 2 * kLongJournal;
constexpr std::uint64_t kLargestGrowth = 2 * 1024 * 1024;
// Version 3 files must stay below 2 GiB, and version 4 files keep a sector for byte-range locks there.
constexpr std::uint64_t kLargestFile = 0x7FFF0000;

constexpr std::array<std::uint8_t, 64 * 1024> kZeros{};

} // namespace

BlockCache::BlockCache(std::unique_ptr<FileBytes> file, bool writable)
    : file_(std::move(file)), writable_(writable), size_(file_->size()), usedEnd_(size_),
      blocks_((size_ + kBlockBytes - 1) / kBlockBytes) {
    replay();
}

std::uint8_t* BlockCache::change(std::uint64_t offset, std::size_t length) {
    (void)read(offset);
    if (!changes_.empty() && changes_.back().end() >= offset && changes_.back().offset <= offset) {
        Span& last = changes_.back();
        last.length = std::max(last.end(), offset + length) - last.offset;
    } else {
        changes_.push_back({offset, length});
    }
    return blocks_[offset / kBlockBytes]->data() + offset % kBlockBytes;
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
        if (index < blocks_.size() && blocks_[index] != nullptr) {
            std::memcpy(&out[done], blocks_[index]->data() + at % kBlockBytes, step);
        } else {
            for (std::size_t next = index + 1;
                 step < out.size() - done && (next >= blocks_.size() || blocks_[next] == nullptr); ++next) {
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
        if (auto& block = blocks_[(offset + done) / kBlockBytes]) {
            std::memcpy(block->data() + within, &bytes[done], length);
        }
        done += length;
    }
}

void BlockCache::prepare(std::uint64_t usedEnd) {
    if (usedEnd < size_) {
        const std::size_t lastBlock = usedEnd / kBlockBytes;
        if (usedEnd % kBlockBytes != 0 && blocks_[lastBlock] != nullptr) {
            std::fill(blocks_[lastBlock]->begin() + usedEnd % kBlockBytes, blocks_[lastBlock]->end(), std::uint8_t{0});
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

void BlockCache::settle() {
    if (tornBytes_ > 0) {
        eraseTornRecord();
    }
    // Between two changes a checkpoint is cheap: the blocks hold what the journal says, and nothing newer.
    if (changed() || !prepared_) {
        return;
    }
    const bool low = journalStart() < usedEnd_ + kChangeRoom;
    if (journalBytes_ > kLongJournal || (low && journalBytes_ > 0)) {
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

void BlockCache::reserveForCommit() {
    std::uint64_t room = JournalRecord::kFooterBytes + cleared_.size() * JournalRecord::kRangeOverhead;
    for (const Span& span : changes_) {
        room += span.length + JournalRecord::kRangeOverhead + kMergeGapBytes;
    }
    growFor(usedEnd_, room);
}

void BlockCache::commit() {
    if (!changed()) {
        return;
    }
    buildRecord();
    growFor(usedEnd_, record_.sealedSize());
    requireWhole();
    record_.seal(journalStart(), journal_.size());
    tornBytes_ = record_.bytes().size();
    file_->write(journalStart() - tornBytes_, record_.bytes());
    journalBytes_ += std::exchange(tornBytes_, 0);
    journal_.push_back(record_.bytes());
    journaled_.insert(journaled_.end(), changes_.begin(), changes_.end());
    zerosJournaled_ = zerosJournaled_ || !cleared_.empty();
    changes_.clear();
    fresh_.clear();
    cleared_.clear();
    if (zerosJournaled_) {
        try {
            checkpoint();
        } catch (const Failure&) {
            // The change is in the file; the next one tries again.
        }
    }
}

void BlockCache::discard() {
    try {
        for (const Span& span : std::exchange(fresh_, {})) {
            writeZeros(span.offset, span.length);
        }
    } catch (const Failure&) {
        // They are free: harmless, and overwritten with their next use.
    }
    changes_.clear();
    cleared_.clear();
    // A checkpoint may have written what the blocks held.
    untouchedFrom_ = std::max(untouchedFrom_, usedEnd_);
    blocks_.clear();
    blocks_.resize((size_ + kBlockBytes - 1) / kBlockBytes);
    for (const Buffer& record : journal_) {
        JournalRecord::listRanges(record, size_, ranges_);
        patchBlocks(ranges_);
    }
}

void BlockCache::checkpoint() {
    if (tornBytes_ > 0) {
        eraseTornRecord();
    }
    if (journal_.empty()) {
        return;
    }
    requireWhole();
    if (changed() || zerosJournaled_) {
        // The blocks are ahead of the journal, or do not hold all of it.
        for (const Buffer& record : journal_) {
            JournalRecord::listRanges(record, size_, ranges_);
            apply(ranges_);
        }
    } else {
        merge(journaled_, kWriteGapBytes);
        for (const Span& span : journaled_) {
            gather_.resize(span.length);
            copyFromBlocks(span, gather_.data());
            file_->write(span.offset, gather_);
        }
    }
    // Without its oldest record the journal is none; until then it holds all of it.
    writeZeros(size_ - JournalRecord::kFooterBytes, JournalRecord::kFooterBytes);
    const std::uint64_t length = std::exchange(journalBytes_, 0);
    journal_.clear();
    journaled_.clear();
    zerosJournaled_ = false;
    tornBytes_ = length;
    eraseTornRecord();
}

void BlockCache::flush() {
    checkpoint();
    file_->flush();
}

void BlockCache::close(std::uint64_t end) {
    checkpoint();
    if (end < size_) {
        requireWhole();
        file_->resize(end);
    }
    file_->flush();
}

void BlockCache::load(std::size_t block) {
    const std::uint64_t offset = std::uint64_t{block} * kBlockBytes;
    if (offset >= size_) {
        throw Failure(kFileCorrupt);
    }
    auto loaded = std::make_unique<Block>();
    if (offset < untouchedFrom_) {
        readFile(offset, *loaded);
        // The journal may begin in the block in which the used part ends; its records are no contents.
        if (prepared_ && offset + kBlockBytes > usedEnd_) {
            const std::uint64_t used = usedEnd_ - std::min(usedEnd_, offset);
            std::fill(loaded->begin() + static_cast<std::ptrdiff_t>(used), loaded->end(), std::uint8_t{0});
        }
    }
    blocks_[block] = std::move(loaded);
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
    blocks_.resize((size_ + kBlockBytes - 1) / kBlockBytes);
}

// The journal of a process that ended without a checkpoint.
void BlockCache::replay() {
    std::array<std::uint8_t, JournalRecord::kFooterBytes> footer{};
    std::uint64_t end = size_;
    std::vector<Buffer> records;
    while (end >= footer.size()) {
        readFile(end - footer.size(), footer);
        const auto length = JournalRecord::sizeByFooter(footer, end, records.size());
        if (!length) {
            break;
        }
        Buffer record(*length);
        readFile(end - *length, record);
        if (!JournalRecord::intact(record)) {
            break;
        }
        end -= *length;
        records.push_back(std::move(record));
    }
    // Nothing is set before all of it is known to lie outside of the journal.
    for (const Buffer& record : records) {
        if (!JournalRecord::listRanges(record, end, ranges_)) {
            return;
        }
    }
    for (const Buffer& record : records) {
        JournalRecord::listRanges(record, end, ranges_);
        if (writable_) {
            apply(ranges_);
        } else {
            patchBlocks(ranges_);
        }
    }
    if (writable_ && !records.empty()) {
        file_->flush();
        writeZeros(size_ - footer.size(), footer.size());
        writeZeros(end, size_ - footer.size() - end);
    }
}

void BlockCache::patchBlocks(const std::vector<JournalRecord::Range>& ranges) {
    for (const auto& range : ranges) {
        for (std::uint64_t done = 0; done < range.length;) {
            const std::uint64_t at = range.offset + done;
            const std::uint64_t length = std::min(range.length - done, kBlockBytes - at % kBlockBytes);
            (void)read(at);
            std::uint8_t* target = blocks_[at / kBlockBytes]->data() + at % kBlockBytes;
            if (range.bytes != nullptr) {
                std::memcpy(target, range.bytes + done, length);
            } else {
                std::memset(target, 0, length);
            }
            done += length;
        }
    }
}

void BlockCache::zeroInBlocks(const Span& range) {
    for (std::uint64_t at = range.offset; at < range.end();) {
        const std::uint64_t length = std::min(range.end() - at, kBlockBytes - at % kBlockBytes);
        if (auto& block = blocks_[at / kBlockBytes]) {
            std::memset(block->data() + at % kBlockBytes, 0, length);
        }
        at += length;
    }
}

void BlockCache::merge(std::vector<Span>& spans, std::uint64_t gap) {
    std::sort(spans.begin(), spans.end(),
              [](const Span& left, const Span& right) { return left.offset < right.offset; });
    std::size_t kept = 0;
    for (std::size_t at = 1; at < spans.size(); ++at) {
        Span& last = spans[kept];
        const Span& next = spans[at];
        if (next.offset <= last.end() + gap) {
            last.length = std::max(last.end(), next.end()) - last.offset;
        } else {
            spans[++kept] = next;
        }
    }
    spans.resize(std::min(spans.size(), kept + 1));
}

void BlockCache::copyFromBlocks(const Span& span, std::uint8_t* out) {
    for (std::uint64_t done = 0; done < span.length;) {
        const std::uint64_t at = span.offset + done;
        const std::uint64_t length = std::min(span.length - done, kBlockBytes - at % kBlockBytes);
        std::memcpy(out + done, read(at), length);
        done += length;
    }
}

void BlockCache::buildRecord() {
    // A block that was loaded after its clear() holds the old bytes.
    for (const Span& range : cleared_) {
        zeroInBlocks(range);
    }
    merge(changes_, kMergeGapBytes);
    record_.clear();
    for (const Span& range : cleared_) {
        record_.addZeros(range.offset, range.length);
    }
    for (const Span& range : changes_) {
        copyFromBlocks(range, record_.addRange(range.offset, range.length));
    }
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
    if (usedEnd > kLargestFile) {
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

void BlockCache::apply(const std::vector<JournalRecord::Range>& ranges) {
    for (const auto& range : ranges) {
        if (range.bytes != nullptr) {
            file_->write(range.offset, {range.bytes, range.length});
        } else {
            writeZeros(range.offset, range.length);
        }
    }
}

void BlockCache::writeZeros(std::uint64_t offset, std::uint64_t length) {
    for (std::uint64_t done = 0; done < length;) {
        const std::uint64_t step = std::min<std::uint64_t>(length - done, kZeros.size());
        file_->write(offset + done, {kZeros.data(), step});
        done += step;
    }
}

void BlockCache::eraseTornRecord() {
    writeZeros(journalStart() - tornBytes_, tornBytes_);
    tornBytes_ = 0;
}

} // namespace storage

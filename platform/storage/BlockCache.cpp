#include "platform/storage/BlockCache.h"

#include <algorithm>
#include <cstring>

namespace storage {
namespace {

// Unchanged bytes between two changed ranges are written along with them up to this length: one call for both is
// cheaper than two.
constexpr std::uint64_t kMergeGapBytes = 768;
// Room kept for the record of a commit: what most commits need.
constexpr std::uint64_t kRecordRoom = 16 * 1024;
// By how much the file grows at once.
constexpr std::uint64_t kSmallestGrowth = 64 * 1024;
constexpr std::uint64_t kLargestGrowth = 1024 * 1024;
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
    const std::size_t inFile = static_cast<std::size_t>(std::min<std::uint64_t>(out.size(), size_ - std::min(size_, offset)));
    if (file_->read(offset, out.first(inFile)) < inFile) {
        throw Failure(kReadFault);
    }
    std::fill(out.begin() + static_cast<std::ptrdiff_t>(inFile), out.end(), std::uint8_t{0});
}

void BlockCache::writeDirect(std::uint64_t offset, ByteView bytes) {
    if (file_->size() != size_) {
        throw Failure(kWriteFault);
    }
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
}

void BlockCache::useUpTo(std::uint64_t end) {
    if (end > usedEnd_) {
        growFor(end, kRecordRoom);
        usedEnd_ = end;
    }
}

void BlockCache::settle() {
    if (unfinished_ == Unfinished::apply) {
        JournalRecord::listRanges(record_.bytes(), size_, ranges_);
        apply(ranges_);
        unfinished_ = Unfinished::erase;
    }
    if (unfinished_ == Unfinished::erase) {
        eraseRecord();
    }
}

void BlockCache::reserveForCommit() {
    buildRecord();
    growFor(usedEnd_, record_.sealedSize());
}

void BlockCache::commit() {
    if (!changed()) {
        return;
    }
    reserveForCommit();
    // Writing into a file that somebody cut would tear a hole instead of completing it.
    if (file_->size() != size_) {
        throw Failure(kWriteFault);
    }
    record_.seal(size_);
    unfinished_ = Unfinished::erase;
    file_->write(size_ - record_.bytes().size(), record_.bytes());
    unfinished_ = Unfinished::apply;
    changes_.clear();
    cleared_.clear();
    settle();
}

void BlockCache::discard() {
    changes_.clear();
    cleared_.clear();
    blocks_.clear();
    blocks_.resize((size_ + kBlockBytes - 1) / kBlockBytes);
}

void BlockCache::close(std::uint64_t end) {
    settle();
    if (end < size_) {
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
    readDirect(offset, *loaded);
    blocks_[block] = std::move(loaded);
}

void BlockCache::resize(std::uint64_t newSize) {
    file_->resize(newSize);
    size_ = newSize;
    blocks_.resize((size_ + kBlockBytes - 1) / kBlockBytes);
}

// The record of a process that ended in the middle of a commit.
void BlockCache::replay() {
    std::array<std::uint8_t, JournalRecord::kFooterBytes> footer{};
    if (size_ < footer.size() || file_->read(size_ - footer.size(), footer) < footer.size()) {
        return;
    }
    const auto recordSize = JournalRecord::sizeByFooter(footer, size_);
    if (!recordSize) {
        return;
    }
    Buffer record(*recordSize);
    readDirect(size_ - *recordSize, record);
    if (!JournalRecord::intact(record) || !JournalRecord::listRanges(record, size_, ranges_)) {
        return;
    }
    if (writable_) {
        apply(ranges_);
        writeZeros(size_ - *recordSize, *recordSize);
        file_->flush();
        return;
    }
    for (const auto& range : ranges_) {
        for (std::uint64_t done = 0; done < range.length;) {
            const std::uint64_t at = range.offset + done;
            const std::uint64_t length = std::min(range.length - done, kBlockBytes - at % kBlockBytes);
            auto* target = const_cast<std::uint8_t*>(read(at));
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

void BlockCache::mergeChanges() {
    std::sort(changes_.begin(), changes_.end(),
              [](const Span& left, const Span& right) { return left.offset < right.offset; });
    std::size_t kept = 0;
    for (std::size_t at = 1; at < changes_.size(); ++at) {
        Span& last = changes_[kept];
        const Span& next = changes_[at];
        // Both sides of a gap this short are in loaded blocks, and so is the gap.
        if (next.offset <= last.end() + kMergeGapBytes) {
            last.length = std::max(last.end(), next.end()) - last.offset;
        } else {
            changes_[++kept] = next;
        }
    }
    changes_.resize(std::min(changes_.size(), kept + 1));
}

void BlockCache::buildRecord() {
    // A block that was loaded after its clear() holds the old bytes.
    for (const Span& range : cleared_) {
        zeroInBlocks(range);
    }
    mergeChanges();
    record_.clear();
    for (const Span& range : cleared_) {
        record_.addZeros(range.offset, range.length);
    }
    for (const Span& range : changes_) {
        std::uint8_t* target = record_.addRange(range.offset, range.length);
        for (std::uint64_t done = 0; done < range.length;) {
            const std::uint64_t at = range.offset + done;
            const std::uint64_t length = std::min(range.length - done, kBlockBytes - at % kBlockBytes);
            std::memcpy(target + done, read(at), length);
            done += length;
        }
    }
}

void BlockCache::growFor(std::uint64_t usedEnd, std::uint64_t room) {
    const std::uint64_t needed = usedEnd + room;
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

void BlockCache::eraseRecord() {
    writeZeros(size_ - record_.bytes().size(), record_.bytes().size());
    unfinished_ = Unfinished::nothing;
}

} // namespace storage

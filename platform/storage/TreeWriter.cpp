#include "platform/storage/TreeWriter.h"

#include "platform/kernel/LittleEndian.h"
#include "platform/storage/Format.h"
#include "platform/storage/Status.h"

#include <algorithm>
#include <bit>

namespace storage {
namespace {

using namespace format;
using kernel::put16;
using kernel::put32;
using kernel::put64;

constexpr std::uint64_t kSectorBytes = std::uint64_t{1} << kShift3;
constexpr std::uint64_t kMiniBytes = std::uint64_t{1} << kMiniShift;
constexpr std::uint64_t kWordsInSector = kSectorBytes / 4;

// How many pieces of `size` it takes for `bytes`.
constexpr std::uint64_t piecesFor(std::uint64_t bytes, std::uint64_t size) {
    return (bytes + size - 1) / size;
}

// One entry of the directory to be; its number is its place in the list.
struct DirectoryEntry {
    const Node* node;
    std::uint8_t colour = kBlack;
    std::uint32_t left = kNoEntry;
    std::uint32_t right = kNoEntry;
    std::uint32_t child = kNoEntry;
};

// The directory of a tree: storage by storage, the children of each side by side in the order of their names.
class Directory {
public:
    explicit Directory(const Node& root) {
        entries_.push_back({&root});
        for (std::size_t at = 0; at < entries_.size(); ++at) {
            const auto first = static_cast<std::uint32_t>(entries_.size());
            for (const auto& child : entries_[at].node->children) {
                entries_.push_back({child.get()});
            }
            const auto count = static_cast<std::uint32_t>(entries_.size()) - first;
            // The lowest level is red unless it is full, and all the others, which are full, are black.
            const bool isFull = std::has_single_bit(count + 1);
            entries_[at].child = link(first, count, isFull ? UINT32_MAX : std::bit_width(count) - 1U);
        }
    }

    const std::vector<DirectoryEntry>& entries() const { return entries_; }

private:
    // Makes a tree of the entries from `first` on whose levels are full but for the lowest; answers its top.
    std::uint32_t link(std::uint32_t first, std::uint32_t count, std::uint32_t levelsAboveRed) {
        if (count == 0) {
            return kNoEntry;
        }
        const std::uint32_t middle = first + count / 2;
        DirectoryEntry& entry = entries_[middle];
        entry.colour = levelsAboveRed == 0 ? kRed : kBlack;
        entry.left = link(first, count / 2, levelsAboveRed - 1);
        entry.right = link(middle + 1, count - count / 2 - 1, levelsAboveRed - 1);
        return middle;
    }

    std::vector<DirectoryEntry> entries_;
};

class TreeWriter {
public:
    explicit TreeWriter(const Tree& tree) : tree_(tree), directory_(*tree.root) { layOut(); }

    Buffer write() {
        writeHeader();
        std::fill_n(sector(0), fatSectors_ * kSectorBytes, std::uint8_t{0xFF});
        for (std::uint64_t at = 0; at < fatSectors_; ++at) {
            put32(fatWord(at), kFatSector);
        }
        writeDifat();
        chain(fatWord(firstDirectory_), firstDirectory_, directorySectors_);
        chain(fatWord(firstMiniStream_), firstMiniStream_, miniStreamSectors_);
        chain(fatWord(firstMiniFat_), firstMiniFat_, miniFatSectors_);
        std::fill_n(sector(firstMiniFat_), miniFatSectors_ * kSectorBytes, std::uint8_t{0xFF});
        writeDirectory();
        return std::move(out_);
    }

private:
    // Where everything goes, in this order: allocation table, its list, directory, mini stream, its allocation table,
    // large streams.
    void layOut() {
        std::uint64_t largeSectors = 0;
        for (const DirectoryEntry& entry : directory_.entries()) {
            const std::uint64_t size = entry.node->size();
            if (size < kMiniCutoff) {
                miniSectors_ += piecesFor(size, kMiniBytes);
            } else {
                largeSectors += piecesFor(size, kSectorBytes);
            }
        }
        directorySectors_ = piecesFor(directory_.entries().size() * kEntryBytes, kSectorBytes);
        miniStreamSectors_ = piecesFor(miniSectors_ * kMiniBytes, kSectorBytes);
        miniFatSectors_ = piecesFor(miniSectors_, kWordsInSector);
        const std::uint64_t rest = directorySectors_ + miniStreamSectors_ + miniFatSectors_ + largeSectors;
        while (fatSectors_ * kWordsInSector < fatSectors_ + difatSectors_ + rest) {
            ++fatSectors_;
            difatSectors_ = piecesFor(std::max<std::uint64_t>(fatSectors_, kHeaderFatSectors) - kHeaderFatSectors,
                                      kWordsInSector - 1);
        }
        firstDirectory_ = fatSectors_ + difatSectors_;
        firstMiniStream_ = firstDirectory_ + directorySectors_;
        firstMiniFat_ = firstMiniStream_ + miniStreamSectors_;
        nextLarge_ = firstMiniFat_ + miniFatSectors_;
        const std::uint64_t bytes = (1 + nextLarge_ + largeSectors) * kSectorBytes;
        if (bytes > kMaxFileBytes) {
            throw Failure(kFileTooLarge);
        }
        out_.resize(bytes);
    }

    std::uint8_t* sector(std::uint64_t number) { return &out_[0] + (1 + number) * kSectorBytes; }
    // The word of the allocation table for a sector: the table's sectors are the first ones of the file.
    std::uint8_t* fatWord(std::uint64_t number) { return sector(0) + 4 * number; }

    // Says in words of a table that `count` sectors from `first` on follow each other.
    static void chain(std::uint8_t* word, std::uint64_t first, std::uint64_t count) {
        for (std::uint64_t at = 1; at <= count; ++at, word += 4) {
            put32(word, at == count ? kEndOfChain : static_cast<std::uint32_t>(first + at));
        }
    }

    static std::uint32_t firstOrNone(std::uint64_t first, std::uint64_t count) {
        return count == 0 ? kEndOfChain : static_cast<std::uint32_t>(first);
    }

    void writeHeader() {
        std::uint8_t* header = out_.data();
        std::ranges::copy(kSignature, header);
        put16(header + kAtMinorVersion, kMinorVersion);
        put16(header + kAtMajorVersion, 3);
        put16(header + kAtByteOrder, kByteOrder);
        put16(header + kAtSectorShift, kShift3);
        put16(header + kAtMiniShift, kMiniShift);
        put32(header + kAtFatSectors, static_cast<std::uint32_t>(fatSectors_));
        put32(header + kAtFirstDirectory, static_cast<std::uint32_t>(firstDirectory_));
        put32(header + kAtMiniCutoff, kMiniCutoff);
        put32(header + kAtFirstMiniFat, firstOrNone(firstMiniFat_, miniFatSectors_));
        put32(header + kAtMiniFatSectors, static_cast<std::uint32_t>(miniFatSectors_));
        put32(header + kAtFirstDifat, firstOrNone(fatSectors_, difatSectors_));
        put32(header + kAtDifatSectors, static_cast<std::uint32_t>(difatSectors_));
    }

    // The list of the allocation table's sectors: in the header, then in sectors whose last word leads to the next.
    void writeDifat() {
        std::fill(&out_[kAtDifat], &out_[kHeaderBytes], std::uint8_t{0xFF});
        std::fill_n(sector(fatSectors_), difatSectors_ * kSectorBytes, std::uint8_t{0xFF});
        for (std::uint64_t at = 0; at < fatSectors_; ++at) {
            const std::uint64_t behind = at - kHeaderFatSectors; // unused for those in the header
            std::uint8_t* place = at < kHeaderFatSectors ? &out_[kAtDifat + 4 * at]
                                                         : sector(fatSectors_ + behind / (kWordsInSector - 1)) +
                                                               4 * (behind % (kWordsInSector - 1));
            put32(place, static_cast<std::uint32_t>(at));
        }
        for (std::uint64_t at = 0; at < difatSectors_; ++at) {
            put32(fatWord(fatSectors_ + at), kDifatSector);
            put32(sector(fatSectors_ + at + 1) - 4,
                  at + 1 == difatSectors_ ? kEndOfChain : static_cast<std::uint32_t>(fatSectors_ + at + 1));
        }
    }

    void writeDirectory() {
        std::uint8_t* at = sector(firstDirectory_);
        for (const DirectoryEntry& entry : directory_.entries()) {
            const Node& node = *entry.node;
            const bool isRoot = &entry == &directory_.entries().front();
            const std::u16string_view name = node.name.units();
            for (std::size_t unit = 0; unit < name.size(); ++unit) {
                put16(at + kAtName + 2 * unit, name[unit]);
            }
            put16(at + kAtNameBytes, static_cast<std::uint16_t>(2 * (name.size() + 1)));
            at[kAtType] = isRoot ? kRootType : node.kind == ElementKind::stream ? kStreamType : kStorageType;
            at[kAtColour] = entry.colour;
            put32(at + kAtLeft, entry.left);
            put32(at + kAtRight, entry.right);
            put32(at + kAtChild, entry.child);
            std::ranges::copy(node.properties, at + kAtClassId);
            if (isRoot) {
                put32(at + kAtStart, firstOrNone(firstMiniStream_, miniStreamSectors_));
                put64(at + kAtSize, miniSectors_ * kMiniBytes);
            } else if (node.kind == ElementKind::stream) {
                put32(at + kAtStart, writeStream(node));
                put64(at + kAtSize, node.size());
            }
            at += kEntryBytes;
        }
        for (; at < sector(firstMiniStream_); at += kEntryBytes) {
            std::fill(at + kAtLeft, at + kAtClassId, std::uint8_t{0xFF});
        }
    }

    // Puts a stream behind those before it and answers its first sector.
    std::uint32_t writeStream(const Node& stream) {
        const std::uint64_t size = stream.size();
        const bool isMini = size < kMiniCutoff;
        std::uint64_t& next = isMini ? nextMini_ : nextLarge_;
        const std::uint64_t first = next;
        const std::uint64_t count = piecesFor(size, isMini ? kMiniBytes : kSectorBytes);
        std::uint8_t* place = isMini ? sector(firstMiniStream_) + first * kMiniBytes : sector(first);
        tree_.read(stream, 0, {place, size});
        chain(isMini ? sector(firstMiniFat_) + 4 * first : fatWord(first), first, count);
        next += count;
        return firstOrNone(first, count);
    }

    const Tree& tree_;
    const Directory directory_;
    Buffer out_;
    // Numbers of sectors, and of the first of each part.
    std::uint64_t fatSectors_ = 0;
    std::uint64_t difatSectors_ = 0;
    std::uint64_t directorySectors_ = 0;
    std::uint64_t miniStreamSectors_ = 0;
    std::uint64_t miniFatSectors_ = 0;
    std::uint64_t miniSectors_ = 0;
    std::uint64_t firstDirectory_ = 0;
    std::uint64_t firstMiniStream_ = 0;
    std::uint64_t firstMiniFat_ = 0;
    std::uint64_t nextMini_ = 0;
    std::uint64_t nextLarge_ = 0;
};

} // namespace

Buffer writeTree(const Tree& tree) {
    return TreeWriter(tree).write();
}

} // namespace storage

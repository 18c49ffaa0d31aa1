#include "platform/kernel/LittleEndian.h"
#include "platform/storage/Format.h"
#include "platform/storage/Status.h"
#include "platform/storage/Tree.h"

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
    const Name* name;
    const Node* node;
    std::uint8_t colour = kBlack;
    std::uint32_t left = kNoEntry;
    std::uint32_t right = kNoEntry;
    std::uint32_t child = kNoEntry;
};

// Makes a tree of `count` entries from `first` on whose levels are full but for the lowest; answers its top. The lowest
// level is red unless it is full, and all the others are black.
std::uint32_t link(std::vector<DirectoryEntry>& entries, std::uint32_t first, std::uint32_t count,
                   std::uint32_t levelsAboveRed) {
    if (count == 0) {
        return kNoEntry;
    }
    const std::uint32_t middle = first + count / 2;
    entries[middle].colour = levelsAboveRed == 0 ? kRed : kBlack;
    entries[middle].left = link(entries, first, count / 2, levelsAboveRed - 1);
    entries[middle].right = link(entries, middle + 1, count - count / 2 - 1, levelsAboveRed - 1);
    return middle;
}

// The directory of a tree: storage by storage, the children of each side by side in the order of their names.
std::vector<DirectoryEntry> listEntries(const Tree& tree) {
    std::vector<DirectoryEntry> entries{{&tree.rootName, tree.root.get()}};
    for (std::size_t at = 0; at < entries.size(); ++at) {
        if (entries[at].node->kind == ElementKind::kStorage) {
            const auto first = static_cast<std::uint32_t>(entries.size());
            for (const auto& [name, child] : *entries[at].node->children) {
                entries.push_back({&name, &child});
            }
            const auto count = static_cast<std::uint32_t>(entries.size()) - first;
            const bool isFull = std::has_single_bit(count + 1);
            entries[at].child = link(entries, first, count, isFull ? UINT32_MAX : std::bit_width(count) - 1U);
        }
    }
    return entries;
}

// Sectors side by side.
struct Part {
    std::uint64_t first = 0;
    std::uint64_t count = 0;

    std::uint64_t end() const { return first + count; }
    std::uint32_t start() const { return count == 0 ? kEndOfChain : static_cast<std::uint32_t>(first); }
};

class TreeWriter {
public:
    explicit TreeWriter(const Tree& tree) : tree_(tree), entries_(listEntries(tree)) { layOut(); }

    Buffer write() {
        writeHeader();
        std::fill_n(sector(fat_.first), fat_.count * kSectorBytes, std::uint8_t{0xFF});
        std::fill_n(sector(miniFat_.first), miniFat_.count * kSectorBytes, std::uint8_t{0xFF});
        writeDifat();
        chain(fatWord(directory_.first), directory_);
        chain(fatWord(miniStream_.first), miniStream_);
        chain(fatWord(miniFat_.first), miniFat_);
        writeDirectory();
        return std::move(out_);
    }

private:
    // Where everything goes, in this order: allocation table, its list, directory, mini stream, its allocation table,
    // large streams.
    void layOut() {
        std::uint64_t largeSectors = 0;
        std::uint64_t miniSectors = 0;
        for (const DirectoryEntry& entry : entries_) {
            const std::uint64_t size = entry.node->size();
            if (size < kMiniCutoff) {
                miniSectors += piecesFor(size, kMiniBytes);
            } else {
                largeSectors += piecesFor(size, kSectorBytes);
            }
        }
        directory_.count = piecesFor(entries_.size() * kEntryBytes, kSectorBytes);
        miniStream_.count = piecesFor(miniSectors * kMiniBytes, kSectorBytes);
        miniFat_.count = piecesFor(miniSectors, kWordsInSector);
        const std::uint64_t rest = directory_.count + miniStream_.count + miniFat_.count + largeSectors;
        while (fat_.count * kWordsInSector < fat_.count + difat_.count + rest) {
            ++fat_.count;
            difat_.count = piecesFor(std::max<std::uint64_t>(fat_.count, kHeaderFatSectors) - kHeaderFatSectors,
                                     kWordsInSector - 1);
        }
        difat_.first = fat_.end();
        directory_.first = difat_.end();
        miniStream_.first = directory_.end();
        miniFat_.first = miniStream_.end();
        nextLarge_ = miniFat_.end();
        const std::uint64_t bytes = (1 + nextLarge_ + largeSectors) * kSectorBytes;
        if (bytes > kMaxFileBytes) {
            throw Failure(kFileTooLarge);
        }
        out_.resize(bytes);
    }

    std::uint8_t* sector(std::uint64_t number) { return &out_[0] + (1 + number) * kSectorBytes; }
    // The word of the allocation table for a sector: the table's sectors are the first ones of the file.
    std::uint8_t* fatWord(std::uint64_t number) { return sector(0) + 4 * number; }

    // Says in words of a table that the sectors of a part follow each other.
    static void chain(std::uint8_t* word, const Part& part) {
        for (std::uint64_t next = part.first + 1; next <= part.end(); ++next, word += 4) {
            put32(word, next == part.end() ? kEndOfChain : static_cast<std::uint32_t>(next));
        }
    }

    void writeHeader() {
        std::uint8_t* header = out_.data();
        std::ranges::copy(kSignature, header);
        put16(header + kAtMinorVersion, kMinorVersion);
        put16(header + kAtMajorVersion, 3);
        put16(header + kAtByteOrder, kByteOrder);
        put16(header + kAtSectorShift, kShift3);
        put16(header + kAtMiniShift, kMiniShift);
        put32(header + kAtFatSectors, static_cast<std::uint32_t>(fat_.count));
        put32(header + kAtFirstDirectory, directory_.start());
        put32(header + kAtMiniCutoff, kMiniCutoff);
        put32(header + kAtFirstMiniFat, miniFat_.start());
        put32(header + kAtMiniFatSectors, static_cast<std::uint32_t>(miniFat_.count));
        put32(header + kAtFirstDifat, difat_.start());
        put32(header + kAtDifatSectors, static_cast<std::uint32_t>(difat_.count));
    }

    // The list of the allocation table's sectors: in the header, then in sectors whose last word leads to the next.
    void writeDifat() {
        std::fill(&out_[kAtDifat], &out_[kHeaderBytes], std::uint8_t{0xFF});
        std::fill_n(sector(difat_.first), difat_.count * kSectorBytes, std::uint8_t{0xFF});
        std::uint8_t* list = &out_[kAtDifat];
        for (std::uint64_t at = 0; at < fat_.count; ++at, list += 4) {
            if (at >= kHeaderFatSectors && (at - kHeaderFatSectors) % (kWordsInSector - 1) == 0) {
                list = sector(difat_.first + (at - kHeaderFatSectors) / (kWordsInSector - 1));
            }
            put32(list, static_cast<std::uint32_t>(at));
            put32(fatWord(at), kFatSector);
        }
        for (std::uint64_t at = difat_.first; at < difat_.end(); ++at) {
            const std::uint64_t next = at + 1;
            put32(sector(next) - 4, next == difat_.end() ? kEndOfChain : static_cast<std::uint32_t>(next));
            put32(fatWord(at), kDifatSector);
        }
    }

    void writeDirectory() {
        std::uint8_t* at = sector(directory_.first);
        for (const DirectoryEntry& entry : entries_) {
            const Node& node = *entry.node;
            const std::u16string_view name = entry.name->units();
            for (std::size_t unit = 0; unit < name.size(); ++unit) {
                put16(at + kAtName + 2 * unit, name[unit]);
            }
            put16(at + kAtNameBytes, static_cast<std::uint16_t>(2 * (name.size() + 1)));
            at[kAtType] = node.kind == ElementKind::kStream ? kStreamType : kStorageType;
            at[kAtColour] = entry.colour;
            put32(at + kAtLeft, entry.left);
            put32(at + kAtRight, entry.right);
            put32(at + kAtChild, entry.child);
            std::ranges::copy(node.properties, at + kAtClassId);
            if (node.kind == ElementKind::kStream) {
                put32(at + kAtStart, writeStream(node));
                put64(at + kAtSize, node.size());
            }
            at += kEntryBytes;
        }
        std::uint8_t* root = sector(directory_.first);
        root[kAtType] = kRootType;
        put32(root + kAtStart, miniStream_.start());
        put64(root + kAtSize, nextMini_ * kMiniBytes);
        for (; at < sector(miniStream_.first); at += kEntryBytes) {
            std::fill(at + kAtLeft, at + kAtClassId, std::uint8_t{0xFF});
        }
    }

    // Puts a stream behind those before it and answers its first sector.
    std::uint32_t writeStream(const Node& stream) {
        const std::uint64_t size = stream.size();
        const bool isMini = size < kMiniCutoff;
        std::uint64_t& next = isMini ? nextMini_ : nextLarge_;
        const Part part{next, piecesFor(size, isMini ? kMiniBytes : kSectorBytes)};
        next = part.end();
        tree_.read(stream, 0,
                   {isMini ? sector(miniStream_.first) + part.first * kMiniBytes : sector(part.first), size});
        chain(isMini ? sector(miniFat_.first) + 4 * part.first : fatWord(part.first), part);
        return part.start();
    }

    const Tree& tree_;
    const std::vector<DirectoryEntry> entries_;
    Buffer out_;
    // Of the allocation table, its list, the directory, the mini stream and its allocation table.
    Part fat_;
    Part difat_;
    Part directory_;
    Part miniStream_;
    Part miniFat_;
    // Where the next stream begins.
    std::uint64_t nextMini_ = 0;
    std::uint64_t nextLarge_ = 0;
};

} // namespace

Buffer writeTree(const Tree& tree) {
    return TreeWriter(tree).write();
}

} // namespace storage

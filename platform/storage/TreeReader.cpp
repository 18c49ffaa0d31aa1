#include "platform/kernel/LittleEndian.h"
#include "platform/storage/Format.h"
#include "platform/storage/Status.h"
#include "platform/storage/Tree.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <utility>

namespace storage {
namespace {

using namespace format;
using kernel::get16;
using kernel::get32;
using kernel::get64;

void checkHeader(const FileBytes& file) {
    const std::uint8_t* header = file.data.get();
    if (file.size < kHeaderBytes || std::memcmp(header, kSignature, sizeof kSignature) != 0 ||
        (get16(header + kAtMajorVersion) != 3 && get16(header + kAtMajorVersion) != 4) ||
        (get16(header + kAtSectorShift) != kShift3 && get16(header + kAtSectorShift) != kShift4) ||
        get16(header + kAtByteOrder) != kByteOrder || get16(header + kAtMiniShift) != kMiniShift ||
        get32(header + kAtMiniCutoff) != kMiniCutoff) {
        throw Failure(kInvalidHeader);
    }
}

// Makes the nodes of the tree from the entries of the directory. Neither the depth of the storages nor that of the
// trees of siblings takes stack.
class TreeReader {
public:
    explicit TreeReader(FileBytes bytes) { file_.bytes = std::move(bytes); }

    Tree read() {
        checkHeader(file_.bytes);
        readAllocation();
        directory_ = file_.large.claimAll(headerWord(kAtFirstDirectory));
        seen_.assign(directory_.size() * sectorBytes() / kEntryBytes, false);
        if (seen_.empty() || entry(0)[kAtType] != kRootType || get16(entry(0) + kAtNameBytes) > kMaxNameBytes) {
            failCorrupt("the directory has no root in entry", 0);
        }
        readMiniAllocation();
        readNodes();
        checkStreams();
        tree_.file = std::make_unique<const FileSectors>(std::move(file_));
        return std::move(tree_);
    }

private:
    std::uint32_t headerWord(unsigned offset) const { return get32(file_.bytes.data.get() + offset); }
    std::uint64_t sectorBytes() const { return std::uint64_t{1} << get16(file_.bytes.data.get() + kAtSectorShift); }
    // A sector of a table. One that the file has only a part of ends in zeros.
    const std::uint8_t* sector(std::uint32_t number) const { return file_.large.bytes(number, 0).data(); }
    const std::uint8_t* entry(std::uint32_t id) const {
        const std::uint64_t offset = std::uint64_t{id} * kEntryBytes;
        return sector(directory_[offset / sectorBytes()]) + offset % sectorBytes();
    }
    // The upper half of a size is rubbish in some files of version 3, whose streams are shorter than that.
    std::uint64_t sizeIn(const std::uint8_t* at) const {
        const bool isVersion3 = get16(file_.bytes.data.get() + kAtMajorVersion) == 3;
        return isVersion3 ? get32(at + kAtSize) : get64(at + kAtSize);
    }

    // The words of a table that lies in these sectors, `most` of them: words for sectors that the file does not have
    // would cost memory without end.
    SectorList wordsIn(const SectorList& sectors, std::size_t most) const {
        SectorList words;
        for (const std::uint32_t number : sectors) {
            for (std::uint64_t at = 0; at < sectorBytes() && words.size() < most; at += 4) {
                words.push_back(get32(sector(number) + at));
            }
        }
        return words;
    }

    // The allocation table's sectors are listed in the header and in sectors of their own, the last word of each of
    // which leads to the next.
    void readAllocation() {
        SectorChains& large = file_.large;
        large.file = {file_.bytes.data.get(), file_.bytes.size};
        large.sectorBytes = sectorBytes();
        for (std::uint64_t at = sectorBytes(); at < file_.bytes.size; at += sectorBytes()) {
            large.places.push_back(static_cast<std::uint32_t>(at)); // the header takes the place of one
        }
        large.claimed.resize(large.count());
        const std::uint32_t count = headerWord(kAtFatSectors);
        if (count == 0 || count > large.count()) {
            failCorrupt("the count of allocation sectors is", count);
        }
        SectorList listed;
        const std::uint8_t* place = file_.bytes.data.get() + kAtDifat;
        std::uint64_t left = kHeaderFatSectors;
        for (std::uint32_t next = headerWord(kAtFirstDifat); listed.size() < count; --left, place += 4) {
            if (left == 0) {
                large.claim(next);
                place = sector(next);
                left = sectorBytes() / 4 - 1;
                next = get32(place + 4 * left);
            }
            listed.push_back(get32(place));
            large.claim(listed.back());
        }
        large.following = wordsIn(listed, large.count());
    }

    // A mini stream whose size is no multiple of a mini sector ends in one that counts.
    void readMiniAllocation() {
        SectorChains& mini = file_.mini;
        mini.file = file_.large.file;
        mini.sectorBytes = std::uint64_t{1} << kMiniShift;
        const std::uint64_t size = sizeIn(entry(0));
        if (size > 0) {
            for (const std::uint32_t number : file_.large.claimAll(get32(entry(0) + kAtStart))) {
                for (std::uint64_t at = 0; at < sectorBytes() && mini.count() * mini.sectorBytes < size;
                     at += mini.sectorBytes) {
                    mini.places.push_back(static_cast<std::uint32_t>(file_.large.places[number] + at));
                }
            }
        }
        mini.claimed.resize(mini.count());
        mini.following = wordsIn(file_.large.claimAll(headerWord(kAtFirstMiniFat)), mini.count());
    }

    void readNodes() {
        tree_.rootName = nameIn(entry(0));
        fill(*tree_.root, entry(0));
        seen_[0] = true;
        std::vector<std::pair<Node*, std::uint32_t>> storages{{tree_.root.get(), get32(entry(0) + kAtChild)}};
        while (!storages.empty()) {
            const auto [storage, top] = storages.back();
            storages.pop_back();
            for (const std::uint32_t id : childrenBelow(top, *storage)) {
                Node* child = addChild(*storage, id);
                if (child != nullptr && child->kind == ElementKind::kStorage) {
                    storages.emplace_back(child, get32(entry(id) + kAtChild));
                } else if (child != nullptr) {
                    streams_.push_back(child);
                }
            }
        }
        for (std::uint32_t id = 0; id < seen_.size(); ++id) {
            if (!seen_[id] && (entry(id)[kAtType] == kStorageType || entry(id)[kAtType] == kStreamType)) {
                addDamage("nothing leads to entry", id);
            }
        }
    }

    // The entries in a tree of siblings, in the order of their names as far as the links keep it.
    const SectorList& childrenBelow(std::uint32_t top, Node& storage) {
        children_.clear();
        for (std::uint32_t next = top;;) {
            while (next != kNoEntry && take(next, storage)) {
                path_.push_back(next);
                next = get32(entry(next) + kAtLeft);
            }
            if (path_.empty()) {
                return children_;
            }
            children_.push_back(path_.back());
            next = get32(entry(path_.back()) + kAtRight);
            path_.pop_back();
        }
    }

    // Whether there is such an entry, and nothing else has led to it.
    bool take(std::uint32_t id, Node& storage) {
        if (id >= seen_.size() || seen_[id]) {
            addDamage("two links, or one to none, lead to entry", id, &storage);
            return false;
        }
        seen_[id] = true;
        return true;
    }

    // Null where the entry is of no use.
    Node* addChild(Node& storage, std::uint32_t id) {
        const std::uint8_t* at = entry(id);
        const std::uint8_t type = at[kAtType];
        if ((type != kStorageType && type != kStreamType) || get16(at + kAtNameBytes) > kMaxNameBytes) {
            addDamage("neither a storage nor a stream is entry", id, &storage);
            return nullptr;
        }
        const auto kind = type == kStreamType ? ElementKind::kStream : ElementKind::kStorage;
        Node::Children& children = *storage.children;
        const std::size_t before = children.size();
        Node& child = children.try_emplace(children.end(), nameIn(at), kind)->second;
        if (children.size() == before) {
            addDamage("a name is there twice, the second time in entry", id, &storage);
            return nullptr;
        }
        fill(child, at);
        return &child;
    }

    // With its closing zero, if it has one: some writers leave it out of a name that is empty.
    static Name nameIn(const std::uint8_t* at) {
        std::array<char16_t, kMaxNameUnits> units{};
        std::size_t length = 0;
        for (; 2 * (length + 1) < get16(at + kAtNameBytes); ++length) {
            units[length] = get16(at + kAtName + 2 * length);
        }
        return Name({units.data(), length});
    }

    void fill(Node& node, const std::uint8_t* at) const {
        std::copy_n(at + kAtClassId, node.properties.size(), node.properties.begin());
        if (node.kind == ElementKind::kStream) {
            node.inFile = true;
            node.start = get32(at + kAtStart);
            node.sizeInFile = sizeIn(at);
        }
    }

    // Of streams that share sectors, one at least would give another's bytes for its own: all but the first are lost.
    void checkStreams() {
        for (Node* stream : streams_) {
            try {
                const bool isMini = stream->sizeInFile < kMiniCutoff;
                (isMini ? file_.mini : file_.large).claimBytes(stream->start, stream->sizeInFile);
            } catch (const Failure& failure) {
                tree_.damage = tree_.damage.empty() ? failure.what() : tree_.damage;
                stream->incomplete = true;
            }
        }
    }

    // The first damage is the one that is told.
    void addDamage(const char* what, std::uint32_t id, Node* incomplete = nullptr) {
        if (tree_.damage.empty()) {
            tree_.damage = what + (" " + std::to_string(id));
        }
        if (incomplete != nullptr) {
            incomplete->incomplete = true;
        }
    }

    FileSectors file_;
    Tree tree_;
    SectorList directory_;
    std::vector<bool> seen_; // entries that something has led to
    std::vector<Node*> streams_;
    // Of one storage, kept for the room that they have.
    SectorList children_;
    SectorList path_;
};

} // namespace

Tree readTree(FileBytes bytes) {
    return TreeReader(std::move(bytes)).read();
}

} // namespace storage

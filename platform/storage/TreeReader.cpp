#include "platform/storage/TreeReader.h"

#include "platform/kernel/LittleEndian.h"
#include "platform/storage/Format.h"
#include "platform/storage/Status.h"

#include <algorithm>
#include <cstring>
#include <set>
#include <utility>

namespace storage {
namespace {

using namespace format;
using kernel::get16;
using kernel::get32;
using kernel::get64;

// Answers the shift of the sector size.
unsigned readHeader(const FileBytes& file) {
    const std::uint8_t* header = file.data();
    if (file.size() < kHeaderBytes || std::memcmp(header, kSignature, sizeof kSignature) != 0) {
        throw Failure(kInvalidHeader);
    }
    const unsigned version = get16(header + kAtMajorVersion);
    const unsigned shift = get16(header + kAtSectorShift);
    if ((version != 3 && version != 4) || (shift != kShift3 && shift != kShift4) ||
        get16(header + kAtByteOrder) != kByteOrder || get16(header + kAtMiniShift) != kMiniShift ||
        get32(header + kAtMiniCutoff) != kMiniCutoff) {
        throw Failure(kInvalidHeader, "compound file: the header is of an unknown version");
    }
    return shift;
}

// The sectors of the allocation table, as the header and the sectors that go on from it list them.
std::vector<std::uint32_t> listTableSectors(const FileBytes& file, unsigned shift, std::set<std::uint32_t>& listing) {
    const std::uint64_t sectors = (file.size() - 1) >> shift;
    const std::uint32_t count = get32(file.data() + kAtFatSectors);
    if (count == 0 || count > sectors) {
        failCorrupt("the count of allocation sectors is", count);
    }
    const auto at = [&](std::uint32_t sector) {
        if (sector >= sectors) {
            failCorrupt("an allocation sector is outside of the file,", sector);
        }
        return file.data() + ((std::size_t{sector} + 1) << shift);
    };
    std::vector<std::uint32_t> table;
    const std::uint8_t* place = file.data() + kAtDifat;
    std::size_t places = kHeaderFatSectors;
    std::uint32_t following = get32(file.data() + kAtFirstDifat);
    while (table.size() < count) {
        if (places == 0) {
            if (!listing.insert(following).second) {
                failCorrupt("the list of allocation sectors goes in circles at sector", following);
            }
            place = at(following);
            places = (std::size_t{1} << shift) / 4 - 1;
            following = get32(place + 4 * places);
        }
        table.push_back(get32(place));
        (void)at(table.back());
        place += 4;
        --places;
    }
    return table;
}

// Which sectors belong to something already.
class Claims {
public:
    explicit Claims(const SectorChains& chains) : chains_(chains), claimed_(chains.count(), false) {}

    void claim(std::uint32_t sector) {
        if (sector >= claimed_.size()) {
            failCorrupt("a chain leads to no sector,", sector);
        }
        if (claimed_[sector]) {
            failCorrupt("two chains, or one in a circle, lead to sector", sector);
        }
        claimed_[sector] = true;
    }

    // Claims a chain to its end and answers its sectors.
    std::vector<std::uint32_t> claimAll(std::uint32_t start) {
        std::vector<std::uint32_t> sectors;
        for (std::uint32_t at = start; at != kEndOfChain; at = chains_.next(at)) {
            claim(at);
            sectors.push_back(at);
        }
        return sectors;
    }

    // Claims as much of a chain as `size` bytes need; it may be longer.
    void claimBytes(std::uint32_t start, std::uint64_t size) {
        std::uint32_t at = start;
        for (std::uint64_t left = size; left > 0;) {
            claim(at);
            const std::uint64_t length = std::min(left, chains_.sectorBytes());
            (void)chains_.bytes(at, length);
            left -= length;
            if (left > 0) {
                at = chains_.next(at);
            }
        }
    }

private:
    const SectorChains& chains_;
    std::vector<bool> claimed_;
};

// Makes the nodes of the tree from the entries of the directory. Neither the depth of the storages nor that of the
// trees of siblings takes stack.
class TreeReader {
public:
    explicit TreeReader(FileBytes bytes) : file_{std::move(bytes), {}, {}} {}

    Tree read() {
        const unsigned shift = readHeader(file_.bytes);
        const std::uint8_t* header = file_.bytes.data();
        // The upper half of a size is rubbish in some files of version 3, whose streams are shorter than that.
        sizeMask_ = get16(header + kAtMajorVersion) == 3 ? UINT32_MAX : UINT64_MAX;
        std::set<std::uint32_t> listing;
        const auto table = listTableSectors(file_.bytes, shift, listing);
        file_.large = SectorChains(file_.bytes, shift, table);
        Claims claims(file_.large);
        std::ranges::for_each(table, [&](std::uint32_t sector) { claims.claim(sector); });
        std::ranges::for_each(listing, [&](std::uint32_t sector) { claims.claim(sector); });
        directory_ = claims.claimAll(get32(header + kAtFirstDirectory));
        seen_.assign(directory_.size() * file_.large.sectorBytes() / kEntryBytes, false);
        if (seen_.empty() || entry(0)[kAtType] != kRootType) {
            failCorrupt("the directory has no root in entry", 0);
        }
        const std::uint64_t miniSize = sizeOf(entry(0));
        auto miniStream = miniSize == 0 ? std::vector<std::uint32_t>() : claims.claimAll(get32(entry(0) + kAtStart));
        const auto miniTable = claims.claimAll(get32(header + kAtFirstMiniFat));
        file_.mini = SectorChains(file_.large, std::move(miniStream), miniSize, miniTable);
        Claims miniClaims(file_.mini);
        readNodes(claims, miniClaims);
        tree_.file = std::make_unique<const FileSectors>(std::move(file_));
        return std::move(tree_);
    }

private:
    const std::uint8_t* entry(std::uint32_t id) const {
        const std::uint64_t offset = std::uint64_t{id} * kEntryBytes;
        const std::uint64_t sector = file_.large.sectorBytes();
        return file_.large.bytes(directory_[offset / sector], 0).data() + offset % sector;
    }

    std::uint64_t sizeOf(const std::uint8_t* at) const { return get64(at + kAtSize) & sizeMask_; }

    void readNodes(Claims& large, Claims& mini) {
        tree_.root = makeNode(entry(0));
        seen_[0] = true;
        storages_.emplace_back(tree_.root.get(), get32(entry(0) + kAtChild));
        while (!storages_.empty()) {
            const auto [storage, top] = storages_.back();
            storages_.pop_back();
            readChildren(*storage, top);
            for (const auto& child : storage->children) {
                if (child->kind == ElementKind::stream) {
                    recordingDamage([&] {
                        (child->sizeInFile < kMiniCutoff ? mini : large).claimBytes(child->start, child->sizeInFile);
                    });
                }
            }
        }
        for (std::uint32_t id = 0; id < seen_.size(); ++id) {
            if (!seen_[id] && (entry(id)[kAtType] == kStorageType || entry(id)[kAtType] == kStreamType)) {
                recordingDamage([&] { failCorrupt("nothing leads to entry", id); });
            }
        }
    }

    // In the order of the names, as far as the links keep it.
    void readChildren(Node& storage, std::uint32_t top) {
        std::vector<std::uint32_t> path;
        std::uint32_t next = top;
        for (;;) {
            while (next != kNoEntry && take(next, storage)) {
                path.push_back(next);
                next = get32(entry(next) + kAtLeft);
            }
            if (path.empty()) {
                return;
            }
            addChild(storage, entry(path.back()));
            next = get32(entry(path.back()) + kAtRight);
            path.pop_back();
        }
    }

    // Whether there is such an entry, and nothing else has led to it.
    bool take(std::uint32_t id, Node& storage) {
        return recordingDamage(
            [&] {
                if (id >= seen_.size()) {
                    failCorrupt("the directory has no entry", id);
                }
                if (seen_[id]) {
                    failCorrupt("two links lead to entry", id);
                }
                seen_[id] = true;
            },
            &storage);
    }

    void addChild(Node& storage, const std::uint8_t* at) {
        recordingDamage(
            [&] {
                if (at[kAtType] != kStorageType && at[kAtType] != kStreamType) {
                    failCorrupt("an entry is of type", at[kAtType]);
                }
                auto node = makeNode(at);
                Node* made = node.get();
                const std::size_t before = storage.children.size();
                storage.children.insert(storage.children.end(), std::move(node));
                if (storage.children.size() == before) {
                    failCorrupt("two entries of a storage have the same name, of bytes", get16(at + kAtNameBytes));
                }
                if (made->kind == ElementKind::storage) {
                    storages_.emplace_back(made, get32(at + kAtChild));
                }
            },
            &storage);
    }

    std::unique_ptr<Node> makeNode(const std::uint8_t* at) const {
        const bool isStream = at[kAtType] == kStreamType;
        const unsigned nameBytes = get16(at + kAtNameBytes);
        if (nameBytes > 2 * (kMaxNameUnits + 1) || nameBytes % 2 != 0) {
            failCorrupt("the bytes of a name are", nameBytes);
        }
        std::u16string name;
        for (unsigned unit = 0; unit + 2 < nameBytes; unit += 2) {
            name.push_back(get16(at + kAtName + unit));
        }
        auto node = std::make_unique<Node>(Name(name), isStream ? ElementKind::stream : ElementKind::storage);
        std::copy_n(at + kAtClassId, node->properties.size(), node->properties.begin());
        if (isStream) {
            node->inFile = true;
            node->start = get32(at + kAtStart);
            node->sizeInFile = sizeOf(at);
        }
        return node;
    }

    // Whether `body` throws nothing. The first failure is the tree's damage; `storage` lacks something by it.
    template <class Body>
    bool recordingDamage(Body body, Node* storage = nullptr) {
        try {
            body();
            return true;
        } catch (const Failure& failure) {
            if (tree_.damage.empty()) {
                tree_.damage = failure.what();
            }
            if (storage != nullptr) {
                storage->incomplete = true;
            }
            return false;
        }
    }

    FileSectors file_;
    Tree tree_;
    std::uint64_t sizeMask_ = UINT64_MAX;
    std::vector<std::uint32_t> directory_;
    std::vector<bool> seen_;                                // entries that something has led to
    std::vector<std::pair<Node*, std::uint32_t>> storages_; // still to be read, with their top child
};

} // namespace

Tree readTree(FileBytes bytes) {
    return TreeReader(std::move(bytes)).read();
}

} // namespace storage

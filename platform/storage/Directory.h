#pragma once

#include "platform/storage/Allocation.h"

#include <string_view>
#include <vector>

namespace storage {

// Numbers of directory entries.
inline constexpr std::uint32_t kRootEntry = 0;
inline constexpr std::uint32_t kNoEntry = 0xFFFFFFFF;
inline constexpr std::uint32_t kEntryBytes = 128;

enum class EntryType : std::uint8_t { free = 0, storage = 1, stream = 2, root = 5 };

// A directory entry, [MS-CFB] 2.6.1:
//
//   | Offset | Size | Field                                                     |
//   |--------|------|-----------------------------------------------------------|
//   | 0      | 64   | name, UTF-16, zero-terminated                             |
//   | 64     | 2    | length of the name in bytes, the terminator included      |
//   | 66     | 1    | type: 0 free, 1 storage, 2 stream, 5 root                 |
//   | 67     | 1    | colour: 0 red, 1 black                                    |
//   | 68     | 4    | left sibling                                              |
//   | 72     | 4    | right sibling                                             |
//   | 76     | 4    | child: the root of a storage's sibling tree               |
//   | 80     | 16   | class id, 0                                               |
//   | 96     | 4    | state bits, 0                                             |
//   | 100    | 8    | creation time, 0                                          |
//   | 108    | 8    | modification time, 0                                      |
//   | 116    | 4    | first sector of a stream, mini sector below the cutoff    |
//   | 120    | 8    | size of a stream                                          |
//
// A view of one entry's bytes in the file's blocks; holds until the container's blocks are discarded.
class EntryReader {
public:
    explicit EntryReader(const std::uint8_t* bytes) : bytes_(bytes) {}

    EntryType type() const { return static_cast<EntryType>(bytes_[66]); }
    // The units of the name. kFileCorrupt where its length is none.
    ByteView name() const {
        const unsigned length = get16(bytes_ + 64);
        if (length < 2 || length > 64 || length % 2 != 0) {
            throw Failure(kFileCorrupt);
        }
        return {bytes_, length - 2};
    }
    bool black() const { return bytes_[67] != 0; }
    std::uint32_t left() const { return get32(bytes_ + 68); }
    std::uint32_t right() const { return get32(bytes_ + 72); }
    std::uint32_t child() const { return get32(bytes_ + 76); }
    std::uint32_t start() const { return get32(bytes_ + 116); }
    std::uint64_t size() const { return get64(bytes_ + 120); }

private:
    const std::uint8_t* bytes_;
};

class EntryWriter {
public:
    explicit EntryWriter(std::uint8_t* bytes) : bytes_(bytes) {}

    // A free entry: zeros, and no siblings.
    void reset();
    void makeRoot();
    // Name, type and contents of a new, empty child; its place among its siblings stays as it is.
    void makeChild(std::u16string_view name, EntryType type);
    void setBlack(bool black) { bytes_[67] = black ? 1 : 0; }
    void setLeft(std::uint32_t id) { put32(bytes_ + 68, id); }
    void setRight(std::uint32_t id) { put32(bytes_ + 72, id); }
    void setChild(std::uint32_t id) { put32(bytes_ + 76, id); }
    void setContents(std::uint32_t start, std::uint64_t size) {
        put32(bytes_ + 116, start);
        put64(bytes_ + 120, size);
    }

private:
    void setName(std::u16string_view name);

    std::uint8_t* bytes_;
};

// The directory as numbered entries. Entries keep their numbers for life; freed ones are used again.
class Directory {
public:
    // kFileCorrupt where the directory's chain is broken or its first entry is no root.
    explicit Directory(Allocation& allocation);

    std::uint32_t count() const { return static_cast<std::uint32_t>(sectors_.size()) << perSectorShift_; }
    // kFileCorrupt where there is no entry of that number.
    EntryReader read(std::uint32_t id) const { return EntryReader(bytes(id)); }
    EntryWriter change(std::uint32_t id) { return changeBytes(id, 0, kEntryBytes); }
    // The same for the entry's place among the others alone: its colour, its siblings and its child.
    EntryWriter changeLinks(std::uint32_t id) { return changeBytes(id, 67, 13); }
    // The same for the first sector and the size.
    EntryWriter changeContents(std::uint32_t id) { return changeBytes(id, 116, 12); }
    // The size of a stream, or of the mini stream for the root.
    std::uint64_t sizeOf(std::uint32_t id) const;

    // A free entry, which the caller fills.
    std::uint32_t allocate();
    void release(std::uint32_t id);

private:
    const std::uint8_t* bytes(std::uint32_t id) const {
        if (id >= count()) {
            throw Failure(kFileCorrupt);
        }
        return allocation_.sectors().read(sectors_[id >> perSectorShift_], offsetInSector(id));
    }
    std::uint32_t offsetInSector(std::uint32_t id) const { return (id & ((1U << perSectorShift_) - 1)) * kEntryBytes; }
    EntryWriter changeBytes(std::uint32_t id, std::uint32_t offset, std::uint32_t length);
    void grow();

    Allocation& allocation_;
    unsigned perSectorShift_;
    std::vector<std::uint32_t> sectors_;
    FreeMap free_;
    // Entries before this one have been looked at: the free ones are in the map.
    std::uint32_t scanned_ = 0;
};

} // namespace storage

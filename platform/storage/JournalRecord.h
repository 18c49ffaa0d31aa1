#pragma once

#include "platform/storage/Bytes.h"

#include <cstdint>
#include <optional>
#include <vector>

namespace storage {

// One change of a container as the list of byte ranges that it sets, as it is written behind the container's last
// sector, where no reader of the format looks. Records are laid from the end of the file backwards, the oldest last:
//
//   | sectors ... | zeros ... | record 2 | record 1 | record 0 | end of file
//
// Whoever finds records there sets their ranges once more, oldest first, and so completes the changes. A record that
// was cut short fails its checksum: nothing of its change has happened yet, and nothing older is touched by that.
// Numbers go up by one from that of record 0, which is another one for each journal: what the disk kept of an earlier
// journal does not continue a later one.
//
// Layout, little-endian:
//
//   | Offset         | Size        | Field                                                              |
//   |----------------|-------------|--------------------------------------------------------------------|
//   | 0              | B           | the ranges, one after the other                                    |
//   | B              | 8           | "CalvaneJ"                                                         |
//   | B + 8          | 8           | B, the length of the ranges in bytes                               |
//   | B + 16         | 8           | where the record ends in the file                                  |
//   | B + 24         | 8           | the record's number                                                |
//   | B + 32         | 8           | checksum of all bytes before it                                    |
//
//   a range: offset in the file (8), length (8, its top bit set for a range of zero bytes), then its bytes, padded with
//   zeros to a multiple of 8 (none for a range of zero bytes).
class JournalRecord {
public:
    static constexpr std::uint64_t kFooterBytes = 40;
    // All records of a file together. What one change sets is far less: the removal of a storage with all 65536 items
    // that a calibration file can have takes half of it.
    static constexpr std::uint64_t kLongestJournal = 64 * 1024 * 1024;
    // What a file with a journal uses beside that, at most. Version 3 files must stay below 2 GiB, and version 4 files
    // keep a sector for byte-range locks there.
    static constexpr std::uint64_t kLargestFile = 0x7FFF0000;
    // What a range takes beside its bytes, at most.
    static constexpr std::uint64_t kRangeOverhead = 24;

    struct Range {
        std::uint64_t offset = 0;
        std::uint64_t length = 0;
        // Null for a range of zero bytes. Points into the record.
        const std::uint8_t* bytes = nullptr;
    };

    void clear() { bytes_.clear(); }
    bool empty() const { return bytes_.empty(); }
    // Appends a range of `length` bytes and answers where they go; valid until the next call.
    std::uint8_t* addRange(std::uint64_t offset, std::size_t length);
    // From call to call the ranges of zero bytes ascend, and do not overlap.
    void addZeros(std::uint64_t offset, std::uint64_t length);
    // Completes the record, which will end at `end` in the file and has that number.
    void seal(std::uint64_t end, std::uint64_t number);
    // Length of the record once it is sealed.
    std::uint64_t sealedSize() const { return bytes_.size() + kFooterBytes; }
    const Buffer& bytes() const { return bytes_; }

    static std::uint64_t numberByFooter(ByteView footer) { return get64(&footer[24]); }
    // The length of the record whose footer is `footer`, if it may end at `end` and has that number; otherwise none.
    static std::optional<std::uint64_t> sizeByFooter(ByteView footer, std::uint64_t end, std::uint64_t number);
    // Whether a record is whole: its checksum holds.
    static bool intact(ByteView record);
    // Fills `ranges` from a sealed record. False where one of them does not lie before `limit`, or a range of zero
    // bytes begins before the end of the one before it.
    static bool listRanges(ByteView record, std::uint64_t limit, std::vector<Range>& ranges);

private:
    Buffer bytes_;
};

} // namespace storage

#pragma once

#include "platform/storage/Bytes.h"

#include <cstdint>
#include <optional>
#include <vector>

namespace storage {

// One change of a container as the list of byte ranges that it sets: written behind the container's last sector, where
// no reader of the format looks, before the first of the ranges is touched. Whoever finds a whole record at the end of a
// file sets its ranges once more and so completes the change; a record that was cut short fails its checksum, and
// nothing of its change has happened yet.
//
// Layout, little-endian, the last byte of the record being the last byte of the file:
//
//   | Offset         | Size        | Field                                                              |
//   |----------------|-------------|--------------------------------------------------------------------|
//   | 0              | B           | the ranges, one after the other                                    |
//   | B              | 8           | "CalvaneJ"                                                         |
//   | B + 8          | 8           | B, the length of the ranges in bytes                               |
//   | B + 16         | 8           | length of the whole file while the record is in it                 |
//   | B + 24         | 8           | checksum of all bytes before it                                    |
//
//   a range: offset in the file (8), length (8, its top bit set for a range of zero bytes), then its bytes, padded with
//   zeros to a multiple of 8 (none for a range of zero bytes).
class JournalRecord {
public:
    static constexpr std::uint64_t kFooterBytes = 32;

    struct Range {
        std::uint64_t offset = 0;
        std::uint64_t length = 0;
        // Null for a range of zero bytes. Points into the record.
        const std::uint8_t* bytes = nullptr;
    };

    void clear() { bytes_.clear(); }
    // Appends a range of `length` bytes and answers where they go; valid until the next call.
    std::uint8_t* addRange(std::uint64_t offset, std::size_t length);
    void addZeros(std::uint64_t offset, std::uint64_t length);
    // Completes the record for a file of `fileSize` bytes, the record among them.
    void seal(std::uint64_t fileSize);
    // Length of the record once it is sealed.
    std::uint64_t sealedSize() const { return bytes_.size() + kFooterBytes; }
    const Buffer& bytes() const { return bytes_; }

    // The length of the record whose footer is `footer`, in a file of `fileSize` bytes; none where it is no footer.
    static std::optional<std::uint64_t> sizeByFooter(ByteView footer, std::uint64_t fileSize);
    // Whether a record is whole: its checksum holds.
    static bool intact(ByteView record);
    // Fills `ranges` from a sealed record; false where one of them does not lie before the record.
    static bool listRanges(ByteView record, std::uint64_t fileSize, std::vector<Range>& ranges);

private:
    Buffer bytes_;
};

} // namespace storage

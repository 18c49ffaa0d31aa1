#include "platform/storage/JournalRecord.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>

namespace storage {
namespace {

constexpr std::array<std::uint8_t, 8> kMagic{'C', 'a', 'l', 'v', 'a', 'n', 'e', 'J'};
constexpr std::uint64_t kZerosFlag = std::uint64_t{1} << 63;
constexpr std::size_t kRangeHeadBytes = 16;

constexpr std::uint64_t padded(std::uint64_t length) {
    return (length + 7) & ~std::uint64_t{7};
}

// A multiplicative mix over words of eight bytes: a cut or foreign record passes with a chance of 2^-64.
std::uint64_t checksum(const std::uint8_t* bytes, std::size_t length) {
    std::uint64_t sum = 0x9E3779B97F4A7C15;
    for (std::size_t at = 0; at < length; at += 8) {
        sum = std::rotl((sum ^ get64(bytes + at)) * 0xD6E8FEB86659FD93, 29);
    }
    return sum ^ sum >> 32;
}

} // namespace

std::uint8_t* JournalRecord::addRange(std::uint64_t offset, std::size_t length) {
    const std::size_t at = bytes_.size();
    bytes_.resize(at + kRangeHeadBytes + padded(length));
    put64(&bytes_[at], offset);
    put64(&bytes_[at + 8], length);
    return bytes_.data() + at + kRangeHeadBytes;
}

void JournalRecord::addZeros(std::uint64_t offset, std::uint64_t length) {
    addRange(offset, 0);
    put64(&bytes_[bytes_.size() - 8], length | kZerosFlag);
}

void JournalRecord::seal(std::uint64_t end, std::uint64_t number) {
    const std::size_t body = bytes_.size();
    bytes_.resize(body + kFooterBytes);
    std::memcpy(&bytes_[body], kMagic.data(), kMagic.size());
    put64(&bytes_[body + 8], body);
    put64(&bytes_[body + 16], end);
    put64(&bytes_[body + 24], number);
    put64(&bytes_[body + 32], checksum(bytes_.data(), body + 32));
}

std::optional<std::uint64_t> JournalRecord::sizeByFooter(ByteView footer, std::uint64_t end, std::uint64_t number) {
    if (footer.size() != kFooterBytes || !std::equal(kMagic.begin(), kMagic.end(), footer.begin())) {
        return std::nullopt;
    }
    const std::uint64_t body = get64(&footer[8]);
    if (get64(&footer[16]) != end || get64(&footer[24]) != number || body % 8 != 0 || body > end - kFooterBytes) {
        return std::nullopt;
    }
    return body + kFooterBytes;
}

bool JournalRecord::intact(ByteView record) {
    const std::size_t covered = record.size() - 8;
    return get64(&record[covered]) == checksum(record.data(), covered);
}

bool JournalRecord::listRanges(ByteView record, std::uint64_t limit, std::vector<Range>& ranges) {
    ranges.clear();
    const std::size_t body = record.size() - kFooterBytes;
    std::uint64_t zeroedUpTo = 0;
    for (std::size_t at = 0; at < body;) {
        if (body - at < kRangeHeadBytes) {
            return false;
        }
        const std::uint64_t offset = get64(&record[at]);
        const std::uint64_t field = get64(&record[at + 8]);
        const std::uint64_t length = field & ~kZerosFlag;
        const bool zeros = (field & kZerosFlag) != 0;
        at += kRangeHeadBytes;
        if (offset > limit || length > limit - offset || length == 0 ||
            (zeros ? offset < zeroedUpTo : padded(length) > body - at)) {
            return false;
        }
        zeroedUpTo = zeros ? offset + length : zeroedUpTo;
        ranges.push_back({offset, length, zeros ? nullptr : &record[at]});
        at += zeros ? 0 : padded(length);
    }
    return true;
}

} // namespace storage

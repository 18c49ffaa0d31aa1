#include "platform/storage/FileSectors.h"

#include "platform/storage/Format.h"
#include "platform/storage/Status.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>

namespace storage {
namespace {

[[noreturn]] void failReading() {
    throw Failure(statusOfErrno(errno, kReadFault));
}

// Fills `out` with the bytes from `offset` on, as many as there are.
void readAt(int file, off_t offset, std::span<std::uint8_t> out) {
    while (!out.empty()) {
        const ssize_t count = ::pread(file, out.data(), out.size(), offset);
        if (count == 0) {
            return;
        }
        if (count < 0 && errno != EINTR) {
            failReading();
        }
        const ssize_t done = std::max<ssize_t>(count, 0);
        offset += done;
        out = out.subspan(static_cast<std::size_t>(done));
    }
}

} // namespace

FileBytes readFileBytes(int file) {
    struct stat status {};
    if (::fstat(file, &status) != 0) {
        failReading();
    }
    const auto size = std::min(static_cast<std::size_t>(kMaxFileBytes), static_cast<std::size_t>(status.st_size));
    // Memory that is zero without being written: the system gives it when it is first used.
    FileBytes bytes{{static_cast<std::uint8_t*>(std::calloc(size + kZerosBehind, 1)), std::free}, size};
    if (bytes.data == nullptr) {
        throw Failure(kInsufficientMemory);
    }
    // From one piece with data to the next.
    for (off_t hole = 0; hole < static_cast<off_t>(size);) {
        const off_t data = ::lseek(file, hole, SEEK_DATA);
        if (data < 0 && errno == ENXIO) {
            break;
        }
        hole = std::min(::lseek(file, data, SEEK_HOLE), static_cast<off_t>(size));
        if (data < 0 || hole < 0) {
            failReading();
        }
        readAt(file, data, {bytes.data.get() + data, bytes.data.get() + std::max(data, hole)});
    }
    if (::fstat(file, &status) != 0 || status.st_size < static_cast<off_t>(size)) {
        throw Failure(kReadFault, "the file became shorter while it was read: zeros would pass for its content");
    }
    return bytes;
}

void failCorrupt(const char* what, std::uint64_t number) {
    throw Failure(kFileCorrupt, what + (" " + std::to_string(number)));
}

std::uint32_t SectorChains::next(std::uint32_t sector) const {
    if (sector >= following.size()) {
        failCorrupt("a chain leads to no sector,", sector);
    }
    return following[sector];
}

void SectorChains::claim(std::uint32_t sector) {
    (void)bytes(sector, 0);
    if (claimed[sector]) {
        failCorrupt("two chains, or one in a circle, lead to sector", sector);
    }
    claimed[sector] = true;
}

SectorList SectorChains::claimAll(std::uint32_t start) {
    SectorList sectors;
    for (std::uint32_t at = start; at != format::kEndOfChain; at = next(at)) {
        claim(at);
        sectors.push_back(at);
    }
    return sectors;
}

void SectorChains::claimBytes(std::uint32_t start, std::uint64_t size) {
    for (std::uint32_t at = start; size > 0; at = size > 0 ? next(at) : at) {
        claim(at);
        size -= bytes(at, std::min(size, sectorBytes)).size();
    }
}

ByteView SectorChains::bytes(std::uint32_t sector, std::uint64_t length) const {
    if (sector >= count()) {
        failCorrupt("a chain leads to no sector,", sector);
    }
    if (places[sector] + length > file.size()) {
        failCorrupt("the file ends within sector", sector);
    }
    return file.subspan(places[sector], length);
}

void SectorChains::read(std::uint32_t sector, std::uint64_t offset, std::span<std::uint8_t> out) const {
    while (!out.empty()) {
        if (offset < sectorBytes) {
            const std::size_t length = std::min<std::size_t>(sectorBytes - offset, out.size());
            std::ranges::copy(bytes(sector, offset + length).subspan(offset), out.begin());
            out = out.subspan(length);
            offset = 0;
        } else {
            offset -= sectorBytes;
        }
        if (!out.empty()) {
            sector = next(sector);
        }
    }
}

} // namespace storage

#pragma once

#include <cstdint>
#include <cstdlib>
#include <memory>
#include <span>

namespace storage {

using ByteView = std::span<const std::uint8_t>;

/// The longest file that is written, and as much as is read of a longer one: the format's own limit for version 3.
inline constexpr std::uint64_t kMaxFileBytes = 0x80000000;

/// Longer than any sector: so many zeros follow the bytes of a file in memory.
inline constexpr std::size_t kZerosBehind = 4096;

/// The bytes of a file in memory. They stay what they were when the file changes or is cut. Holes of the file take no
/// memory, so that a short file on the disk which claims to be a long one costs what it holds.
struct FileBytes {
    struct Free {
        void operator()(std::uint8_t* bytes) const { std::free(bytes); }
    };
    std::unique_ptr<std::uint8_t[], Free> data;
    std::size_t size = 0;
};

/// Reads an open file, kMaxFileBytes of it at most. Throws Failure: kReadFault, kInsufficientMemory.
FileBytes readFileBytes(int file);

} // namespace storage

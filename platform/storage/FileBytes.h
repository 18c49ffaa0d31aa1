#pragma once

#include <cstdint>
#include <span>

namespace storage {

using ByteView = std::span<const std::uint8_t>;

/// The longest file that is written, and as much as is read of a longer one: the format's own limit for version 3.
inline constexpr std::uint64_t kMaxFileBytes = 0x80000000;

/// The bytes of a file in memory. They stay what they were when the file changes or is cut. Holes of the file take no
/// memory, so that a short file on the disk which claims to be a long one costs what it holds.
class FileBytes {
public:
    /// Reads an open file, kMaxFileBytes of it at most. Throws Failure: kReadFault, kInsufficientMemory.
    explicit FileBytes(int file);
    ~FileBytes();
    FileBytes(FileBytes&& other) noexcept;
    FileBytes& operator=(FileBytes&&) = delete;

    std::size_t size() const { return size_; }
    /// Zeros follow the last byte up to the next multiple of 4096.
    const std::uint8_t* data() const { return data_; }

private:
    std::size_t size_ = 0;
    std::uint8_t* data_ = nullptr;
};

} // namespace storage

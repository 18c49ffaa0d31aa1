#pragma once

#include "platform/storage/Bytes.h"
#include "platform/storage/Status.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

namespace storage {

// The bytes under a container: the lowest layer, and the only one that knows where they are. Each call is one step that
// may fail or be cut short on its own; the layers above order the steps so that what is left is always a valid file.
// One container owns it; called by that container's thread alone.
class FileBytes {
public:
    virtual ~FileBytes() = default;

    // The present length of the file in bytes.
    virtual std::uint64_t size() = 0;
    // Fills `out` from `offset` on and answers the number of bytes read, less than asked for at the file's end only.
    virtual std::size_t read(std::uint64_t offset, std::span<std::uint8_t> out) = 0;
    // Writes all of `bytes`, within the present length. After a failure any first part of them may have been written.
    virtual void write(std::uint64_t offset, ByteView bytes) = 0;
    // Cuts the file, or lengthens it with zero bytes whose room on the disk is granted: a later write into them does
    // not meet a full disk. kMediumFull where there is no room; the length is then as before.
    virtual void resize(std::uint64_t newSize) = 0;
    // Returns when all that was written is on the disk.
    virtual void flush() = 0;
    // Returns when nothing that is written from now on can be on the disk without all that was written before.
    virtual void orderWrites() { flush(); }
};

// The status that the container answers for an `errno` value; `otherwise` for those without a code of their own.
Status statusOfErrno(int error, Status otherwise);

// A file of the operating system. Opening one makes a process that has no handler for SIGXFSZ ignore it: the failure of
// a write beyond the file-size limit must come as a code, not as the program's end.
class PosixFile final : public FileBytes {
public:
    enum class Open { forReading, forWriting, createNew, createUnnamed };

    // Opens `path` and takes the lock that keeps other processes out (kShareViolation where another has it). With
    // createUnnamed, `path` is a folder, in whose file system a new file is made that has no name and ends with the
    // process; a file system without such files answers any failure.
    // kFileNotFound, kPathNotFound, kAccessDenied, kFileAlreadyExists (createNew), as the system answers.
    PosixFile(const std::string& path, Open how);
    ~PosixFile() override;
    PosixFile(const PosixFile&) = delete;
    PosixFile& operator=(const PosixFile&) = delete;

    // What tells this file from all others of the machine, whatever path leads to it.
    struct Identity {
        std::uint64_t device = 0;
        std::uint64_t inode = 0;
        auto operator<=>(const Identity&) const = default;
    };
    Identity identity() const;
    // Whether nameAs() can be expected to work.
    bool canBeNamed() const;
    // Gives a file that was made without a name its first one. False where that fails; `errno` says why.
    bool nameAs(const std::string& path) const;
    // Gives the file the permissions of `other`, which it is about to replace.
    void copyPermissions(const PosixFile& other);

    std::uint64_t size() override;
    std::size_t read(std::uint64_t offset, std::span<std::uint8_t> out) override;
    void write(std::uint64_t offset, ByteView bytes) override;
    void resize(std::uint64_t newSize) override;
    void flush() override;

private:
    int descriptor_ = -1;
};

} // namespace storage

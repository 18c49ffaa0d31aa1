#pragma once

#include "platform/kernel/FileDescriptor.h"
#include "platform/storage/FileSectors.h"

#include <string>

namespace storage {

/// An open file that nobody else opens meanwhile, here or in another process.
class FileLock {
public:
    /// Takes over an open file and locks it. Returns 0, or an error number: EWOULDBLOCK where somebody else has it.
    int take(kernel::FileDescriptor file);
    int number() const { return file_.number(); }
    /// Whether the path leads to this file.
    bool standsAt(const std::string& path) const;

private:
    kernel::FileDescriptor file_;
    kernel::FileDescriptor reservation_; // where the file system has no locks
};

/// The place of one compound file, held from its opening or creation until this object goes, whatever file stands there
/// meanwhile: nobody else opens or creates it. Throws Failure.
class LockedFile {
public:
    /// Holds the file at `path`. kFileNotFound, kPathNotFound, kAccessDenied, kShareViolation.
    static LockedFile open(const std::string& path, bool forWriting);
    /// Holds the path of a file that is to be made; one that is there is locked and stays until save().
    /// kFileAlreadyExists where one is there that may not be replaced; otherwise as open().
    static LockedFile create(const std::string& path, bool mayReplace);

    FileBytes load() const { return readFileBytes(lock_.number()); }
    const std::string& path() const { return path_; }

    /// Makes `content` the file's content and brings it to the disk, as kernel::writeWholeFile() does. The new file is
    /// locked before anybody can open it. kFileAlreadyExists where somebody else has put another file there, and the
    /// codes of the system's failures; the old file is there then, unless it is one that is written in place.
    void save(ByteView content);

private:
    explicit LockedFile(std::string path) : path_(std::move(path)) {}

    /// Locks the file that is at the path; false where none is.
    bool lockExisting(bool forWriting);
    /// Holds the path against other creators while there is no file to lock.
    void reservePath();

    std::string path_;
    FileLock lock_;
    kernel::FileDescriptor reservation_;
};

} // namespace storage

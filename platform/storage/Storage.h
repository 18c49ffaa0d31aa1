#pragma once

#include "platform/com/ComPtr.h"
#include "platform/storage/Status.h"

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

// Compound files as [MS-CFB] publishes them: storages and streams in one file, through counted references.
//
// Any reference to any object of a file (its root, storages, streams, enumerations) keeps the file open; releasing the
// last one brings it to the disk and closes it. A file is open once: a further open, here or in another process,
// answers kShareViolation. Objects of one file are called by one thread at a time, here the one worker thread; the
// layer does not police that. A failed call leaves its outputs empty or zero.
//
// Files are written in direct mode: a change is in the file when its call returns. What belongs together happens
// together: a created stream appears in the file with its first write, along with the storage that was created just
// before it, and replaces one of the same name in the same moment. (They appear without when anything else is changed,
// or when they are released.) A process that ends in the middle of any call leaves the old state or the new one; a call
// that fails leaves the old one, and an element that it was still creating answers kReverted from then on. After a
// power cut the file is as one of its changes since the last flush left it. A file in which a change could damage what
// it does not touch can be read, and every change in it answers kFileCorrupt.
namespace storage {

using com::ComPtr;

// Access modes: one access, the sharing (always exclusive), and whether to replace what is there.
inline constexpr std::uint32_t kRead = 0x0;
inline constexpr std::uint32_t kWrite = 0x1;
inline constexpr std::uint32_t kReadWrite = 0x2;
inline constexpr std::uint32_t kShareExclusive = 0x10;
inline constexpr std::uint32_t kCreate = 0x1000;

enum class ElementKind { storage = 1, stream = 2 };

struct ElementInfo {
    std::u16string name;
    ElementKind kind = ElementKind::storage;
    // Of a stream, in bytes; 0 for a storage.
    std::uint64_t size = 0;
};

// A walk over the children of a storage in the order of their names. Changes in between are seen: the walk goes on
// behind the last child that it answered.
class IEnumElements : public com::Unknown {
public:
    static constexpr com::InterfaceId kId{0x0A2B8E5D6C1F4E93, 0x9B7744D1A03CE582};

    // kOk with the next child, com::kFalse when no more follow. kFileCorrupt where the tree of names has a cycle or is
    // out of order, kReverted once the storage is gone.
    virtual Status next(ElementInfo& out) = 0;
};

// A stream: bytes and a position, which is 0 at first.
class IStream : public com::Unknown {
public:
    static constexpr com::InterfaceId kId{0x4E1D0C7BA3584F26, 0x8D5E19F0726BC4A1};

    // Reads from the position up to the stream's end at most and moves behind what was read. `transferred`: the number
    // of bytes, fewer than asked for only at the stream's end and after a failure. kAccessDenied in a stream that is
    // open for writing only, kFileCorrupt, kReadFault where the file was cut.
    virtual Status read(std::span<std::uint8_t> out, std::uint32_t& transferred) = 0;
    // Writes at the position, lengthening the stream where needed, and moves behind it. All or nothing up to 64 KiB; of
    // a longer piece that replaces bytes, a first part may be in the file after a failure. kAccessDenied in a stream
    // that is open for reading only, kMediumFull, kWriteFault.
    virtual Status write(std::span<const std::uint8_t> bytes, std::uint32_t& transferred) = 0;
    // Moves to `position` bytes from the start, which may lie behind the end.
    virtual Status moveTo(std::uint64_t position) = 0;
    // Cuts the stream or lengthens it with zeros. The position stays.
    virtual Status setSize(std::uint64_t size) = 0;
    virtual Status size(std::uint64_t& out) = 0;
};

// A storage. Names are 1 to 31 UTF-16 units without / \ : ! and are compared without regard to case (kInvalidName).
class IStorage : public com::Unknown {
public:
    static constexpr com::InterfaceId kId{0x71C9D24EF5064A8B, 0xA6D30B8C4E912F57};

    // Create a child and open it with `mode`: kCreate replaces a child of that name with all it holds; without,
    // kFileAlreadyExists. Open objects of what was replaced answer kReverted. kAccessDenied in a storage that is open
    // for reading only, kInvalidFlag for a mode that cannot write or is none, kMediumFull.
    virtual Status createStorage(std::u16string_view name, std::uint32_t mode, ComPtr<IStorage>& out) = 0;
    virtual Status createStream(std::u16string_view name, std::uint32_t mode, ComPtr<IStream>& out) = 0;
    // Open a child. kFileNotFound where there is none of that name and kind; kAccessDenied where it is open already, or
    // where `mode` asks for more than this storage was opened for.
    virtual Status openStorage(std::u16string_view name, std::uint32_t mode, ComPtr<IStorage>& out) = 0;
    virtual Status openStream(std::u16string_view name, std::uint32_t mode, ComPtr<IStream>& out) = 0;
    // Deletes a child with all it holds: kFileNotFound where there is none of that name. Nothing of it stays readable
    // in the file. Open objects of what was deleted answer kReverted.
    virtual Status destroyElement(std::u16string_view name) = 0;
    virtual Status enumElements(ComPtr<IEnumElements>& out) = 0;
    // The storage itself; the root's name is that in the file.
    virtual Status stat(ElementInfo& out) = 0;
    // Brings the file to the disk now, and answers the failure that a release could not report.
    virtual Status flush() = 0;
};

// Creates a file and answers its root storage. The file appears at the path with IStorage::flush or with the release of
// the last reference, whichever comes first: until then it has no name (where the file system has no such files, one of
// its own beside the path), and an end of the process leaves the path as it was; a file whose writing failed before
// never appears. With kCreate it replaces a file of that name, which is held until then; without, kFileAlreadyExists.
// One that somebody else has made meanwhile is never replaced: the flush answers kFileAlreadyExists. kInvalidFlag for a
// mode that cannot write, kPathNotFound, kAccessDenied, kShareViolation where the old file is open, kMediumFull. The
// path is in the system's encoding.
Status stgCreateDocfile(const std::string& path, std::uint32_t mode, ComPtr<IStorage>& out);

// Opens a file and answers its root storage. kFileNotFound, kPathNotFound, kAccessDenied, kShareViolation where it is
// open, kInvalidHeader where it is no compound file, kFileCorrupt.
Status stgOpenStorage(const std::string& path, std::uint32_t mode, ComPtr<IStorage>& out);

// Between the names of elements and UTF-8.
std::u16string toUtf16(std::string_view text);
std::string toUtf8(std::u16string_view units);

} // namespace storage

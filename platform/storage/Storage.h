#pragma once

#include "platform/com/ComPtr.h"
#include "platform/storage/Status.h"

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

/// Compound files as [MS-CFB] publishes them: storages and streams in one file, through counted references.
///
/// Any reference to any object of a file (its root, storages, streams, enumerations) keeps the file open and everybody
/// else out: a further open, here or in another process, answers kShareViolation. Objects of one file are called by one
/// thread at a time, here the one worker thread; the layer does not police that. A failed call leaves its outputs empty
/// or zero.
///
/// The file is read when it is opened, and written as a whole: a change is in memory when its call returns, and in the
/// file when flush() or the release of the last reference returns. A process that ends before leaves the file as it
/// was. What could not be read of a damaged file would be lost by that: every change in such a file answers
/// kFileCorrupt.
namespace storage {

using com::ComPtr;

/// Access modes: one access, the sharing (always exclusive), and whether to replace what is there.
inline constexpr std::uint32_t kRead = 0x0;
inline constexpr std::uint32_t kWrite = 0x1;
inline constexpr std::uint32_t kReadWrite = 0x2;
inline constexpr std::uint32_t kShareExclusive = 0x10;
inline constexpr std::uint32_t kCreate = 0x1000;

enum class ElementKind { kStorage = 1, kStream = 2 };

struct ElementInfo {
    std::u16string name;
    ElementKind kind = ElementKind::kStorage;
    /// Of a stream, in bytes; 0 for a storage.
    std::uint64_t size = 0;
};

/// A walk over the children of a storage in the order of their names. Changes in between are seen: the walk goes on
/// behind the last child that it answered.
class IEnumElements : public com::Unknown {
public:
    static constexpr com::InterfaceId kId{0x0A2B8E5D6C1F4E93, 0x9B7744D1A03CE582};

    /// kOk with the next child, com::kFalse when no more follow. kFileCorrupt at the end of a storage whose children
    /// could not all be read, kReverted once the storage is gone.
    virtual Status next(ElementInfo& out) = 0;
};

/// A stream: bytes and a position, which is 0 at first.
class IStream : public com::Unknown {
public:
    static constexpr com::InterfaceId kId{0x4E1D0C7BA3584F26, 0x8D5E19F0726BC4A1};

    /// Reads from the position up to the stream's end at most and moves behind what was read. `transferred`: the number
    /// of bytes, fewer than asked for only at the stream's end and after a failure. kAccessDenied in a stream that is
    /// open for writing only, kFileCorrupt where the bytes are not there.
    virtual Status read(std::span<std::uint8_t> out, std::uint32_t& transferred) = 0;
    /// Writes at the position, lengthening the stream where needed, and moves behind it. All or nothing. kAccessDenied
    /// in a stream that is open for reading only, kFileTooLarge.
    virtual Status write(std::span<const std::uint8_t> bytes, std::uint32_t& transferred) = 0;
    /// Moves to `position` bytes from the start, which may lie behind the end.
    virtual Status moveTo(std::uint64_t position) = 0;
};

/// A storage. Names are 1 to 31 UTF-16 units without / \ : ! and are compared without regard to case (kInvalidName).
class IStorage : public com::Unknown {
public:
    static constexpr com::InterfaceId kId{0x71C9D24EF5064A8B, 0xA6D30B8C4E912F57};

    /// Create a child and open it with `mode`: kCreate replaces a child of that name with all it holds; without,
    /// kFileAlreadyExists. Open objects of what was replaced answer kReverted. kAccessDenied in a storage that is open
    /// for reading only, kInvalidFlag for a mode that cannot write or is none.
    virtual Status createStorage(std::u16string_view name, std::uint32_t mode, ComPtr<IStorage>& out) = 0;
    virtual Status createStream(std::u16string_view name, std::uint32_t mode, ComPtr<IStream>& out) = 0;
    /// Open a child. kFileNotFound where there is none of that name and kind; kAccessDenied where it is open already,
    /// or where `mode` asks for more than this storage was opened for.
    virtual Status openStorage(std::u16string_view name, std::uint32_t mode, ComPtr<IStorage>& out) = 0;
    virtual Status openStream(std::u16string_view name, std::uint32_t mode, ComPtr<IStream>& out) = 0;
    /// Deletes a child with all it holds: kFileNotFound where there is none of that name. Open objects of what was
    /// deleted answer kReverted.
    virtual Status destroyElement(std::u16string_view name) = 0;
    virtual Status enumElements(ComPtr<IEnumElements>& out) = 0;
    /// Saves the file as it is now and brings it to the disk: like the next call, no part of the format's interfaces.
    /// After a failure the file is as it was: kMediumFull, kWriteFault, kAccessDenied, kFileTooLarge,
    /// kFileAlreadyExists where somebody else has put another file there. Its reason goes into the error log, and the
    /// release of the last reference does not try it again.
    virtual Status flush() = 0;
    /// Whether all of the file's tree could be read. False for a damaged file, whose readable part alone is here. What
    /// a stream holds is judged by its read.
    virtual bool isWhole() = 0;
};

/// Creates a file and answers its root storage. The file appears at the path when it is saved for the first time; until
/// then the path is as it was, and nobody else creates or opens a file there. With kCreate it replaces a file of that
/// name; without, kFileAlreadyExists. kInvalidFlag for a mode that cannot write, kPathNotFound, kAccessDenied,
/// kShareViolation where the old file is open or another one is being created there. The path is in the system's
/// encoding.
Status stgCreateDocfile(const std::string& path, std::uint32_t mode, ComPtr<IStorage>& out);

/// Opens a file and answers its root storage. kFileNotFound, kPathNotFound, kAccessDenied, kShareViolation where it is
/// open, kInvalidHeader where it is no compound file, kFileCorrupt where one of its own tables is broken.
Status stgOpenStorage(const std::string& path, std::uint32_t mode, ComPtr<IStorage>& out);

} // namespace storage

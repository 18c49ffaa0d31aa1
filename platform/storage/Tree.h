#pragma once

#include "platform/storage/FileSectors.h"
#include "platform/storage/Names.h"
#include "platform/storage/Storage.h"

#include <array>
#include <cstdint>
#include <map>
#include <memory>
#include <span>
#include <string>
#include <vector>

namespace storage {

using Buffer = std::vector<std::uint8_t>;

class NodeHandle;

/// What a directory entry says of a storage or stream beyond its place; kept from file to file.
///
///     offset  size  content
///          0    16  class id
///         16     4  state bits
///         20     8  time of creation
///         28     8  time of the last change
using EntryProperties = std::array<std::uint8_t, 36>;

/// A storage or a stream in memory; a storage owns its children.
struct Node {
    using Children = std::map<Name, Node>;

    explicit Node(ElementKind itsKind);
    /// Tells the object that has it open. However deep the storages are nested, it takes no stack of that depth.
    ~Node();
    Node(const Node&) = delete;
    Node& operator=(const Node&) = delete;

    std::uint64_t size() const { return inFile ? sizeInFile : bytes.size(); }

    ElementKind kind;
    /// Not all of a storage's children could be read, or not all of a stream's bytes are its own.
    bool incomplete = false;
    /// Of a stream: its bytes are those in the file that the tree was read from, in the chain that begins at `start`.
    bool inFile = false;
    std::uint32_t start = 0;
    std::uint64_t sizeInFile = 0;
    EntryProperties properties{};
    Buffer bytes;
    /// Null for a stream.
    std::unique_ptr<Children> children;
    /// The object that has it open.
    NodeHandle* handle = nullptr;
};

/// All that a compound file holds. A stream that nobody changed stays in the bytes of the file that it was read from.
struct Tree {
    Name rootName{u"Root Entry"};
    std::unique_ptr<Node> root = std::make_unique<Node>(ElementKind::kStorage);
    /// The file that the tree was read from; null for a new one.
    std::unique_ptr<const FileSectors> file;
    /// What of the file could not be read, the first such thing; empty for a whole file. A tree that is damaged must
    /// not be written over its file.
    std::string damage;

    /// Copies bytes of a stream; `offset` and the end of `out` lie within its size. Throws Failure: kFileCorrupt where
    /// they are not there.
    void read(const Node& stream, std::uint64_t offset, std::span<std::uint8_t> out) const;
};

/// Makes the tree that the bytes of a compound file hold, of any writer: versions 3 and 4, sectors of 512 and 4096
/// bytes. docs/compound-file.md tells what is forgiven. What of the tree is damaged is left out, and the tree says so.
/// Throws Failure: kInvalidHeader where the bytes are no compound file, kFileCorrupt where one of its own tables is
/// broken.
Tree readTree(FileBytes bytes);

/// Makes the bytes of a compound file that holds the tree: version 3, every table and every stream in one piece, the
/// children of each storage as a balanced red-black tree, zeros wherever nothing is. Throws Failure: kFileTooLarge for
/// more than kMaxFileBytes, kFileCorrupt where a stream's bytes are not there.
Buffer writeTree(const Tree& tree);

} // namespace storage

#pragma once

#include "platform/storage/FileSectors.h"
#include "platform/storage/Names.h"
#include "platform/storage/Storage.h"

#include <array>
#include <cstdint>
#include <memory>
#include <set>
#include <span>
#include <string>
#include <vector>

namespace storage {

using Buffer = std::vector<std::uint8_t>;

class NodeHandle;
struct Node;

struct NodeOrder {
    using is_transparent = void;
    bool operator()(const std::unique_ptr<Node>& left, const std::unique_ptr<Node>& right) const;
    bool operator()(const std::unique_ptr<Node>& left, const Name& right) const;
    bool operator()(const Name& left, const std::unique_ptr<Node>& right) const;
};

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
    using Children = std::set<std::unique_ptr<Node>, NodeOrder>;

    Node() = default;
    Node(const Name& itsName, ElementKind itsKind) : name(itsName), kind(itsKind) {}
    /// However deep the storages are nested, it takes no stack of that depth.
    ~Node();
    Node(const Node&) = delete;
    Node& operator=(const Node&) = delete;

    /// The child of that name, or null.
    Node* find(const Name& childName) const;

    Name name;
    ElementKind kind = ElementKind::storage;
    /// Of a storage: not all of its children could be read.
    bool incomplete = false;
    /// Of a stream: its bytes are those in the file that the tree was read from, in the chain that begins at `start`.
    bool inFile = false;
    std::uint32_t start = 0;
    /// Of a stream in the file, in bytes.
    std::uint64_t sizeInFile = 0;
    EntryProperties properties{};
    Buffer bytes;
    Children children;
    /// The object that has it open.
    NodeHandle* handle = nullptr;

    std::uint64_t size() const { return inFile ? sizeInFile : bytes.size(); }
};

/// All that a compound file holds. A stream that nobody changed stays in the bytes of the file that it was read from.
struct Tree {
    std::unique_ptr<Node> root;
    /// The file that the tree was read from; null for a new one.
    std::unique_ptr<const FileSectors> file;
    /// What of the file could not be read, the first such thing; empty for a whole file. A tree that is damaged must
    /// not be written over its file.
    std::string damage;

    /// Copies bytes of a stream; `offset` and the end of `out` lie within its size. kFileCorrupt where they are not
    /// there.
    void read(const Node& stream, std::uint64_t offset, std::span<std::uint8_t> out) const;
    /// Takes a stream's bytes out of the file, so that they can change.
    Buffer& makeOwn(Node& stream) const;
};

} // namespace storage

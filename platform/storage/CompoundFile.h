#pragma once

#include "platform/storage/LockedFile.h"
#include "platform/storage/Tree.h"

namespace storage {

/// An open compound file: its tree in memory, and the place where it is saved. All objects of the file share it; with
/// the last of them it goes, and saves what changed. Throws Failure.
class CompoundFile {
public:
    /// `isNew`: the tree is not in a file yet.
    CompoundFile(LockedFile place, Tree tree, bool isNew);
    ~CompoundFile();
    CompoundFile(const CompoundFile&) = delete;
    CompoundFile& operator=(const CompoundFile&) = delete;

    const Tree& tree() const { return tree_; }

    /// Makes a child of `parent`, in place of one of that name where it may replace it. kFileAlreadyExists.
    Node& createChild(Node& parent, const Name& name, ElementKind kind, bool mayReplace);
    /// Removes a child with all below it. kFileNotFound.
    void removeChild(Node& parent, const Name& name);
    /// The bytes of a stream, to be changed.
    Buffer& changeBytes(Node& stream);

    /// Changes with each change of the tree.
    std::uint64_t version() const { return version_; }

    /// Brings what changed to the disk. After a failure the file is as it was, and what changed is still here.
    void save();

private:
    /// kFileCorrupt in a damaged file: what could not be read would be lost with a save.
    void requireWhole() const;
    void markChanged();

    LockedFile place_;
    Tree tree_;
    /// What changed, and its save has not been tried since.
    bool mustSave_;
    bool changed_;
    std::uint64_t version_ = 0;
};

/// What the object behind a storage or stream has of it: the node while it exists, and the rights to it. A node has one
/// handle at a time.
class NodeHandle {
public:
    NodeHandle(std::shared_ptr<CompoundFile> file, Node& node, std::uint32_t access);
    ~NodeHandle();
    NodeHandle(const NodeHandle&) = delete;
    NodeHandle& operator=(const NodeHandle&) = delete;

    const std::shared_ptr<CompoundFile>& file() const { return file_; }
    /// kReverted once the node has been removed; kAccessDenied where `access` is more than the handle's own.
    Node& node() const { return node(access_); }
    Node& node(std::uint32_t access) const;
    void nodeIsGone() { node_ = nullptr; }

private:
    std::shared_ptr<CompoundFile> file_;
    Node* node_;
    std::uint32_t access_;
};

} // namespace storage

#pragma once

#include "platform/storage/Directory.h"
#include "platform/storage/Names.h"

#include <array>
#include <vector>

namespace storage {

// Entries from the root of a sibling tree downwards.
class TreePath {
public:
    bool empty() const { return size_ == 0; }
    std::size_t size() const { return size_; }
    std::uint32_t operator[](std::size_t at) const { return ids_[at]; }
    std::uint32_t& operator[](std::size_t at) { return ids_[at]; }
    std::uint32_t back() const { return ids_[size_ - 1]; }
    // kFileCorrupt where the path is longer than any in a red-black tree of 2^32 entries.
    void push(std::uint32_t id) {
        if (size_ == ids_.size()) {
            throw Failure(kFileCorrupt);
        }
        ids_[size_++] = id;
    }
    void pop(std::size_t count = 1) { size_ -= count; }

    // For the path to a name: the order of the name against that of the last entry.
    std::strong_ordering order = std::strong_ordering::equal;
    // The entry of that name, kNoEntry where there is none.
    std::uint32_t found() const { return !empty() && order == 0 ? back() : kNoEntry; }

private:
    std::array<std::uint32_t, 72> ids_;
    std::size_t size_ = 0;
};

// The children of one storage: a red-black tree of directory entries in the order of their names, hanging from the
// storage's child field. All walks are loops bounded by the number of entries, so that a tree with a cycle ends in
// kFileCorrupt.
class SiblingTree {
public:
    SiblingTree(Directory& directory, std::uint32_t owner) : directory_(directory), owner_(owner) {}

    // The child of that name, kNoEntry where there is none.
    std::uint32_t find(const Name& name) const;
    // Whether the tree keeps order, colours and equal black heights. kFileCorrupt where it is not even a tree, or not
    // in order: such a storage must not be changed.
    bool isRedBlack() const;
    // Builds the tree anew from its entries, whose order is right.
    void rebuild();
    // The entries from the root down to where `name` is or would be. The tree must be red-black.
    TreePath pathTo(const Name& name) const;
    // Links an entry, which has its name and belongs to no tree, where the path of that name ends. The tree must be
    // red-black.
    void insert(std::uint32_t id, const TreePath& path);
    // Takes the entry out in which the path ends. The tree must be red-black.
    void remove(TreePath path);

private:
    std::uint32_t root() const { return directory_.read(owner_).child(); }
    std::uint32_t childOf(std::uint32_t id, bool right) const {
        const EntryReader entry = directory_.read(id);
        return right ? entry.right() : entry.left();
    }
    void setChild(std::uint32_t id, bool right, std::uint32_t child);
    // Whether the entry's node is black; absent ones are.
    bool black(std::uint32_t id) const { return id == kNoEntry || directory_.read(id).black(); }
    void setBlack(std::uint32_t id, bool black);
    // Puts `fresh` where `old` hangs from `parent`, or from the owner for kNoEntry.
    void relink(std::uint32_t parent, std::uint32_t old, std::uint32_t fresh);
    // Lifts the child on side `!right` above `id`, which becomes its child on side `right`.
    void rotate(std::uint32_t parent, std::uint32_t id, bool right);
    void balanceAfterInsert(TreePath path);
    void balanceAfterRemove(TreePath path, bool right);
    void moveSuccessorUp(TreePath& path);

    Directory& directory_;
    std::uint32_t owner_;
};

// A walk over the children in order. Survives changes of the tree: restart() continues behind a name.
class SiblingWalk {
public:
    SiblingWalk(const Directory& directory, std::uint32_t owner);

    // The next child, kNoEntry at the end. kFileCorrupt where the names are out of order or the tree has a cycle.
    std::uint32_t next();
    // Continues behind the last child that next() answered, in the tree as it is now.
    void restart();

private:
    void descend(std::uint32_t id);

    const Directory& directory_;
    std::uint32_t owner_;
    std::vector<std::uint32_t> pending_;
    std::uint64_t visited_ = 0;
    std::uint8_t lastName_[2 * kMaxNameUnits]{};
    std::size_t lastLength_ = 0;
};

} // namespace storage

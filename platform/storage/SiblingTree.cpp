#include "platform/storage/SiblingTree.h"

#include "platform/storage/Tolerances.h"

#include <algorithm>
#include <bit>
#include <cstring>

namespace storage {

std::uint32_t SiblingTree::find(const Name& name) const {
    std::uint32_t id = root();
    for (std::uint32_t steps = 0; id != kNoEntry; ++steps) {
        if (steps > directory_.count()) {
            throw Failure(kFileCorrupt);
        }
        const EntryReader entry = directory_.read(id);
        const auto order = compare(name, entry.name());
        if (order == 0) {
            return id;
        }
        id = order > 0 ? entry.right() : entry.left();
    }
    return kNoEntry;
}

bool SiblingTree::isRedBlack() const {
    static_assert(tolerance::readsTreeWithoutColours());
    struct Visit {
        std::uint32_t id;
        std::uint32_t blackAbove;
        bool redAbove;
    };
    // First the order, which also shows that it is a tree; then colours and heights, by any walk.
    SiblingWalk walk(directory_, owner_);
    while (walk.next() != kNoEntry) {
    }
    bool valid = black(root());
    std::uint32_t height = 0;
    std::vector<Visit> pending{{root(), 0, false}};
    while (!pending.empty() && valid) {
        const Visit visit = pending.back();
        pending.pop_back();
        if (visit.id == kNoEntry) {
            valid = height == 0 || height == visit.blackAbove + 1;
            height = visit.blackAbove + 1;
            continue;
        }
        const bool red = !black(visit.id);
        valid = !(red && visit.redAbove);
        const std::uint32_t above = visit.blackAbove + (red ? 0 : 1);
        pending.push_back({childOf(visit.id, true), above, red});
        pending.push_back({childOf(visit.id, false), above, red});
    }
    return valid;
}

void SiblingTree::rebuild() {
    std::vector<std::uint32_t> ids;
    SiblingWalk walk(directory_, owner_);
    for (std::uint32_t id = walk.next(); id != kNoEntry; id = walk.next()) {
        ids.push_back(id);
    }
    // Halving fills every level but the last: black, and the last one red.
    const auto fullLevels = static_cast<unsigned>(std::bit_width(ids.size() + 1)) - 1;
    struct Part {
        std::size_t begin;
        std::size_t end;
        unsigned level;
        std::uint32_t parent;
        bool right;
    };
    std::vector<Part> parts{{0, ids.size(), 0, kNoEntry, false}};
    while (!parts.empty()) {
        const Part part = parts.back();
        parts.pop_back();
        const std::size_t middle = part.begin + (part.end - part.begin) / 2;
        const std::uint32_t id = part.begin == part.end ? kNoEntry : ids[middle];
        if (part.parent == kNoEntry) {
            directory_.changeLinks(owner_).setChild(id);
        } else {
            setChild(part.parent, part.right, id);
        }
        if (id != kNoEntry) {
            setBlack(id, part.level < fullLevels);
            parts.push_back({part.begin, middle, part.level + 1, id, false});
            parts.push_back({middle + 1, part.end, part.level + 1, id, true});
        }
    }
}

void SiblingTree::insert(std::uint32_t id, const TreePath& path) {
    EntryWriter entry = directory_.changeLinks(id);
    entry.setLeft(kNoEntry);
    entry.setRight(kNoEntry);
    entry.setBlack(false);
    if (path.empty()) {
        directory_.changeLinks(owner_).setChild(id);
    } else {
        setChild(path.back(), path.order > 0, id);
    }
    TreePath whole = path;
    whole.push(id);
    balanceAfterInsert(whole);
}

void SiblingTree::remove(TreePath path) {
    const std::uint32_t id = path.back();
    if (childOf(id, false) != kNoEntry && childOf(id, true) != kNoEntry) {
        moveSuccessorUp(path);
    }
    const EntryReader entry = directory_.read(id);
    const std::uint32_t child = entry.left() != kNoEntry ? entry.left() : entry.right();
    const bool wasBlack = entry.black();
    path.pop();
    const std::uint32_t parent = path.empty() ? kNoEntry : path.back();
    const bool right = parent != kNoEntry && childOf(parent, true) == id;
    relink(parent, id, child);
    if (!wasBlack) {
        return;
    }
    if (child != kNoEntry) {
        setBlack(child, true);
    } else {
        balanceAfterRemove(path, right);
    }
}

void SiblingTree::setChild(std::uint32_t id, bool right, std::uint32_t child) {
    if (childOf(id, right) != child) {
        EntryWriter entry = directory_.changeLinks(id);
        right ? entry.setRight(child) : entry.setLeft(child);
    }
}

void SiblingTree::setBlack(std::uint32_t id, bool black) {
    if (directory_.read(id).black() != black) {
        directory_.changeLinks(id).setBlack(black);
    }
}

void SiblingTree::relink(std::uint32_t parent, std::uint32_t old, std::uint32_t fresh) {
    if (parent == kNoEntry) {
        directory_.changeLinks(owner_).setChild(fresh);
    } else {
        setChild(parent, childOf(parent, true) == old, fresh);
    }
}

void SiblingTree::rotate(std::uint32_t parent, std::uint32_t id, bool right) {
    const std::uint32_t lifted = childOf(id, !right);
    setChild(id, !right, childOf(lifted, right));
    relink(parent, id, lifted);
    setChild(lifted, right, id);
}

TreePath SiblingTree::pathTo(const Name& name) const {
    TreePath path;
    for (std::uint32_t id = root(); id != kNoEntry;) {
        path.push(id);
        const EntryReader entry = directory_.read(id);
        path.order = compare(name, entry.name());
        if (path.order == 0) {
            break;
        }
        id = path.order > 0 ? entry.right() : entry.left();
    }
    return path;
}

// The path ends in a red node, the only one that may have a red parent.
void SiblingTree::balanceAfterInsert(TreePath path) {
    while (path.size() >= 3 && !black(path[path.size() - 2])) {
        const std::uint32_t id = path.back();
        std::uint32_t parent = path[path.size() - 2];
        const std::uint32_t grand = path[path.size() - 3];
        const bool parentRight = childOf(grand, true) == parent;
        const std::uint32_t uncle = childOf(grand, !parentRight);
        if (!black(uncle)) {
            setBlack(parent, true);
            setBlack(uncle, true);
            setBlack(grand, false);
            path.pop(2);
            continue;
        }
        if ((childOf(parent, true) == id) != parentRight) {
            rotate(grand, parent, parentRight);
            parent = id;
        }
        rotate(path.size() >= 4 ? path[path.size() - 4] : kNoEntry, grand, !parentRight);
        setBlack(parent, true);
        setBlack(grand, false);
        return;
    }
    setBlack(root(), true);
}

// The path ends in the parent of a place, on side `right`, that is one black node short.
void SiblingTree::balanceAfterRemove(TreePath path, bool right) {
    while (!path.empty()) {
        const std::uint32_t parent = path.back();
        const std::uint32_t above = path.size() >= 2 ? path[path.size() - 2] : kNoEntry;
        std::uint32_t sibling = childOf(parent, !right);
        if (!black(sibling)) {
            setBlack(sibling, true);
            setBlack(parent, false);
            rotate(above, parent, right);
            path[path.size() - 1] = sibling;
            path.push(parent);
            continue;
        }
        const std::uint32_t near = childOf(sibling, right);
        const std::uint32_t far = childOf(sibling, !right);
        if (black(near) && black(far)) {
            setBlack(sibling, false);
            if (!black(parent)) {
                setBlack(parent, true);
                return;
            }
            path.pop();
            right = !path.empty() && childOf(path.back(), true) == parent;
            continue;
        }
        if (black(far)) {
            rotate(parent, sibling, !right);
            setBlack(near, true);
            setBlack(sibling, false);
            sibling = near;
        }
        setBlack(sibling, black(parent));
        setBlack(parent, true);
        setBlack(childOf(sibling, !right), true);
        rotate(above, parent, right);
        return;
    }
}

// Lets the last entry of the path, which has two children, change places with its successor. Entries keep their
// numbers, so it is the links that move.
void SiblingTree::moveSuccessorUp(TreePath& path) {
    const std::size_t place = path.size() - 1;
    const std::uint32_t id = path[place];
    for (std::uint32_t next = childOf(id, true); next != kNoEntry; next = childOf(next, false)) {
        path.push(next);
    }
    const std::uint32_t successor = path.back();
    const std::uint32_t successorParent = path[path.size() - 2];
    const std::uint32_t left = childOf(id, false);
    const std::uint32_t right = childOf(id, true);
    const std::uint32_t below = childOf(successor, true);
    const bool colour = black(id);

    relink(place == 0 ? kNoEntry : path[place - 1], id, successor);
    setChild(successor, false, left);
    if (successorParent == id) {
        setChild(successor, true, id);
    } else {
        setChild(successor, true, right);
        setChild(successorParent, false, id);
    }
    setChild(id, false, kNoEntry);
    setChild(id, true, below);
    setBlack(id, black(successor));
    setBlack(successor, colour);
    path[place] = successor;
    path[path.size() - 1] = id;
}

SiblingWalk::SiblingWalk(const Directory& directory, std::uint32_t owner) : directory_(directory), owner_(owner) {
    descend(directory.read(owner).child());
}

std::uint32_t SiblingWalk::next() {
    if (pending_.empty()) {
        return kNoEntry;
    }
    const std::uint32_t id = pending_.back();
    pending_.pop_back();
    const EntryReader entry = directory_.read(id);
    const ByteView name = entry.name();
    const bool known = entry.type() == EntryType::storage || entry.type() == EntryType::stream;
    if (!known || name.empty() || (lastLength_ > 0 && compareEntryNames({lastName_, lastLength_}, name) >= 0)) {
        throw Failure(kFileCorrupt);
    }
    std::copy(name.begin(), name.end(), lastName_);
    lastLength_ = name.size();
    descend(entry.right());
    return id;
}

void SiblingWalk::restart() {
    pending_.clear();
    visited_ = 0;
    std::uint32_t id = directory_.read(owner_).child();
    while (id != kNoEntry) {
        if (++visited_ > directory_.count()) {
            throw Failure(kFileCorrupt);
        }
        const EntryReader entry = directory_.read(id);
        if (lastLength_ == 0 || compareEntryNames(entry.name(), {lastName_, lastLength_}) > 0) {
            pending_.push_back(id);
            id = entry.left();
        } else {
            id = entry.right();
        }
    }
}

void SiblingWalk::descend(std::uint32_t id) {
    for (; id != kNoEntry; id = directory_.read(id).left()) {
        if (++visited_ > directory_.count()) {
            throw Failure(kFileCorrupt);
        }
        pending_.push_back(id);
    }
}

} // namespace storage

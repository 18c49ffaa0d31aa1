#include "platform/storage/Container.h"

#include "platform/storage/Elements.h"

#include <algorithm>

namespace storage {

bool OpenElements::contains(std::uint32_t id) const {
    const Element* element = first_[id % first_.size()];
    while (element != nullptr && element->id() != id) {
        element = element->nextOpen;
    }
    return element != nullptr;
}

void OpenElements::add(Element& element) {
    element.nextOpen = std::exchange(first_[element.id() % first_.size()], &element);
}

Element* OpenElements::remove(std::uint32_t id) {
    Element** link = &first_[id % first_.size()];
    while (*link != nullptr && (*link)->id() != id) {
        link = &(*link)->nextOpen;
    }
    return *link == nullptr ? nullptr : std::exchange(*link, (*link)->nextOpen);
}

Container::Container(std::unique_ptr<FileBytes> file, bool writable) : cache_(std::move(file), writable) {
    load();
}

Container::~Container() {
    if (!writable() || broken_) {
        return;
    }
    try {
        cache_.settle();
        commitWaiting();
        cache_.close(prepared_ ? sectors_->offsetOf(allocation_->usedSectors()) : cache_.size());
    } catch (const std::exception&) {
        // Every change that reported success is in the file or in its journal; flush() tells those who want to know.
    }
}

std::uint32_t Container::find(std::uint32_t owner, const Name& name, EntryType kind) const {
    requireUsable();
    std::uint32_t id = kNoEntry;
    if (lastChild_.owner == owner && lastChild_.treeVersion == treeVersion_ &&
        compare(name, directory_->read(lastChild_.id).name()) == 0) {
        id = lastChild_.id;
    } else {
        id = SiblingTree(*const_cast<std::optional<Directory>&>(directory_), owner).find(name);
    }
    if (id == kNoEntry || directory_->read(id).type() != kind) {
        throw Failure(kFileNotFound);
    }
    return id;
}

std::uint32_t Container::createChild(std::uint32_t owner, const Name& name, EntryType kind, bool replaces) {
    const bool joins = kind == EntryType::stream && waiting_.storage == owner && waiting_.stream == kNoEntry;
    std::uint32_t id = kNoEntry;
    change(joins, [&] {
        SiblingTree tree(*directory_, owner);
        TreePath path;
        if (!isKnownRedBlack(owner)) {
            id = tree.find(name);
        }
        if (id == kNoEntry) {
            makeRedBlack(owner);
            path = tree.pathTo(name);
            id = path.found();
        }
        if (id != kNoEntry) {
            if (!replaces) {
                throw Failure(kFileAlreadyExists);
            }
            // The new child takes the old one's place among its siblings.
            const auto replaced = subtree(id);
            freeContents(replaced);
            freeSubtree({replaced.begin() + 1, replaced.end()});
            revert(id);
            directory_->change(id).makeChild(name.units(), kind);
        } else {
            id = directory_->allocate();
            directory_->change(id).makeChild(name.units(), kind);
            tree.insert(id, path);
        }
        setKnownRedBlack(id, kind == EntryType::storage);
        ++treeVersion_;
        (kind == EntryType::storage ? waiting_.storage : waiting_.stream) = id;
        cache_.reserveForCommit();
    });
    return id;
}

void Container::destroyChild(std::uint32_t owner, const Name& name) {
    change(false, [&] {
        SiblingTree tree(*directory_, owner);
        if (!isKnownRedBlack(owner) && tree.find(name) == kNoEntry) {
            throw Failure(kFileNotFound);
        }
        makeRedBlack(owner);
        const TreePath path = tree.pathTo(name);
        if (path.found() == kNoEntry) {
            throw Failure(kFileNotFound);
        }
        const auto gone = subtree(path.found());
        tree.remove(path);
        freeContents(gone);
        ++treeVersion_;
        freeSubtree(gone);
        commit();
    });
}

std::size_t Container::read(std::uint32_t id, StreamChain& chain, std::uint64_t position, std::span<std::uint8_t> out) {
    requireUsable();
    return content_->read(id, chain, position, out);
}

void Container::write(std::uint32_t id, StreamChain& chain, std::uint64_t position, ByteView bytes) {
    change(waiting_.stream == id, [&] {
        content_->write(id, chain, position, bytes);
        commit();
    });
}

void Container::resize(std::uint32_t id, StreamChain& chain, std::uint64_t size) {
    change(waiting_.stream == id, [&] {
        content_->resize(id, chain, size);
        commit();
    });
}

void Container::flush() {
    if (writable()) {
        change(false, [] {});
        cache_.flush();
    }
}

void Container::closed(std::uint32_t id) {
    open_.remove(id);
    if (waiting_.any() && (waiting_.storage == id || waiting_.stream == id)) {
        try {
            commitWaiting();
        } catch (const std::exception&) {
            // Rolled back, or left for the next change to complete.
        }
    }
}

void Container::load() {
    content_.reset();
    mini_.reset();
    directory_.reset();
    allocation_.reset();
    sectors_.reset();
    sectors_.emplace(cache_);
    allocation_.emplace(*sectors_);
    directory_.emplace(*allocation_);
    mini_.emplace(*allocation_, *directory_);
    content_.emplace(*allocation_, *directory_, *mini_);
}

template <class Body>
void Container::change(bool joins, Body&& body) {
    requireUsable();
    if (!writable()) {
        throw Failure(kAccessDenied);
    }
    cache_.settle();
    if (!joins) {
        commitWaiting();
    }
    try {
        prepare();
        body();
    } catch (...) {
        rollBack();
        throw;
    }
}

void Container::prepare() {
    if (!prepared_) {
        requireChangeable();
        cache_.prepare(sectors_->offsetOf(allocation_->usedSectors()));
        // On its own: should the change fail, the file may have grown, and what was to be free must not count again.
        if (cache_.changed()) {
            commit();
        }
        prepared_ = true;
    }
}

void Container::commit() {
    cache_.commit();
    allocation_->afterCommit();
    waiting_ = {};
}

void Container::commitWaiting() {
    if (!waiting_.any()) {
        return;
    }
    try {
        cache_.settle();
        commit();
    } catch (...) {
        rollBack();
        throw;
    }
}

void Container::rollBack() {
    if (!cache_.changed()) {
        return;
    }
    const Waiting undone = std::exchange(waiting_, {});
    revert(undone.storage);
    revert(undone.stream);
    ++treeVersion_;
    redBlack_.clear();
    cache_.discard();
    try {
        load();
    } catch (const Failure& failure) {
        broken_ = failure.code();
    } catch (const std::exception&) {
        broken_ = kInsufficientMemory;
    }
}

std::vector<std::uint32_t> Container::subtree(std::uint32_t id) const {
    std::vector<std::uint32_t> ids{id};
    const auto add = [&](std::uint32_t found) {
        if (found == kNoEntry) {
            return;
        }
        if (found == kRootEntry || ids.size() >= directory_->count()) {
            throw Failure(kFileCorrupt);
        }
        ids.push_back(found);
    };
    for (std::size_t at = 0; at < ids.size(); ++at) {
        const EntryReader entry = directory_->read(ids[at]);
        if (entry.type() == EntryType::storage) {
            add(entry.child());
        } else if (entry.type() != EntryType::stream) {
            throw Failure(kFileCorrupt);
        }
        if (at > 0) {
            add(entry.left());
            add(entry.right());
        }
    }
    return ids;
}

void Container::freeContents(const std::vector<std::uint32_t>& ids) {
    for (const std::uint32_t id : ids) {
        // A storage has no bytes, whatever stands in its size field.
        if (directory_->read(id).type() == EntryType::stream) {
            content_->free(id);
        }
    }
}

void Container::freeSubtree(const std::vector<std::uint32_t>& ids) {
    for (const std::uint32_t id : ids) {
        revert(id);
        setKnownRedBlack(id, false);
        directory_->release(id);
    }
}

void Container::requireChangeable() {
    allocation_->freeBeyondEnd();
    allocation_->requireNoLooseEnds();
    mini_->load();
    StreamContent::Owned owned;
    std::vector<bool> reached(directory_->count());
    reached[kRootEntry] = true;
    std::vector<std::uint32_t> pending{directory_->read(kRootEntry).child()};
    while (!pending.empty()) {
        const std::uint32_t id = pending.back();
        pending.pop_back();
        if (id == kNoEntry) {
            continue;
        }
        const EntryReader entry = directory_->read(id);
        if (reached[id] || (entry.type() != EntryType::storage && entry.type() != EntryType::stream)) {
            throw Failure(kFileCorrupt);
        }
        reached[id] = true;
        pending.push_back(entry.right());
        if (entry.type() == EntryType::storage) {
            pending.push_back(entry.child());
        } else {
            content_->claim(id, owned);
        }
        pending.push_back(entry.left());
    }
}

void Container::makeRedBlack(std::uint32_t owner) {
    if (isKnownRedBlack(owner)) {
        return;
    }
    SiblingTree tree(*directory_, owner);
    if (!tree.isRedBlack()) {
        tree.rebuild();
        ++treeVersion_;
    }
    setKnownRedBlack(owner, true);
}

void Container::setKnownRedBlack(std::uint32_t id, bool known) {
    if (known && id >= redBlack_.size()) {
        redBlack_.resize(std::max<std::size_t>(directory_->count(), id + 1));
    }
    if (id < redBlack_.size()) {
        redBlack_[id] = known;
    }
}

void Container::revert(std::uint32_t id) {
    if (Element* element = open_.remove(id)) {
        element->revert();
    }
}

} // namespace storage

#pragma once

#include "platform/storage/Allocation.h"
#include "platform/storage/Directory.h"
#include "platform/storage/MiniStream.h"
#include "platform/storage/SiblingTree.h"
#include "platform/storage/StreamContent.h"

#include <array>
#include <memory>
#include <optional>

namespace storage {

class Element;

// The open elements of a container by their entries. They are linked through themselves: opening one takes no memory.
class OpenElements {
public:
    bool contains(std::uint32_t id) const;
    void add(Element& element);
    // Answers the element that was there, null for none.
    Element* remove(std::uint32_t id);

private:
    std::array<Element*, 256> first_{};
};

// An open compound file: the layers below put together, and the changes of a caller made whole. Shared by all objects
// of the file; the last of them closes it. Throws Failure; after a failed change everything is as before it.
//
// A change lives in the blocks' memory until its commit. The creation of an element is not committed at once: it waits
// for the element's first bytes, or for the next other change, or for its release.
class Container {
public:
    // Opens the container in `file`. kInvalidHeader, kFileCorrupt.
    Container(std::unique_ptr<FileBytes> file, bool writable);
    // Commits what waits, cuts the free end off and brings the file to the disk.
    ~Container();
    Container(const Container&) = delete;
    Container& operator=(const Container&) = delete;

    bool writable() const { return cache_.writable(); }
    // Throws where nothing works any more: the file could not be read again after a failed change.
    void requireUsable() const {
        if (broken_) {
            throw Failure(*broken_);
        }
    }
    const Directory& directory() const {
        requireUsable();
        return *directory_;
    }
    // Goes up with every change of the tree of elements.
    std::uint64_t treeVersion() const { return treeVersion_; }

    // The child of that name and kind; kFileNotFound.
    std::uint32_t find(std::uint32_t owner, const Name& name, EntryType kind) const;
    // The next find() of `id`'s name in `owner` needs no walk: it was just enumerated.
    void rememberChild(std::uint32_t owner, std::uint32_t id) const { lastChild_ = {owner, id, treeVersion_}; }

    std::uint32_t createChild(std::uint32_t owner, const Name& name, EntryType kind, bool replaces);
    // Undoes what createChild() made, where its object cannot be.
    void undoCreation() { rollBack(); }
    void destroyChild(std::uint32_t owner, const Name& name);

    std::uint64_t sizeOf(std::uint32_t id) const { return directory().sizeOf(id); }
    std::size_t read(std::uint32_t id, StreamChain& chain, std::uint64_t position, std::span<std::uint8_t> out);
    void write(std::uint32_t id, StreamChain& chain, std::uint64_t position, ByteView bytes);
    void resize(std::uint32_t id, StreamChain& chain, std::uint64_t size);
    void flush();

    // The objects that callers hold: one per open entry. Open elements of entries that go are reverted.
    bool isOpen(std::uint32_t id) const { return open_.contains(id); }
    void opened(Element& element) { open_.add(element); }
    // Never throws: what was waiting for this element's first bytes is committed; a failure shows in the next change.
    void closed(std::uint32_t id);

private:
    struct Waiting {
        std::uint32_t storage = kNoEntry;
        std::uint32_t stream = kNoEntry;
        bool any() const { return storage != kNoEntry || stream != kNoEntry; }
    };
    struct LastChild {
        std::uint32_t owner = kNoEntry;
        std::uint32_t id = kNoEntry;
        std::uint64_t treeVersion = 0;
    };

    void load();
    // Runs one change: after what `joins` says, as a part of what waits or after its commit.
    template <class Body>
    void change(bool joins, Body&& body);
    void prepare();
    void commit();
    void commitWaiting();
    void rollBack();
    // Entries of the elements below `id`, itself first.
    std::vector<std::uint32_t> subtree(std::uint32_t id) const;
    void freeContents(const std::vector<std::uint32_t>& ids);
    void freeSubtree(const std::vector<std::uint32_t>& ids);
    // kFileCorrupt where an entry hangs from two places, or two streams have a sector in common, now or with its next
    // use: a change at one would damage the other. Changes words of the allocation table that nobody may own.
    void requireChangeable();
    void makeRedBlack(std::uint32_t owner);
    bool isKnownRedBlack(std::uint32_t id) const { return id < redBlack_.size() && redBlack_[id]; }
    void setKnownRedBlack(std::uint32_t id, bool known);
    void revert(std::uint32_t id);

    BlockCache cache_;
    std::optional<Sectors> sectors_;
    std::optional<Allocation> allocation_;
    std::optional<Directory> directory_;
    std::optional<MiniStream> mini_;
    std::optional<StreamContent> content_;
    bool prepared_ = false;
    // Why nothing works any more.
    std::optional<Status> broken_;
    Waiting waiting_;
    std::uint64_t treeVersion_ = 0;
    mutable LastChild lastChild_;
    OpenElements open_;
    // Per entry: whether it is a storage whose sibling tree is known to be red-black.
    std::vector<bool> redBlack_;
};

} // namespace storage

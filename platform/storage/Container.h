#pragma once

#include "platform/storage/Allocation.h"
#include "platform/storage/Directory.h"
#include "platform/storage/MiniStream.h"
#include "platform/storage/SiblingTree.h"
#include "platform/storage/StreamContent.h"

#include <functional>
#include <memory>
#include <optional>
#include <unordered_map>
#include <unordered_set>

namespace storage {

class Element;

// An open compound file: the layers below put together, and the changes of a caller made whole. Shared by all objects of
// the file; the last of them closes it. Throws Failure; after a failed change everything is as before it.
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
    const Directory& directory() const { return *directory_; }
    // Goes up with every change of the tree of elements.
    std::uint64_t treeVersion() const { return treeVersion_; }

    // The child of that name and kind; kFileNotFound.
    std::uint32_t find(std::uint32_t owner, const Name& name, EntryType kind) const;
    // The next find() of `id`'s name in `owner` needs no walk: it was just enumerated.
    void rememberChild(std::uint32_t owner, std::uint32_t id) const { lastChild_ = {owner, id, treeVersion_}; }

    std::uint32_t createChild(std::uint32_t owner, const Name& name, EntryType kind, bool replaces);
    void destroyChild(std::uint32_t owner, const Name& name);

    std::uint64_t sizeOf(std::uint32_t id) const { return directory_->sizeOf(id); }
    std::size_t read(std::uint32_t id, StreamChain& chain, std::uint64_t position, std::span<std::uint8_t> out);
    void write(std::uint32_t id, StreamChain& chain, std::uint64_t position, ByteView bytes);
    void resize(std::uint32_t id, StreamChain& chain, std::uint64_t size);
    void flush();

    // The objects that callers hold: one per open entry. Open elements of entries that go are reverted.
    bool isOpen(std::uint32_t id) const { return open_.contains(id); }
    void opened(std::uint32_t id, Element& element) { open_[id] = &element; }
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
    void change(bool joins, const std::function<void()>& body);
    void prepare();
    void commit();
    void commitWaiting();
    void rollBack();
    // Entries of the elements below `id`, itself first.
    std::vector<std::uint32_t> subtree(std::uint32_t id) const;
    void freeContents(const std::vector<std::uint32_t>& ids);
    void freeSubtree(const std::vector<std::uint32_t>& ids);
    SiblingTree treeForChange(std::uint32_t owner);
    void revert(std::uint32_t id);

    BlockCache cache_;
    std::optional<Sectors> sectors_;
    std::optional<Allocation> allocation_;
    std::optional<Directory> directory_;
    std::optional<MiniStream> mini_;
    std::optional<StreamContent> content_;
    bool prepared_ = false;
    // Why nothing works any more: the file could not be read again after a failed change.
    std::optional<Status> broken_;
    Waiting waiting_;
    std::uint64_t treeVersion_ = 0;
    mutable LastChild lastChild_;
    std::unordered_map<std::uint32_t, Element*> open_;
    // Storages whose sibling trees are known to be red-black.
    std::unordered_set<std::uint32_t> redBlack_;
};

} // namespace storage

// The objects behind the interfaces of Storage.h, and the two calls that make the first of them.

#include "platform/kernel/Trace.h"
#include "platform/storage/CompoundFile.h"
#include "platform/storage/Status.h"
#include "platform/storage/Storage.h"

#include <algorithm>
#include <optional>
#include <utility>

namespace storage {
namespace {

// The access that a mode asks for; a creation's includes writing. kInvalidFlag for a mode that is none.
std::uint32_t accessOf(std::uint32_t mode, bool isCreation) {
    const std::uint32_t access = mode & 0x3;
    const std::uint32_t known = access | kShareExclusive | (isCreation ? mode & kCreate : 0);
    if (access > kReadWrite || mode != known || (isCreation && access == kRead)) {
        throw Failure(kInvalidFlag);
    }
    return access;
}

class StreamObject final : public com::Implements<IStream>, public NodeHandle {
public:
    using NodeHandle::NodeHandle;

    Status read(std::span<std::uint8_t> out, std::uint32_t& transferred) override {
        transferred = 0;
        return guarded([&] {
            const Node& stream = node(kRead);
            const std::uint64_t left = stream.size() - std::min(position_, stream.size());
            const auto count = static_cast<std::size_t>(std::min<std::uint64_t>(left, out.size()));
            if (count > 0) {
                file()->tree().read(stream, position_, out.first(count));
            }
            position_ += count;
            transferred = static_cast<std::uint32_t>(count);
        });
    }

    Status write(std::span<const std::uint8_t> bytes, std::uint32_t& transferred) override {
        transferred = 0;
        return guarded([&] {
            Node& stream = node(kWrite);
            if (bytes.empty()) {
                return;
            }
            const std::uint64_t end = position_ + bytes.size();
            if (position_ > kMaxFileBytes || end > kMaxFileBytes) {
                throw Failure(kFileTooLarge);
            }
            Buffer& content = file()->changeBytes(stream);
            content.resize(std::max<std::uint64_t>(end, content.size()));
            std::ranges::copy(bytes, content.begin() + static_cast<std::ptrdiff_t>(position_));
            position_ = end;
            transferred = static_cast<std::uint32_t>(bytes.size());
        });
    }

    Status moveTo(std::uint64_t position) override {
        return guarded([&] {
            (void)node();
            position_ = position;
        });
    }

private:
    std::uint64_t position_ = 0;
};

class StorageObject final : public com::Implements<IStorage>, public NodeHandle {
public:
    using NodeHandle::NodeHandle;

    Status createStorage(std::u16string_view name, std::uint32_t mode, ComPtr<IStorage>& out) override {
        return create<IStorage, StorageObject>(name, mode, ElementKind::kStorage, out);
    }
    Status createStream(std::u16string_view name, std::uint32_t mode, ComPtr<IStream>& out) override {
        return create<IStream, StreamObject>(name, mode, ElementKind::kStream, out);
    }
    Status openStorage(std::u16string_view name, std::uint32_t mode, ComPtr<IStorage>& out) override {
        return open<IStorage, StorageObject>(name, mode, ElementKind::kStorage, out);
    }
    Status openStream(std::u16string_view name, std::uint32_t mode, ComPtr<IStream>& out) override {
        return open<IStream, StreamObject>(name, mode, ElementKind::kStream, out);
    }

    Status destroyElement(std::u16string_view name) override {
        return guarded([&] { file()->removeChild(node(kWrite), Name::checked(name)); });
    }

    Status enumElements(ComPtr<IEnumElements>& out) override;

    Status flush() override {
        return guarded([&] {
            (void)node();
            file()->save();
        });
    }

    bool isWhole() override { return file()->tree().damage.empty(); }

    // The child that an enumeration answers is likely to be opened next, and need not be looked for.
    void expectOpening(Node::Children::iterator child) {
        expected_ = child;
        expectedVersion_ = file()->version();
    }

private:
    template <class Interface, class Object>
    Status create(std::u16string_view name, std::uint32_t mode, ElementKind kind, ComPtr<Interface>& out) {
        out.reset();
        return guarded([&] {
            const std::uint32_t access = accessOf(mode, true);
            Node& made = file()->createChild(node(access), Name::checked(name), kind, (mode & kCreate) != 0);
            out = com::makeObject<Interface, Object>(file(), made, access);
        });
    }

    template <class Interface, class Object>
    Status open(std::u16string_view name, std::uint32_t mode, ElementKind kind, ComPtr<Interface>& out) {
        out.reset();
        return guarded([&] {
            const std::uint32_t access = accessOf(mode, false);
            Node& parent = node(access);
            const auto found = find(parent, name);
            if (found == parent.children->end() || found->second.kind != kind) {
                (void)Name::checked(name);
                throw Failure(kFileNotFound);
            }
            if (found->second.handle != nullptr) {
                throw Failure(kAccessDenied);
            }
            out = com::makeObject<Interface, Object>(file(), found->second, access);
        });
    }

    // A name that could not be created may be in a file of other making.
    Node::Children::iterator find(Node& parent, std::u16string_view name) const {
        if (expectedVersion_ == file()->version() && expected_->first.units() == name) {
            return expected_;
        }
        return name.size() > kMaxNameUnits ? parent.children->end() : parent.children->find(Name(name));
    }

    std::optional<std::uint64_t> expectedVersion_;
    Node::Children::iterator expected_;
};

class EnumObject final : public com::Implements<IEnumElements> {
public:
    explicit EnumObject(StorageObject* storage) : storage_(storage) {}

    Status next(ElementInfo& out) override {
        bool isAtEnd = false;
        const Status status = guarded([&] {
            Node& storage = storage_->node();
            if (const auto version = storage_->file()->version(); version_ != version) {
                next_ = last_ ? storage.children->upper_bound(*last_) : storage.children->begin();
                version_ = version;
            }
            if (next_ == storage.children->end()) {
                out = {};
                if (storage.incomplete) {
                    throw Failure(kFileCorrupt, storage_->file()->tree().damage);
                }
                isAtEnd = true;
            } else {
                out.name = next_->first.units();
                out.kind = next_->second.kind;
                out.size = next_->second.size();
                last_ = next_->first;
                storage_->expectOpening(next_++);
            }
        });
        return isAtEnd ? com::kFalse : status;
    }

private:
    // Keeps the storage, and with it the file, open.
    ComPtr<StorageObject> storage_;
    // The child that was answered last, and the one behind it in this version of the file.
    std::optional<Name> last_;
    std::optional<std::uint64_t> version_;
    Node::Children::iterator next_;
};

Status StorageObject::enumElements(ComPtr<IEnumElements>& out) {
    out.reset();
    return guarded([&] {
        (void)node(kRead);
        out = com::makeObject<IEnumElements, EnumObject>(this);
    });
}

ComPtr<IStorage> makeRoot(LockedFile place, Tree tree, bool isNew, std::uint32_t access) {
    const auto file = std::make_shared<CompoundFile>(std::move(place), std::move(tree), isNew);
    return com::makeObject<IStorage, StorageObject>(file, *file->tree().root, access);
}

} // namespace

Status stgCreateDocfile(const std::string& path, std::uint32_t mode, ComPtr<IStorage>& out) {
    out.reset();
    return guarded([&] {
        const std::uint32_t access = accessOf(mode, true);
        out = makeRoot(LockedFile::create(path, (mode & kCreate) != 0), {}, true, access);
    });
}

Status stgOpenStorage(const std::string& path, std::uint32_t mode, ComPtr<IStorage>& out) {
    out.reset();
    return guarded([&] {
        const std::uint32_t access = accessOf(mode, false);
        auto place = LockedFile::open(path, access != kRead);
        Tree tree = readTree(place.load());
        if (!tree.damage.empty()) {
            kernel::logError("'" + path + "' is damaged: " + tree.damage);
        }
        out = makeRoot(std::move(place), std::move(tree), false, access);
    });
}

} // namespace storage

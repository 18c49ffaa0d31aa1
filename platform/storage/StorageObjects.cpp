// The objects behind the interfaces of Storage.h, and the two calls that make the first of them.

#include "platform/storage/CompoundFile.h"
#include "platform/storage/Status.h"
#include "platform/storage/Storage.h"
#include "platform/storage/TreeReader.h"

#include <algorithm>
#include <optional>
#include <utility>

namespace storage {
namespace {

// The access that a mode asks for. kInvalidFlag for a mode that is none.
std::uint32_t accessOf(std::uint32_t mode, bool mayCreate) {
    const std::uint32_t access = mode & 0x3;
    const std::uint32_t known = access | kShareExclusive | (mayCreate ? mode & kCreate : 0);
    if (access > kReadWrite || mode != known) {
        throw Failure(kInvalidFlag);
    }
    return access;
}

// The access that a mode of a creation asks for, which includes writing.
std::uint32_t accessOfCreation(std::uint32_t mode) {
    const std::uint32_t access = accessOf(mode, true);
    if (access == kRead) {
        throw Failure(kInvalidFlag);
    }
    return access;
}

void describe(const Node& node, ElementInfo& out) {
    out.name = node.name.units();
    out.kind = node.kind;
    out.size = node.size();
}

void checkLength(std::size_t length) {
    if (length > UINT32_MAX) {
        throw Failure(com::kInvalidArgument);
    }
}

class StreamObject final : public com::Implements<IStream> {
public:
    StreamObject(const std::shared_ptr<CompoundFile>& file, Node& node, std::uint32_t access)
        : handle_(file, node, access) {}

    Status read(std::span<std::uint8_t> out, std::uint32_t& transferred) override {
        transferred = 0;
        return guarded([&] {
            const Node& stream = handle_.nodeToRead();
            checkLength(out.size());
            const std::uint64_t left = stream.size() - std::min(position_, stream.size());
            const auto count = static_cast<std::size_t>(std::min<std::uint64_t>(left, out.size()));
            if (count > 0) {
                handle_.file()->tree().read(stream, position_, out.first(count));
            }
            position_ += count;
            transferred = static_cast<std::uint32_t>(count);
        });
    }

    Status write(std::span<const std::uint8_t> bytes, std::uint32_t& transferred) override {
        transferred = 0;
        return guarded([&] {
            Node& stream = handle_.nodeToWrite();
            checkLength(bytes.size());
            if (!bytes.empty()) {
                if (position_ > kMaxFileBytes) {
                    throw Failure(kFileTooLarge);
                }
                const std::uint64_t end = position_ + bytes.size();
                resize(stream, std::max(end, stream.size()));
                std::ranges::copy(bytes, stream.bytes.begin() + static_cast<std::ptrdiff_t>(position_));
                position_ = end;
            }
            transferred = static_cast<std::uint32_t>(bytes.size());
        });
    }

    Status moveTo(std::uint64_t position) override {
        return guarded([&] {
            (void)handle_.node();
            position_ = position;
        });
    }

    Status setSize(std::uint64_t size) override {
        return guarded([&] { resize(handle_.nodeToWrite(), size); });
    }

    Status size(std::uint64_t& out) override {
        out = 0;
        return guarded([&] { out = handle_.node().size(); });
    }

private:
    void resize(Node& stream, std::uint64_t size) {
        if (size > kMaxFileBytes) {
            throw Failure(kFileTooLarge);
        }
        handle_.file()->changeBytes(stream).resize(size);
    }

    NodeHandle handle_;
    std::uint64_t position_ = 0;
};

class StorageObject final : public com::Implements<IStorage> {
public:
    StorageObject(const std::shared_ptr<CompoundFile>& file, Node& node, std::uint32_t access)
        : handle_(file, node, access) {}

    Status createStorage(std::u16string_view name, std::uint32_t mode, ComPtr<IStorage>& out) override {
        return create<IStorage, StorageObject>(name, mode, ElementKind::storage, out);
    }
    Status createStream(std::u16string_view name, std::uint32_t mode, ComPtr<IStream>& out) override {
        return create<IStream, StreamObject>(name, mode, ElementKind::stream, out);
    }
    Status openStorage(std::u16string_view name, std::uint32_t mode, ComPtr<IStorage>& out) override {
        return open<IStorage, StorageObject>(name, mode, ElementKind::storage, out);
    }
    Status openStream(std::u16string_view name, std::uint32_t mode, ComPtr<IStream>& out) override {
        return open<IStream, StreamObject>(name, mode, ElementKind::stream, out);
    }

    Status destroyElement(std::u16string_view name) override {
        return guarded([&] { handle_.file()->removeChild(handle_.nodeToWrite(), Name::checked(name)); });
    }

    Status enumElements(ComPtr<IEnumElements>& out) override;

    Status stat(ElementInfo& out) override {
        return guarded([&] { describe(handle_.node(), out); });
    }

    Status flush() override {
        return guarded([&] {
            (void)handle_.node();
            handle_.file()->save();
        });
    }

    const NodeHandle& handle() const { return handle_; }

private:
    template <class Interface, class Object>
    Status create(std::u16string_view name, std::uint32_t mode, ElementKind kind, ComPtr<Interface>& out) {
        out.reset();
        return guarded([&] {
            const std::uint32_t access = accessOfCreation(mode);
            Node& parent = handle_.nodeToWrite();
            if (access == kReadWrite && !handle_.mayRead()) {
                throw Failure(kAccessDenied);
            }
            Node& made = handle_.file()->createChild(parent, Name::checked(name), kind, (mode & kCreate) != 0);
            out = com::makeObject<Interface, Object>(handle_.file(), made, access);
        });
    }

    template <class Interface, class Object>
    Status open(std::u16string_view name, std::uint32_t mode, ElementKind kind, ComPtr<Interface>& out) {
        out.reset();
        return guarded([&] {
            const std::uint32_t access = accessOf(mode, false);
            const Node& parent = handle_.node();
            if ((access != kWrite && !handle_.mayRead()) || (access != kRead && !handle_.mayWrite())) {
                throw Failure(kAccessDenied);
            }
            // A name that could not be created may be in a file of other making.
            Node* found = name.size() > kMaxNameUnits ? nullptr : parent.find(Name(name));
            if (found == nullptr || found->kind != kind) {
                (void)Name::checked(name);
                throw Failure(kFileNotFound);
            }
            if (found->handle != nullptr) {
                throw Failure(kAccessDenied);
            }
            out = com::makeObject<Interface, Object>(handle_.file(), *found, access);
        });
    }

    NodeHandle handle_;
};

class EnumObject final : public com::Implements<IEnumElements> {
public:
    explicit EnumObject(StorageObject* storage) : storage_(storage) {}

    Status next(ElementInfo& out) override {
        bool isAtEnd = false;
        const Status status = guarded([&] {
            const Node& storage = storage_->handle().node();
            const auto child = last_ ? storage.children.upper_bound(*last_) : storage.children.begin();
            isAtEnd = child == storage.children.end();
            if (!isAtEnd) {
                describe(**child, out);
                last_ = (*child)->name;
            } else if (storage.incomplete) {
                throw Failure(kFileCorrupt, storage_->handle().file()->tree().damage);
            }
        });
        if (status != com::kOk || isAtEnd) {
            out = {};
        }
        return status == com::kOk && isAtEnd ? com::kFalse : status;
    }

private:
    // Keeps the storage, and with it the file, open.
    ComPtr<StorageObject> storage_;
    // The child that was answered last.
    std::optional<Name> last_;
};

Status StorageObject::enumElements(ComPtr<IEnumElements>& out) {
    out.reset();
    return guarded([&] {
        (void)handle_.nodeToRead();
        out = com::makeObject<IEnumElements, EnumObject>(this);
    });
}

ComPtr<IStorage> makeRoot(const std::shared_ptr<CompoundFile>& file, std::uint32_t access) {
    return com::makeObject<IStorage, StorageObject>(file, *file->tree().root, access);
}

} // namespace

Status stgCreateDocfile(const std::string& path, std::uint32_t mode, ComPtr<IStorage>& out) {
    out.reset();
    return guarded([&] {
        const std::uint32_t access = accessOfCreation(mode);
        auto place = LockedFile::create(path, (mode & kCreate) != 0);
        out = makeRoot(std::make_shared<CompoundFile>(std::move(place)), access);
    });
}

Status stgOpenStorage(const std::string& path, std::uint32_t mode, ComPtr<IStorage>& out) {
    out.reset();
    return guarded([&] {
        const std::uint32_t access = accessOf(mode, false);
        auto place = LockedFile::open(path, access == kRead ? LockedFile::Access::read : LockedFile::Access::readWrite);
        Tree tree = readTree(place.load());
        out = makeRoot(std::make_shared<CompoundFile>(std::move(place), std::move(tree)), access);
    });
}

} // namespace storage

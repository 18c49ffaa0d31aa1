#include "platform/storage/Elements.h"

#include <stdexcept>

namespace storage {
namespace {

void describe(const Container& container, std::uint32_t id, ElementInfo& out) {
    const EntryReader entry = container.directory().read(id);
    const ByteView name = entry.name();
    out.name.resize(name.size() / 2);
    for (std::size_t at = 0; at < out.name.size(); ++at) {
        out.name[at] = get16(&name[2 * at]);
    }
    const bool stream = entry.type() == EntryType::stream;
    out.kind = stream ? ElementKind::stream : ElementKind::storage;
    out.size = stream ? container.sizeOf(id) : 0;
}

class StreamObject final : public com::Implements<IStream> {
public:
    StreamObject(const std::shared_ptr<Container>& container, std::uint32_t id, std::uint32_t access)
        : element_(container, id, access) {}

    Status read(std::span<std::uint8_t> out, std::uint32_t& transferred) override {
        transferred = 0;
        return guarded([&] {
            element_.requireRead();
            checkLength(out.size());
            const std::size_t count = file().read(element_.id(), chain_, position_, out);
            position_ += count;
            transferred = static_cast<std::uint32_t>(count);
            return com::kOk;
        });
    }

    Status write(std::span<const std::uint8_t> bytes, std::uint32_t& transferred) override {
        transferred = 0;
        const Status status = change([&] {
            checkLength(bytes.size());
            if (!bytes.empty()) {
                file().write(element_.id(), chain_, position_, bytes);
            }
        });
        if (com::succeeded(status)) {
            position_ += bytes.size();
            transferred = static_cast<std::uint32_t>(bytes.size());
        }
        return status;
    }

    Status moveTo(std::uint64_t position) override {
        return guarded([&] {
            element_.require();
            position_ = position;
            return com::kOk;
        });
    }

    Status setSize(std::uint64_t size) override {
        return change([&] { file().resize(element_.id(), chain_, size); });
    }

    Status size(std::uint64_t& out) override {
        out = 0;
        return guarded([&] {
            element_.require();
            out = file().sizeOf(element_.id());
            return com::kOk;
        });
    }

private:
    Container& file() { return *element_.container(); }

    template <class Body>
    Status change(Body&& body) {
        const Status status = guarded([&] {
            element_.requireWrite();
            body();
            return com::kOk;
        });
        if (com::failed(status)) {
            // The chain in the file is the old one.
            chain_ = {};
        }
        return status;
    }

    static void checkLength(std::size_t length) {
        if (length > UINT32_MAX) {
            throw Failure(com::kInvalidArgument);
        }
    }

    Element element_;
    StreamChain chain_;
    std::uint64_t position_ = 0;
};

class StorageObject final : public com::Implements<IStorage> {
public:
    StorageObject(const std::shared_ptr<Container>& container, std::uint32_t id, std::uint32_t access)
        : element_(container, id, access) {}

    Status createStorage(std::u16string_view name, std::uint32_t mode, ComPtr<IStorage>& out) override {
        return create<IStorage, StorageObject>(name, mode, EntryType::storage, out);
    }
    Status createStream(std::u16string_view name, std::uint32_t mode, ComPtr<IStream>& out) override {
        return create<IStream, StreamObject>(name, mode, EntryType::stream, out);
    }
    Status openStorage(std::u16string_view name, std::uint32_t mode, ComPtr<IStorage>& out) override {
        return open<IStorage, StorageObject>(name, mode, EntryType::storage, out);
    }
    Status openStream(std::u16string_view name, std::uint32_t mode, ComPtr<IStream>& out) override {
        return open<IStream, StreamObject>(name, mode, EntryType::stream, out);
    }

    Status destroyElement(std::u16string_view name) override {
        return guarded([&] {
            element_.requireWrite();
            file().destroyChild(element_.id(), Name(name));
            return com::kOk;
        });
    }

    Status enumElements(ComPtr<IEnumElements>& out) override;

    Status stat(ElementInfo& out) override {
        return guarded([&] {
            element_.require();
            describe(file(), element_.id(), out);
            return com::kOk;
        });
    }

    Status flush() override {
        return guarded([&] {
            element_.require();
            file().flush();
            return com::kOk;
        });
    }

    const Element& element() const { return element_; }

private:
    Container& file() { return *element_.container(); }

    template <class Interface, class Object>
    Status create(std::u16string_view name, std::uint32_t mode, EntryType kind, ComPtr<Interface>& out) {
        out.reset();
        return guarded([&] {
            const std::uint32_t access = accessOf(mode, true);
            if (access == kRead) {
                throw Failure(kInvalidFlag);
            }
            element_.requireWrite();
            if (access == kReadWrite && !element_.mayRead()) {
                throw Failure(kAccessDenied);
            }
            const std::uint32_t id = file().createChild(element_.id(), Name(name), kind, (mode & kCreate) != 0);
            try {
                out = com::makeObject<Interface, Object>(element_.container(), id, access);
            } catch (...) {
                file().undoCreation();
                throw;
            }
            return com::kOk;
        });
    }

    template <class Interface, class Object>
    Status open(std::u16string_view name, std::uint32_t mode, EntryType kind, ComPtr<Interface>& out) {
        out.reset();
        return guarded([&] {
            const std::uint32_t access = accessOf(mode, false);
            element_.require();
            if ((access != kWrite && !element_.mayRead()) || (access != kRead && !element_.mayWrite())) {
                throw Failure(kAccessDenied);
            }
            const std::uint32_t id = file().find(element_.id(), Name(name), kind);
            if (file().isOpen(id)) {
                throw Failure(kAccessDenied);
            }
            out = com::makeObject<Interface, Object>(element_.container(), id, access);
            return com::kOk;
        });
    }

    Element element_;
};

class EnumObject final : public com::Implements<IEnumElements> {
public:
    explicit EnumObject(StorageObject* storage)
        : storage_(storage), file_(*storage->element().container()), treeVersion_(file_.treeVersion()),
          walk_(file_.directory(), storage->element().id()) {}

    Status next(ElementInfo& out) override {
        return guarded([&] {
            storage_->element().require();
            file_.requireUsable();
            if (treeVersion_ != file_.treeVersion()) {
                walk_.restart();
                treeVersion_ = file_.treeVersion();
            }
            const std::uint32_t id = walk_.next();
            if (id == kNoEntry) {
                out = {};
                return com::kFalse;
            }
            describe(file_, id, out);
            file_.rememberChild(storage_->element().id(), id);
            return com::kOk;
        });
    }

private:
    // Keeps the storage, and with it the file, open.
    ComPtr<StorageObject> storage_;
    Container& file_;
    std::uint64_t treeVersion_;
    SiblingWalk walk_;
};

Status StorageObject::enumElements(ComPtr<IEnumElements>& out) {
    out.reset();
    return guarded([&] {
        element_.requireRead();
        out = com::makeObject<IEnumElements, EnumObject>(this);
        return com::kOk;
    });
}

} // namespace

Element::Element(std::shared_ptr<Container> container, std::uint32_t id, std::uint32_t access)
    : container_(std::move(container)), id_(id), access_(access) {
    container_->opened(*this);
}

Element::~Element() {
    if (!reverted_) {
        container_->closed(id_);
    }
}

void Element::require() const {
    if (reverted_) {
        throw Failure(kReverted);
    }
}

void Element::requireRead() const {
    require();
    if (!mayRead()) {
        throw Failure(kAccessDenied);
    }
}

void Element::requireWrite() const {
    require();
    if (!mayWrite()) {
        throw Failure(kAccessDenied);
    }
}

ComPtr<IStorage> makeRoot(std::shared_ptr<Container> container, std::uint32_t access) {
    return com::makeObject<IStorage, StorageObject>(container, kRootEntry, access);
}

std::uint32_t accessOf(std::uint32_t mode, bool mayReplace) {
    const std::uint32_t access = mode & 0x3;
    const std::uint32_t known = access | kShareExclusive | (mayReplace ? mode & kCreate : 0);
    if (access > kReadWrite || mode != known) {
        throw Failure(kInvalidFlag);
    }
    return access;
}

} // namespace storage

#include "platform/storage/CompoundFile.h"

#include "platform/kernel/Trace.h"
#include "platform/storage/Status.h"

#include <utility>

namespace storage {

CompoundFile::CompoundFile(LockedFile place, Tree tree, bool isNew)
    : place_(std::move(place)), tree_(std::move(tree)), mustSave_(isNew), changed_(isNew) {}

CompoundFile::~CompoundFile() {
    // A failure that was answered has been answered: what failed is not done behind the caller's back.
    if (mustSave_ && com::failed(guarded([this] { save(); }))) {
        kernel::logError("'" + place_.path() + "' could not be saved when it was closed");
    }
}

Node& CompoundFile::createChild(Node& parent, const Name& name, ElementKind kind, bool mayReplace) {
    requireWhole();
    Node::Children made;
    made.try_emplace(name, kind);
    auto [place, behind] = parent.children->equal_range(name);
    if (place != behind && !mayReplace) {
        throw Failure(kFileAlreadyExists);
    }
    markChanged();
    place = parent.children->erase(place, behind);
    return parent.children->insert(place, made.extract(made.begin()))->second;
}

void CompoundFile::removeChild(Node& parent, const Name& name) {
    requireWhole();
    const auto old = parent.children->find(name);
    if (old == parent.children->end()) {
        throw Failure(kFileNotFound);
    }
    markChanged();
    parent.children->erase(old);
}

Buffer& CompoundFile::changeBytes(Node& stream) {
    requireWhole();
    markChanged();
    if (stream.inFile) {
        stream.bytes.resize(stream.sizeInFile);
        tree_.read(stream, 0, stream.bytes);
        stream.inFile = false;
    }
    return stream.bytes;
}

void CompoundFile::requireWhole() const {
    if (!tree_.damage.empty()) {
        throw Failure(kFileCorrupt, "'" + place_.path() + "' is not changed: " + tree_.damage);
    }
}

void CompoundFile::markChanged() {
    mustSave_ = true;
    changed_ = true;
    ++version_;
}

void CompoundFile::save() {
    mustSave_ = false;
    if (changed_) {
        place_.save(writeTree(tree_));
        changed_ = false;
    }
}

NodeHandle::NodeHandle(std::shared_ptr<CompoundFile> file, Node& node, std::uint32_t access)
    : file_(std::move(file)), node_(&node), access_(access) {
    node.handle = this;
}

NodeHandle::~NodeHandle() {
    if (node_ != nullptr) {
        node_->handle = nullptr;
    }
}

Node& NodeHandle::node(std::uint32_t access) const {
    if (node_ == nullptr) {
        throw Failure(kReverted);
    }
    if (access_ != kReadWrite && access_ != access) {
        throw Failure(kAccessDenied);
    }
    return *node_;
}

} // namespace storage

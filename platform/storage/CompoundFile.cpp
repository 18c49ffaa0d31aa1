#include "platform/storage/CompoundFile.h"

#include "platform/kernel/Trace.h"
#include "platform/storage/Status.h"
#include "platform/storage/TreeWriter.h"

#include <utility>

namespace storage {
namespace {

// Tells the objects of a node and of all below it that it is gone.
void closeHandles(Node& top) {
    std::vector<Node*> nodes{&top};
    while (!nodes.empty()) {
        Node& node = *nodes.back();
        nodes.pop_back();
        if (NodeHandle* handle = std::exchange(node.handle, nullptr)) {
            handle->nodeIsGone();
        }
        for (const auto& child : node.children) {
            nodes.push_back(child.get());
        }
    }
}

} // namespace

CompoundFile::CompoundFile(LockedFile place) : place_(std::move(place)), mustSave_(true), changed_(true) {
    tree_.root = std::make_unique<Node>(Name(u"Root Entry"), ElementKind::storage);
}

CompoundFile::CompoundFile(LockedFile place, Tree tree) : place_(std::move(place)), tree_(std::move(tree)) {}

CompoundFile::~CompoundFile() {
    // A failure that was answered has been answered: what failed is not done behind the caller's back.
    if (mustSave_ && com::failed(guarded([this] { save(); }))) {
        kernel::logError("'" + place_.path() + "' could not be saved when it was closed");
    }
}

Node& CompoundFile::createChild(Node& parent, const Name& name, ElementKind kind, bool mayReplace) {
    beginChange();
    auto made = std::make_unique<Node>(name, kind);
    const auto old = parent.children.find(name);
    if (old != parent.children.end()) {
        if (!mayReplace) {
            throw Failure(kFileAlreadyExists);
        }
        closeHandles(**old);
        parent.children.erase(old);
    }
    return **parent.children.insert(std::move(made)).first;
}

void CompoundFile::removeChild(Node& parent, const Name& name) {
    beginChange();
    const auto old = parent.children.find(name);
    if (old == parent.children.end()) {
        throw Failure(kFileNotFound);
    }
    closeHandles(**old);
    parent.children.erase(old);
}

Buffer& CompoundFile::changeBytes(Node& stream) {
    beginChange();
    return tree_.makeOwn(stream);
}

void CompoundFile::beginChange() {
    if (!tree_.damage.empty()) {
        throw Failure(kFileCorrupt, "'" + place_.path() + "' is not changed: " + tree_.damage);
    }
    mustSave_ = true;
    changed_ = true;
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

Node& NodeHandle::node() const {
    if (node_ == nullptr) {
        throw Failure(kReverted);
    }
    return *node_;
}

Node& NodeHandle::nodeToRead() const {
    if (node_ != nullptr && !mayRead()) {
        throw Failure(kAccessDenied);
    }
    return node();
}

Node& NodeHandle::nodeToWrite() const {
    if (node_ != nullptr && !mayWrite()) {
        throw Failure(kAccessDenied);
    }
    return node();
}

} // namespace storage

#include "platform/storage/Tree.h"

#include <algorithm>
#include <utility>

namespace storage {

bool NodeOrder::operator()(const std::unique_ptr<Node>& left, const std::unique_ptr<Node>& right) const {
    return left->name < right->name;
}

bool NodeOrder::operator()(const std::unique_ptr<Node>& left, const Name& right) const {
    return left->name < right;
}

bool NodeOrder::operator()(const Name& left, const std::unique_ptr<Node>& right) const {
    return left < right->name;
}

Node::~Node() {
    if (children.empty()) {
        return;
    }
    std::vector<Children> levels;
    levels.push_back(std::move(children));
    while (!levels.empty()) {
        const Children going = std::move(levels.back());
        levels.pop_back();
        for (const auto& child : going) {
            if (!child->children.empty()) {
                levels.push_back(std::move(child->children));
            }
        }
    }
}

Node* Node::find(const Name& childName) const {
    const auto found = children.find(childName);
    return found == children.end() ? nullptr : found->get();
}

void Tree::read(const Node& stream, std::uint64_t offset, std::span<std::uint8_t> out) const {
    if (stream.inFile) {
        file->read(stream.start, stream.sizeInFile, offset, out);
    } else {
        std::copy_n(stream.bytes.begin() + static_cast<std::ptrdiff_t>(offset), out.size(), out.begin());
    }
}

Buffer& Tree::makeOwn(Node& stream) const {
    if (stream.inFile) {
        Buffer bytes(stream.sizeInFile);
        read(stream, 0, bytes);
        stream.bytes = std::move(bytes);
        stream.inFile = false;
    }
    return stream.bytes;
}

} // namespace storage

#include "platform/storage/Tree.h"

#include "platform/storage/CompoundFile.h"
#include "platform/storage/Format.h"

#include <algorithm>
#include <utility>

namespace storage {

Node::Node(ElementKind itsKind)
    : kind(itsKind), children(kind == ElementKind::kStorage ? std::make_unique<Children>() : nullptr) {}

Node::~Node() {
    if (handle != nullptr) {
        handle->nodeIsGone();
    }
    std::vector<std::unique_ptr<Children>> levels;
    for (auto going = std::move(children); going != nullptr && !going->empty();) {
        for (auto& [name, child] : *going) {
            if (child.children != nullptr && !child.children->empty()) {
                levels.push_back(std::move(child.children));
            }
        }
        going = nullptr;
        if (!levels.empty()) {
            going = std::move(levels.back());
            levels.pop_back();
        }
    }
}

void Tree::read(const Node& stream, std::uint64_t offset, std::span<std::uint8_t> out) const {
    if (!stream.inFile) {
        std::copy_n(stream.bytes.begin() + static_cast<std::ptrdiff_t>(offset), out.size(), out.begin());
        return;
    }
    if (stream.incomplete) {
        throw Failure(kFileCorrupt, damage);
    }
    const SectorChains& chains = stream.sizeInFile < format::kMiniCutoff ? file->mini : file->large;
    // A chain in a circle has no end, so one that claims to be longer than the file must not be followed.
    if (stream.sizeInFile > chains.count() * chains.sectorBytes) {
        failCorrupt("a stream is longer than the file:", stream.sizeInFile);
    }
    chains.read(stream.start, offset, out);
}

} // namespace storage

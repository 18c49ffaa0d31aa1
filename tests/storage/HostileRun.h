#pragma once

#include "tests/storage/Support.h"

namespace storage::testing {

// What a user might do to a file from anywhere: read all of it, then update one item, remove one, create one, and read
// all of it again. In a bad file any status is fine. A perfect file must take every change and be perfect afterwards:
// answers false where it is not.
inline bool survivesUse(const Buffer& bytes) {
    Tree before;
    const bool perfect = strictCheck(bytes, before).empty();
    Tree read;
    const bool readable = com::succeeded(readImage(bytes, read));
    if (perfect && (!readable || read != before)) {
        return false;
    }
    auto image = imageOf(bytes);
    ComPtr<IStorage> root;
    if (com::failed(openImage(image, kOpenReadWrite, root))) {
        return !perfect;
    }
    bool changed = true;
    for (const auto& [path, contents] : read) {
        const auto name = path.substr(1, path.find(u'/', 1) - 1);
        if (name.empty()) {
            continue;
        }
        ComPtr<IStream> stream;
        std::uint32_t transferred = 0;
        if (com::succeeded(root->openStream(name, kOpenReadWrite, stream))) {
            changed = com::succeeded(stream->write(pattern(200, 1), transferred)) && changed;
            changed = com::succeeded(stream->setSize(5000)) && changed;
            changed = com::succeeded(stream->setSize(70)) && changed;
        } else {
            ComPtr<IStorage> storage;
            if (com::succeeded(root->openStorage(name, kOpenReadWrite, storage))) {
                changed = com::succeeded(writeItem(*storage.get(), 7, 7)) && changed;
            }
        }
        stream.reset();
        changed = com::succeeded(writeItem(*root.get(), 345, 2)) && changed;
        changed = com::succeeded(root->destroyElement(name)) && changed;
        break;
    }
    changed = com::succeeded(writeItem(*root.get(), 1, 3, 5000)) && changed;
    root.reset();
    Tree after;
    (void)readImage(image->bytes, after);
    return !perfect || (changed && strictCheck(image->bytes, after).empty());
}

} // namespace storage::testing

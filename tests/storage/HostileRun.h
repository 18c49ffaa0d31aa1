#pragma once

#include "tests/storage/Support.h"

namespace storage::testing {

/// What a user might do to a file from anywhere: read all of it, then replace what is first in it, remove it, create
/// another, and save. In a bad file any status is fine, but one that refuses a change stays as it is. A perfect file
/// must take every change and be perfect afterwards. Answers false where that is not so.
inline bool survivesUse(const std::string& path) {
    const Buffer bytes = load(path);
    Contents before;
    const bool perfect = strictCheck(bytes, before).empty();
    Contents read;
    const bool readable = com::succeeded(readFile(path, read));
    if (perfect && (!readable || read != before)) {
        return false;
    }
    ComPtr<IStorage> root;
    if (com::failed(stgOpenStorage(path, kOpenReadWrite, root))) {
        return !perfect;
    }
    bool changed = com::succeeded(writeItem(*root.get(), 1, 3, 5000));
    const bool refused = !changed;
    if (read.size() > 1) {
        const std::u16string first = std::next(read.begin())->first;
        const std::u16string name = first.substr(1, first.find(u'/', 1) - 1);
        ComPtr<IStream> stream;
        std::uint32_t transferred = 0;
        if (com::succeeded(root->openStream(name, kOpenReadWrite, stream))) {
            changed = com::succeeded(stream->write(pattern(5000, 1), transferred)) && changed;
        }
        changed = com::succeeded(root->destroyElement(name)) && changed;
    }
    root.reset();
    Contents after;
    const std::string wrong = strictCheck(load(path), after);
    return refused ? load(path) == bytes && !perfect : wrong.empty() && (changed || !perfect);
}

} // namespace storage::testing

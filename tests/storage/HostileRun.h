#pragma once

#include "tests/storage/Support.h"

namespace storage::testing {

/// What a user might do to a file from anywhere: read all of it, then write an item, remove what is first in it,
/// save, and read all of it again. A bad file may answer any status; one that refuses a change stays as it is, and
/// one that takes it holds what was there before the save. A perfect file must take every change and be perfect
/// afterwards. Answers false where that is not so.
inline bool survivesUse(const std::string& path) {
    const Buffer bytes = load(path);
    Contents expected;
    const bool perfect = strictCheck(bytes, expected).empty();
    Contents found;
    const bool readable = com::succeeded(readFile(path, found));
    if (perfect && (!readable || found != expected)) {
        return false;
    }
    ComPtr<IStorage> root;
    if (com::failed(stgOpenStorage(path, kOpenReadWrite, root))) {
        return !perfect;
    }
    if (com::failed(writeItem(*root.get(), 1, 3, 5000))) {
        root.reset();
        return !perfect && load(path) == bytes;
    }
    ComPtr<IEnumElements> children;
    ElementInfo first;
    bool changed = root->enumElements(children) == com::kOk && children->next(first) == com::kOk;
    changed = com::succeeded(root->destroyElement(first.name)) && changed;
    const bool whole = com::succeeded(readTree(*root.get(), expected = {}));
    children.reset();
    root.reset();
    return whole && readFile(path, found) == com::kOk && found == expected &&
           (!perfect || (changed && strictCheck(load(path), found).empty()));
}

} // namespace storage::testing

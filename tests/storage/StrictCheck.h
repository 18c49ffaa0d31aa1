#pragma once

#include "platform/storage/Bytes.h"

#include <map>
#include <string>

namespace storage::testing {

// The tree of a compound file as paths ("/a/b"), each with the bytes of a stream; a storage's path ends in "/".
using Tree = std::map<std::u16string, Buffer>;

// Reads a whole file by the published format, with none of the code under test, and forgives nothing: header, tables,
// ownership of every sector and mini sector, every directory entry, order, colours and heights of every sibling tree,
// zeros wherever nothing is. Answers what is wrong, empty for a perfect file; `tree` gets the contents.
// What may be less than perfect: an open file may end in zero bytes; where the writing of a large stream was
// interrupted, its bytes may remain in free sectors.
struct Allow {
    bool open = false;
    bool bytesInFreeSectors = false;
};
std::string strictCheck(const Buffer& file, Tree& tree, Allow allow = {});

} // namespace storage::testing

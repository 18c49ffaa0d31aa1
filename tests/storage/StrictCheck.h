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
// `open`: the file is still open, so zero bytes may follow its last sector.
std::string strictCheck(const Buffer& file, Tree& tree, bool open = false);

} // namespace storage::testing

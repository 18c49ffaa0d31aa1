#pragma once

#include "platform/storage/Tree.h"

namespace storage {

/// Makes the bytes of a compound file that holds the tree: version 3, every table and every stream in one piece, the
/// children of each storage as a balanced red-black tree, zeros wherever nothing is. Throws Failure: kFileTooLarge for
/// more than kMaxFileBytes, kFileCorrupt where a stream's bytes are not there.
Buffer writeTree(const Tree& tree);

} // namespace storage

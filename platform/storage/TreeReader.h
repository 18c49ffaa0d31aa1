#pragma once

#include "platform/storage/Tree.h"

namespace storage {

/// Makes the tree that the bytes of a compound file hold, of any writer: versions 3 and 4, sectors of 512 and 4096
/// bytes. docs/compound-file.md tells what is forgiven. What of the tree is damaged is left out, and the tree says so.
/// Throws Failure: kInvalidHeader where the bytes are no compound file, kFileCorrupt where one of its own tables is
/// broken.
Tree readTree(FileBytes bytes);

} // namespace storage

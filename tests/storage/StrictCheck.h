#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace storage::testing {

using Buffer = std::vector<std::uint8_t>;

/// The contents of a compound file as paths ("/a/b"), each with the bytes of a stream; a storage's path ends in "/".
using Contents = std::map<std::u16string, Buffer>;

/// Reads a whole file by the published format, with none of the code under test, and forgives nothing: header, tables,
/// ownership of every sector and mini sector, every directory entry, order, colours and heights of every sibling tree,
/// zeros wherever nothing is. Answers what is wrong, empty for a perfect file of version 3 and at most 7 MB; `tree`
/// gets the contents.
std::string strictCheck(const Buffer& file, Contents& tree);

} // namespace storage::testing

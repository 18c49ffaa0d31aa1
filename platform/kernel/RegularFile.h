#pragma once

#include <cstddef>
#include <filesystem>
#include <string>

namespace kernel {

/// Reads a file that somebody else wrote into `text`, whole. Only regular files: a pipe could keep the caller waiting,
/// a device never ends. Returns 0, or the error number of what failed: EISDIR for a directory, EINVAL for anything else
/// that is not a regular file, EFBIG for one of more than `maxBytes`. `text` is unspecified after a failure.
int readRegularFile(const std::filesystem::path& path, std::size_t maxBytes, std::string& text);

} // namespace kernel

#pragma once

#include "platform/kernel/FileDescriptor.h"

#include <cstddef>
#include <filesystem>
#include <string>

namespace kernel {

/// Opens a file that exists, for reading or for reading and writing. Only regular files: a pipe could keep the caller
/// waiting, a device never ends. Returns 0, or the error number of what failed: EISDIR for a directory, EINVAL for
/// anything else that is not a regular file. `file` is empty after a failure.
int openRegularFile(const std::filesystem::path& path, bool forWriting, FileDescriptor& file);

/// Reads a file that somebody else wrote into `text`, whole. Returns 0, or the error number of what failed: those of
/// openRegularFile(), EFBIG for a file of more than `maxBytes`, of which `text` then has the first `maxBytes` and one
/// more. `text` is unspecified after any other failure.
int readRegularFile(const std::filesystem::path& path, std::size_t maxBytes, std::string& text);

/// The same for what a user names at a terminal: also a pipe or a device, whose other end is waited for, and standard
/// input under the name "-".
int readInput(const std::filesystem::path& path, std::size_t maxBytes, std::string& text);

/// Opens a file to write to it, with `flags` such as O_CREAT besides. A pipe that nobody reads is ENXIO after 2 s at
/// most, in which a reader may come, instead of a wait that nothing ends. Returns 0, or the error number.
int openOutput(const std::filesystem::path& path, int flags, FileDescriptor& file);

} // namespace kernel

#pragma once

#include <filesystem>
#include <string>

/// Writes `content` to the file at `path`, or to standard output for "-". A regular file is replaced as a whole or not
/// at all: a full disk leaves the old one as it was. Throws std::runtime_error with the path and the system's reason.
void writeOutput(const std::filesystem::path& path, const std::string& content);

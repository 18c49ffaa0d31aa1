#pragma once

#include <filesystem>
#include <string>

/// Writes `content` to the file at `path` as kernel::writeWholeFile() does (a full disk leaves the old one as it was),
/// or to standard output for "-". Throws std::runtime_error with the path and the system's reason.
void writeOutput(const std::filesystem::path& path, const std::string& content);

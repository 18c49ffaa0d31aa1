#pragma once

#include <cstddef>
#include <filesystem>
#include <string>

class Calvane;

namespace workbench {

/// The decoder ring in use.
struct RingInfo {
    std::filesystem::path path;
    std::string sha256; ///< of the file's bytes, 64 hexadecimal digits; empty where it is no regular file
    std::size_t items = 0;
};
/// The ring at `path`, which `catalog` has loaded.
RingInfo ringInfo(const std::filesystem::path& path, const Calvane& catalog);
/// It in a line for people.
std::string ringLine(const RingInfo& ring);
/// The ring at `path` in a line for people, which also says if it can't be used.
std::string ringLine(const std::filesystem::path& path);

/// The SHA-256 of the file's bytes, 64 hexadecimal digits. Empty where it is no regular file or can't be read; what
/// came through a pipe is gone by now.
std::string fileHash(const std::filesystem::path& path);

} // namespace workbench

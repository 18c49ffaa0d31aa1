#pragma once

#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>
#include <system_error>

/// A folder for one test's files. It is removed with all that it holds when this object goes.
class TemporaryFolder {
public:
    TemporaryFolder() {
        std::string name = (std::filesystem::temp_directory_path() / "calvane-XXXXXX").string();
        path = ::mkdtemp(name.data());
    }
    ~TemporaryFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(path, ignored);
    }
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    std::filesystem::path operator/(const std::string& name) const { return path / name; }

    std::filesystem::path path;
};

inline void writeText(const std::filesystem::path& file, std::string_view text) {
    std::ofstream(file, std::ios::binary) << text;
}

inline std::string readText(const std::filesystem::path& file) {
    std::ifstream stream(file, std::ios::binary);
    std::error_code none;
    const auto size = std::filesystem::file_size(file, none);
    std::string text(none ? 0 : size, '\0');
    // In one piece: character by character a sanitized build takes seconds for some megabytes.
    stream.read(text.data(), static_cast<std::streamsize>(text.size()));
    text.resize(static_cast<std::size_t>(stream.gcount()));
    return text;
}

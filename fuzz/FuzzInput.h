#pragma once

#include "tests/support/TemporaryFolder.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

inline void require(bool holds) {
    if (!holds) {
        std::abort();
    }
}

inline std::string_view textOf(const std::uint8_t* data, std::size_t size) {
    return {reinterpret_cast<const char*>(data), size};
}

/// A file for inputs that are read from one.
class InputFile {
public:
    void fill(std::string_view text) const { writeText(path, text); }

private:
    const TemporaryFolder folder_;

public:
    const std::string path = folder_ / "input";
};

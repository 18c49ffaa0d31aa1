#pragma once

#include "platform/kernel/MessageException.h"

#include <cstddef>
#include <filesystem>
#include <string>

namespace tessra {

/// A file of the service that says what it must not: what() is "file:line: reason", or "file: reason" where the file as
/// a whole is meant (line 0).
class ConfigError : public kernel::MessageException {
public:
    ConfigError(const std::filesystem::path& file, std::size_t line, const std::string& reason)
        : MessageException(file.string() + (line == 0 ? "" : ":" + std::to_string(line)) + ": " + reason), line_(line) {
    }

    std::size_t line() const { return line_; }

private:
    std::size_t line_;
};

} // namespace tessra

#pragma once

#include <cstddef>
#include <filesystem>
#include <string_view>

namespace tessra {

/// A hand-written file of ports stays far below this.
inline constexpr std::size_t kMaxConfigBytes = 65536;

/// Throws ConfigError, naming `file` and the line, for a text of more than kMaxConfigBytes, with a line of more than
/// 4096 characters, or nested deeper than 32 levels. A level is a bracket that is open, a part of the table's name, or
/// a dot in a key. The parser's work on each of them is recursive, so that text without bounds could exhaust the stack.
/// So it does for a character beyond ASCII outside texts in quotation marks and comments: TOML has none there, and the
/// parser's behaviour on some of them is undefined.
void requireModestText(const std::filesystem::path& file, std::string_view text);

} // namespace tessra

#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

/// Configuration files as people write them, before and after the parser.
namespace kernel {

/// A hand-written file of settings stays far below this.
inline constexpr std::size_t kMaxTomlBytes = 65536;

/// Why a text is not given to the parser.
struct TomlFault {
    std::size_t line; ///< from 1
    std::string reason;
};

/// What is wrong with a text of more than kMaxTomlBytes, with a line of more than 4096 characters, or nested deeper
/// than 32 levels. A level is a bracket that is open, a part of the table's name, or a dot in a key. The parser's work
/// on each of them is recursive, so that text without bounds could exhaust the stack. So it is with a character beyond
/// ASCII outside texts in quotation marks and comments: TOML has none there, and the parser's behaviour on some of them
/// is undefined. Nothing for a text that the parser may see, right or wrong.
std::optional<TomlFault> findTomlFault(std::string_view text);

/// `text` between quotation marks, as a value of TOML.
std::string quotedToml(std::string_view text);

} // namespace kernel

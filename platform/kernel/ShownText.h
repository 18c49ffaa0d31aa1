#pragma once

#include <string>
#include <string_view>

/// How texts from files, arguments and phones are shown in a window, at a terminal, in a log. What these would obey
/// stands there to be read: a control character as "\x1b", one that is not seen or turns the direction of writing as
/// "\u202e", a byte that is no UTF-8 as "\xe9". What is shown already stays as it is.
namespace kernel {

/// A text that is one line, such as a name or a path: a tab and a line feed are control characters of it, too.
std::string shownText(std::string_view text);

/// A text that may have lines: tabs and line feeds stay, bells and the carriage returns of line ends are dropped.
std::string shownLines(std::string_view text);

} // namespace kernel

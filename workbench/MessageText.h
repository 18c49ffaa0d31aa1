#pragma once

#include <cstddef>
#include <string>
#include <string_view>

/// How texts from rings, files, arguments and phones are shown in a window, at a terminal, in a log. What these would
/// obey stands there to be read: a control character as "\x1b", one that is not seen or turns the direction of writing
/// as "\u202e", a byte that is no UTF-8 as "\xe9". What is shown already stays as it is.
namespace workbench {

/// A text that is one line, such as a name or a path: a tab and a line feed are control characters of it, too.
std::string shownText(std::string_view text);

/// A message of the layers below: `path`, where there is one, stands in place of "%1"; tabs and line feeds stay, bells
/// and the carriage returns of line ends are dropped; `reason`, where it is known, is a second line.
std::string shownMessage(std::string_view message, std::string_view path = {}, std::string_view reason = {});

/// The message without the functions that noticed the failure, which stand before the words for it, as
/// "MoxFile::begin() - " does: they are for those who mend the program.
std::string withoutFunctions(std::string_view message);

/// How much of a text is drawn. A window needs seconds for 100,000 characters.
struct TextBounds {
    std::size_t characters; ///< of UTF-8; each of the lines may have an equal share of them
    std::size_t lines;
};

/// `shown` within the bounds: of more lines those in the middle are left out, of a line that is longer than its share
/// the middle, with a note of how many. Takes what the functions above answer.
std::string shortened(std::string_view shown, const TextBounds& bounds);

} // namespace workbench

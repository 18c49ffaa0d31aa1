#pragma once

#include "platform/kernel/ShownText.h"

#include <cstddef>
#include <string>
#include <string_view>

/// How messages are shown, and how much of them.
namespace workbench {

using kernel::shownText;

/// A message of the layers below, as kernel::shownLines() shows it: `path`, where there is one, stands in place of
/// "%1"; `reason`, where it is known, is a second line.
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
std::string withinBounds(std::string_view shown, const TextBounds& bounds);

} // namespace workbench

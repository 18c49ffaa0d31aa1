#pragma once

#include "platform/com/Status.h"

#include <optional>
#include <string>

namespace com {

/// The message table's text for `status`, looked up whole, as the table gives it: with a carriage return and a line
/// feed at its end. Empty where the table has none.
std::optional<std::string> systemMessage(Status status);

/// The text that a COM error shows for its code: the message table's without the closing carriage return and line feed.
/// Where there is none, "IDispatch error #%d" with the code minus 0x80040200 (codes 0x80040201 to 0x8004FFFF whose low
/// 16 bits are not 0x0200), or else "Unknown error 0x%0lX" with the code in upper-case hexadecimal.
std::string standardMessage(Status status);

} // namespace com

#pragma once

#include <string>
#include <string_view>

namespace workbench {

/// A message of the layers below as a window, a terminal or a log shows it: `path`, where there is one, stands in place
/// of "%1"; bells and the carriage returns of line ends are dropped; control characters other than tab and line feed
/// are shown as "?"; `reason`, where it is known, is a second line.
std::string shownMessage(std::string_view message, std::string_view path = {}, std::string_view reason = {});

} // namespace workbench

#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace workbench {

/// The item numbers of a list such as "10,20-30", ascending, each once.
struct ItemNumbers {
    std::vector<std::uint16_t> all;
    std::vector<std::uint16_t> single; ///< those that are named outside ranges
};

/// Takes such a list apart. Blanks may stand around numbers.
/// Throws std::invalid_argument, naming the part that is neither a number from 0 to 65535 nor a rising range of two.
ItemNumbers parseItemNumbers(const std::string& list);

} // namespace workbench

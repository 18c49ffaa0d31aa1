#pragma once

#include <cstdint>
#include <string>
#include <vector>

/// The item numbers of a list such as "10,20-30": ascending, each once. Blanks may stand around numbers.
/// Throws std::invalid_argument, naming the part that is neither a number from 0 to 65535 nor a rising range of two.
std::vector<std::uint16_t> parseItemNumbers(const std::string& list);

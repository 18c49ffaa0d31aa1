#pragma once

#include "tessra/Packet.h"

#include <array>
#include <cstdint>
#include <filesystem>
#include <map>
#include <string>
#include <string_view>

/// The text in which a phone's NV memory is kept. One line per item:
///
///   <number> <status> <data> [<marks>]
///
///   number  decimal item number, 0 to 65535
///   status  decimal NV status that the phone answers to a read; 0: the item has a value
///   data    the item's bytes in lower-case hexadecimal without separators, 2 to 256 digits (trailing zero bytes may be
///           left out), or "-" for none
///   marks   separated by commas: "readonly" (a write is answered with status 7), "protected" (so it is until the
///           service programming code was sent)
///
/// What follows "//" in a line is a comment; blank lines are ignored. A second line for an item is refused.
namespace tessra {

struct NvCell {
    std::uint16_t status = kNvDone;
    bool readOnly = false;
    bool isProtected = false;
    std::array<std::uint8_t, kNvDataBytes> data{};

    friend bool operator==(const NvCell&, const NvCell&) = default;
};

using NvCells = std::map<std::uint16_t, NvCell>;

/// ConfigError, naming `file` and the line, for a line that is none of the above.
NvCells parseNvMemory(std::string_view text, const std::filesystem::path& file);

/// The whole text, with a comment that explains it at its head.
std::string formatNvMemory(const NvCells& cells);

} // namespace tessra

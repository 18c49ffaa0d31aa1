#pragma once

#include <cstdint>
#include <filesystem>

namespace tessra {

/// The serial line of a port.
struct LineSetup {
    std::filesystem::path device; ///< empty: the port has no line
    std::uint32_t baud = 115200;  ///< see SerialPort for the speeds that there are
    /// How often the service asks an idle line for its phone, and tries again to open one that can't be opened.
    std::uint32_t askEveryMs = 1000;
    /// How long it waits then for the answer.
    std::uint32_t answerMs = 500;
    /// A line that was silent for so long will not finish the frame that it has begun.
    std::uint32_t quietMs = 50;
};

} // namespace tessra

// The input is the memory of a phone. What is read and written is the same when it is read again.
#include "fuzz/FuzzInput.h"
#include "tessra/simulator/ConfigError.h"
#include "tessra/simulator/NvMemoryText.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    tessra::NvCells cells;
    try {
        cells = tessra::parseNvMemory(textOf(data, size), "memory");
    } catch (const tessra::ConfigError& refusal) {
        require(refusal.line() > 0);
        return 0;
    }
    require(tessra::parseNvMemory(tessra::formatNvMemory(cells), "again") == cells);
    return 0;
}

// The input is a whole file. It must neither crash the container nor keep it busy, and what could be read before a
// change can be read after it.
#include "tests/storage/HostileRun.h"

#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (!storage::testing::survivesUse({data, data + size})) {
        std::abort();
    }
    return 0;
}

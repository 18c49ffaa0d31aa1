// The input is a whole file. It must neither crash the container nor keep it busy; a file that is refused a change
// stays as it is, and what comes out of any other is perfect.
#include "tests/storage/HostileRun.h"

#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static storage::testing::TestFolder folder;
    const std::string path = folder / "input.mox";
    storage::testing::store(path, {data, data + size});
    if (!storage::testing::survivesUse(path)) {
        std::abort();
    }
    return 0;
}

// The input is a list of operations, played on a container and on a model; every rule of the format is checked after
// each save.
#include "tests/storage/Model.h"

#include <cstdio>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::size_t at = 0;
    try {
        storage::testing::ModelRun run([&](unsigned below) { return at < size ? data[at++] % below : 0; });
        for (unsigned step = 0; at < size && step < 64; ++step) {
            run.step();
            if (step % 8 == 7) {
                run.save();
            }
        }
        run.save();
    } catch (const std::exception& wrong) {
        std::fprintf(stderr, "%s\n", wrong.what());
        std::abort();
    }
    return 0;
}

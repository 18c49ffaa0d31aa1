// Whether two ports side by side take the time of one: the batch tool reads all items of sample phones behind terminals
// that are as slow as a line of 115,200 baud, from one of them and from both.

#include "tests/support/TemporaryFolder.h"
#include "tests/tessra/RunningPhone.h"

#include <benchmark/benchmark.h>

#include <cstdlib>

namespace {

constexpr std::uint32_t kBaud = 115200;
constexpr int kIncomplete = 9; // two items of the sample phone can't be read

void readPorts(benchmark::State& state) {
    const TemporaryFolder folder;
    const std::string memory = CALVANE_SOURCE_DIR "/data/Sample Phone.nvmem";
    RunningPhone first(folder / "line1", {}, memory);
    RunningPhone second(folder / "line2", {}, memory);
    first.terminal.setPaced(kBaud);
    second.terminal.setPaced(kBaud);
    writeText(folder / "Tessra.toml", "[[port]]\nname = \"COM1\"\ndevice = \"line1\"\n"
                                      "[[port]]\nname = \"COM2\"\ndevice = \"line2\"\n");
    const std::string command = "cd '" + folder.path.string() +
                                "' && " CALVANE_BATCH
                                " read --history none --service Tessra.toml --ring '" CALVANE_SOURCE_DIR
                                "/data/NV Decoder.vrk' --quiet --json '{port}.json' 2>errors --port " +
                                (state.range(0) == 1 ? "COM1" : "COM1,COM2");
    for (auto _ : state) {
        const int status = std::system(command.c_str()); // NOLINT(concurrency-mt-unsafe): no other thread calls it
        if (!WIFEXITED(status) || WEXITSTATUS(status) != kIncomplete) {
            state.SkipWithError("a read failed");
        }
    }
}

BENCHMARK(readPorts)->Name("PacedPorts")->Arg(1)->Arg(2)->Iterations(1)->UseRealTime()->Unit(benchmark::kMillisecond);

} // namespace

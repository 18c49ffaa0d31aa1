// Whether a read keeps a serial line busy: all items of the sample phone through PhoneReader, session, service and line
// from a terminal that is as slow as a line of 115,200 baud, beside the time that the same bytes, questions included,
// take on such a line: 10 bits each, one direction at a time.

#include "engine/Calvane.h"
#include "phonelink/TessraServer.h"
#include "tessra/host/ServiceHost.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/tessra/RunningPhone.h"
#include "workbench/PhoneReader.h"

#include <benchmark/benchmark.h>

namespace {

constexpr std::uint32_t kBaud = 115200;
constexpr double kBitsPerByte = 10;

/// The sample phone behind a terminal, and the service with a line to it.
class Line {
public:
    Line() : phone_(folder_ / "line", {}, CALVANE_SOURCE_DIR "/data/Sample Phone.nvmem") {
        Calvane catalog;
        catalog.loadDecoderRingFile(CALVANE_SOURCE_DIR "/data/NV Decoder.vrk");
        for (const NvItem& item : catalog.getSupportedNvItems()) {
            numbers_.push_back(item.getId());
        }
        tessra::ServiceConfig config;
        config.ports.emplace_back();
        config.ports[0].name = "COM1";
        config.ports[0].number = 1;
        config.ports[0].line.device = folder_ / "line";
        service_.emplace(config);
        session_.connect("COM1"); // the line has been opened and the phone found
    }

    tessra::PhoneTerminal& terminal() { return phone_.terminal; }
    bool readAll() {
        const auto report = workbench::PhoneReader(session_, "COM1").read(numbers_);
        return report.failure.empty() && report.count(workbench::ReadState::kMissing) == 0;
    }

private:
    TemporaryFolder folder_;
    RunningPhone phone_;
    std::vector<std::uint16_t> numbers_;
    std::optional<tessra::ServiceHost> service_;
    TessraServer session_{"Bench"};
};

void readPaced(benchmark::State& state) {
    Line line;
    line.terminal().setPaced(kBaud);
    for (auto _ : state) {
        const auto before = line.terminal().bytes();
        if (!line.readAll()) {
            state.SkipWithError("an item is missing");
        }
        state.counters["bytes"] = static_cast<double>(line.terminal().bytes() - before);
    }
}

void wireTime(benchmark::State& state) {
    Line line;
    for (auto _ : state) {
        const auto before = line.terminal().bytes();
        if (!line.readAll()) {
            state.SkipWithError("an item is missing");
        }
        const auto bytes = static_cast<double>(line.terminal().bytes() - before);
        state.SetIterationTime(bytes * kBitsPerByte / kBaud);
        state.counters["bytes"] = bytes;
    }
}

BENCHMARK(readPaced)->Name("PacedRead")->Iterations(1)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(wireTime)->Name("PacedRead_wire")->Iterations(1)->UseManualTime()->Unit(benchmark::kMillisecond);

} // namespace

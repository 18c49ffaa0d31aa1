// What the trace window needs for packets that come while it is full, and for another filter over 100,000 of them.
//
// The window is a real one on Qt's offscreen platform. An action has ended when what it shows has been painted.

#include "app/trace/TraceModel.h"

#include <benchmark/benchmark.h>

#include <QApplication>
#include <QHeaderView>
#include <QTableView>

namespace {

constexpr std::size_t kPacketBytes = 133;
constexpr std::size_t kBatch = 100;

/// Reads of one item after the other, and their answers.
tessra::TraceBuffer::Batch packets(std::size_t count) {
    tessra::TraceBuffer::Batch batch;
    for (std::size_t at = 0; at < count; ++at) {
        tessra::TraceRecord record{.timeUs = static_cast<std::int64_t>(at), .port = "COM1", .bytes = {}};
        record.way = at % 2 == 0 ? tessra::TraceWay::kToPhone : tessra::TraceWay::kFromPhone;
        record.bytes.assign(kPacketBytes, 0);
        record.bytes[0] = 0x26;
        record.bytes[1] = static_cast<std::uint8_t>(at / 2);
        record.bytes[2] = static_cast<std::uint8_t>(at / 512);
        batch.records.push_back(std::move(record));
    }
    return batch;
}

/// A full table, set up as the window has it.
class Table {
public:
    Table() : model(std::chrono::system_clock::now(), nullptr) {
        view.setModel(&model);
        view.verticalHeader()->setSectionResizeMode(QHeaderView::Fixed);
        view.horizontalHeader()->setStretchLastSection(true);
        view.setWordWrap(false);
        view.resize(1280, 800);
        view.show();
        model.append(packets(TraceModel::kMaxRecords));
        paint();
    }
    void paint() {
        view.scrollToBottom();
        QCoreApplication::processEvents(); // paints
    }

    TraceModel model;
    QTableView view;
};

void append(benchmark::State& state, const char* filter) {
    Table table;
    table.model.setFilter(PacketFilter(filter));
    for (auto _ : state) {
        state.PauseTiming();
        auto batch = packets(kBatch);
        state.ResumeTiming();
        table.model.append(std::move(batch));
        table.paint();
    }
}
BENCHMARK_CAPTURE(append, all, "")->Name("TraceAppend")->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(append, half, "<")->Name("TraceAppend_filtered")->UseRealTime()->Unit(benchmark::kMillisecond);

void filter(benchmark::State& state, const char* one, const char* other) {
    Table table;
    bool isOne = false;
    for (auto _ : state) {
        isOne = !isOne;
        table.model.setFilter(PacketFilter(isOne ? one : other));
        table.paint();
    }
}
BENCHMARK_CAPTURE(filter, name, "read", "write")
    ->Name("TraceFilter_name")
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(filter, bytes, "bytes=26ef", "bytes=0000")
    ->Name("TraceFilter_bytes")
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);

} // namespace

int main(int argc, char** argv) {
    qputenv("QT_QPA_PLATFORM", "offscreen");
    const QApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}

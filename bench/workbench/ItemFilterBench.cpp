// How long the filter takes with 65,536 items of 16 sub-fields, beside a bare search for one byte through as many
// bytes: each query anew, as at the first key stroke of a word, with none, one, half and all of the items fitting.

#include "workbench/ItemFilter.h"

#include <benchmark/benchmark.h>
#include <malloc.h>

#include <algorithm>
#include <cstring>

namespace {

constexpr int kItems = 65536;
constexpr int kSubFields = 16;
constexpr std::chrono::microseconds kWholeTime = std::chrono::hours(1);

/// Names and descriptions of usual lengths; every second item is of band 850, one has the word "unique".
std::vector<NvItem> makeItems() {
    std::vector<NvItem> items;
    for (int number = 0; number < kItems; ++number) {
        std::string line = "NV_B" + std::string(number % 2 == 0 ? "850" : "900") + "_RX_GAIN_" +
                           std::to_string(number * 40503LL % kItems) + "_I," + std::to_string(number) + ",ReadWrite,";
        for (int i = 0; i < kSubFields; ++i) {
            line += "<SIGNED_WORD, gain offset at " + std::string(number == 4711 && i == 9 ? "unique" : "point") + " " +
                    std::to_string(i) + "># ";
        }
        items.emplace_back(line);
        std::array<std::uint8_t, items::kItemDataBytes> data{};
        for (std::size_t i = 0; i < 2 * kSubFields; ++i) {
            data.at(i) = static_cast<std::uint8_t>(number * 31 + static_cast<int>(i) * 7);
        }
        items.back().setRawData(data);
    }
    return items;
}

const std::vector<NvItem>& allItems() {
    static const std::vector<NvItem> items = makeItems();
    return items;
}

const workbench::ItemFilter& filter() {
    static const auto made = [] {
        workbench::ItemFilter filter;
        filter.renew(allItems(), kWholeTime);
        return filter;
    }();
    return made;
}

void find(benchmark::State& state, const char* query, std::size_t expected) {
    std::size_t found = 0;
    for (auto _ : state) {
        found = filter().find(workbench::ItemQuery(query)).size();
    }
    if (found != expected) {
        state.SkipWithError("another number of items fits");
    }
}
BENCHMARK_CAPTURE(find, none, "absent", 0)->Name("Filter_none")->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(find, one, "unique", 1)->Name("Filter_one")->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(find, half, "b850", kItems / 2)->Name("Filter_half")->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(find, all, "n", kItems)->Name("Filter_all")->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(find, none3, "gain point absent", 0)->Name("Filter3_none")->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(find, one3, "gain offset unique", 1)->Name("Filter3_one")->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(find, half3, "gain b850 15", kItems / 2)->Name("Filter3_half")->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(find, all3, "gain offset 15", kItems)->Name("Filter3_all")->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(find, value, "=0x7fff", 0)->Name("Filter_value")->Unit(benchmark::kMillisecond);

/// The same bytes as one block, of which memchr() looks at each.
void scan(benchmark::State& state) {
    std::string bytes;
    for (const NvItem& item : allItems()) {
        bytes += workbench::ItemQuery::textOf(item);
    }
    for (auto _ : state) {
        benchmark::DoNotOptimize(std::memchr(bytes.data(), '\x01', bytes.size()));
    }
    state.counters["bytes"] = static_cast<double>(bytes.size());
}
BENCHMARK(scan)->Name("Filter_scan")->Unit(benchmark::kMillisecond);

void renewAll(benchmark::State& state) {
    for (auto _ : state) {
        const auto before = mallinfo2().uordblks + mallinfo2().hblkhd;
        workbench::ItemFilter fresh;
        fresh.renew(allItems(), kWholeTime);
        state.counters["bytes"] = static_cast<double>(mallinfo2().uordblks + mallinfo2().hblkhd - before);
    }
}
BENCHMARK(renewAll)->Name("FilterTexts_all")->Unit(benchmark::kMillisecond);

void renewOne(benchmark::State& state) {
    workbench::ItemFilter changed = filter();
    std::vector<NvItem> items = allItems();
    std::array<std::uint8_t, items::kItemDataBytes> data{};
    for (auto _ : state) {
        ++data.front();
        items[4711].setRawData(data);
        changed.setStale();
        changed.renew(items, kWholeTime);
    }
}
BENCHMARK(renewOne)->Name("FilterTexts_one")->Unit(benchmark::kMillisecond);

void renewOrder(benchmark::State& state) {
    workbench::ItemFilter changed = filter();
    std::vector<NvItem> items = allItems();
    for (auto _ : state) {
        std::ranges::reverse(items);
        changed.setStale();
        changed.renew(items, kWholeTime);
    }
}
BENCHMARK(renewOrder)->Name("FilterTexts_order")->Unit(benchmark::kMillisecond);

} // namespace

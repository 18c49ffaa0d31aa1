// The item model: loading a ring against merely reading its lines, and values between bytes and texts.
//
// RingLoad/N and RingLoad_getline/N are a pair over the same file of N items; what counts is the ratio of their times.

#include "engine/DecoderRing.h"
#include "tests/support/TemporaryFolder.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <fstream>
#include <map>
#include <random>
#include <string>

namespace {

using Random = std::mt19937;

std::size_t pick(Random& random, std::size_t from, std::size_t to) {
    return std::uniform_int_distribution<std::size_t>(from, to)(random);
}

std::string words(Random& random, std::size_t length) {
    std::string text;
    while (text.size() < length) {
        text += text.empty() || pick(random, 0, 6) != 0 ? static_cast<char>('a' + pick(random, 0, 25)) : ' ';
    }
    text.back() = 'x';
    return text;
}

/// An item as rings describe them: 1 to 16 sub-fields, 4 on average, described in 10 to 30 characters.
std::string ringLine(Random& random, std::size_t number) {
    std::string line = "NV_" + words(random, pick(random, 8, 20)) + "_I," + std::to_string(number) + ",ReadWrite,";
    const std::size_t fields = std::min<std::size_t>(16, 1 + std::geometric_distribution<std::size_t>(0.245)(random));
    for (std::size_t i = 0; i < fields; ++i) {
        line += "<" + std::string(kSubItemTypes[pick(random, 0, 7)].ringSpelling) + "," +
                words(random, pick(random, 10, 30)) + ">#";
    }
    return line;
}

/// A ring of so many items in ascending order, in a file that is removed with this object.
struct RingFile {
    explicit RingFile(std::size_t itemCount) {
        Random random(20);
        std::string text;
        for (std::size_t i = 0; i < itemCount; ++i) {
            text += ringLine(random, i) + "\n";
        }
        writeText(path, text);
    }

    TemporaryFolder folder;
    const std::string path = folder / "ring.vrk";
};

/// Each round fills a new map and takes it down again, as a catalog does that loads its ring anew.
void ringLoad(benchmark::State& state) {
    const RingFile ring(static_cast<std::size_t>(state.range(0)));
    for (auto _ : state) {
        std::map<std::uint16_t, NvItem> items;
        items::loadDecoderRing(ring.path, items);
        if (items.size() != static_cast<std::size_t>(state.range(0))) {
            state.SkipWithError("items are missing");
        }
    }
}
BENCHMARK(ringLoad)->Name("RingLoad")->Arg(200)->Arg(65536)->Unit(benchmark::kMicrosecond);

void ringLoadGetline(benchmark::State& state) {
    const RingFile ring(static_cast<std::size_t>(state.range(0)));
    std::string line;
    for (auto _ : state) {
        std::ifstream in(ring.path);
        std::int64_t lines = 0;
        while (std::getline(in, line)) {
            ++lines;
        }
        if (lines != state.range(0)) {
            state.SkipWithError("lines are missing");
        }
    }
}
BENCHMARK(ringLoadGetline)->Name("RingLoad_getline")->Arg(200)->Arg(65536)->Unit(benchmark::kMicrosecond);

/// An item of so many sub-fields: of all types while they fit into the block, of single bytes otherwise.
NvItem itemOf(std::size_t fields) {
    std::string line = "NV_BENCH_I,1,ReadWrite,";
    for (std::size_t i = 0; i < fields; ++i) {
        line += "<" + std::string(kSubItemTypes[fields <= 32 ? i % 8 : i % 2].ringSpelling) + ",calibration value>#";
    }
    return NvItem(line);
}

std::array<std::uint8_t, items::kItemDataBytes> someBytes() {
    std::array<std::uint8_t, items::kItemDataBytes> bytes;
    Random random(7);
    for (std::uint8_t& byte : bytes) {
        byte = static_cast<std::uint8_t>(pick(random, 0, 255));
    }
    return bytes;
}

/// The texts are part of it: an item makes them only when it is asked for its sub-fields.
void bytesToTexts(benchmark::State& state) {
    NvItem item = itemOf(static_cast<std::size_t>(state.range(0)));
    const auto bytes = someBytes();
    for (auto _ : state) {
        item.setData(bytes.data());
        benchmark::DoNotOptimize(item.getSubItems());
    }
}
BENCHMARK(bytesToTexts)->Name("BytesToTexts")->Arg(1)->Arg(16)->Arg(128);

void textsToBytes(benchmark::State& state) {
    NvItem item = itemOf(static_cast<std::size_t>(state.range(0)));
    item.setData(someBytes().data());
    std::string texts;
    for (const SubItem& subItem : item.getSubItems()) {
        texts += (texts.empty() ? "" : ",") + subItem.value;
    }
    for (auto _ : state) {
        item.setData(texts);
        benchmark::DoNotOptimize(item.getData());
    }
}
BENCHMARK(textsToBytes)->Name("TextsToBytes")->Arg(1)->Arg(16)->Arg(128);

} // namespace

// The container at work on calibration files: n items, each a storage with one stream of 134 bytes, in one storage.
// Side by side with the bare machine (a file of the same size in calls of 4 KiB) and with libgsf on the same tree.
//
// Every benchmark answers the time for all n items; `per_item` is that time for one. The flush at a file's close is
// part of what the container must do, but what it costs is the disk's: it is left out by keeping the root open, and
// measured by BM_OpenUpdateClose.
#include "platform/storage/Storage.h"

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <gsf/gsf-infile-msole.h>
#include <gsf/gsf-input-stdio.h>
#include <gsf/gsf-outfile-msole.h>
#include <gsf/gsf-output-stdio.h>
#include <gsf/gsf-utils.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <deque>
#include <filesystem>
#include <fstream>
#include <numeric>
#include <random>
#include <string>
#include <vector>

namespace {

using namespace storage;

constexpr std::uint32_t kCreateWrite = kCreate | kShareExclusive | kWrite;
constexpr std::uint32_t kCreateReadWrite = kCreate | kShareExclusive | kReadWrite;
constexpr std::uint32_t kOpenRead = kShareExclusive | kRead;
constexpr std::uint32_t kOpenReadWrite = kShareExclusive | kReadWrite;
constexpr std::size_t kItemBytes = 134;

std::string folder() {
    const char* chosen = std::getenv("CALVANE_BENCH_DIR");
    return chosen != nullptr ? chosen : std::filesystem::temp_directory_path().string();
}
std::string pathOf(const std::string& what) {
    return folder() + "/calvane-bench-" + std::to_string(getpid()) + "-" + what;
}

void require(bool holds, const char* what) {
    if (!holds) {
        std::fprintf(stderr, "%s failed\n", what);
        std::exit(1);
    }
}

std::string nameOf(unsigned number) {
    std::array<char, 16> text{};
    std::snprintf(text.data(), text.size(), "%08u", number);
    return text.data();
}

// Differs from one edition to the next in every byte: what is as it was need not be written.
std::array<std::uint8_t, kItemBytes> contentsOf(unsigned number, unsigned edition = 0) {
    std::array<std::uint8_t, kItemBytes> bytes{};
    bytes.fill(static_cast<std::uint8_t>(number + edition));
    return bytes;
}

void writeItem(IStorage& parent, unsigned number, unsigned edition = 0) {
    ComPtr<IStorage> item;
    ComPtr<IStream> stream;
    std::uint32_t transferred = 0;
    require(com::succeeded(parent.createStorage(toUtf16(nameOf(number)), kCreateWrite, item)), "create storage");
    require(com::succeeded(item->createStream(u"00000000", kCreateWrite, stream)), "create stream");
    require(com::succeeded(stream->write(contentsOf(number, edition), transferred)) && transferred == kItemBytes,
            "write");
}

ComPtr<IStorage> createFile(const std::string& path) {
    ComPtr<IStorage> root;
    require(com::succeeded(stgCreateDocfile(path, kCreateReadWrite, root)), "create file");
    return root;
}
ComPtr<IStorage> openFile(const std::string& path, std::uint32_t mode) {
    ComPtr<IStorage> root;
    require(com::succeeded(stgOpenStorage(path, mode, root)), "open file");
    return root;
}

// A file of n items that the benchmarks of one size share.
std::deque<std::pair<unsigned, std::string>>& files() {
    static std::deque<std::pair<unsigned, std::string>> made;
    return made;
}
const std::string& filled(unsigned items) {
    for (const auto& [known, path] : files()) {
        if (known == items) {
            return path;
        }
    }
    const std::string path = pathOf(std::to_string(items));
    auto root = createFile(path);
    for (unsigned number = 0; number < items; ++number) {
        writeItem(*root.get(), number);
    }
    return files().emplace_back(items, path).second;
}

unsigned readItem(IStorage& parent, std::u16string_view name) {
    ComPtr<IStorage> item;
    ComPtr<IStream> stream;
    std::array<std::uint8_t, 128> data{};
    std::uint32_t transferred = 0;
    require(com::succeeded(parent.openStorage(name, kOpenRead, item)) &&
                com::succeeded(item->openStream(u"00000000", kOpenRead, stream)) && com::succeeded(stream->moveTo(6)) &&
                com::succeeded(stream->read(data, transferred)) && transferred == data.size(),
            "read item");
    return data[0];
}

unsigned freshEdition() {
    static unsigned edition = 0;
    return ++edition;
}

unsigned count(const benchmark::State& state) {
    return static_cast<unsigned>(state.range(0));
}
void perItem(benchmark::State& state) {
    state.counters["per_item"] =
        benchmark::Counter(static_cast<double>(state.range(0)),
                           benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

void BM_Create(benchmark::State& state) {
    const std::string path = pathOf("create");
    for (auto _ : state) {
        auto root = createFile(path);
        for (unsigned number = 0; number < count(state); ++number) {
            writeItem(*root.get(), number);
        }
        state.PauseTiming();
        root.reset();
        state.counters["file_bytes"] = static_cast<double>(std::filesystem::file_size(path));
        state.ResumeTiming();
    }
    std::filesystem::remove(path);
    perItem(state);
}

void BM_ReadAll(benchmark::State& state) {
    const std::string& path = filled(count(state));
    for (auto _ : state) {
        auto root = openFile(path, kOpenRead);
        ComPtr<IEnumElements> children;
        require(com::succeeded(root->enumElements(children)), "enumerate");
        ElementInfo info;
        unsigned found = 0;
        while (children->next(info) == com::kOk) {
            benchmark::DoNotOptimize(readItem(*root.get(), info.name));
            ++found;
        }
        require(found == count(state), "count of items");
    }
    perItem(state);
}

void BM_OpenReadOne(benchmark::State& state) {
    const std::string& path = filled(count(state));
    std::mt19937 random(1);
    for (auto _ : state) {
        auto root = openFile(path, kOpenRead);
        benchmark::DoNotOptimize(
            readItem(*root.get(), toUtf16(nameOf(static_cast<unsigned>(random() % count(state))))));
    }
}

// One item of many written again, in a file that is open.
void BM_UpdateOne(benchmark::State& state) {
    auto root = openFile(filled(count(state)), kOpenReadWrite);
    std::mt19937 random(1);
    unsigned edition = freshEdition();
    writeItem(*root.get(), 0, edition);
    for (auto _ : state) {
        writeItem(*root.get(), static_cast<unsigned>(random() % count(state)), ++edition);
    }
}

// The same with the opening and with the closing, which waits for the disk.
void BM_OpenUpdateClose(benchmark::State& state) {
    const std::string& path = filled(count(state));
    std::mt19937 random(1);
    for (auto _ : state) {
        auto root = openFile(path, kOpenReadWrite);
        writeItem(*root.get(), static_cast<unsigned>(random() % count(state)), freshEdition());
    }
}

// Every item removed but one, in no order.
void BM_PruneToOne(benchmark::State& state) {
    const std::string path = pathOf("prune");
    std::vector<unsigned> numbers(count(state));
    std::iota(numbers.begin(), numbers.end(), 0);
    std::shuffle(numbers.begin(), numbers.end(), std::mt19937(1));
    for (auto _ : state) {
        state.PauseTiming();
        std::filesystem::copy_file(filled(count(state)), path, std::filesystem::copy_options::overwrite_existing);
        auto root = openFile(path, kOpenReadWrite);
        state.ResumeTiming();
        for (std::size_t at = 1; at < numbers.size(); ++at) {
            require(com::succeeded(root->destroyElement(toUtf16(nameOf(numbers[at])))), "destroy");
        }
        state.PauseTiming();
        root.reset();
        state.ResumeTiming();
    }
    std::filesystem::remove(path);
    perItem(state);
}

// Every item written again five times.
void BM_Churn(benchmark::State& state) {
    const std::string path = pathOf("churn");
    std::filesystem::copy_file(filled(count(state)), path, std::filesystem::copy_options::overwrite_existing);
    const auto before = std::filesystem::file_size(path);
    for (auto _ : state) {
        auto root = openFile(path, kOpenReadWrite);
        for (unsigned round = 0; round < 5; ++round) {
            const unsigned edition = freshEdition();
            for (unsigned number = 0; number < count(state); ++number) {
                writeItem(*root.get(), number, edition);
            }
        }
        state.PauseTiming();
        root.reset();
        state.counters["growth"] = static_cast<double>(std::filesystem::file_size(path)) - static_cast<double>(before);
        state.ResumeTiming();
    }
    std::filesystem::remove(path);
    perItem(state);
}

void BM_BareWrite(benchmark::State& state) {
    const auto size = std::filesystem::file_size(filled(count(state)));
    const std::string path = pathOf("bare");
    const std::vector<char> block(4096, 'x');
    for (auto _ : state) {
        const int file = open(path.c_str(), O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
        for (std::uint64_t at = 0; at < size; at += block.size()) {
            require(pwrite(file, block.data(), std::min<std::uint64_t>(block.size(), size - at),
                           static_cast<off_t>(at)) > 0,
                    "bare write");
        }
        close(file);
    }
    std::filesystem::remove(path);
    perItem(state);
}

void BM_BareRead(benchmark::State& state) {
    const std::string& path = filled(count(state));
    std::vector<char> block(4096);
    for (auto _ : state) {
        const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC);
        off_t at = 0;
        for (ssize_t got = 1; got > 0; at += got) {
            got = pread(file, block.data(), block.size(), at);
        }
        benchmark::DoNotOptimize(at);
        close(file);
    }
    perItem(state);
}

void createByGsf(const std::string& path, unsigned items) {
    GsfOutput* sink = gsf_output_stdio_new(path.c_str(), nullptr);
    GsfOutfile* file = gsf_outfile_msole_new(sink);
    g_object_unref(sink);
    for (unsigned number = 0; number < items; ++number) {
        GsfOutput* item = gsf_outfile_new_child(file, nameOf(number).c_str(), TRUE);
        GsfOutput* stream = gsf_outfile_new_child(GSF_OUTFILE(item), "00000000", FALSE);
        const auto bytes = contentsOf(number);
        gsf_output_write(stream, bytes.size(), bytes.data());
        gsf_output_close(stream);
        g_object_unref(stream);
        gsf_output_close(item);
        g_object_unref(item);
    }
    gsf_output_close(GSF_OUTPUT(file));
    g_object_unref(file);
}

void BM_GsfCreate(benchmark::State& state) {
    const std::string path = pathOf("gsf");
    for (auto _ : state) {
        createByGsf(path, count(state));
    }
    std::filesystem::remove(path);
    perItem(state);
}

void BM_GsfReadAll(benchmark::State& state) {
    const std::string& path = filled(count(state));
    for (auto _ : state) {
        GsfInput* source = gsf_input_stdio_new(path.c_str(), nullptr);
        GsfInfile* file = gsf_infile_msole_new(source, nullptr);
        g_object_unref(source);
        for (int at = 0; at < gsf_infile_num_children(file); ++at) {
            GsfInput* item = gsf_infile_child_by_index(file, at);
            GsfInput* stream = gsf_infile_child_by_name(GSF_INFILE(item), "00000000");
            gsf_input_seek(stream, 6, G_SEEK_SET);
            require(gsf_input_read(stream, 128, nullptr) != nullptr, "read by libgsf");
            g_object_unref(stream);
            g_object_unref(item);
        }
        g_object_unref(file);
    }
    perItem(state);
}

void sizes(benchmark::internal::Benchmark* bench) {
    bench->Arg(1000)->Arg(10000)->Arg(65536)->Unit(benchmark::kMillisecond);
}
void gsfSizes(benchmark::internal::Benchmark* bench) {
    bench->Arg(1000)->Arg(10000)->Unit(benchmark::kMillisecond);
}

BENCHMARK(BM_Create)->Apply(sizes)->UseRealTime();
BENCHMARK(BM_ReadAll)->Apply(sizes)->UseRealTime();
BENCHMARK(BM_OpenReadOne)->Apply(sizes)->UseRealTime();
BENCHMARK(BM_UpdateOne)->Apply(sizes)->UseRealTime();
BENCHMARK(BM_OpenUpdateClose)->Apply(sizes)->UseRealTime();
BENCHMARK(BM_PruneToOne)->Apply(sizes)->UseRealTime();
BENCHMARK(BM_Churn)->Apply(sizes)->UseRealTime();
BENCHMARK(BM_BareWrite)->Apply(sizes)->UseRealTime();
BENCHMARK(BM_BareRead)->Apply(sizes)->UseRealTime();
BENCHMARK(BM_GsfCreate)->Apply(gsfSizes)->UseRealTime();
BENCHMARK(BM_GsfReadAll)->Apply(gsfSizes)->UseRealTime();

} // namespace

int main(int argc, char** argv) {
    gsf_init();
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
        return 1;
    }
    benchmark::RunSpecifiedBenchmarks();
    for (const auto& [items, path] : files()) {
        std::filesystem::remove(path);
    }
    gsf_shutdown();
    return 0;
}

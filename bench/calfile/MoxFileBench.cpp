// Calibration files of n items, created, read, updated and pruned through MoxFile, each with the opening and with the
// closing, which brings the file to the disk. Side by side with the bare machine (as many bytes, as many flushes) and
// with libgsf on the same tree.

#include "calfile/MoxFile.h"
#include "platform/kernel/WholeFile.h"

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <gsf/gsf-infile-msole.h>
#include <gsf/gsf-input-stdio.h>
#include <gsf/gsf-outfile-msole.h>
#include <gsf/gsf-output-stdio.h>
#include <gsf/gsf-utils.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <numeric>
#include <string>

namespace {

// Set CALVANE_BENCH_DIR to measure another disk than that of the temporary files.
std::string pathOf(const std::string& what) {
    static const char* const chosen = std::getenv("CALVANE_BENCH_DIR"); // NOLINT(concurrency-mt-unsafe)
    static const std::filesystem::path folder = chosen != nullptr ? chosen : std::filesystem::temp_directory_path();
    return (folder / ("calvane-bench-" + std::to_string(::getpid()) + "-" + what)).string();
}

std::int64_t count(const benchmark::State& state) {
    return state.range(0);
}

MoxFile::NvRecord recordOf(std::int64_t number, std::uint8_t edition = 0) {
    MoxFile::NvRecord record;
    record.id = static_cast<std::uint16_t>(number);
    record.data.fill(static_cast<std::uint8_t>(number + edition));
    return record;
}

void createFile(MoxFile& file, const std::string& path, std::int64_t items) {
    for (std::int64_t number = 0; number < items; ++number) {
        file << recordOf(number);
    }
    file.writeToDisk(path.c_str(), 1);
    file.cleanUp();
}

void updateOne(MoxFile& file, const std::string& path, std::int64_t number, std::uint8_t edition) {
    file << recordOf(number, edition);
    file.writeToDisk(path.c_str(), 1);
    file.cleanUp();
}

std::int64_t readAll(MoxFile& file, const std::string& path) {
    std::int64_t found = 0;
    file.open(path);
    {
        auto item = file.begin();
        for (const auto end = file.end(); item != end; ++item) {
            benchmark::DoNotOptimize(item->data[0]);
            ++found;
        }
    }
    file.cleanUp();
    return found;
}

// A file of n items that the benchmarks of one size share.
std::map<std::int64_t, std::string>& filledFiles() {
    static std::map<std::int64_t, std::string> files;
    return files;
}
const std::string& filled(std::int64_t items) {
    std::string& path = filledFiles()[items];
    if (path.empty()) {
        path = pathOf(std::to_string(items));
        MoxFile file;
        createFile(file, path, items);
    }
    return path;
}

void moxCreate(benchmark::State& state) {
    const std::string path = pathOf("create");
    MoxFile file;
    for (auto _ : state) {
        createFile(file, path, count(state));
        state.PauseTiming();
        std::filesystem::remove(path);
        state.ResumeTiming();
    }
}

void moxRead(benchmark::State& state) {
    const std::string& path = filled(count(state));
    MoxFile file;
    for (auto _ : state) {
        if (readAll(file, path) != count(state)) {
            state.SkipWithError("not every item was delivered");
        }
    }
}

void moxUpdate(benchmark::State& state) {
    const std::string& path = filled(count(state));
    MoxFile file;
    std::uint8_t edition = 0;
    for (auto _ : state) {
        updateOne(file, path, count(state) / 2, ++edition);
    }
}

// Every item removed but one.
void moxPrune(benchmark::State& state) {
    const std::string path = pathOf("prune");
    std::vector<std::uint16_t> numbers(static_cast<std::size_t>(count(state) - 1));
    std::iota(numbers.begin(), numbers.end(), std::uint16_t{1});
    MoxFile file;
    for (auto _ : state) {
        state.PauseTiming();
        std::filesystem::copy_file(filled(count(state)), path, std::filesystem::copy_options::overwrite_existing);
        state.ResumeTiming();
        file.open(path);
        file.removeNvItems(numbers);
        file.cleanUp();
    }
    std::filesystem::remove(path);
}

// As many bytes and as many flushes as a save: the file's and its folder's.
void bareWrite(benchmark::State& state) {
    const auto size = std::filesystem::file_size(filled(count(state)));
    const std::string path = pathOf("bare");
    const std::vector<char> block(4096, 'x');
    for (auto _ : state) {
        const int file = ::open(path.c_str(), O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
        for (std::uint64_t at = 0; at < size; at += block.size()) {
            (void)!::write(file, block.data(), std::min<std::uint64_t>(block.size(), size - at));
        }
        ::fsync(file);
        ::close(file);
        const int folder = ::open(std::filesystem::path(path).parent_path().c_str(), O_RDONLY | O_CLOEXEC);
        ::fsync(folder);
        ::close(folder);
        state.PauseTiming();
        std::filesystem::remove(path);
        state.ResumeTiming();
    }
}

void bareRead(benchmark::State& state) {
    const std::string& path = filled(count(state));
    std::vector<char> block(4096);
    for (auto _ : state) {
        const int file = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
        while (::read(file, block.data(), block.size()) > 0) {
            benchmark::DoNotOptimize(block[0]);
        }
        ::close(file);
    }
}

void wholeFile(benchmark::State& state) {
    const std::string content(std::filesystem::file_size(filled(count(state))), 'x');
    const std::string path = pathOf("whole");
    for (auto _ : state) {
        benchmark::DoNotOptimize(kernel::writeWholeFile(path, content));
    }
    std::filesystem::remove(path);
}

void gsfCreate(benchmark::State& state) {
    const std::string path = pathOf("gsf");
    for (auto _ : state) {
        GsfOutput* sink = gsf_output_stdio_new(path.c_str(), nullptr);
        GsfOutfile* file = gsf_outfile_msole_new(sink);
        g_object_unref(sink);
        for (std::int64_t number = 0; number < count(state); ++number) {
            const std::string name = std::to_string(100000000 + number).substr(1);
            GsfOutput* item = gsf_outfile_new_child(file, name.c_str(), TRUE);
            GsfOutput* stream = gsf_outfile_new_child(GSF_OUTFILE(item), "00000000", FALSE);
            const auto bytes = mox::itemBytes(recordOf(number));
            gsf_output_write(stream, bytes.size(), bytes.data());
            for (GsfOutput* made : {stream, item}) {
                gsf_output_close(made);
                g_object_unref(made);
            }
        }
        gsf_output_close(GSF_OUTPUT(file));
        g_object_unref(file);
    }
    std::filesystem::remove(path);
}

// The most memory that a program ever had which did one thing; a process of its own does it.
std::int64_t peakBytes(const char* task, const std::string& path) {
    int result[2]{};
    (void)!::pipe(result);
    const pid_t child = ::fork();
    if (child == 0) {
        ::dup2(result[1], STDOUT_FILENO);
        ::execl("/proc/self/exe", "bench", task, path.c_str(), nullptr);
        ::_exit(1);
    }
    std::int64_t kilobytes = 0;
    std::array<char, 32> text{};
    ::close(result[1]);
    if (::read(result[0], text.data(), text.size() - 1) > 0) {
        kilobytes = std::atoll(text.data());
    }
    ::close(result[0]);
    ::waitpid(child, nullptr, 0);
    return kilobytes * 1024;
}

int runTask(const std::string& task, const std::string& path) {
    {
        MoxFile file;
        if (task == "create") {
            createFile(file, path, 65536);
        } else {
            updateOne(file, path, 77, 1);
        }
    }
    std::ifstream status("/proc/self/status");
    for (std::string word; status >> word;) {
        if (word == "VmHWM:" && status >> word) {
            return ::puts(word.c_str()) > 0 ? 0 : 1;
        }
    }
    return 1;
}

// Bytes are told as nanoseconds: the table that compares knows them as bytes.
void memory(benchmark::State& state, const char* task) {
    const std::string path = task == std::string("create") ? pathOf("memory") : filled(65536);
    for (auto _ : state) {
        std::filesystem::remove(pathOf("memory"));
        state.SetIterationTime(static_cast<double>(peakBytes(task, path)) * 1e-9);
    }
    std::filesystem::remove(pathOf("memory"));
}
void fileBytes(benchmark::State& state) {
    for (auto _ : state) {
        state.SetIterationTime(static_cast<double>(std::filesystem::file_size(filled(65536))) * 1e-9);
    }
}

void sizes(benchmark::internal::Benchmark* bench) {
    bench->Arg(1000)->Arg(10000)->Arg(65536)->MeasureProcessCPUTime()->UseRealTime()->Unit(benchmark::kMillisecond);
}
void smallSizes(benchmark::internal::Benchmark* bench) {
    bench->Arg(300)->Arg(1000)->UseRealTime()->Unit(benchmark::kMillisecond);
}

BENCHMARK(moxCreate)->Name("MoxCreate")->Apply(sizes);
BENCHMARK(moxRead)->Name("MoxRead")->Apply(sizes);
BENCHMARK(moxUpdate)->Name("MoxUpdate")->Apply(smallSizes);
BENCHMARK(moxPrune)->Name("MoxPrune")->Apply(sizes);
BENCHMARK(bareWrite)->Name("BareWrite")->Apply(sizes);
BENCHMARK(bareRead)->Name("BareRead")->Apply(sizes);
BENCHMARK(wholeFile)->Name("WholeFile")->Apply(smallSizes);
BENCHMARK(gsfCreate)->Name("GsfCreate")->Arg(1000)->Arg(10000)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(memory, create, "create")->Name("MemoryCreate")->UseManualTime()->Iterations(1);
BENCHMARK_CAPTURE(memory, update, "update")->Name("MemoryUpdate")->UseManualTime()->Iterations(1);
BENCHMARK(fileBytes)->Name("FileBytes")->UseManualTime()->Iterations(1);

} // namespace

int main(int argc, char** argv) {
    if (argc == 3 && argv[1][0] != '-') {
        return runTask(argv[1], argv[2]);
    }
    gsf_init();
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    for (const auto& [items, path] : filledFiles()) {
        std::filesystem::remove(path);
    }
    gsf_shutdown();
    return 0;
}

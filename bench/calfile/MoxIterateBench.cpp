// What walking a calibration file of 10,000 items costs through the iterator, whose steps and comparisons each go to
// the worker and back; beside it, the same enumeration and reads on the container itself, on the thread that asks.

#include "calfile/MoxFile.h"
#include "calfile/MoxTree.h"
#include "platform/com/ComError.h"

#include <benchmark/benchmark.h>
#include <unistd.h>

#include <filesystem>
#include <string>

namespace {

/// A calibration file of `count` items; gone with the object.
class CalibrationFile {
public:
    explicit CalibrationFile(std::int64_t count)
        : path_(std::filesystem::temp_directory_path() / ("calvane-bench-" + std::to_string(::getpid()) + ".mox")) {
        MoxFile file;
        for (std::int64_t number = 1; number <= count; ++number) {
            MoxFile::NvRecord record;
            record.id = static_cast<std::uint16_t>(number);
            record.data.fill(static_cast<std::uint8_t>(number));
            file << record;
        }
        file.writeToDisk(path_.c_str(), 1);
    }
    ~CalibrationFile() { std::filesystem::remove(path_); }
    CalibrationFile(const CalibrationFile&) = delete;
    CalibrationFile& operator=(const CalibrationFile&) = delete;

    const std::string& path() const { return path_; }

private:
    const std::string path_;
};

void iterate(benchmark::State& state) {
    const CalibrationFile calibration(state.range(0));
    MoxFile file;
    for (auto _ : state) {
        file.open(calibration.path());
        std::int64_t count = 0;
        {
            auto item = file.begin();
            const auto end = file.end();
            for (; item != end; ++item) {
                benchmark::DoNotOptimize(item->data[0]);
                ++count;
            }
        }
        file.cleanUp();
        if (count != state.range(0)) {
            state.SkipWithError("not every item was delivered");
        }
    }
}

void enumerateContainer(benchmark::State& state) {
    const CalibrationFile calibration(state.range(0));
    for (auto _ : state) {
        mox::StoragePtr root;
        com::throwIfFailed(storage::stgOpenStorage(calibration.path(), mox::kForReading, root));
        mox::StoragePtr model;
        com::throwIfFailed(root->openStorage(mox::NumberName(1), mox::kForReading, model));
        mox::StoragePtr items;
        com::throwIfFailed(model->openStorage(mox::kDefaultStorage, mox::kForReading, items));
        mox::EnumPtr children;
        com::throwIfFailed(items->enumElements(children));
        std::int64_t count = 0;
        for (storage::ElementInfo child; children->next(child) == com::kOk; ++count) {
            mox::StoragePtr item;
            com::throwIfFailed(items->openStorage(child.name, mox::kForReading, item));
            storage::ComPtr<storage::IStream> stream;
            com::throwIfFailed(item->openStream(mox::kItemStream, mox::kForReading, stream));
            com::throwIfFailed(stream->moveTo(mox::kItemDataOffset));
            std::array<std::uint8_t, mox::kItemDataBytes> data{};
            std::uint32_t read = 0;
            com::throwIfFailed(stream->read(data, read));
            benchmark::DoNotOptimize(data);
        }
        if (count != state.range(0)) {
            state.SkipWithError("not every item was delivered");
        }
    }
}

BENCHMARK(iterate)->Name("MoxIterate")->Arg(10000)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(enumerateContainer)->Name("MoxIterate_container")->Arg(10000)->UseRealTime()->Unit(benchmark::kMillisecond);

} // namespace

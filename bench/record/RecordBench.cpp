// What recording costs a station: a read of all items of a phone that is new, has changed, or has not, on this computer
// and on a server with eight stations at once; beside it the same bytes in one transaction of SQLite that is as
// durable. And what the windows ask of a store of 10,000 phones with 20 sessions each, which is made beside this
// program the first time; beside it a frame of a display.

#include "bench/record/SamplePhones.h"
#include "tests/support/PostgresServer.h"

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <sqlite3.h>

#include <atomic>
#include <barrier>
#include <filesystem>
#include <thread>

namespace {

using record::Store;

constexpr std::size_t kPhones = 10000;
constexpr std::size_t kSessions = 20;
constexpr std::size_t kStations = 8;
constexpr std::chrono::duration<double> kFrame(1.0 / 60);

enum class Find { kNew, kChanges, kTheSame };

/// Records reads of one phone after the other, or of one again and again.
class Station {
public:
    Station(std::unique_ptr<record::Database> database, std::size_t number, Find find)
        : store_(std::move(database)), number_(number << 32), find_(find), items_(sample::itemsOf(number)) {
        store_.add(sample::session(number_, number_), items_);
    }

    void prepare() {
        ++number_;
        if (find_ == Find::kNew) {
            items_ = sample::itemsOf(number_);
            phone_ = number_;
        } else if (find_ == Find::kChanges) {
            sample::change(items_, 5, random_);
        }
    }
    void record() { store_.add(sample::session(phone_, number_), items_); }
    Store& store() { return store_; }

private:
    Store store_;
    std::size_t number_;
    std::size_t phone_ = number_;
    Find find_;
    sample::Items items_;
    std::mt19937 random_{7};
};

void record(benchmark::State& state, Find find) {
    TemporaryFolder folder;
    Station station(record::openSqlite(folder.path.string() + "/" + "History.sqlite"), 1, find);
    for (auto _ : state) {
        state.PauseTiming();
        station.prepare();
        state.ResumeTiming();
        station.record();
    }
}
BENCHMARK_CAPTURE(record, new, Find::kNew)->Name("RecordRead_new")->UseRealTime();
BENCHMARK_CAPTURE(record, changes, Find::kChanges)->Name("RecordRead_changed")->UseRealTime();
BENCHMARK_CAPTURE(record, same, Find::kTheSame)->Name("RecordRead_same")->UseRealTime();

void bareInsert(benchmark::State& state) {
    TemporaryFolder folder;
    const auto database = record::openSqlite(folder.path.string() + "/" + "bare.sqlite");
    database->run("CREATE TABLE item (number INTEGER, bytes BLOB)");
    std::size_t phone = 0;
    for (auto _ : state) {
        state.PauseTiming();
        const sample::Items items = sample::itemsOf(++phone);
        state.ResumeTiming();
        record::Transaction transaction(*database, true);
        for (const record::SessionItem& item : items) {
            database->run("INSERT INTO item VALUES (?1, ?2)",
                          {std::int64_t{item.number}, record::Bytes(item.after->begin(), item.after->end())});
        }
        transaction.commit();
    }
}
BENCHMARK(bareInsert)->Name("RecordRead_bare")->UseRealTime();

/// What the store grows by for a session that changed nothing, told as nanoseconds.
void growth(benchmark::State& state) {
    constexpr std::size_t kTimes = 1000;
    TemporaryFolder folder;
    for (auto _ : state) {
        Station station(record::openSqlite(folder.path.string() + "/" + "History.sqlite"), 1, Find::kTheSame);
        const auto bytes = [&] {
            station.store().database().giveBackRoom();
            return static_cast<double>(std::filesystem::file_size(folder / "History.sqlite"));
        };
        const double before = bytes();
        for (std::size_t time = 0; time < kTimes; ++time) {
            station.prepare();
            station.record();
        }
        state.SetIterationTime((bytes() - before) / kTimes * 1e-9);
    }
}
BENCHMARK(growth)->Name("RecordGrowth")->Iterations(1)->UseManualTime();
void kilobyte(benchmark::State& state) {
    for (auto _ : state) {
        state.SetIterationTime(1000e-9);
    }
}
BENCHMARK(kilobyte)->Name("RecordGrowth_limit")->Iterations(1)->UseManualTime();

/// The mean time that a station waits for a read to be recorded. Each records reads of phones of its own, one at the
/// begin of each period, or as fast as it can.
void recordShared(benchmark::State& state, Find find, std::size_t stations, std::chrono::milliseconds period) {
    constexpr std::size_t kReads = 12;
    PostgresServer* const server = PostgresServer::ofThisProgram("on");
    if (server == nullptr) {
        state.SkipWithError("there is no PostgreSQL server here");
        return;
    }
    const std::string url = server->newDatabase();
    std::size_t phones = 0;
    for (auto _ : state) {
        std::barrier begin(static_cast<std::ptrdiff_t>(stations));
        std::atomic<std::int64_t> spentNs = 0;
        std::vector<std::thread> threads;
        for (std::size_t at = 0; at < stations; ++at) {
            threads.emplace_back([&, number = ++phones, at] {
                Station station(record::openPostgres(url), number, find);
                begin.arrive_and_wait();
                auto next = std::chrono::steady_clock::now() + period * at / stations;
                for (std::size_t read = 0; read < kReads; ++read, next += period) {
                    station.prepare();
                    std::this_thread::sleep_until(next);
                    const auto start = std::chrono::steady_clock::now();
                    station.record();
                    spentNs += std::chrono::nanoseconds(std::chrono::steady_clock::now() - start).count();
                }
            });
        }
        for (std::thread& thread : threads) {
            thread.join();
        }
        state.SetIterationTime(static_cast<double>(spentNs) * 1e-9 / static_cast<double>(kReads * stations));
    }
}
constexpr std::chrono::milliseconds kAtOnce{0};
/// Sixteen phones a second are more than a hall of stations reads.
constexpr std::chrono::milliseconds kBusy{500};
void registerShared(const char* name, Find find, std::size_t stations, std::chrono::milliseconds period) {
    benchmark::RegisterBenchmark(name, [=](benchmark::State& state) { recordShared(state, find, stations, period); })
        ->Iterations(1)
        ->UseManualTime();
}
const bool kSharedAreRegistered = [] {
    registerShared("RecordShared_new", Find::kNew, 1, kAtOnce);
    registerShared("RecordShared_new_8", Find::kNew, kStations, kBusy);
    registerShared("RecordShared_changed_8", Find::kChanges, kStations, kBusy);
    registerShared("RecordShared_same_8", Find::kTheSame, kStations, kBusy);
    registerShared("RecordShared_new_8_at_once", Find::kNew, kStations, kAtOnce);
    registerShared("RecordShared_same_8_at_once", Find::kTheSame, kStations, kAtOnce);
    return true;
}();

/// The large store, made where it is not there yet.
std::string largeStore() {
    static const std::string path = [] {
        const auto file = std::filesystem::read_symlink("/proc/self/exe").parent_path() / "History-10000x20.sqlite";
        if (!std::filesystem::exists(file)) {
            const std::string part = file.string() + ".part";
            std::filesystem::remove(part);
            sample::fill(record::openSqlite(part), kPhones, kSessions);
            Store(record::openSqlite(part)).database().giveBackRoom();
            std::filesystem::rename(part, file);
        }
        return file.string();
    }();
    return path;
}

void ask(benchmark::State& state, const sample::Question& question, bool isCold) {
    const std::string path = largeStore();
    auto database = record::openSqlite(path);
    for (auto _ : state) {
        if (isCold) {
            state.PauseTiming();
            database.reset();
            const int file = ::open(path.c_str(), O_RDONLY);
            ::posix_fadvise(file, 0, 0, POSIX_FADV_DONTNEED);
            ::close(file);
            state.ResumeTiming();
            database = record::openSqlite(path);
        }
        if (question.ask(*database) == 0) {
            state.SkipWithError("there is no answer");
        }
    }
}

const bool kAreRegistered = [] {
    for (const sample::Question& question : sample::questions()) {
        std::string name = "Ask_" + std::string(question.name);
        std::ranges::replace(name, ' ', '-');
        for (const bool isCold : {false, true}) {
            benchmark::RegisterBenchmark((name + (isCold ? "_cold" : "")).c_str(),
                                         [question, isCold](benchmark::State& state) { ask(state, question, isCold); })
                ->Unit(benchmark::kMillisecond)
                ->UseRealTime();
        }
    }
    return true;
}();

void displayFrames(benchmark::State& state) {
    for (auto _ : state) {
        state.SetIterationTime(kFrame.count());
    }
}
BENCHMARK(displayFrames)->Name("DisplayFrame_record")->Iterations(1)->UseManualTime();

} // namespace

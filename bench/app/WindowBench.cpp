// How long the window makes its user wait with 65,536 items in the list, beside a frame of a display with 60 of them in
// a second and beside the bare work on plain strings; and what the progress window costs a read at the phone's full
// speed.
//
// The windows are real ones on Qt's offscreen platform. An action has ended when what it shows has been painted.

#include "app/dialogs/CProgressDlg.h"
#include "app/document/ItemSearch.h"
#include "app/frame/CCalvaneApp.h"
#include "app/frame/CMainFrame.h"
#include "app/frame/CSplitterFrame.h"
#include "app/views/CNvItemList.h"
#include "app/views/CNvParam.h"
#include "tessra/host/ServiceHost.h"

#include <benchmark/benchmark.h>
#include <unistd.h>

#include <QLineEdit>
#include <QListView>
#include <QToolButton>
#include <algorithm>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <thread>

namespace {

constexpr int kItems = 65536;
constexpr int kPhoneItems = 2000;
constexpr int kUsualSubFields = 16;
constexpr int kSubFields = 128;

/// A ring of 65,536 items of 16 sub-fields whose names are in no order, the last one of 128, and a phone with some of
/// them.
std::filesystem::path makeFolder() {
    auto folder = std::filesystem::temp_directory_path() / ("calvane-window-bench-" + std::to_string(::getpid()));
    std::filesystem::create_directories(folder);
    std::ofstream ring(folder / "NV Decoder.vrk");
    for (int number = 0; number < kItems - 1; ++number) {
        ring << "NV_" << (number * 40503LL) % 65536 << "_ITEM_I," << number << ",ReadWrite,";
        for (int i = 0; i < kUsualSubFields; ++i) {
            ring << "<SIGNED_WORD,gain " << (number % 2 == 0 ? "offset" : "slope") << " at point " << i << ">#";
        }
        ring << "\n";
    }
    ring << "NV_LONG_I," << kItems - 1 << ",ReadWrite,";
    for (int i = 0; i < kSubFields; ++i) {
        ring << "<BYTE,step " << i << " of the table>#";
    }
    ring << "\n";
    std::ofstream memory(folder / "phone.nvmem");
    for (int number = 0; number < kPhoneItems; ++number) {
        memory << number << " 0 0102\n";
    }
    return folder;
}

tessra::ServiceConfig phoneIn(const std::filesystem::path& folder) {
    tessra::ServiceConfig config;
    config.ports.resize(1);
    config.ports[0].name = "COM1";
    config.ports[0].number = 1;
    config.ports[0].initial = folder / "phone.nvmem";
    return config;
}

/// The program with all items listed.
class Program {
public:
    Program(int& argc, char** argv)
        : app_(argc, argv), folder_(makeFolder()), service_(std::make_unique<tessra::ServiceHost>(phoneIn(folder_))) {
        app_.initInstance(folder_, {});
        window().resize(1280, 800);
        listAll();
    }
    ~Program() {
        app_.end();
        service_.reset();
        std::filesystem::current_path("/");
        std::filesystem::remove_all(folder_);
    }
    Program(const Program&) = delete;
    Program& operator=(const Program&) = delete;

    CMainFrame& window() { return *app_.mainFrame(); }
    CSplitterFrame& frame() { return *window().activeFrame(); }
    CCalvaneDoc& document() { return frame().document(); }
    QListView& listBox() { return *frame().findChild<QListView*>("ctl_1000"); }

    void listAll() {
        document().readSupportedItems();
        show();
    }
    void show() {
        QCoreApplication::processEvents();
        window().grab();
    }

private:
    CCalvaneApp app_;
    std::filesystem::path folder_;
    std::unique_ptr<tessra::ServiceHost> service_;
};

Program* program = nullptr;

void displayFrame(benchmark::State& state) {
    for (auto _ : state) {
        std::this_thread::sleep_for(std::chrono::microseconds(16667));
    }
}
BENCHMARK(displayFrame)->Name("DisplayFrame")->UseRealTime()->Unit(benchmark::kMillisecond);

void rebuildList(benchmark::State& state) {
    for (auto _ : state) {
        program->listAll();
    }
}
BENCHMARK(rebuildList)->Name("ListRebuild")->UseRealTime()->Unit(benchmark::kMillisecond);

void sortList(benchmark::State& state) {
    bool alphabetical = false;
    for (auto _ : state) {
        program->document().sortItems(alphabetical = !alphabetical);
        program->show();
    }
}
BENCHMARK(sortList)->Name("ListSort")->UseRealTime()->Unit(benchmark::kMillisecond);

/// The same order found for the same names and numbers as plain values.
void sortPlainValues(benchmark::State& state) {
    std::vector<std::pair<std::string, int>> values;
    for (const NvItem& item : program->document().nvItems()) {
        values.emplace_back(item.getName(), item.getId());
    }
    bool alphabetical = false;
    for (auto _ : state) {
        alphabetical = !alphabetical;
        std::stable_sort(values.begin(), values.end(), [&](const auto& a, const auto& b) {
            return alphabetical ? a.first < b.first : a.second < b.second;
        });
    }
}
BENCHMARK(sortPlainValues)->Name("ListSort_plain")->UseRealTime()->Unit(benchmark::kMillisecond);

/// The dearest search: no line begins with any part of it, and every name is looked through for all of it.
constexpr const char* kDearSearch = "_ITEM_IX";

void searchList(benchmark::State& state) {
    for (auto _ : state) {
        benchmark::DoNotOptimize(findItem(program->document().nvItems(), kDearSearch));
    }
}
BENCHMARK(searchList)->Name("ListSearch")->UseRealTime()->Unit(benchmark::kMillisecond);

/// From a query typed to its lines painted; back to another one, which is not timed. The texts that are looked through
/// have been made.
void filterKey(benchmark::State& state, const char* query) {
    program->document().sortItems(false);
    program->frame().runCommand(CommandId::kFilter);
    auto& line = *program->frame().findChild<QLineEdit*>("filter_line");
    const auto settle = [&](const QString& text) {
        line.setText(text);
        program->show();
    };
    settle("absent");
    while (program->listBox().model()->rowCount() > 0) {
        QCoreApplication::processEvents();
    }
    for (auto _ : state) {
        settle(query);
        state.PauseTiming();
        settle("absent");
        state.ResumeTiming();
    }
    line.clear();
    program->frame().runCommand(CommandId::kFilterBar);
    program->show();
}
BENCHMARK_CAPTURE(filterKey, none, "missing")->Name("FilterKey_none")->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(filterKey, one, "nv_long_i")->Name("FilterKey_one")->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(filterKey, half, "slope")->Name("FilterKey_half")->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(filterKey, all, "_i")->Name("FilterKey_all")->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(filterKey, half3, "gain slope 15")
    ->Name("FilterKey_half3")
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);

void filterChanged(benchmark::State& state) {
    program->frame().runCommand(CommandId::kFilter);
    auto& changed = *program->frame().findChild<QToolButton*>("filter_changed");
    for (auto _ : state) {
        changed.setChecked(true);
        program->show();
        state.PauseTiming();
        changed.setChecked(false);
        program->show();
        state.ResumeTiming();
    }
    program->frame().runCommand(CommandId::kFilterBar);
    program->show();
}
BENCHMARK(filterChanged)->Name("FilterKey_changed")->UseRealTime()->Unit(benchmark::kMillisecond);

void selectLongItem(benchmark::State& state) {
    CCalvaneDoc& document = program->document();
    document.sortItems(false);
    program->show();
    bool isLong = false;
    auto& list = program->listBox();
    for (auto _ : state) {
        isLong = !isLong;
        list.setCurrentIndex(list.model()->index(isLong ? kItems - 1 : 0, 0));
        program->show();
        state.PauseTiming();
        if (isLong != (program->frame().findChild<CNvParam*>()->rowCount() == kSubFields)) {
            state.SkipWithError("the rows are not shown");
        }
        state.ResumeTiming();
    }
}
BENCHMARK(selectLongItem)->Name("SelectItem")->UseRealTime()->Unit(benchmark::kMillisecond);

/// A line that goes nowhere.
class NoWindow : public ProgressWindow {
public:
    void addLine(std::string) override {}
};

void readPhone(benchmark::State& state, ProgressWindow& progress) {
    for (auto _ : state) {
        bool ended = false;
        program->document().readFromPhone(progress, [&] { ended = true; });
        while (!ended) {
            QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
        }
        if (program->document().nvItems().size() != kPhoneItems) {
            state.SkipWithError("not every item was read");
        }
    }
}
void readPhoneWithWindow(benchmark::State& state) {
    CProgressDlg progress(&program->window());
    progress.show();
    readPhone(state, progress);
    progress.hide();
    program->listAll();
}
BENCHMARK(readPhoneWithWindow)->Name("ReadWithProgress")->UseRealTime()->Unit(benchmark::kMillisecond);

void readPhoneWithoutWindow(benchmark::State& state) {
    NoWindow progress;
    readPhone(state, progress);
    program->listAll();
}
BENCHMARK(readPhoneWithoutWindow)->Name("ReadWithProgress_none")->UseRealTime()->Unit(benchmark::kMillisecond);

} // namespace

int main(int argc, char** argv) {
    qputenv("QT_QPA_PLATFORM", "offscreen");
    benchmark::Initialize(&argc, argv);
    Program running(argc, argv);
    program = &running;
    benchmark::RunSpecifiedBenchmarks();
    program = nullptr;
    return 0;
}

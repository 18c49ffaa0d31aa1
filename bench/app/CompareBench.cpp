// How long a comparison of 65,536 items of 16 sub-fields with as many others takes, and how long the window takes to
// show, filter and order its rows. The two sets have layouts of their own, as those of a document and of a file do.
//
// The window is a real one on Qt's offscreen platform. An action has ended when what it shows has been painted.

#include "app/compare/CompareModel.h"
#include "app/compare/CompareTree.h"

#include <benchmark/benchmark.h>

#include <QApplication>
#include <string>

namespace {

using workbench::ItemSet;
using workbench::SetComparison;
using Set = std::shared_ptr<const ItemSet>;

constexpr int kItems = 65536;
constexpr int kSubFields = 16;

/// Each item's bytes begin with `first`.
Set makeSet(std::uint8_t first) {
    std::string fields;
    for (int i = 0; i < kSubFields; ++i) {
        fields += "<SIGNED_WORD,gain offset at point " + std::to_string(i) + ">#";
    }
    std::vector<NvItem> items;
    items.reserve(kItems);
    for (int number = 0; number < kItems; ++number) {
        items.emplace_back("NV_" + std::to_string((number * 40503LL) % kItems) + "_ITEM_I," + std::to_string(number) +
                           ",ReadWrite," + fields);
        workbench::ItemData data{first};
        data[2] = static_cast<std::uint8_t>(number);
        items.back().setRawData(data);
    }
    return std::make_shared<const ItemSet>(ItemSet::About{.label = "items", .bringsAllBytes = true}, std::move(items));
}

const Set& left() {
    static const Set set = makeSet(1);
    return set;
}
const Set& right(bool isEqual) {
    static const Set equal = makeSet(1);
    static const Set different = makeSet(2);
    return isEqual ? equal : different;
}

void compareSets(benchmark::State& state, bool isEqual) {
    left();
    right(isEqual);
    for (auto _ : state) {
        const SetComparison comparison(left(), right(isEqual));
        if (comparison.count(isEqual ? workbench::RowState::kEqual : workbench::RowState::kDiffers) != kItems) {
            state.SkipWithError("not the rows that were expected");
        }
    }
}
BENCHMARK_CAPTURE(compareSets, equal, true)->Name("CompareSets/equal")->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(compareSets, different, false)
    ->Name("CompareSets/different")
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);

/// A window with the rows.
class Rows {
public:
    explicit Rows(bool isEqual) : tree(model) {
        comparison = std::make_shared<const SetComparison>(left(), right(isEqual));
        model.setDifferencesOnly(!isEqual);
        tree.resize(1280, 800);
        tree.show();
        show();
    }
    void show() {
        model.setComparison(comparison);
        paint();
    }
    void paint() {
        QCoreApplication::processEvents();
        tree.grab();
    }

    std::shared_ptr<const SetComparison> comparison;
    CompareModel model;
    CompareTree tree;
};

void showRows(benchmark::State& state, bool isEqual) {
    Rows rows(isEqual);
    for (auto _ : state) {
        rows.show();
    }
}
BENCHMARK_CAPTURE(showRows, equal, true)->Name("CompareShow/equal")->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(showRows, different, false)
    ->Name("CompareShow/different")
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);

void filterRows(benchmark::State& state) {
    Rows rows(false);
    bool isFirst = false;
    for (auto _ : state) {
        isFirst = !isFirst;
        rows.model.setFilter(isFirst ? "1 item" : "2 item nv");
        rows.paint();
    }
}
BENCHMARK(filterRows)->Name("CompareFilter")->UseRealTime()->Unit(benchmark::kMillisecond);

void sortRows(benchmark::State& state) {
    Rows rows(false);
    bool isDescending = false;
    for (auto _ : state) {
        isDescending = !isDescending;
        rows.model.sort(CompareModel::kDifference, isDescending ? Qt::DescendingOrder : Qt::AscendingOrder);
        rows.paint();
    }
}
BENCHMARK(sortRows)->Name("CompareSort")->UseRealTime()->Unit(benchmark::kMillisecond);

} // namespace

int main(int argc, char** argv) {
    qputenv("QT_QPA_PLATFORM", "offscreen");
    const QApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}

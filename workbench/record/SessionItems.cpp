#include "workbench/record/SessionItems.h"

#include "engine/Calvane.h"
#include "workbench/LoadedDate.h"

#include <algorithm>
#include <set>
#include <utility>

namespace record {
namespace {

std::set<std::uint16_t> describedNumbers(Calvane& catalog) {
    std::set<std::uint16_t> numbers;
    for (const NvItem& item : catalog.getSupportedNvItems()) {
        numbers.insert(item.getId());
    }
    return numbers;
}

} // namespace

std::optional<ItemData> valueOf(const SessionItem& item, Which which) {
    const bool isUntouched = item.state == ItemState::kNotTried || item.state == ItemState::kRefused;
    return which == Which::kBefore || (isUntouched && !item.after) ? item.before : item.after;
}

SessionSet itemsOf(std::span<const SessionItem> items, Which which, Calvane& catalog) {
    std::vector<const SessionItem*> sorted;
    for (const SessionItem& item : items) {
        sorted.push_back(&item);
    }
    std::ranges::stable_sort(sorted, {}, &SessionItem::number);
    SessionSet set;
    for (const SessionItem* recorded : sorted) {
        NvItem item = catalog.describedItem(recorded->number);
        if (const auto value = valueOf(*recorded, which)) {
            item.setRawData(*value);
            set.items.push_back(std::move(item));
        } else {
            set.left.push_back({recorded->number, item.getName(), "no value was known"});
        }
    }
    return set;
}

SessionSet restorationOf(std::span<const SessionItem> items, Which which, Calvane& catalog, bool withDate) {
    SessionSet all = itemsOf(items, which, catalog);
    const auto described = describedNumbers(catalog);
    const auto reasonOf = [&](const NvItem& item) {
        if (!described.contains(item.getId())) {
            return "not in the ring";
        }
        if (!item.isWritable()) {
            return "read-only";
        }
        return !withDate && item.getName() == workbench::kLoadedDateItem ? "set to the time of the write" : "";
    };
    SessionSet set;
    set.left = std::move(all.left);
    for (NvItem& item : all.items) {
        if (const std::string reason = reasonOf(item); !reason.empty()) {
            set.left.push_back({item.getId(), item.getName(), reason});
        } else {
            set.items.push_back(std::move(item));
        }
    }
    std::ranges::stable_sort(set.left, {}, &LeftBehind::number);
    return set;
}

} // namespace record

#include "workbench/ItemFilter.h"

#include <algorithm>
#include <array>
#include <bit>
#include <utility>

namespace workbench {

namespace {

/// A number that differs where items have other bytes, or where one of them has no values; never 0.
std::uint64_t stampOf(const NvItem& item) {
    std::array<std::uint64_t, items::kItemDataBytes / sizeof(std::uint64_t)> words{};
    std::copy(item.rawData().begin(), item.rawData().end(), reinterpret_cast<std::uint8_t*>(words.data()));
    std::uint64_t stamp = item.hasValues() ? 1 : 2;
    for (const std::uint64_t word : words) {
        stamp = std::rotl((stamp ^ word) * 0x9E3779B97F4A7C15, 29);
    }
    return stamp | 1;
}

} // namespace

bool ItemFilter::renew(std::span<const NvItem> items, std::chrono::microseconds limit) {
    constexpr std::size_t kItemsBetweenLooks = 64; // at the clock
    const auto begin = std::chrono::steady_clock::now();
    if (next_ == 0 || entries_.size() != items.size()) {
        next_ = 0;
        arrange(items);
    }
    while (next_ < items.size()) {
        const NvItem& item = items[next_];
        Entry& entry = entries_[next_];
        if (const std::uint64_t stamp = stampOf(item); stamp != entry.stamp) {
            entry.text = ItemQuery::textOf(item);
            entry.text.shrink_to_fit();
            entry.stamp = stamp;
        }
        ++next_;
        if (next_ % kItemsBetweenLooks == 0 && std::chrono::steady_clock::now() - begin >= limit) {
            break;
        }
    }
    return next_ == items.size();
}

void ItemFilter::arrange(std::span<const NvItem> items) {
    const auto isOf = [](const Entry& entry, const NvItem& item) { return entry.number == item.getId(); };
    if (std::ranges::equal(entries_, items, isOf)) {
        return;
    }
    constexpr std::size_t kNone = SIZE_MAX;
    std::vector<std::size_t> places(std::size_t{UINT16_MAX} + 1, kNone);
    for (std::size_t i = 0; i < entries_.size(); ++i) {
        places[entries_[i].number] = i;
    }
    std::vector<Entry> arranged(items.size());
    for (std::size_t i = 0; i < items.size(); ++i) {
        const std::uint16_t number = items[i].getId();
        if (const std::size_t place = std::exchange(places[number], kNone); place != kNone) {
            arranged[i] = std::move(entries_[place]);
        }
        arranged[i].number = number;
    }
    entries_ = std::move(arranged);
}

std::vector<std::uint32_t> ItemFilter::find(const ItemQuery& query,
                                            const std::function<bool(std::size_t)>& also) const {
    std::vector<std::uint32_t> positions;
    for (std::size_t i = 0; i < entries_.size(); ++i) {
        if (query.fits(entries_[i].text) && (!also || also(i))) {
            positions.push_back(static_cast<std::uint32_t>(i));
        }
    }
    return positions;
}

} // namespace workbench

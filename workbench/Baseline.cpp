#include "workbench/Baseline.h"

#include <algorithm>
#include <utility>

namespace workbench {

bool hasValues(const NvItem& item) {
    return item.hasValues();
}

void Baseline::set(const NvItem& item, std::shared_ptr<const Source> source) {
    BaselineValue value{.layoutHash = item.layoutHash(), .source = std::move(source)};
    std::ranges::copy(item.rawData(), value.data.begin());
    values_.insert_or_assign(item.getId(), std::move(value));
}

const BaselineValue* Baseline::find(std::uint16_t number) const {
    const auto found = values_.find(number);
    return found == values_.end() ? nullptr : &found->second;
}

bool Baseline::differs(const NvItem& item) const {
    const BaselineValue* const value = find(item.getId());
    if (value == nullptr) {
        return hasValues(item) || std::ranges::any_of(item.rawData(), [](std::uint8_t byte) { return byte != 0; });
    }
    const ItemData& before = value->data;
    // The document's items have zeros where the ring describes no sub-field, whatever the phone has there.
    const std::size_t described = item.describedBytes();
    const std::size_t compared = described > 0 ? described : before.size();
    return !std::equal(before.begin(), before.begin() + static_cast<std::ptrdiff_t>(compared), item.rawData().begin());
}

std::optional<NvItem> Baseline::itemOf(const NvItem& item) const {
    const BaselineValue* const value = find(item.getId());
    if (value == nullptr) {
        return std::nullopt;
    }
    NvItem before = item;
    before.setRawData(value->data);
    return before;
}

} // namespace workbench

#include "app/document/DocumentBaseline.h"

#include "workbench/LoadedDate.h"

#include <algorithm>
#include <chrono>

namespace {

template <typename From>
std::shared_ptr<const workbench::Source> sourceNow(From from) {
    return std::make_shared<const workbench::Source>(
        workbench::Source{std::move(from), std::chrono::system_clock::now()});
}

} // namespace

bool KeptEdit::giveTo(NvItem& item) const {
    if (!item.hasLayoutOf(edited)) {
        return false;
    }
    workbench::ItemData merged{};
    std::ranges::copy(item.rawData(), merged.begin());
    std::size_t begin = 0;
    for (const SubItemType type : item.getSubItemTypes()) {
        const std::size_t bytes = subItemTypeInfo(type).bytes;
        const auto typed = edited.rawData().subspan(begin, bytes);
        if (!known || !std::ranges::equal(typed, known->rawData().subspan(begin, bytes))) {
            std::ranges::copy(typed, merged.begin() + static_cast<std::ptrdiff_t>(begin));
        }
        begin += bytes;
    }
    const bool isFirstValue = workbench::hasValues(edited) && !workbench::hasValues(item); // zeros count
    if (std::ranges::equal(merged, item.rawData()) && !isFirstValue) {
        return false;
    }
    item.setRawData(merged);
    return true;
}

bool KeptEdit::leaveOut(const NvItem& before) {
    if (before.getId() != edited.getId()) {
        return true;
    }
    NvItem later = known.value_or(before);
    const bool remains = KeptEdit{edited, before}.giveTo(later);
    if (known) {
        edited = later;
    }
    return remains;
}

bool DocumentBaseline::isStamped(const NvItem& item) {
    return item.getName() == workbench::kLoadedDateItem;
}

workbench::Baseline& DocumentBaseline::values() {
    itemsChanged();
    return values_;
}

void DocumentBaseline::itemsChanged() {
    changedCount_.reset();
    ++version_;
}

std::size_t DocumentBaseline::changedCount(const std::vector<NvItem>& items) const {
    if (!changedCount_) {
        const auto changed = std::ranges::count_if(items, [this](const NvItem& item) { return isChanged(item); });
        changedCount_ = static_cast<std::size_t>(changed);
    }
    return *changedCount_;
}

std::vector<workbench::SubFieldRow> DocumentBaseline::compared(const NvItem& item) const {
    const std::optional<NvItem> known = values_.itemOf(item);
    NvItem other = known.value_or(item);
    if (!known) {
        other.setRawData(workbench::ItemData{});
    }
    auto rows = workbench::compareSubFields(&item, &other);
    rows.resize(item.getSubItemCount()); // the bytes behind them are none of the user's
    for (workbench::SubFieldRow& row : rows) {
        if (!known) {
            row.right.clear();
            row.state = row.left.empty() ? workbench::RowState::kEqual : workbench::RowState::kDiffers;
        } else if (isStamped(item)) {
            row.state = workbench::RowState::kEqual;
        }
    }
    return rows;
}

std::vector<KeptEdit> DocumentBaseline::edits(const std::vector<NvItem>& items) const {
    std::vector<KeptEdit> edits;
    for (const NvItem& item : items) {
        if (isChanged(item)) {
            edits.push_back(KeptEdit{item, values_.itemOf(item)});
        }
    }
    return edits;
}

const workbench::PhoneSource* DocumentBaseline::lastPhone() const {
    return lastPhone_ ? std::get_if<workbench::PhoneSource>(&lastPhone_->from) : nullptr;
}

const workbench::FileSource* DocumentBaseline::lastFile() const {
    return lastFile_ ? std::get_if<workbench::FileSource>(&lastFile_->from) : nullptr;
}

void DocumentBaseline::takeFromPhone(const std::vector<NvItem>& items, workbench::PhoneIdentity phone,
                                     std::string comPort) {
    lastPhone_ = sourceNow(workbench::PhoneSource{std::move(phone), std::move(comPort)});
    take(items, lastPhone_);
}

void DocumentBaseline::takeFromRecord(const std::vector<NvItem>& items,
                                      std::shared_ptr<const workbench::Source> source) {
    lastPhone_ = std::move(source);
    take(items, lastPhone_);
}

void DocumentBaseline::takeFromFile(const std::vector<NvItem>& items, workbench::FileSource file) {
    lastFile_ = sourceNow(std::move(file));
    take(items, lastFile_);
}

void DocumentBaseline::take(const std::vector<NvItem>& items, std::shared_ptr<const workbench::Source> source) {
    lastSource_ = std::move(source);
    for (const NvItem& item : items) {
        values_.set(item, lastSource_);
    }
    itemsChanged();
}

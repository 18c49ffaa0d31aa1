#include "app/dialogs/CustomizedList.h"

#include <algorithm>
#include <utility>

namespace {

void sortBy(CustomizedList::Order order, std::vector<NvItem>& items) {
    NvItem::setCompareByName(order == CustomizedList::Order::ByName);
    std::stable_sort(items.begin(), items.end());
}

void sortAndMerge(CustomizedList::Order order, std::vector<NvItem>& items) {
    sortBy(order, items);
    items.erase(std::unique(items.begin(), items.end()), items.end());
}

} // namespace

CustomizedList::CustomizedList(std::vector<NvItem> available, std::vector<NvItem> customized)
    : available_(std::move(available)), customized_(std::move(customized)) {
    sortBy(Order::ById, customized_);
}

void CustomizedList::add(const std::vector<std::size_t>& lines) {
    if (lines.empty()) {
        return;
    }
    for (const std::size_t line : lines) {
        customized_.push_back(available_.at(line));
    }
    sortAndMerge(Order::ById, customized_);
}

void CustomizedList::addAll() {
    customized_.insert(customized_.end(), available_.begin(), available_.end());
    sortAndMerge(Order::ById, customized_);
}

void CustomizedList::remove(const std::vector<std::size_t>& lines) {
    // Moves what stays down over what goes, so that removing half of a large list takes one pass.
    std::size_t kept = 0;
    auto next = lines.begin();
    for (std::size_t line = 0; line < customized_.size(); ++line) {
        if (next != lines.end() && *next == line) {
            ++next;
        } else if (kept++ != line) {
            customized_[kept - 1] = std::move(customized_[line]);
        }
    }
    customized_.resize(kept);
}

void CustomizedList::removeAll() {
    customized_.clear();
}

void CustomizedList::sort(Order order) {
    sortAndMerge(order, customized_);
    sortAndMerge(order, available_);
}

SelectionChange LineSelector::choose(std::size_t line, std::size_t lineCount, bool shift, bool control) {
    // The list may have become shorter since.
    const std::size_t from = shift ? std::min(anchor_, lineCount - 1) : line;
    anchor_ = line;
    return {!shift && !control, std::min(from, line), std::max(from, line)};
}

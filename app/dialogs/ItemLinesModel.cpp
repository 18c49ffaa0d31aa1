#include "app/dialogs/ItemLinesModel.h"

#include "app/dialogs/ShownText.h"

#include <algorithm>
#include <utility>

void ItemLinesModel::setItems(const std::vector<NvItem>* items, Positions shown) {
    beginResetModel();
    items_ = items;
    listed_ = items == nullptr ? 0 : static_cast<int>(items->size());
    takeShown(std::move(shown));
    endResetModel();
}

void ItemLinesModel::setShown(Positions shown) {
    beginResetModel();
    takeShown(std::move(shown));
    endResetModel();
}

void ItemLinesModel::takeShown(Positions shown) {
    shown_ = std::move(shown);
    if (shown_) {
        shown_->erase(std::ranges::lower_bound(*shown_, static_cast<std::uint32_t>(listed_)), shown_->end());
    }
}

int ItemLinesModel::positionOf(int row) const {
    if (row < 0 || row >= rowCount()) {
        return -1;
    }
    return shown_ ? static_cast<int>((*shown_)[static_cast<std::size_t>(row)]) : row;
}

int ItemLinesModel::rowOf(int position) const {
    const int row = firstRowFrom(position);
    return position >= 0 && positionOf(row) == position ? row : -1;
}

int ItemLinesModel::firstRowFrom(int position) const {
    const int from = std::clamp(position, 0, listed_);
    if (!shown_) {
        return from;
    }
    return static_cast<int>(std::ranges::lower_bound(*shown_, static_cast<std::uint32_t>(from)) - shown_->begin());
}

int ItemLinesModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : shown_ ? static_cast<int>(shown_->size()) : listed_;
}

QVariant ItemLinesModel::data(const QModelIndex& index, int role) const {
    // The list may have been replaced by a shorter one, before this is told.
    const int position = positionOf(index.row());
    if (items_ == nullptr || role != Qt::DisplayRole || position < 0 || position >= std::ssize(*items_)) {
        return {};
    }
    const NvItem& item = (*items_)[static_cast<std::size_t>(position)];
    return QString::number(item.getId()) + '\t' + shownText(item.getName());
}

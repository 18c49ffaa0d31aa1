#include "app/dialogs/ItemLinesModel.h"

#include "app/dialogs/ShownText.h"

void ItemLinesModel::setItems(const std::vector<NvItem>* items) {
    beginResetModel();
    items_ = items;
    rows_ = items == nullptr ? 0 : static_cast<int>(items->size());
    endResetModel();
}

int ItemLinesModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : rows_;
}

QVariant ItemLinesModel::data(const QModelIndex& index, int role) const {
    // The list may have been replaced by a shorter one, before this is told.
    const auto row = static_cast<std::size_t>(index.row());
    if (items_ == nullptr || role != Qt::DisplayRole || !index.isValid() || row >= items_->size()) {
        return {};
    }
    const NvItem& item = (*items_)[row];
    return QString::number(item.getId()) + '\t' + shownText(item.getName());
}

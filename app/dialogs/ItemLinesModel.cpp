#include "app/dialogs/ItemLinesModel.h"

#include "app/dialogs/ItemLine.h"

void ItemLinesModel::setItems(const std::vector<NvItem>* items) {
    beginResetModel();
    items_ = items;
    endResetModel();
}

int ItemLinesModel::rowCount(const QModelIndex& parent) const {
    return items_ == nullptr || parent.isValid() ? 0 : static_cast<int>(items_->size());
}

QVariant ItemLinesModel::data(const QModelIndex& index, int role) const {
    if (items_ == nullptr || role != Qt::DisplayRole || index.row() < 0 || index.row() >= rowCount()) {
        return {};
    }
    return QString::fromStdString(itemLine((*items_)[static_cast<std::size_t>(index.row())]));
}

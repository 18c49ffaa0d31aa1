#include "app/dialogs/ItemLinesModel.h"

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
    const NvItem& item = (*items_)[static_cast<std::size_t>(index.row())];
    return QString::number(item.getId()) + QLatin1Char('\t') + QString::fromStdString(item.getName());
}

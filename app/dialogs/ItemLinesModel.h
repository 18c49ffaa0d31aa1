#pragma once

#include "engine/NvItem.h"

#include <QAbstractListModel>
#include <vector>

/// The lines of a list of NV items: the number in decimal, a tab, the name. Makes each line when it is asked for it.
/// How many there are is settled by setItems(): an item that is appended later stays out of sight until the next one.
/// User-interface thread.
class ItemLinesModel : public QAbstractListModel {
    Q_OBJECT

public:
    explicit ItemLinesModel(QObject* parent = nullptr) : QAbstractListModel(parent) {}

    /// Shows `items`, which must outlive the model or its next setItems(); after a change of them this is called again.
    /// Null: no lines. No line is selected afterwards.
    void setItems(const std::vector<NvItem>* items);

    int rowCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role = Qt::DisplayRole) const override;

private:
    const std::vector<NvItem>* items_ = nullptr;
    int rows_ = 0;
};

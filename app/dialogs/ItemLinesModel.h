#pragma once

#include "engine/NvItem.h"

#include <QAbstractListModel>
#include <vector>

/// The lines of a list of NV items: the number in decimal, a tab, the name. Makes each line when it is asked for it.
/// User-interface thread.
class ItemLinesModel : public QAbstractListModel {
    Q_OBJECT

public:
    explicit ItemLinesModel(QObject* parent = nullptr) : QAbstractListModel(parent) {}

    /// Shows `items`, which must outlive the model or its next setItems(), and after each change of which this must be
    /// called again. Null: no lines. No line is selected afterwards.
    void setItems(const std::vector<NvItem>* items);

    int rowCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role = Qt::DisplayRole) const override;

private:
    const std::vector<NvItem>* items_ = nullptr;
};

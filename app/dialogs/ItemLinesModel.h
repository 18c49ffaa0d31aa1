#pragma once

#include "engine/NvItem.h"

#include <QAbstractListModel>
#include <cstdint>
#include <optional>
#include <vector>

/// The lines of a list of NV items: the number in decimal, a tab, the name. Makes each line when it is asked for it.
/// How many items it counts is settled by setItems(): one that is appended later stays out of sight until the next one.
///
/// A row is the place of a line, a position that of its item in the list: they differ while only a part of the list is
/// shown. User-interface thread.
class ItemLinesModel : public QAbstractListModel {
    Q_OBJECT

public:
    /// The positions of items, ascending; nothing: all of them.
    using Positions = std::optional<std::vector<std::uint32_t>>;

    explicit ItemLinesModel(QObject* parent = nullptr) : QAbstractListModel(parent) {}

    /// Shows `items`, which must outlive the model or its next setItems(); after a change of them this is called again.
    /// Null: no lines. No line is selected afterwards.
    void setItems(const std::vector<NvItem>* items, Positions shown = {});
    /// Shows these of the items alone. No line is selected afterwards.
    void setShown(Positions shown);

    /// How many items are listed, whether or not they are shown.
    int listed() const { return listed_; }
    /// The position of a row's item; -1 where there is no such row.
    int positionOf(int row) const;
    /// The row of the item at a position; -1 where it is not shown.
    int rowOf(int position) const;
    /// The first row of an item at this position or behind it; rowCount() where there is none.
    int firstRowFrom(int position) const;

    int rowCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role = Qt::DisplayRole) const override;

private:
    /// What is shown, as far as it is listed.
    void takeShown(Positions shown);

    const std::vector<NvItem>* items_ = nullptr;
    int listed_ = 0;
    Positions shown_;
};

#pragma once

#include "workbench/ComparisonRows.h"
#include "workbench/ComparisonText.h"
#include "workbench/Units.h"

#include <QAbstractItemModel>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <vector>

/// The rows of a comparison for a tree view: an item each, opening to its sub-fields, with a tick. What is shown of
/// them, and in which order, is found by ComparisonRows and taken with one reset. User-interface thread.
class CompareModel : public QAbstractItemModel {
    Q_OBJECT
public:
    enum Column { kNumber, kName, kSubField, kLeft, kRight, kDifference, kUnits, kColumns };

    /// `units`: of the sub-fields; the column of values in their units is empty without them.
    explicit CompareModel(workbench::Units units = {}, QObject* parent = nullptr)
        : QAbstractItemModel(parent), units_(std::move(units)) {}

    const workbench::Units& units() const { return units_; }
    bool hasUnits() const { return !units_.isEmpty(); }

    /// The ticks stay with their items.
    void setComparison(std::shared_ptr<const workbench::SetComparison> comparison);
    /// Null at first.
    const workbench::SetComparison* comparison() const { return rows_ ? &rows_->comparison() : nullptr; }
    void setDifferencesOnly(bool differencesOnly);
    bool isDifferencesOnly() const { return question_.differencesOnly; }
    void setFilter(const QString& filter);
    void sort(int column, Qt::SortOrder order) override;

    /// The positions of the shown items in the comparison's rows.
    const std::vector<std::uint32_t>& shownRows() const { return shown_; }
    /// The positions of the ticked items, ascending, whether they are shown or not.
    std::vector<std::uint32_t> ticked() const;
    void tickShown();
    void untickAll();

    /// The number of the item to which the row belongs.
    std::uint16_t numberAt(const QModelIndex& index) const;
    /// The row of an item; invalid where it is not shown.
    QModelIndex indexOf(std::uint16_t number) const;
    bool isItem(const QModelIndex& index) const { return index.internalId() == kItemRow; }
    /// What the row is of the comparison.
    workbench::ComparedLine lineAt(const QModelIndex& index) const;
    bool isDifferent(const QModelIndex& index) const;

    QModelIndex index(int row, int column, const QModelIndex& parent = {}) const override;
    QModelIndex parent(const QModelIndex& child) const override;
    int rowCount(const QModelIndex& parent = {}) const override;
    int columnCount(const QModelIndex& parent = {}) const override;
    bool hasChildren(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    bool setData(const QModelIndex& index, const QVariant& value, int role) override;
    Qt::ItemFlags flags(const QModelIndex& index) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role) const override;

signals:
    void ticksChanged();

private:
    /// The internal id of an item's row; that of a sub-field's row is the item's shown row and one.
    static constexpr quintptr kItemRow = 0;

    struct ShownField {
        std::size_t position; ///< among all of the item
        workbench::SubFieldRow field;
    };

    void showAnew();
    void ticksSet();
    std::uint32_t positionAt(const QModelIndex& index) const;
    const workbench::ItemRow& rowAt(const QModelIndex& index) const { return comparison()->rows()[positionAt(index)]; }
    /// The sub-fields that are shown of an item; made when somebody looks.
    const std::vector<ShownField>& fieldsOf(std::uint32_t position) const;
    QString unitsText(std::uint16_t number, const ShownField& field) const;
    QString unitsText(const workbench::ItemRow& row) const;
    QString itemText(const workbench::ItemRow& row, int column) const;
    QVariant itemData(const QModelIndex& index, int role) const;
    QVariant fieldData(const QModelIndex& index, int role) const;
    QString fieldText(const QModelIndex& index, const ShownField& shown) const;

    const workbench::Units units_;
    std::optional<workbench::ComparisonRows> rows_;
    workbench::ComparisonRows::Question question_;
    std::vector<std::uint32_t> shown_;
    std::vector<bool> ticks_; ///< by position in the comparison's rows
    mutable std::map<std::uint32_t, std::vector<ShownField>> fields_;
};

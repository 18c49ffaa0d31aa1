#pragma once

#include "workbench/Comparison.h"
#include "workbench/Units.h"

#include <QAbstractItemModel>
#include <cstddef>
#include <map>
#include <vector>

class WriteReview;

/// The rows of a review's plan for a tree view: an item each, opening to its sub-fields, with the value on the phone,
/// the one to be written, and what becomes of it. Ticks go to the review. User-interface thread; the review outlives
/// it.
class ReviewRowsModel : public QAbstractItemModel {
    Q_OBJECT
public:
    enum Column { kItem, kOnPhone, kToBeWritten, kResult, kColumns };

    explicit ReviewRowsModel(WriteReview& review, QObject* parent = nullptr);

    /// Shows the rows and sub-fields that differ, and those that are ticked; or all.
    void setDifferencesOnly(bool differencesOnly);
    /// To be called when the review has another plan.
    void reload();
    /// To be called when what stands beside the rows may have changed.
    void refresh();

    QModelIndex index(int row, int column, const QModelIndex& parent = {}) const override;
    QModelIndex parent(const QModelIndex& child) const override;
    int rowCount(const QModelIndex& parent = {}) const override;
    int columnCount(const QModelIndex& parent = {}) const override;
    bool hasChildren(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    bool setData(const QModelIndex& index, const QVariant& value, int role) override;
    Qt::ItemFlags flags(const QModelIndex& index) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role) const override;

private:
    struct SubField {
        workbench::SubFieldRow row;
        const workbench::FieldUnit* unit = nullptr; ///< null where its values have none
    };
    using SubFields = std::vector<SubField>;

    std::size_t planRow(const QModelIndex& index) const;
    /// The sub-fields that are shown of a row; made when somebody looks.
    const SubFields& subFields(std::size_t planRow) const;
    QVariant itemData(std::size_t planRow, int column, int role) const;
    QVariant subFieldData(const SubField& subField, int column, int role) const;

    WriteReview& review_;
    bool differencesOnly_ = true;
    std::vector<std::size_t> shown_; ///< rows of the plan
    mutable std::map<std::size_t, SubFields> subFields_;
};

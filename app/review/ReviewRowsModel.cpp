#include "app/review/ReviewRowsModel.h"

#include "app/dialogs/ShownText.h"
#include "app/document/SubFieldText.h"
#include "app/document/WriteReview.h"

#include <QFont>
#include <algorithm>

using workbench::PlanRow;
using workbench::ReadState;
using workbench::RowState;
using workbench::SubFieldRow;

namespace {

constexpr qsizetype kLongestValues = 60;
/// The internal id of an item's row; that of a sub-field's row is the item's row and one.
constexpr quintptr kItemRow = 0;

std::optional<NvItem> oldItem(const PlanRow& row) {
    if (row.onPhone.state != ReadState::kRead) {
        return std::nullopt;
    }
    NvItem item = row.item;
    item.setRawData(row.onPhone.data);
    return item;
}

QString shownValue(const NvItem& item, const std::string& value) {
    return QString::fromStdString(item.isTime() ? dateText(value) : value);
}

/// All values of an item in a line, as far as they fit.
QString valuesOf(const NvItem& item) {
    QString text;
    for (const SubItem& field : item.getSubItems()) {
        text += (text.isEmpty() ? "" : ", ") + shownValue(item, field.value);
        if (text.size() > kLongestValues) {
            return text.left(kLongestValues) + "...";
        }
    }
    return text;
}

QString withUnit(const std::string& value, const workbench::FieldUnit* unit) {
    bool isNumber = false;
    const QString text = QString::fromStdString(value);
    const double raw = text.toDouble(&isNumber);
    return unit == nullptr || !isNumber
               ? text
               : QString("%1 (%2)").arg(text, QString::fromStdString(workbench::judgedText(*unit, raw)));
}

QString oldValues(const PlanRow& row) {
    const auto old = oldItem(row);
    if (old) {
        return valuesOf(*old);
    }
    return row.onPhone.state == ReadState::kNoValue ? "no value" : "not known";
}

} // namespace

ReviewRowsModel::ReviewRowsModel(WriteReview& review, QObject* parent) : QAbstractItemModel(parent), review_(review) {
    reload();
}

void ReviewRowsModel::setDifferencesOnly(bool differencesOnly) {
    differencesOnly_ = differencesOnly;
    reload();
}

void ReviewRowsModel::reload() {
    beginResetModel();
    shown_.clear();
    subFields_.clear();
    const auto& rows = review_.plan().rows;
    for (std::size_t row = 0; row < rows.size(); ++row) {
        const bool isEqual = rows[row].onPhone.state == ReadState::kRead &&
                             std::ranges::equal(rows[row].onPhone.data, rows[row].item.rawData());
        if (!differencesOnly_ || !isEqual || rows[row].isWritten()) {
            shown_.push_back(row);
        }
    }
    endResetModel();
}

void ReviewRowsModel::refresh() {
    if (!shown_.empty()) {
        emit dataChanged(index(0, kItem), index(static_cast<int>(shown_.size()) - 1, kResult));
    }
}

std::size_t ReviewRowsModel::planRow(const QModelIndex& index) const {
    return shown_[index.internalId() == kItemRow ? static_cast<std::size_t>(index.row()) : index.internalId() - 1];
}

const ReviewRowsModel::SubFields& ReviewRowsModel::subFields(std::size_t planRow) const {
    const auto [found, isNew] = subFields_.try_emplace(planRow);
    if (isNew) {
        const PlanRow& row = review_.plan().rows[planRow];
        const auto old = oldItem(row);
        const auto compared = workbench::compareSubFields(old ? &*old : nullptr, &row.item);
        for (std::size_t i = 0; i < compared.size(); ++i) {
            const bool hasUnit = i < row.item.getSubItemCount() && !row.item.isTime();
            if (!differencesOnly_ || compared[i].state != RowState::kEqual) {
                found->second.push_back({compared[i], hasUnit ? review_.units().find(row.item.getId(), i) : nullptr});
            }
        }
    }
    return found->second;
}

QModelIndex ReviewRowsModel::index(int row, int column, const QModelIndex& parent) const {
    if (!hasIndex(row, column, parent)) {
        return {};
    }
    return createIndex(row, column, parent.isValid() ? static_cast<quintptr>(parent.row()) + 1 : kItemRow);
}

QModelIndex ReviewRowsModel::parent(const QModelIndex& child) const {
    if (!child.isValid() || child.internalId() == kItemRow) {
        return {};
    }
    return createIndex(static_cast<int>(child.internalId() - 1), 0, kItemRow);
}

int ReviewRowsModel::rowCount(const QModelIndex& parent) const {
    if (!parent.isValid()) {
        return static_cast<int>(shown_.size());
    }
    const bool isItem = parent.internalId() == kItemRow && parent.column() == 0;
    return isItem ? static_cast<int>(subFields(planRow(parent)).size()) : 0;
}

int ReviewRowsModel::columnCount(const QModelIndex&) const {
    return kColumns;
}

bool ReviewRowsModel::hasChildren(const QModelIndex& parent) const {
    return parent.isValid() ? parent.internalId() == kItemRow : !shown_.empty();
}

QVariant ReviewRowsModel::data(const QModelIndex& index, int role) const {
    if (!index.isValid()) {
        return {};
    }
    if (index.internalId() == kItemRow) {
        return itemData(planRow(index), index.column(), role);
    }
    return subFieldData(subFields(planRow(index))[static_cast<std::size_t>(index.row())], index.column(), role);
}

QVariant ReviewRowsModel::itemData(std::size_t planRow, int column, int role) const {
    const PlanRow& row = review_.plan().rows[planRow];
    if (role == Qt::CheckStateRole && column == kItem && row.item.isWritable()) {
        return row.isWritten() ? Qt::Checked : Qt::Unchecked;
    }
    if (role != Qt::DisplayRole && (role != Qt::ToolTipRole || column == kItem)) {
        return {};
    }
    switch (column) {
    case kItem:
        return QString("%1  %2").arg(row.item.getId()).arg(shownText(row.item.getName()));
    case kOnPhone:
        return oldValues(row);
    case kToBeWritten:
        return valuesOf(row.item);
    case kResult:
        return shownLines(review_.rowText(planRow)).simplified();
    default:
        return {};
    }
}

QVariant ReviewRowsModel::subFieldData(const SubField& subField, int column, int role) const {
    const SubFieldRow& field = subField.row;
    if (role == Qt::FontRole && column != kItem && field.state != RowState::kEqual) {
        QFont bold;
        bold.setBold(true);
        return bold;
    }
    if (role != Qt::DisplayRole && role != Qt::ToolTipRole) {
        return {};
    }
    switch (column) {
    case kItem:
        return shownText(field.description);
    case kOnPhone:
        return withUnit(field.left, subField.unit);
    case kToBeWritten:
        return withUnit(field.right, subField.unit);
    case kResult:
        return field.state == RowState::kEqual ? "equal" : "differs";
    default:
        return {};
    }
}

bool ReviewRowsModel::setData(const QModelIndex& index, const QVariant& value, int role) {
    if (role != Qt::CheckStateRole || !(flags(index) & Qt::ItemIsUserCheckable)) {
        return false;
    }
    review_.setTicked(planRow(index), value.toInt() == Qt::Checked);
    return true;
}

Qt::ItemFlags ReviewRowsModel::flags(const QModelIndex& index) const {
    if (!index.isValid()) {
        return Qt::NoItemFlags;
    }
    const Qt::ItemFlags plain = Qt::ItemIsEnabled | Qt::ItemIsSelectable;
    const bool canBeTicked = index.internalId() == kItemRow && index.column() == kItem &&
                             review_.stage() == WriteReview::Stage::kReviewing &&
                             review_.plan().rows[planRow(index)].item.isWritable();
    return canBeTicked ? plain | Qt::ItemIsUserCheckable : plain;
}

QVariant ReviewRowsModel::headerData(int section, Qt::Orientation orientation, int role) const {
    static const char* const kHeaders[kColumns] = {"Item", "On the phone", "To be written", "Result"};
    return orientation == Qt::Horizontal && role == Qt::DisplayRole ? QVariant(kHeaders[section]) : QVariant();
}

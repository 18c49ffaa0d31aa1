#include "app/compare/CompareModel.h"

#include "app/dialogs/ShownText.h"
#include "app/document/SubFieldText.h"

#include <QFont>
#include <algorithm>
#include <set>

using workbench::ItemRow;
using workbench::RowState;
using workbench::RowSummary;
using workbench::SubFieldRow;

namespace {

constexpr std::size_t kLongestValues = 60;

/// All values of an item in a line, as far as they fit.
QString valuesOf(const NvItem* item) {
    std::string text;
    for (const SubItem& field : item == nullptr ? std::vector<SubItem>() : item->getSubItems()) {
        text += (text.empty() ? "" : ", ") + (item->isTime() ? dateText(field.value) : field.value);
        if (text.size() > kLongestValues) {
            return QString::fromStdString(text.substr(0, kLongestValues) + "...");
        }
    }
    return QString::fromStdString(text);
}

/// What stands in place of a sub-field: which one it is, or how many differ.
QString fieldsText(const ItemRow& row, const RowSummary& summary) {
    if (summary.fields == 1) {
        return shownText(anyItem(row).getSubItems().front().description);
    }
    if (row.state == RowState::kDiffers && summary.differing > 0) {
        return QString("%1 of %2 differ").arg(summary.differing).arg(summary.fields);
    }
    return QString(summary.fields == 0 ? "no sub-fields" : "%1 sub-fields").arg(summary.fields);
}

QString differenceText(const ItemRow& row, const RowSummary& summary) {
    if (row.state != RowState::kDiffers && row.state != RowState::kEqual) {
        return QString::fromUtf8(stateText(row.state).data());
    }
    if (summary.differing == 0 && summary.differsBehind) {
        return "in the bytes behind";
    }
    if (!summary.farthest) {
        return QString::fromUtf8(stateText(row.state).data());
    }
    const QString number = QString::fromStdString(textOf(*summary.farthest));
    return summary.fields == 1 || summary.differing < 2 ? number : "up to " + number;
}

/// How many sub-fields of the item have a value that is not permitted.
int countForbidden(const workbench::Units& units, const NvItem* item) {
    int count = 0;
    std::size_t offset = 0;
    std::size_t position = 0;
    for (const SubItemType type : item == nullptr ? std::vector<SubItemType>() : item->getSubItemTypes()) {
        const workbench::FieldUnit* unit = units.find(item->getId(), position);
        const double raw = asDouble(workbench::numberAt(type, item->getData() + offset));
        count += unit != nullptr && !unit->permits(unit->physical(raw)) ? 1 : 0;
        offset += subItemTypeInfo(type).bytes;
        ++position;
    }
    return count;
}

workbench::ComparisonOrder orderOf(int column) {
    return static_cast<workbench::ComparisonOrder>(std::clamp(column, 0, int{CompareModel::kDifference}));
}

} // namespace

void CompareModel::setComparison(std::shared_ptr<const workbench::SetComparison> comparison) {
    std::set<std::uint16_t> tickedNumbers;
    for (const std::uint32_t position : ticked()) {
        tickedNumbers.insert(this->comparison()->rows()[position].number);
    }
    beginResetModel();
    rows_.emplace(std::move(comparison));
    const auto& all = this->comparison()->rows();
    ticks_.assign(all.size(), false);
    for (std::size_t position = 0; !tickedNumbers.empty() && position < all.size(); ++position) {
        ticks_[position] = all[position].state != RowState::kEqual && tickedNumbers.contains(all[position].number);
    }
    shown_ = rows_->find(question_);
    fields_.clear();
    endResetModel();
    emit ticksChanged();
}

void CompareModel::showAnew() {
    beginResetModel();
    shown_ = rows_ ? rows_->find(question_) : std::vector<std::uint32_t>();
    fields_.clear();
    endResetModel();
}

void CompareModel::setDifferencesOnly(bool differencesOnly) {
    question_.differencesOnly = differencesOnly;
    showAnew();
}

void CompareModel::setFilter(const QString& filter) {
    question_.filter = filter.toStdString();
    showAnew();
}

void CompareModel::sort(int column, Qt::SortOrder order) {
    question_.order = orderOf(column);
    question_.isDescending = order == Qt::DescendingOrder;
    showAnew();
}

std::vector<std::uint32_t> CompareModel::ticked() const {
    std::vector<std::uint32_t> positions;
    for (std::uint32_t position = 0; position < ticks_.size(); ++position) {
        if (ticks_[position]) {
            positions.push_back(position);
        }
    }
    return positions;
}

void CompareModel::tickShown() {
    for (const std::uint32_t position : shown_) {
        ticks_[position] = true;
    }
    ticksSet();
}

void CompareModel::untickAll() {
    ticks_.assign(ticks_.size(), false);
    ticksSet();
}

void CompareModel::ticksSet() {
    if (!shown_.empty()) {
        emit dataChanged(index(0, kNumber), index(rowCount() - 1, kNumber), {Qt::CheckStateRole});
    }
    emit ticksChanged();
}

std::uint32_t CompareModel::positionAt(const QModelIndex& index) const {
    return shown_[isItem(index) ? static_cast<std::size_t>(index.row()) : index.internalId() - 1];
}

std::uint16_t CompareModel::numberAt(const QModelIndex& index) const {
    return rowAt(index).number;
}

QModelIndex CompareModel::indexOf(std::uint16_t number) const {
    const auto found = std::ranges::find_if(
        shown_, [&](std::uint32_t position) { return comparison()->rows()[position].number == number; });
    return found == shown_.end() ? QModelIndex() : index(static_cast<int>(found - shown_.begin()), 0);
}

workbench::ComparedLine CompareModel::lineAt(const QModelIndex& index) const {
    const std::uint32_t position = positionAt(index);
    if (isItem(index)) {
        return {position};
    }
    return {position, fieldsOf(position)[static_cast<std::size_t>(index.row())].position};
}

bool CompareModel::isDifferent(const QModelIndex& index) const {
    if (isItem(index)) {
        return rowAt(index).state != RowState::kEqual;
    }
    return fieldsOf(positionAt(index))[static_cast<std::size_t>(index.row())].field.state != RowState::kEqual;
}

const std::vector<CompareModel::ShownField>& CompareModel::fieldsOf(std::uint32_t position) const {
    const auto [found, isNew] = fields_.try_emplace(position);
    if (isNew) {
        auto fields = comparison()->subFieldsOf(comparison()->rows()[position]);
        for (std::size_t i = 0; i < fields.size(); ++i) {
            if (!question_.differencesOnly || fields[i].state != RowState::kEqual) {
                found->second.push_back({i, std::move(fields[i])});
            }
        }
    }
    return found->second;
}

QModelIndex CompareModel::index(int row, int column, const QModelIndex& parent) const {
    if (!hasIndex(row, column, parent)) {
        return {};
    }
    return createIndex(row, column, parent.isValid() ? static_cast<quintptr>(parent.row()) + 1 : kItemRow);
}

QModelIndex CompareModel::parent(const QModelIndex& child) const {
    if (!child.isValid() || isItem(child)) {
        return {};
    }
    return createIndex(static_cast<int>(child.internalId() - 1), 0, kItemRow);
}

int CompareModel::rowCount(const QModelIndex& parent) const {
    if (!parent.isValid()) {
        return static_cast<int>(shown_.size());
    }
    return isItem(parent) && parent.column() == 0 ? static_cast<int>(fieldsOf(positionAt(parent)).size()) : 0;
}

int CompareModel::columnCount(const QModelIndex&) const {
    return kColumns;
}

bool CompareModel::hasChildren(const QModelIndex& parent) const {
    return parent.isValid() ? isItem(parent) && parent.column() == 0 : !shown_.empty();
}

QVariant CompareModel::data(const QModelIndex& index, int role) const {
    if (!index.isValid()) {
        return {};
    }
    if (role == Qt::TextAlignmentRole && index.column() >= kLeft && index.column() <= kDifference) {
        return QVariant(Qt::AlignRight | Qt::AlignVCenter);
    }
    return isItem(index) ? itemData(index, role) : fieldData(index, role);
}

QString CompareModel::unitsText(std::uint16_t number, const ShownField& field) const {
    const workbench::FieldUnit* unit = units_.find(number, field.position);
    if (unit == nullptr || field.field.typeName.empty() || field.field.state == RowState::kOtherLayout) {
        return {};
    }
    const auto judged = [unit](const std::string& text) {
        const auto value = workbench::numberOf(text);
        return value ? judgedText(*unit, asDouble(*value)) : std::string();
    };
    const std::string left = judged(field.field.left);
    const std::string right = judged(field.field.right);
    const std::string values = left == right || right.empty() ? left : left.empty() ? right : left + " / " + right;
    const std::string band = bandText(*unit);
    return shownText(values + (band.empty() ? "" : "; permitted: " + band));
}

QString CompareModel::unitsText(const ItemRow& row) const {
    if (units_.isEmpty() || row.state == RowState::kOtherLayout) {
        return {};
    }
    if (anyItem(row).getSubItemCount() == 1) {
        return unitsText(row.number, {0, comparison()->subFieldsOf(row).front()});
    }
    const int left = countForbidden(units_, row.left);
    const int right = countForbidden(units_, row.right);
    return left + right == 0 ? QString() : QString("not permitted: %1 left, %2 right").arg(left).arg(right);
}

QString CompareModel::itemText(const ItemRow& row, int column) const {
    switch (column) {
    case kNumber:
        return QString::number(row.number);
    case kName:
        return shownText(anyItem(row).getName());
    case kSubField:
        return fieldsText(row, comparison()->summaryOf(row));
    case kLeft:
        return valuesOf(row.left);
    case kRight:
        return valuesOf(row.right);
    case kUnits:
        return unitsText(row);
    default:
        return differenceText(row, comparison()->summaryOf(row));
    }
}

QVariant CompareModel::itemData(const QModelIndex& index, int role) const {
    if (role == Qt::CheckStateRole && index.column() == kNumber) {
        return ticks_[positionAt(index)] ? Qt::Checked : Qt::Unchecked;
    }
    if (role != Qt::DisplayRole && (role != Qt::ToolTipRole || index.column() == kNumber)) {
        return {};
    }
    const QString text = itemText(rowAt(index), index.column());
    return role == Qt::ToolTipRole ? plainToolTip(text) : text;
}

QVariant CompareModel::fieldData(const QModelIndex& index, int role) const {
    const ShownField& shown = fieldsOf(positionAt(index))[static_cast<std::size_t>(index.row())];
    const SubFieldRow& field = shown.field;
    if (role == Qt::FontRole && index.column() >= kLeft && index.column() <= kDifference &&
        field.state != RowState::kEqual) {
        QFont bold;
        bold.setBold(true);
        return bold;
    }
    if (role != Qt::DisplayRole && role != Qt::ToolTipRole) {
        return {};
    }
    const QString text = fieldText(index, shown);
    return role == Qt::ToolTipRole ? plainToolTip(text) : text;
}

QString CompareModel::fieldText(const QModelIndex& index, const ShownField& shown) const {
    const SubFieldRow& field = shown.field;
    const auto valueText = [&](const std::string& value) {
        const bool isDate = anyItem(rowAt(index)).isTime() && workbench::numberOf(value);
        return shownText(isDate ? dateText(value) : value);
    };
    switch (index.column()) {
    case kName:
        return shownText(field.typeName);
    case kSubField:
        return shownText(field.description);
    case kLeft:
        return valueText(field.left);
    case kRight:
        return valueText(field.right);
    case kDifference: {
        const std::string number = workbench::differenceText(field);
        return number.empty() ? QString::fromUtf8(stateText(field.state).data()) : QString::fromStdString(number);
    }
    case kUnits:
        return unitsText(numberAt(index), shown);
    default:
        return {};
    }
}

bool CompareModel::setData(const QModelIndex& index, const QVariant& value, int role) {
    if (role != Qt::CheckStateRole || !(flags(index) & Qt::ItemIsUserCheckable)) {
        return false;
    }
    ticks_[positionAt(index)] = value.toInt() == Qt::Checked;
    emit dataChanged(index, index, {Qt::CheckStateRole});
    emit ticksChanged();
    return true;
}

Qt::ItemFlags CompareModel::flags(const QModelIndex& index) const {
    if (!index.isValid()) {
        return Qt::NoItemFlags;
    }
    const Qt::ItemFlags plain = Qt::ItemIsEnabled | Qt::ItemIsSelectable;
    return isItem(index) && index.column() == kNumber ? plain | Qt::ItemIsUserCheckable : plain;
}

QVariant CompareModel::headerData(int section, Qt::Orientation orientation, int role) const {
    if (orientation == Qt::Horizontal && role == Qt::DisplayRole && rows_ && (section == kLeft || section == kRight)) {
        const auto& set = section == kLeft ? comparison()->left() : comparison()->right();
        return shownText((section == kLeft ? "Left: " : "Right: ") + set->about().label);
    }
    static const char* const kHeaders[kColumns] = {"Number", "Name",       "Sub-field", "Left",
                                                   "Right",  "Difference", "In Units"};
    if (orientation == Qt::Horizontal && role == Qt::DisplayRole && section < kColumns) {
        return kHeaders[section];
    }
    return {};
}

#include "workbench/SetComparison.h"

#include "workbench/NumberTexts.h"

#include <algorithm>

namespace workbench {

namespace {

std::set<std::uint16_t> unionOf(std::set<std::uint16_t> left, const std::set<std::uint16_t>& right) {
    left.insert(right.begin(), right.end());
    return left;
}

std::vector<ItemRow> rowsOf(const ItemSet& left, const ItemSet& right, ComparedBytes bytes,
                            const std::set<std::uint16_t>& unknown) {
    auto rows = compareItems(left.items(), right.items(), bytes);
    for (ItemRow& row : rows) {
        row.state = unknown.contains(row.number) ? RowState::kNotCompared : row.state;
    }
    return rows;
}

} // namespace

SetComparison::SetComparison(std::shared_ptr<const ItemSet> left, std::shared_ptr<const ItemSet> right)
    : left_(std::move(left)), right_(std::move(right)),
      bytes_(left_->about().bringsAllBytes && right_->about().bringsAllBytes ? ComparedBytes::kAll
                                                                             : ComparedBytes::kDescribed),
      unknown_(unionOf(left_->about().unknown, right_->about().unknown)),
      rows_(rowsOf(*left_, *right_, bytes_, unknown_)) {
    for (const ItemRow& row : rows_) {
        ++counts_[static_cast<std::size_t>(row.state)];
    }
}

RowSummary SetComparison::summaryOf(const ItemRow& row) const {
    const NvItem& item = anyItem(row);
    RowSummary summary{.fields = item.getSubItemCount(), .farthest = std::nullopt};
    if (row.left == nullptr || row.right == nullptr || row.state == RowState::kOtherLayout ||
        row.state == RowState::kNotCompared) {
        return summary;
    }
    const std::uint8_t* left = row.left->getData();
    const std::uint8_t* right = row.right->getData();
    for (const SubItemType type : item.getSubItemTypes()) {
        const WideNumber change = difference(numberAt(type, left), numberAt(type, right));
        summary.differing += change.magnitude == 0 ? 0 : 1;
        if (!summary.farthest || change.magnitude > summary.farthest->magnitude) {
            summary.farthest = change;
        }
        left += subItemTypeInfo(type).bytes;
        right += subItemTypeInfo(type).bytes;
    }
    summary.differsBehind = row.state == RowState::kDiffers && bytes_ == ComparedBytes::kAll &&
                            !std::equal(left, row.left->getData() + items::kItemDataBytes, right);
    return summary;
}

std::vector<SubFieldRow> SetComparison::subFieldsOf(const ItemRow& row) const {
    auto fields = compareSubFields(row.left, row.right, bytes_);
    for (SubFieldRow& field : fields) {
        field.state = row.state == RowState::kNotCompared ? row.state : field.state;
    }
    return fields;
}

std::string SetComparison::counts() const {
    const auto counted = [this](RowState state, const char* words) { return std::to_string(count(state)) + words; };
    const std::string others = count(RowState::kOtherLayout) == 0
                                   ? std::string()
                                   : ", " + counted(RowState::kOtherLayout, " of another layout");
    return counted(RowState::kEqual, " equal, ") + counted(RowState::kDiffers, " different, ") +
           counted(RowState::kOnlyLeft, " only left, ") + counted(RowState::kOnlyRight, " only right") + others +
           (unknown_.empty() ? "" : ", not compared: " + namedItems(unknown_));
}

std::string SetComparison::identities() const {
    std::string text = otherPhoneText(*left_, *right_);
    if (const std::size_t others = count(RowState::kOtherLayout); others > 0) {
        text += std::string(text.empty() ? "" : " ") + "The decoder rings are different: " + std::to_string(others) +
                (others == 1 ? " item has" : " items have") + " another layout.";
    }
    return text;
}

std::string_view stateText(RowState state) {
    constexpr std::array<std::string_view, 6> kTexts{"equal",      "different",    "only left",
                                                     "only right", "other layout", "not compared"};
    return kTexts.at(static_cast<std::size_t>(state));
}

std::string differenceText(const SubFieldRow& field) {
    const bool isNumber =
        !field.typeName.empty() && (field.state == RowState::kEqual || field.state == RowState::kDiffers);
    const auto left = isNumber ? numberOf(field.left) : std::nullopt;
    const auto right = isNumber ? numberOf(field.right) : std::nullopt;
    return left && right ? textOf(difference(*left, *right)) : std::string();
}

} // namespace workbench

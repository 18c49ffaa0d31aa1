#include "workbench/Comparison.h"

#include "platform/kernel/Text.h"

#include <algorithm>
#include <optional>

namespace workbench {
namespace {

/// An item and its number, which is asked for once.
struct Numbered {
    std::uint16_t number;
    const NvItem* item;
};

/// The items by number, of two with one number the first.
std::vector<Numbered> byNumber(std::span<const NvItem> items) {
    std::vector<Numbered> numbered;
    numbered.reserve(items.size());
    for (const NvItem& item : items) {
        numbered.push_back({item.getId(), &item});
    }
    const auto isBefore = [](const Numbered& left, const Numbered& right) { return left.number < right.number; };
    const auto isSame = [](const Numbered& left, const Numbered& right) { return left.number == right.number; };
    if (!std::ranges::is_sorted(numbered, isBefore)) {
        std::ranges::stable_sort(numbered, isBefore);
    }
    numbered.erase(std::unique(numbered.begin(), numbered.end(), isSame), numbered.end());
    return numbered;
}

RowState stateOf(const NvItem& left, const NvItem& right, ComparedBytes bytes) {
    if (!left.hasLayoutOf(right)) {
        return RowState::kOtherLayout;
    }
    const std::size_t described = bytes == ComparedBytes::kDescribed ? left.describedBytes() : 0;
    const std::size_t compared = described > 0 ? described : items::kItemDataBytes;
    return std::ranges::equal(left.rawData().first(compared), right.rawData().first(compared)) ? RowState::kEqual
                                                                                               : RowState::kDiffers;
}

/// Whether the bytes behind the sub-fields take part.
bool isRestCompared(const NvItem* left, const NvItem* right, ComparedBytes bytes) {
    return bytes == ComparedBytes::kAll || (left != nullptr ? left : right)->getSubItemCount() == 0;
}

/// One side of the comparison of an item's sub-fields, from the first to the last of them.
class Side {
public:
    explicit Side(const NvItem* item) {
        if (item == nullptr) {
            return;
        }
        item_ = *item;
        types_ = item->getSubItemTypes();
        const std::vector<SubItem> own = item->getSubItems();
        item_.setRawData(item->rawData()); // what the bytes say, however it was typed
        fields_ = item_.getSubItems();
        for (std::size_t i = 0; i < own.size(); ++i) {
            if (own[i].value.empty()) { // never had one
                fields_[i].value.clear();
            }
        }
    }

    std::size_t count() const { return fields_.size(); }
    /// The sub-field at this position, null behind the last one.
    const SubItem* field(std::size_t position) const {
        return position < fields_.size() ? &fields_[position] : nullptr;
    }
    /// The bytes of the next sub-field; called for each of them in order.
    std::span<const std::uint8_t> nextBytes(std::size_t position) {
        const std::size_t size = subItemTypeInfo(types_[position]).bytes;
        offset_ += size;
        return item_.rawData().subspan(offset_ - size, size);
    }
    std::span<const std::uint8_t> rest() const { return item_.rawData().subspan(item_.describedBytes()); }

private:
    NvItem item_;
    std::vector<SubItemType> types_;
    std::vector<SubItem> fields_;
    std::size_t offset_ = 0;
};

std::string both(const std::string& left, const std::string& right) {
    return left == right ? left : left + " / " + right;
}

SubFieldRow rowOf(Side& left, Side& right, std::size_t position) {
    const SubItem* const leftField = left.field(position);
    const SubItem* const rightField = right.field(position);
    if (leftField == nullptr) {
        return {rightField->description, rightField->typeName, {}, rightField->value, RowState::kOnlyRight};
    }
    if (rightField == nullptr) {
        return {leftField->description, leftField->typeName, leftField->value, {}, RowState::kOnlyLeft};
    }
    const bool isEqual = std::ranges::equal(left.nextBytes(position), right.nextBytes(position));
    const bool isSameField =
        leftField->description == rightField->description && leftField->typeName == rightField->typeName;
    const RowState same = isEqual ? RowState::kEqual : RowState::kDiffers;
    return {both(leftField->description, rightField->description), both(leftField->typeName, rightField->typeName),
            leftField->value, rightField->value, isSameField ? same : RowState::kOtherLayout};
}

std::string hexOf(std::span<const std::uint8_t> bytes) {
    std::string text;
    for (const std::uint8_t byte : bytes) {
        text += kernel::hexDigits(byte, 2);
    }
    return text;
}

/// The row of the bytes behind the sub-fields; nothing where they are the same, or zeros where there is one side alone.
std::optional<SubFieldRow> restRow(const Side* left, const Side* right) {
    SubFieldRow row{kRestDescription, {}, {}, {}, RowState::kDiffers};
    if (left != nullptr && right != nullptr) {
        if (std::ranges::equal(left->rest(), right->rest())) {
            return std::nullopt;
        }
        row.left = hexOf(left->rest());
        row.right = hexOf(right->rest());
        return row;
    }
    const auto rest = left != nullptr ? left->rest() : right->rest();
    if (std::ranges::all_of(rest, [](std::uint8_t byte) { return byte == 0; })) {
        return std::nullopt;
    }
    (left != nullptr ? row.left : row.right) = hexOf(rest);
    row.state = left != nullptr ? RowState::kOnlyLeft : RowState::kOnlyRight;
    return row;
}

} // namespace

std::vector<ItemRow> compareItems(std::span<const NvItem> left, std::span<const NvItem> right, ComparedBytes bytes) {
    const std::vector<Numbered> lefts = byNumber(left);
    const std::vector<Numbered> rights = byNumber(right);
    std::vector<ItemRow> rows;
    rows.reserve(std::max(lefts.size(), rights.size()));
    auto leftAt = lefts.begin();
    auto rightAt = rights.begin();
    while (leftAt != lefts.end() || rightAt != rights.end()) {
        if (rightAt == rights.end() || (leftAt != lefts.end() && leftAt->number < rightAt->number)) {
            rows.push_back({leftAt->number, RowState::kOnlyLeft, leftAt->item, nullptr});
            ++leftAt;
        } else if (leftAt == lefts.end() || rightAt->number < leftAt->number) {
            rows.push_back({rightAt->number, RowState::kOnlyRight, nullptr, rightAt->item});
            ++rightAt;
        } else {
            rows.push_back(
                {leftAt->number, stateOf(*leftAt->item, *rightAt->item, bytes), leftAt->item, rightAt->item});
            ++leftAt;
            ++rightAt;
        }
    }
    return rows;
}

std::vector<SubFieldRow> compareSubFields(const NvItem* left, const NvItem* right, ComparedBytes bytes) {
    Side leftSide(left);
    Side rightSide(right);
    std::vector<SubFieldRow> rows;
    for (std::size_t i = 0; i < std::max(leftSide.count(), rightSide.count()); ++i) {
        rows.push_back(rowOf(leftSide, rightSide, i));
    }
    if (!isRestCompared(left, right, bytes)) {
        return rows;
    }
    if (auto rest = restRow(left != nullptr ? &leftSide : nullptr, right != nullptr ? &rightSide : nullptr)) {
        rows.push_back(std::move(*rest));
    }
    return rows;
}

} // namespace workbench

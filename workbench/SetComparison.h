#pragma once

#include "workbench/Comparison.h"
#include "workbench/ItemSet.h"
#include "workbench/WideNumber.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace workbench {

/// What an item's row says of its sub-fields, worked out of the bytes without a text.
struct RowSummary {
    std::size_t fields = 0;
    std::size_t differing = 0;  ///< sub-fields; those of two layouts don't count
    bool differsBehind = false; ///< in the bytes behind the sub-fields
    /// Right less left, of the sub-field where that is farthest from 0. Nothing where not both sides have values of one
    /// layout.
    std::optional<WideNumber> farthest;
};

/// Two sets of items, compared. Holds the sets; never changes, so any thread may read it.
class SetComparison {
public:
    /// Compares the bytes behind the sub-fields where both sets bring them. An item of which nobody knows what one of
    /// them has is not compared.
    SetComparison(std::shared_ptr<const ItemSet> left, std::shared_ptr<const ItemSet> right);

    const std::shared_ptr<const ItemSet>& left() const { return left_; }
    const std::shared_ptr<const ItemSet>& right() const { return right_; }
    /// Ascending by number.
    const std::vector<ItemRow>& rows() const { return rows_; }
    std::size_t count(RowState state) const { return counts_[static_cast<std::size_t>(state)]; }

    RowSummary summaryOf(const ItemRow& row) const;
    std::vector<SubFieldRow> subFieldsOf(const ItemRow& row) const;

    /// The numbers of which nobody knows what a side has, whether there is a row for them or not.
    const std::set<std::uint16_t>& unknown() const { return unknown_; }
    /// "160 equal, 3 different, 2 only left, 1 only right, 1 of another layout, not compared: item 7, 9"; the last two
    /// are left out where there are none.
    std::string counts() const;
    /// Where the two sides have different identities, a line that says so; empty otherwise.
    std::string identities() const;

private:
    const std::shared_ptr<const ItemSet> left_;
    const std::shared_ptr<const ItemSet> right_;
    const ComparedBytes bytes_;
    const std::set<std::uint16_t> unknown_;
    const std::vector<ItemRow> rows_;
    std::array<std::size_t, 6> counts_{};
};

/// The item of a row, on whichever side there is one.
inline const NvItem& anyItem(const ItemRow& row) {
    return row.left != nullptr ? *row.left : *row.right;
}
/// "equal", "different", "only left", "only right", "other layout", "not compared".
std::string_view stateText(RowState state);
/// Right less left, for numbers of one type; empty otherwise.
std::string differenceText(const SubFieldRow& field);

} // namespace workbench

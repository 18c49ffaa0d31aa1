#include "workbench/ComparisonRows.h"

#include "platform/kernel/Text.h"

#include <algorithm>
#include <numeric>
#include <string_view>

namespace workbench {
namespace {

std::vector<std::string_view> wordsOf(std::string_view text) {
    std::vector<std::string_view> words;
    for (std::string_view word = kernel::firstWord(text); !word.empty(); word = kernel::firstWord(text)) {
        words.push_back(word);
        text.remove_prefix(static_cast<std::size_t>(word.data() - text.data()) + word.size());
    }
    return words;
}

/// The value of the item's first sub-field.
std::optional<WideNumber> firstValue(const NvItem* item) {
    const auto types = item == nullptr ? std::vector<SubItemType>() : item->getSubItemTypes();
    return types.empty() ? std::nullopt : std::optional(numberAt(types.front(), item->getData()));
}

std::optional<WideNumber> keyOf(const SetComparison& comparison, const ItemRow& row, ComparisonOrder order) {
    switch (order) {
    case ComparisonOrder::kDifferingFields: {
        const RowSummary summary = comparison.summaryOf(row);
        return summary.farthest ? std::optional(WideNumber{false, summary.differing}) : std::nullopt;
    }
    case ComparisonOrder::kLeft:
        return firstValue(row.left);
    case ComparisonOrder::kRight:
        return firstValue(row.right);
    case ComparisonOrder::kDifference:
        return comparison.summaryOf(row).farthest;
    default:
        return WideNumber{false, row.number};
    }
}

/// Orders positions by their keys, those without one last.
template <typename Key>
void sortBy(std::vector<std::uint32_t>& rows, const std::vector<Key>& keys, bool isDescending) {
    std::vector<std::uint32_t> places(rows.size());
    std::iota(places.begin(), places.end(), 0U);
    std::ranges::stable_sort(places, [&](std::uint32_t left, std::uint32_t right) {
        const bool hasBoth = keys[left].has_value() && keys[right].has_value();
        return !hasBoth       ? keys[left].has_value() && !keys[right].has_value()
               : isDescending ? *keys[right] < *keys[left]
                              : *keys[left] < *keys[right];
    });
    for (std::uint32_t& place : places) {
        place = rows[place];
    }
    rows = std::move(places);
}

} // namespace

ComparisonRows::ComparisonRows(std::shared_ptr<const SetComparison> comparison) : comparison_(std::move(comparison)) {}

const std::vector<std::string>& ComparisonRows::folded() const {
    if (folded_.empty()) {
        folded_.reserve(comparison_->rows().size());
        for (const ItemRow& row : comparison_->rows()) {
            folded_.push_back(std::to_string(row.number) + " " + kernel::lowerCase(anyItem(row).getName()));
        }
    }
    return folded_;
}

std::vector<std::uint32_t> ComparisonRows::find(const Question& question) const {
    const auto& rows = comparison_->rows();
    const std::string filter = kernel::lowerCase(question.filter);
    const auto words = wordsOf(filter);
    std::vector<std::uint32_t> found;
    for (std::uint32_t position = 0; position < rows.size(); ++position) {
        const auto fits = [&](std::string_view word) { return folded()[position].find(word) != std::string::npos; };
        if ((!question.differencesOnly || rows[position].state != RowState::kEqual) &&
            std::ranges::all_of(words, fits)) {
            found.push_back(position);
        }
    }
    sortRows(found, question);
    return found;
}

void ComparisonRows::sortRows(std::vector<std::uint32_t>& rows, const Question& question) const {
    const auto& all = comparison_->rows();
    if (question.order == ComparisonOrder::kNumber) {
        if (question.isDescending) {
            std::ranges::reverse(rows);
        }
        return;
    }
    if (question.order == ComparisonOrder::kName) {
        std::vector<std::optional<std::string>> keys;
        keys.reserve(rows.size());
        for (const std::uint32_t row : rows) {
            keys.emplace_back(anyItem(all[row]).getName());
        }
        sortBy(rows, keys, question.isDescending);
        return;
    }
    std::vector<std::optional<WideNumber>> keys;
    keys.reserve(rows.size());
    for (const std::uint32_t row : rows) {
        keys.push_back(keyOf(*comparison_, all[row], question.order));
    }
    sortBy(rows, keys, question.isDescending);
}

} // namespace workbench

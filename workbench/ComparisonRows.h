#pragma once

#include "workbench/SetComparison.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace workbench {

/// By what the rows of a comparison can be ordered.
enum class ComparisonOrder {
    kNumber,
    kName,
    kDifferingFields, ///< how many sub-fields differ
    kLeft,            ///< the value of the first sub-field on that side
    kRight,
    kDifference, ///< see RowSummary::farthest
};

/// Which rows of a comparison are shown, and in which order: positions in SetComparison::rows(), found anew for each
/// question. What the questions need of all items is kept from one to the next.
class ComparisonRows {
public:
    explicit ComparisonRows(std::shared_ptr<const SetComparison> comparison);

    const SetComparison& comparison() const { return *comparison_; }

    struct Question {
        bool differencesOnly = true;
        std::string filter = {}; ///< words that must all stand in number or name, in capitals or not
        ComparisonOrder order = ComparisonOrder::kNumber;
        bool isDescending = false;
    };
    /// Rows that are alike in the order's eyes stand in the order of their numbers. Rows without a value for it stand
    /// last, whichever way it goes.
    std::vector<std::uint32_t> find(const Question& question) const;

private:
    const std::vector<std::string>& folded() const;
    void sortRows(std::vector<std::uint32_t>& rows, const Question& question) const;

    const std::shared_ptr<const SetComparison> comparison_;
    /// "number name" of each row in small letters; made when it is first needed.
    mutable std::vector<std::string> folded_;
};

} // namespace workbench

#pragma once

#include "cli/Arguments.h"
#include "engine/Calvane.h"
#include "workbench/FieldValues.h"
#include "workbench/WritePlan.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

/// By item, the values of those sub-fields that are given alone; the others are to be the phone's.
using FieldChanges = std::map<std::uint16_t, std::map<std::size_t, std::string>>;

/// The items that the arguments of set want written, all of it checked as far as it can be without a phone.
class SetItems {
public:
    /// Throws a BatchFailure for an item that the ring does not describe or does not let write, for a value that does
    /// not fit it, and for an item or sub-field that is given twice.
    SetItems(Calvane& catalog, const Arguments& arguments);

    /// In their order. One with changes() has no values yet.
    const std::vector<workbench::WantedItem>& items() const { return items_; }
    const FieldChanges& changes() const { return changes_; }

private:
    void take(const NvItem& item, const SetRequest& request);

    std::vector<workbench::WantedItem> items_;
    FieldChanges changes_;
    std::map<std::uint16_t, std::string> whole_; ///< the values of items that are given with all of them
};

/// Runs `step`, and ends the program with the values that it refuses.
template <class Step>
auto takingValues(Step step) {
    try {
        return step();
    } catch (const workbench::ValuesRefused& refusal) {
        const bool isText = refusal.kind() == workbench::ValuesRefused::Kind::kText;
        throw BatchFailure(isText ? ExitStatus::kFile : ExitStatus::kValues,
                           refusal.message() + (refusal.wouldWrap() ? " If it is meant, say --wrap." : ""));
    }
}

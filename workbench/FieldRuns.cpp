#include "workbench/FieldRuns.h"

#include <algorithm>
#include <string>

namespace workbench {

namespace {

/// A description without its digits: what the values of one table have in common.
std::string stemOf(std::string description) {
    std::erase_if(description, [](char c) { return c >= '0' && c <= '9'; });
    return description;
}

/// Takes `run` apart where the stems change; the run itself where that leaves too short a part.
void appendParts(std::vector<FieldRun>& runs, const FieldRun& run, const std::vector<std::string>& stems) {
    std::vector<FieldRun> parts;
    for (std::size_t field = run.first; field < run.first + run.count; ++field) {
        if (parts.empty() || stems[field] != stems[field - 1]) {
            parts.push_back({field, 0, run.type});
        }
        ++parts.back().count;
    }
    if (std::ranges::all_of(parts, [](const FieldRun& part) { return part.count >= kShortestRun; })) {
        runs.insert(runs.end(), parts.begin(), parts.end());
    } else {
        runs.push_back(run);
    }
}

} // namespace

std::vector<FieldRun> fieldRuns(const NvItem& item) {
    const std::vector<SubItemType> types = item.getSubItemTypes();
    std::vector<std::string> stems;
    std::vector<FieldRun> runs;
    for (std::size_t first = 0, end = 0; first < types.size(); first = end) {
        while (end < types.size() && types[end] == types[first]) {
            ++end;
        }
        if (end - first < kShortestRun) {
            continue;
        }
        if (stems.empty()) {
            for (SubItem& subItem : item.getSubItems()) {
                stems.push_back(stemOf(std::move(subItem.description)));
            }
        }
        appendParts(runs, {first, end - first, types[first]}, stems);
    }
    return runs;
}

} // namespace workbench

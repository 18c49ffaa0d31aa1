#include "cli/SetItems.h"

#include "cli/CommandText.h"
#include "workbench/MessageText.h"

namespace {

std::string nameOf(const NvItem& item) {
    return std::to_string(item.getId()) + " " + workbench::shownText(item.getName());
}

/// The item that is meant. A name that several items have could be another one's.
NvItem itemOf(Calvane& catalog, const SetRequest& request) {
    if (request.number) {
        return failingWith(ExitStatus::kValues, [&] { return catalog.getSupportedNvItem(*request.number); });
    }
    std::vector<std::uint16_t> numbers;
    for (const NvItem& item : catalog.getSupportedNvItems()) {
        if (item.getName() == request.name) {
            numbers.push_back(item.getId());
        }
    }
    if (numbers.size() > 1) {
        throw BatchFailure(ExitStatus::kValues, quoted(request.name) + " is the name of " + counted(numbers.size()) +
                                                    ": " + joined(numbers) + ". Say which number is meant.");
    }
    return failingWith(ExitStatus::kValues, [&] {
        return numbers.empty() ? catalog.getSupportedNvItem(request.name) : catalog.getSupportedNvItem(numbers.front());
    });
}

} // namespace

SetItems::SetItems(Calvane& catalog, const Arguments& arguments) {
    for (const SetRequest& request : arguments.requests) {
        take(itemOf(catalog, request), request);
    }
    for (auto& wanted : items_) {
        const std::uint16_t number = wanted.item.getId();
        failingWith(ExitStatus::kValues, [&] {
            takingValues([&] {
                if (const auto fields = changes_.find(number); fields != changes_.end()) {
                    NvItem sample = wanted.item;
                    workbench::setTypedFields(sample, fields->second, arguments.wrap);
                } else {
                    workbench::setTypedValues(wanted.item, whole_.at(number), arguments.wrap);
                }
            });
        });
    }
}

void SetItems::take(const NvItem& item, const SetRequest& request) {
    const std::uint16_t number = item.getId();
    if (!item.isWritable()) {
        throw BatchFailure(ExitStatus::kValues,
                           nameOf(item) + " can't be written: its access mark is '" + item.getAccess() + "'.");
    }
    const bool isNew = !whole_.contains(number) && !changes_.contains(number);
    if (isNew) {
        items_.push_back({item});
    }
    bool isTaken = isNew;
    if (!request.field) {
        whole_.emplace(number, request.values);
    } else if (*request.field >= item.getSubItemCount()) {
        throw BatchFailure(ExitStatus::kValues, nameOf(item) + " has " + std::to_string(item.getSubItemCount()) +
                                                    " sub-fields, and no " + std::to_string(*request.field + 1) + ".");
    } else {
        isTaken = !whole_.contains(number) && changes_[number].emplace(*request.field, request.values).second;
    }
    if (!isTaken) {
        throw BatchFailure(ExitStatus::kWrongUsage, nameOf(item) + " is given twice. Nothing was written.");
    }
}

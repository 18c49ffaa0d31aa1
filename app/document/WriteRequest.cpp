#include "app/document/WriteRequest.h"

#include "app/document/CCalvaneDoc.h"
#include "workbench/LoadedDate.h"
#include "workbench/NumberTexts.h"

#include <algorithm>
#include <ctime>

namespace {

constexpr const char* kNoDateChanged = "Fail to read NV_RF_NV_LOADED_DATE_I from the decodering file";
constexpr const char* kNoDateListed = "Fail to read NV_RF_NV_LOADED_DATE_I from the decodering file!!";

bool isZero(const NvItem& item) {
    return std::ranges::all_of(item.rawData(), [](std::uint8_t byte) { return byte == 0; });
}

workbench::WantedItem wantedAt(const CCalvaneDoc& document, std::size_t position) {
    return {.item = document.nvItems()[position], .hasValue = hasValue(document, position)};
}

std::vector<NvItem>::const_iterator findNamed(const std::vector<NvItem>& items, std::string_view name) {
    return std::ranges::find_if(items, [name](const NvItem& item) { return item.getName() == name; });
}

/// The date item of the list, or of the catalog, with the stamp of this moment.
std::optional<NvItem> stampedDate(CCalvaneDoc& document, UserInterface& userInterface, const char* failureCaption) {
    const auto listed = findNamed(document.nvItems(), workbench::kLoadedDateItem);
    try {
        NvItem date = listed != document.nvItems().end()
                          ? *listed
                          : document.catalog().getSupportedNvItem(std::string(workbench::kLoadedDateItem));
        date.setData(std::to_string(workbench::loadedDateStamp(std::time(nullptr))));
        return date;
    } catch (const Calvane::Exception& failure) {
        userInterface.showMessage(failure.what(), failureCaption, MessageIcon::kError);
        return std::nullopt;
    }
}

void noteRepeated(WriteRequest& request, const CCalvaneDoc& document) {
    const auto repeated = repeatedNumbers(document);
    for (const workbench::WantedItem& one : request.wanted) {
        if (repeated.contains(one.item.getId())) {
            request.repeated.insert(one.item.getId());
        }
    }
}

/// Puts the date in its place among the wanted items, or behind them.
void addDate(WriteRequest& request, std::optional<NvItem> date) {
    if (!date) {
        return;
    }
    request.date = date->getId();
    const auto wanted = std::ranges::find_if(request.wanted, [&](const workbench::WantedItem& one) {
        return one.item.getName() == workbench::kLoadedDateItem;
    });
    if (wanted != request.wanted.end()) {
        *wanted = {.item = std::move(*date)};
    } else {
        request.wanted.push_back({.item = std::move(*date)});
    }
}

} // namespace

bool hasValue(const CCalvaneDoc& document, std::size_t position) {
    const NvItem& item = document.nvItems()[position];
    const DocumentBaseline& baseline = document.baseline();
    const bool isAsLastKnown = baseline.values().find(item.getId()) != nullptr && !baseline.isChanged(item);
    const bool isTyped = document.changedItems().contains(position) && workbench::hasValues(item);
    return isTyped || isAsLastKnown || !isZero(item);
}

void WriteRequest::take(CCalvaneDoc& document, const workbench::WritePlan& plan) const {
    std::vector<NvItem> values;
    for (const workbench::PlanRow& row : plan.rows) {
        if (!row.isWritten()) {
            continue;
        }
        if (row.item.getId() != date) {
            values.push_back(row.item);
            continue;
        }
        const auto listed = findNamed(document.nvItems(), workbench::kLoadedDateItem);
        if (listed != document.nvItems().end()) {
            document.replaceItem(static_cast<std::size_t>(listed - document.nvItems().begin()), row.item);
        } else if (kind == Kind::kListed) {
            document.appendItem(row.item);
        }
    }
    if (takeValues) {
        takeValues(values);
    }
}

std::set<std::uint16_t> repeatedNumbers(const CCalvaneDoc& document) {
    std::vector<std::uint16_t> numbers(document.nvItems().size());
    std::ranges::transform(document.nvItems(), numbers.begin(), [](const NvItem& item) { return item.getId(); });
    return workbench::repeatedNumbers(numbers);
}

WriteRequest requestForChanged(CCalvaneDoc& document, UserInterface& userInterface) {
    WriteRequest request{.kind = WriteRequest::Kind::kChanged, .asked = "write: the changed items"};
    for (const std::size_t position : document.changedItems()) {
        request.wanted.push_back(wantedAt(document, position));
    }
    if (!request.wanted.empty()) {
        addDate(request, stampedDate(document, userInterface, kNoDateChanged));
    }
    noteRepeated(request, document);
    return request;
}

WriteRequest requestForListed(CCalvaneDoc& document, UserInterface& userInterface) {
    WriteRequest request{.kind = WriteRequest::Kind::kListed, .asked = "write: the listed items"};
    for (std::size_t position = 0; position < document.nvItems().size(); ++position) {
        request.wanted.push_back(wantedAt(document, position));
    }
    if (!request.wanted.empty()) {
        addDate(request, stampedDate(document, userInterface, kNoDateListed));
    }
    noteRepeated(request, document);
    return request;
}

WriteRequest requestForOne(CCalvaneDoc& document, UserInterface& userInterface, std::size_t position) {
    WriteRequest request{.kind = WriteRequest::Kind::kOne};
    request.wanted.push_back(wantedAt(document, position));
    request.asked = "write: item " + std::to_string(request.wanted.back().item.getId());
    addDate(request, stampedDate(document, userInterface, kNoDateListed));
    noteRepeated(request, document);
    return request;
}

WriteRequest requestForValues(CCalvaneDoc& document, UserInterface& userInterface, std::vector<NvItem> values,
                              bool bringsAllBytes, bool keepsDate) {
    WriteRequest request{.kind = WriteRequest::Kind::kValues, .asked = "write: values of a comparison"};
    const bool hasDate = findNamed(values, workbench::kLoadedDateItem) != values.end();
    for (NvItem& value : values) {
        request.wanted.push_back({.item = std::move(value), .bringsAllBytes = bringsAllBytes});
    }
    if (!request.wanted.empty() && !(keepsDate && hasDate)) {
        addDate(request, stampedDate(document, userInterface, kNoDateListed));
    }
    return request;
}

#include "workbench/WritePlan.h"

#include <algorithm>
#include <map>
#include <utility>

namespace workbench {
namespace {

/// Why the row is left out as long as the user does not say otherwise.
LeftOut reasonOf(const PlanRow& row) {
    if (!row.item.isWritable()) {
        return LeftOut::kNotWritable;
    }
    if (!row.hasValue) {
        return LeftOut::kNoValue;
    }
    const bool isOnPhone =
        row.onPhone.state == ReadState::kRead && std::ranges::equal(row.onPhone.data, row.item.rawData());
    return isOnPhone ? LeftOut::kUnchanged : LeftOut::kNothing;
}

/// Whether what the phone answered says all about the item's bytes there. One that it can't read may have any.
bool isAnswered(ReadState state) {
    return state == ReadState::kRead || state == ReadState::kNoValue;
}

PlanRow rowOf(WantedItem wanted, const ItemReading& onPhone) {
    PlanRow row{.item = std::move(wanted.item), .onPhone = onPhone, .hasValue = wanted.hasValue};
    ItemData bytes{};
    std::ranges::copy(row.item.rawData(), bytes.begin());
    const std::size_t described = row.item.describedBytes();
    // An item without sub-fields is its bytes.
    if (!wanted.bringsAllBytes && described > 0) {
        const auto rest = static_cast<std::ptrdiff_t>(described);
        const ItemData known = onPhone.state == ReadState::kRead ? onPhone.data : ItemData{};
        std::copy(known.begin() + rest, known.end(), bytes.begin() + rest);
        row.restIsThePhones = described < bytes.size() && !isAnswered(onPhone.state);
    }
    row.item.setRawData(bytes);
    row.leftOut = reasonOf(row);
    return row;
}

} // namespace

std::size_t WritePlan::count(LeftOut leftOut) const {
    return static_cast<std::size_t>(
        std::ranges::count_if(rows, [leftOut](const PlanRow& row) { return row.leftOut == leftOut; }));
}

std::string WritePlan::summary() const {
    constexpr std::pair<LeftOut, const char*> kParts[] = {
        {LeftOut::kNothing, " to be written"},
        {LeftOut::kUnchanged, " equal"},
        {LeftOut::kNoValue, " without a value left out"},
        {LeftOut::kNotWritable, " read-only left out"},
        {LeftOut::kUnticked, " not ticked"},
    };
    std::string text;
    for (const auto& [leftOut, words] : kParts) {
        addCount(text, count(leftOut), words);
    }
    return text.empty() ? "nothing to be written" : text;
}

void WritePlan::setTicked(std::size_t row, bool ticked) {
    PlanRow& changed = rows.at(row);
    const LeftOut reason = reasonOf(changed);
    if (ticked) {
        changed.leftOut = reason == LeftOut::kNotWritable ? reason : LeftOut::kNothing;
    } else {
        changed.leftOut = reason == LeftOut::kNothing ? LeftOut::kUnticked : reason;
    }
}

WritePlan makePlan(std::vector<WantedItem> wanted, const ReadReport& onPhone) {
    std::map<std::uint16_t, const ItemReading*> readings;
    for (const ItemReading& reading : onPhone.readings) {
        readings.emplace(reading.number, &reading);
    }
    WritePlan plan{.phone = onPhone.phone, .comPort = onPhone.comPort};
    std::map<std::uint16_t, std::size_t> positions;
    for (WantedItem& item : wanted) {
        const std::uint16_t number = item.item.getId();
        const auto reading = readings.find(number);
        PlanRow row = rowOf(std::move(item), reading == readings.end() ? ItemReading{number} : *reading->second);
        const auto [position, isNew] = positions.emplace(number, plan.rows.size());
        if (isNew) {
            plan.rows.push_back(std::move(row));
        } else {
            plan.rows[position->second] = std::move(row);
        }
    }
    return plan;
}

} // namespace workbench

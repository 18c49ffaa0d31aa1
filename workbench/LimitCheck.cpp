#include "workbench/LimitCheck.h"

#include "workbench/ItemJson.h"
#include "workbench/MessageText.h"
#include "workbench/WideNumber.h"

#include <nlohmann/json.hpp>

namespace workbench {
namespace {

using State = LimitedField::State;

State stateOf(const FieldUnit& unit, double raw) {
    const double value = unit.physical(raw);
    if (unit.permits(value)) {
        return State::kWithin;
    }
    return unit.lowest() && value < *unit.lowest() ? State::kLow : State::kHigh;
}

const char* wordOf(State state) {
    switch (state) {
    case State::kWithin:
        return "within";
    case State::kLow:
        return "low";
    case State::kHigh:
        return "high";
    case State::kNoNumber:
        break;
    }
    return "no number";
}

} // namespace

std::vector<LimitedField> limitedFields(const NvItem& item, const Units& units) {
    std::vector<LimitedField> fields;
    const auto subItems = item.getSubItems();
    for (std::size_t at = 0; at < subItems.size(); ++at) {
        const FieldUnit* const unit = units.find(item.getId(), at);
        if (unit == nullptr || (!unit->lowest() && !unit->highest())) {
            continue;
        }
        LimitedField field{at, subItems[at], unit, 0, State::kNoNumber};
        if (const auto number = numberOf(field.subItem.value)) {
            field.raw = asDouble(*number);
            field.state = stateOf(*unit, field.raw);
        }
        fields.push_back(std::move(field));
    }
    return fields;
}

std::string limitText(const NvItem& item, const LimitedField& field) {
    const bool isNumber = field.state != State::kNoNumber;
    return std::to_string(item.getId()) + " " + shownText(item.getName()) + " [" + std::to_string(field.field + 1) +
           "] " + shownText(field.subItem.description) + ": " +
           (isNumber ? judgedText(*field.unit, field.raw) : "no number") + "; permitted: " + bandText(*field.unit) +
           (isNumber ? " (raw " + field.subItem.value + ")" : "");
}

std::string limitJson(const NvItem& item, const LimitedField& field) {
    using Json = nlohmann::ordered_json;
    const FieldUnit& unit = *field.unit;
    const auto orNull = [](std::optional<double> limit) { return limit ? Json(*limit) : Json(); };
    return Json{{"id", item.getId()},
                {"name", utf8Text(item.getName())},
                {"field", field.field + 1},
                {"description", utf8Text(field.subItem.description)},
                {"raw", field.subItem.value},
                {"value", field.state == State::kNoNumber ? Json() : Json(unit.physical(field.raw))},
                {"unit", unit.unit},
                {"least", orNull(unit.lowest())},
                {"most", orNull(unit.highest())},
                {"state", wordOf(field.state)}}
        .dump();
}

} // namespace workbench

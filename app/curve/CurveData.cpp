#include "app/curve/CurveData.h"

#include "engine/ValueText.h"
#include "workbench/Baseline.h"
#include "workbench/FieldRuns.h"
#include "workbench/LoadedDate.h"
#include "workbench/TypedValues.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>

namespace {

double numberOf(std::string_view text) {
    double number = 0;
    std::from_chars(text.data(), text.data() + text.size(), number);
    return number;
}

/// The stored values of all sub-fields, in decimal. What was typed may be another text.
std::vector<std::string> storedTexts(const NvItem& item) {
    std::vector<std::string> texts;
    std::size_t begin = 0;
    for (const SubItemType type : item.getSubItemTypes()) {
        texts.push_back(items::valueText(type, item.rawData().data() + begin));
        begin += subItemTypeInfo(type).bytes;
    }
    return texts;
}

/// Those of an item to be held against `item`; empty where it can't be.
std::vector<std::string> textsBeside(const NvItem& item, const NvItem* other) {
    const bool fits = other != nullptr && other->hasLayoutOf(item) && workbench::hasValues(*other);
    return fits ? storedTexts(*other) : std::vector<std::string>();
}

/// The units of a run's sub-fields; null where nothing is known.
std::vector<const workbench::FieldUnit*> unitsOf(std::uint16_t number, const workbench::FieldRun& run,
                                                 const CurveSources& sources) {
    std::vector<const workbench::FieldUnit*> units(run.count, nullptr);
    for (std::size_t i = 0; sources.units != nullptr && i < run.count; ++i) {
        units[i] = sources.units->find(number, run.first + i);
    }
    return units;
}

bool shareOne(const std::vector<const workbench::FieldUnit*>& units) {
    return std::ranges::all_of(units, [&](const auto* unit) {
        return unit != nullptr && units[0] != nullptr && unit->unit == units[0]->unit;
    });
}

/// What a number or its separators may be made of, at the place where the descriptions of a run differ.
bool isOfNumber(char c) {
    return std::string_view("0123456789 .,#:-+").find(c) != std::string_view::npos;
}

/// What the descriptions have in common, with dots where they differ.
std::string commonName(const std::vector<SubItem>& subItems, const workbench::FieldRun& run) {
    const std::string& first = subItems[run.first].description;
    std::size_t head = first.size();
    std::size_t tail = first.size();
    for (std::size_t field = run.first + 1; field < run.first + run.count; ++field) {
        const std::string& other = subItems[field].description;
        const auto from = std::ranges::mismatch(first, other).in1;
        head = std::min(head, static_cast<std::size_t>(from - first.begin()));
        const auto back = std::mismatch(first.rbegin(), first.rend(), other.rbegin(), other.rend()).first;
        tail = std::min(tail, static_cast<std::size_t>(back - first.rbegin()));
    }
    if (head == first.size()) {
        return first;
    }
    tail = std::min(tail, first.size() - head);
    while (head > 0 && isOfNumber(first[head - 1])) {
        --head;
    }
    while (tail > 0 && isOfNumber(first[first.size() - tail])) {
        --tail;
    }
    const std::string begin = first.substr(0, head);
    const std::string end = first.substr(first.size() - tail);
    if (begin.empty() && end.empty()) {
        return "sub-fields " + std::to_string(run.first + 1) + " to " + std::to_string(run.first + run.count);
    }
    return end.empty() ? begin : begin + (begin.empty() ? "... " : " ... ") + end;
}

/// The permitted band on the axis of the point's curve.
void setBand(CurvePoint& point, const workbench::FieldUnit& unit, bool inUnit) {
    point.lowest = unit.lowest();
    point.highest = unit.highest();
    if (inUnit) {
        return;
    }
    for (auto* end : {&point.lowest, &point.highest}) {
        if (*end) {
            *end = (**end - unit.offset) / unit.factor;
        }
    }
    if (unit.factor < 0) {
        std::swap(point.lowest, point.highest);
    }
}

Curve curveOf(const NvItem& item, const workbench::FieldRun& run, const CurveSources& sources) {
    const std::vector<SubItem> subItems = item.getSubItems();
    const auto stored = storedTexts(item);
    const auto known = textsBeside(item, sources.known ? &*sources.known : nullptr);
    const auto compared = textsBeside(item, sources.compared);
    const auto units = unitsOf(item.getId(), run, sources);
    Curve curve;
    curve.name = commonName(subItems, run);
    curve.type = run.type;
    curve.inUnit = shareOne(units);
    curve.axis = curve.inUnit && !units[0]->unit.empty() ? units[0]->unit : subItemTypeInfo(run.type).displaySpelling;
    for (std::size_t i = 0; i < run.count; ++i) {
        CurvePoint point;
        point.field = run.first + i;
        point.text = stored[point.field];
        point.description = subItems[point.field].description;
        if (units[i] != nullptr) {
            point.unit = *units[i];
            setBand(point, point.unit, curve.inUnit);
        }
        point.value = curve.valueOf(point, point.text);
        if (!known.empty()) {
            point.known = curve.valueOf(point, known[point.field]);
        }
        if (!compared.empty()) {
            point.compared = curve.valueOf(point, compared[point.field]);
        }
        curve.points.push_back(std::move(point));
    }
    return curve;
}

/// A value on the axis for people.
std::string axisText(double value) {
    std::array<char, 32> text{};
    const auto end = std::to_chars(text.data(), text.data() + text.size(), value, std::chars_format::general, 10).ptr;
    return {text.data(), end};
}

} // namespace

double Curve::valueOf(const CurvePoint& point, std::string_view text) const {
    const double raw = numberOf(text);
    return inUnit ? point.unit.physical(raw) : raw;
}

std::string Curve::stepped(std::string_view text, double steps) const {
    const workbench::TypedValue range = workbench::checkTypedValue(type, "0");
    const std::size_t bytes = subItemTypeInfo(type).bytes;
    const std::uint64_t mask = bytes == 8 ? ~std::uint64_t{0} : (std::uint64_t{1} << (8 * bytes)) - 1;
    // As distances from the smallest value, all values of a type are without a sign and without a gap.
    std::uint64_t smallest = 0;
    std::uint64_t largest = 0;
    std::uint64_t now = 0;
    items::readValueText(type, range.smallest, smallest);
    items::readValueText(type, range.largest, largest);
    items::readValueText(type, text, now);
    const std::uint64_t below = (now - smallest) & mask;
    const std::uint64_t above = (largest - now) & mask;
    const double far = std::round(std::abs(steps));
    const std::uint64_t room = steps < 0 ? below : above;
    const std::uint64_t way = far >= static_cast<double>(room) ? room : static_cast<std::uint64_t>(far);
    std::array<std::uint8_t, 8> stored{};
    items::storeValue(type, steps < 0 ? now - way : now + way, stored.data());
    return items::valueText(type, stored.data());
}

double Curve::stepsIn(const CurvePoint& point, double way) const {
    return inUnit ? way / point.unit.factor : way;
}

bool Curve::permits(const CurvePoint& point, double value) const {
    return point.unit.permits(inUnit ? value : point.unit.physical(value));
}

CurveSet curvesOf(const NvItem* item, const CurveSources& sources) {
    CurveSet set;
    if (item == nullptr) {
        set.note = "No item is selected.";
        return set;
    }
    set.item = item->getId();
    set.title = std::to_string(item->getId()) + " " + item->getName();
    const std::vector<workbench::FieldRun> runs = workbench::fieldRuns(*item);
    if (runs.empty()) {
        set.note = "This item has no curve: that takes " + std::to_string(workbench::kShortestRun) +
                   " or more values of one type that follow each other.";
        return set;
    }
    if (!workbench::hasValues(*item)) {
        set.note = "This item has no values yet.";
        return set;
    }
    set.editable = item->isWritable() && item->getName() != workbench::kLoadedDateItem &&
                   item->getName() != workbench::kCalibrationDateItem;
    for (const workbench::FieldRun& run : runs) {
        set.curves.push_back(curveOf(*item, run, sources));
    }
    set.compared = sources.comparedName;
    return set;
}

std::vector<std::string> pointTexts(const Curve& curve, std::size_t point, const std::string& text) {
    const CurvePoint& shown = curve.points[point];
    const double value = curve.valueOf(shown, text);
    const auto onAxis = [&](double other) {
        return curve.inUnit ? workbench::unitText(shown.unit, other) : axisText(other);
    };
    std::vector<std::string> texts{std::to_string(point + 1) + ": " + text, shown.description};
    if (!shown.unit.unit.empty()) {
        texts[0] += " = " + workbench::physicalText(shown.unit, numberOf(text));
    }
    if (shown.known && *shown.known != value) {
        texts.push_back("last known " + onAxis(*shown.known));
    }
    if (shown.compared && *shown.compared != value) {
        texts.push_back("compared " + onAxis(*shown.compared));
    }
    if (!curve.permits(shown, value)) {
        texts.push_back("not permitted: " + workbench::bandText(shown.unit));
    }
    return texts;
}

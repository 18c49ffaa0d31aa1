#include "workbench/ComparisonText.h"

#include "workbench/ItemJson.h"
#include "workbench/MessageText.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <array>

namespace workbench {
namespace {

using Json = nlohmann::ordered_json;
/// Of all cells, those without the values in their units.
constexpr std::size_t kPlainCells = 7;
using Cells = std::array<std::string, kPlainCells + 3>;

/// What a spreadsheet takes for text and not for a formula.
std::string harmless(const std::string& ringText) {
    std::string text = utf8Text(ringText);
    if (!text.empty() && std::string_view("=+-@\t\r").find(text.front()) != std::string_view::npos) {
        text.insert(0, "'");
    }
    return text;
}

struct ShownField {
    std::size_t position; ///< among all of the item
    SubFieldRow row;
};

std::vector<ShownField> shownFields(const SetComparison& comparison, const ItemRow& row, bool differencesOnly) {
    std::vector<ShownField> shown;
    for (SubFieldRow& field : comparison.subFieldsOf(row)) {
        const std::size_t position = shown.size();
        shown.push_back({position, std::move(field)});
    }
    if (differencesOnly) {
        std::erase_if(shown, [](const ShownField& field) { return field.row.state == RowState::kEqual; });
    }
    return shown;
}

/// Null for the bytes behind the sub-fields, and where the two sides may mean different things.
const FieldUnit* unitOf(const Units& units, const ItemRow& row, const ShownField& field) {
    const bool isOne = !field.row.typeName.empty() && row.state != RowState::kOtherLayout;
    return isOne ? units.find(row.number, field.position) : nullptr;
}

/// A value in its unit; empty where it is no number.
std::string inUnit(const FieldUnit& unit, const std::string& value) {
    const auto number = numberOf(value);
    return number ? physicalNumber(unit, asDouble(*number)) : std::string();
}

void appendItem(std::vector<Cells>& lines, const SetComparison& comparison, const ComparedLine& line,
                bool differencesOnly, const Units& units) {
    const ItemRow& row = comparison.rows()[line.row];
    const std::string number = std::to_string(row.number);
    const std::string name = harmless(anyItem(row).getName());
    const auto fields = shownFields(comparison, row, differencesOnly && !line.field);
    for (const ShownField& shown : fields) {
        if (line.field.value_or(shown.position) != shown.position) {
            continue;
        }
        const SubFieldRow& field = shown.row;
        Cells cells{number,
                    name,
                    harmless(field.description),
                    field.left,
                    field.right,
                    differenceText(field),
                    std::string(stateText(field.state))};
        if (const FieldUnit* unit = unitOf(units, row, shown)) {
            cells[kPlainCells] = inUnit(*unit, field.left);
            cells[kPlainCells + 1] = inUnit(*unit, field.right);
            cells[kPlainCells + 2] = harmless(unit->unit);
        }
        lines.push_back(std::move(cells));
    }
    if (fields.empty()) {
        lines.push_back({number, name, "", "", "", "", std::string(stateText(row.state))});
    }
}

std::string csvCell(const std::string& text) {
    if (text.find_first_of(",\"\r\n") == std::string::npos) {
        return text;
    }
    std::string cell = "\"";
    for (const char character : text) {
        cell.append(character == '"' ? 2 : 1, character);
    }
    return cell + '"';
}

void appendCsv(std::string& text, const Cells& cells) {
    for (std::size_t i = 0; i < cells.size(); ++i) {
        text += (i == 0 ? "" : ",") + csvCell(cells[i]);
    }
    text += "\r\n";
}

/// null for a side that has no number.
Json numberJson(const std::string& number) {
    return Json::parse(number.empty() ? "null" : number, nullptr, false);
}

Json jsonOf(const SetComparison& comparison, const ItemRow& row, bool differencesOnly, const Units& units) {
    Json fields = Json::array();
    for (const ShownField& shown : shownFields(comparison, row, differencesOnly)) {
        const SubFieldRow& field = shown.row;
        Json entry{{"description", utf8Text(field.description)},
                   {"type", field.typeName},
                   {"left", field.left},
                   {"right", field.right},
                   {"difference", differenceText(field)},
                   {"state", stateText(field.state)}};
        if (!field.typeName.empty()) {
            entry["field"] = shown.position + 1;
        }
        if (const FieldUnit* unit = unitOf(units, row, shown)) {
            entry["leftValue"] = numberJson(inUnit(*unit, field.left));
            entry["rightValue"] = numberJson(inUnit(*unit, field.right));
            entry["unit"] = utf8Text(unit->unit);
        }
        fields.push_back(std::move(entry));
    }
    return {{"id", row.number},
            {"name", utf8Text(anyItem(row).getName())},
            {"state", stateText(row.state)},
            {"fields", std::move(fields)}};
}

std::string jsonText(const std::string& text) {
    return Json(utf8Text(text)).dump();
}

} // namespace

std::string comparisonCells(const SetComparison& comparison, std::span<const ComparedLine> lines,
                            bool differencesOnly) {
    std::vector<Cells> all;
    for (const ComparedLine& line : lines) {
        appendItem(all, comparison, line, differencesOnly, {});
    }
    std::string text;
    for (Cells& cells : all) {
        for (std::size_t i = 0; i < kPlainCells; ++i) {
            std::ranges::replace_if(
                cells[i], [](char c) { return c == '\t' || c == '\r' || c == '\n'; }, ' ');
            text += (i == 0 ? "" : "\t") + cells[i];
        }
        text += '\n';
    }
    return text;
}

std::string comparisonCsv(const SetComparison& comparison, std::span<const std::uint32_t> rows, bool differencesOnly,
                          const Units& units) {
    std::string text;
    appendCsv(text, {"number", "name", "sub-field", "left", "right", "difference", "state", "left value", "right value",
                     "unit"});
    std::vector<Cells> lines;
    for (const std::uint32_t row : rows) {
        lines.clear();
        appendItem(lines, comparison, {row}, differencesOnly, units);
        for (const Cells& line : lines) {
            appendCsv(text, line);
        }
    }
    return text;
}

std::string comparisonUnified(const SetComparison& comparison, std::span<const std::uint32_t> rows) {
    std::string text;
    for (const std::uint32_t position : rows) {
        const ItemRow& row = comparison.rows()[position];
        const bool isOneSided = row.left == nullptr || row.right == nullptr;
        text += "@@ " + std::to_string(row.number) + " " + shownText(anyItem(row).getName()) +
                (isOneSided ? ", " + std::string(stateText(row.state)) : "") + " @@\n";
        const auto fields = comparison.subFieldsOf(row);
        for (std::size_t i = 0; i < fields.size(); ++i) {
            const SubFieldRow& field = fields[i];
            const std::string number = field.typeName.empty() ? "" : "[" + std::to_string(i + 1) + "] ";
            const std::string label = number + shownText(field.description) + ": ";
            if (field.state != RowState::kEqual) {
                text += row.left == nullptr ? "" : "-  " + label + field.left + "\n";
                text += row.right == nullptr ? "" : "+  " + label + field.right + "\n";
            }
        }
    }
    return text.empty() ? text
                        : "--- " + shownText(longLabel(*comparison.left())) + "\n+++ " +
                              shownText(longLabel(*comparison.right())) + "\n" + text;
}

std::string comparisonJson(const SetComparison& comparison, std::span<const std::uint32_t> rows, bool differencesOnly,
                           const Units& units) {
    // One item at a time: the tree of 65,536 of them would take a gigabyte.
    std::string text = "{\n  \"left\": " + jsonText(longLabel(*comparison.left())) +
                       ",\n  \"right\": " + jsonText(longLabel(*comparison.right())) + ",\n  \"items\": [";
    for (const std::uint32_t row : rows) {
        text += (row == rows.front() ? "\n    " : ",\n    ") +
                jsonOf(comparison, comparison.rows()[row], differencesOnly, units).dump();
    }
    return text + "\n  ]\n}\n";
}

} // namespace workbench

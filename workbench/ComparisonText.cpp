#include "workbench/ComparisonText.h"

#include "workbench/ItemJson.h"
#include "workbench/MessageText.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <array>

namespace workbench {
namespace {

using Json = nlohmann::ordered_json;
using Cells = std::array<std::string, 7>;

/// What a spreadsheet takes for text and not for a formula.
std::string harmless(const std::string& ringText) {
    std::string text = utf8Text(ringText);
    if (!text.empty() && std::string_view("=+-@\t\r").find(text.front()) != std::string_view::npos) {
        text.insert(0, "'");
    }
    return text;
}

std::vector<SubFieldRow> shownFields(const SetComparison& comparison, const ItemRow& row, bool differencesOnly) {
    auto fields = comparison.subFieldsOf(row);
    if (differencesOnly) {
        std::erase_if(fields, [](const SubFieldRow& field) { return field.state == RowState::kEqual; });
    }
    return fields;
}

void appendItem(std::vector<Cells>& lines, const SetComparison& comparison, std::uint32_t position,
                std::optional<std::size_t> only, bool differencesOnly) {
    const ItemRow& row = comparison.rows()[position];
    const std::string number = std::to_string(row.number);
    const std::string name = harmless(anyItem(row).getName());
    const auto fields = shownFields(comparison, row, differencesOnly && !only);
    for (std::size_t i = 0; i < fields.size(); ++i) {
        if (!only || *only == i) {
            const SubFieldRow& field = fields[i];
            lines.push_back({number, name, harmless(field.description), field.left, field.right, differenceText(field),
                             std::string(stateText(field.state))});
        }
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

Json jsonOf(const SetComparison& comparison, const ItemRow& row, bool differencesOnly) {
    Json fields = Json::array();
    const auto all = comparison.subFieldsOf(row);
    for (std::size_t i = 0; i < all.size(); ++i) {
        const SubFieldRow& field = all[i];
        if (differencesOnly && field.state == RowState::kEqual) {
            continue;
        }
        Json entry{{"description", utf8Text(field.description)},
                   {"type", field.typeName},
                   {"left", field.left},
                   {"right", field.right},
                   {"difference", differenceText(field)},
                   {"state", stateText(field.state)}};
        if (!field.typeName.empty()) {
            entry["field"] = i + 1;
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
        appendItem(all, comparison, line.row, line.field, differencesOnly);
    }
    std::string text;
    for (Cells& cells : all) {
        for (std::size_t i = 0; i < cells.size(); ++i) {
            std::ranges::replace_if(
                cells[i], [](char c) { return c == '\t' || c == '\r' || c == '\n'; }, ' ');
            text += (i == 0 ? "" : "\t") + cells[i];
        }
        text += '\n';
    }
    return text;
}

std::string comparisonCsv(const SetComparison& comparison, std::span<const std::uint32_t> rows, bool differencesOnly) {
    std::string text;
    appendCsv(text, {"number", "name", "sub-field", "left", "right", "difference", "state"});
    std::vector<Cells> lines;
    for (const std::uint32_t row : rows) {
        lines.clear();
        appendItem(lines, comparison, row, std::nullopt, differencesOnly);
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

std::string comparisonJson(const SetComparison& comparison, std::span<const std::uint32_t> rows, bool differencesOnly) {
    // One item at a time: the tree of 65,536 of them would take a gigabyte.
    std::string text = "{\n  \"left\": " + jsonText(longLabel(*comparison.left())) +
                       ",\n  \"right\": " + jsonText(longLabel(*comparison.right())) + ",\n  \"items\": [";
    for (const std::uint32_t row : rows) {
        text += (row == rows.front() ? "\n    " : ",\n    ") +
                jsonOf(comparison, comparison.rows()[row], differencesOnly).dump();
    }
    return text + "\n  ]\n}\n";
}

} // namespace workbench

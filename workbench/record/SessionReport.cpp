#include "workbench/record/SessionReport.h"

#include "engine/Calvane.h"
#include "workbench/LimitCheck.h"
#include "workbench/MessageText.h"
#include "workbench/record/SessionJson.h"
#include "workbench/record/SessionText.h"

#include <sstream>
#include <string_view>

namespace record {
namespace {

// No more of it than a printer of simple pages understands.
constexpr std::string_view kHead = R"(<!DOCTYPE html>
<html><head><meta charset="utf-8"><title>Calibration record</title>
<style>
body { font-family: sans-serif; font-size: 9pt; color: #000000; background-color: #ffffff; }
h1 { font-size: 15pt; }
h2 { font-size: 11pt; }
table { border-collapse: collapse; }
th { text-align: left; background-color: #e8e8e8; }
.out { color: #b00020; font-weight: bold; }
</style></head><body>
<h1>Calibration record</h1>
)";
constexpr std::string_view kTable = R"(<table border="1" cellspacing="0" cellpadding="3" width="100%">)";

/// As text of HTML: on one line, or on as many as it has.
std::string escaped(std::string_view text) {
    std::string html;
    for (std::size_t begin = 0; begin <= text.size();) {
        const std::size_t end = std::min(text.find('\n', begin), text.size());
        for (const char sign : workbench::shownText(text.substr(begin, end - begin))) {
            switch (sign) {
            case '&':
                html += "&amp;";
                break;
            case '<':
                html += "&lt;";
                break;
            case '>':
                html += "&gt;";
                break;
            case '"':
                html += "&quot;";
                break;
            default:
                html += sign;
            }
        }
        html += end < text.size() ? "<br>" : "";
        begin = end + 1;
    }
    return html;
}

void addFact(std::ostream& page, const char* what, const std::string& text) {
    if (!text.empty()) {
        page << "<tr><th width=\"20%\">" << what << "</th><td>" << escaped(text) << "</td></tr>\n";
    }
}

std::string stateLine(const Session& session) {
    return wordOf(session.state) + (session.failure.empty() ? "" : ": " + session.failure);
}

void addFacts(std::ostream& page, const Session& session) {
    page << kTable << '\n';
    addFact(page, "Phone", phoneText(session.phone.model, session.phone.serialNumber, session.port));
    addFact(page, "Software", session.phone.softwareVersion);
    addFact(page, "Port", session.port);
    addFact(page, "Kind", wordOf(session.kind));
    addFact(page, "What", session.asked);
    addFact(page, "Begun", localTime(session.begun, true));
    addFact(page, "Ended", session.ended ? localTime(*session.ended, true) : std::string());
    addFact(page, "Result", stateLine(session));
    addFact(page, "Operator", operatorText(session));
    addFact(page, "Program", session.program);
    addFact(page, "Decoder ring", session.ringPath);
    addFact(page, "Ring's SHA-256", session.ringSha256);
    addFact(page, "Session", session.uuid);
    addFact(page, "Note", session.note);
    page << "</table>\n";
}

/// An item with `data` in it.
NvItem itemWith(NvItem item, const ItemData& data) {
    item.setRawData(data);
    return item;
}

struct LimitTexts {
    std::string html;
    std::size_t limited = 0;
    std::size_t outside = 0;
};

LimitTexts limitsOf(const NvItem& item, const workbench::Units& units) {
    LimitTexts texts;
    for (const workbench::LimitedField& field : workbench::limitedFields(item, units)) {
        ++texts.limited;
        texts.outside += field.isOutside() ? 1 : 0;
        const std::string band = workbench::bandText(*field.unit);
        const std::string line = "[" + std::to_string(field.field + 1) + "] " + field.subItem.description + ": " +
                                 workbench::judgedText(*field.unit, field.raw) + " (" + band + ")";
        texts.html += (texts.html.empty() ? "" : "<br>") +
                      (field.isOutside() ? "<span class=\"out\">" + escaped(line) + "</span>" : escaped(line));
    }
    return texts;
}

std::string cell(const NvItem& described, const std::optional<ItemData>& data) {
    return "<td>" + (data ? escaped(valuesText(itemWith(described, *data))) : std::string()) + "</td>";
}

std::string limitsLine(std::size_t limited, std::size_t outside) {
    if (limited == 0) {
        return "No limits are known for these items.";
    }
    const std::string line = "Values with limits: " + std::to_string(limited);
    return outside == 0 ? line + ", all within them."
                        : "<span class=\"out\">" + line + ", outside them: " + std::to_string(outside) + ".</span>";
}

} // namespace

std::string sessionReport(const Session& session, std::span<const SessionItem> items, const Calvane& catalog,
                          const workbench::Units& units) {
    const bool isRead = session.kind == SessionKind::kRead;
    std::ostringstream rows;
    std::size_t limited = 0;
    std::size_t outside = 0;
    for (const SessionItem& item : items) {
        const NvItem described = catalog.describedItem(item.number);
        const auto limits = item.after ? limitsOf(itemWith(described, *item.after), units) : LimitTexts();
        limited += limits.limited;
        outside += limits.outside;
        rows << "<tr><td>" << item.number << "</td><td>" << escaped(described.getName()) << "</td>";
        if (!isRead) {
            rows << cell(described, item.before) << cell(described, item.wanted);
        }
        rows << cell(described, item.after) << "<td>" << limits.html << "</td><td>" << escaped(resultText(item))
             << "</td></tr>\n";
    }
    std::ostringstream page;
    page << kHead;
    addFacts(page, session);
    page << "<h2>Limits</h2>\n<p>" << limitsLine(limited, outside) << "</p>\n<h2>Items (" << items.size() << ")</h2>\n"
         << kTable << "\n<thead><tr><th>Item</th><th>Name</th>"
         << (isRead ? "<th>Value</th>" : "<th>Before</th><th>Written</th><th>After</th>")
         << "<th>Limits</th><th>Result</th></tr></thead>\n"
         << rows.str() << "</table>\n</body></html>\n";
    return page.str();
}

} // namespace record

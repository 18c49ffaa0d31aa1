#include "app/history/HistoryRows.h"

#include "app/dialogs/ShownText.h"
#include "app/document/SubFieldText.h"
#include "engine/Calvane.h"
#include "workbench/record/SessionItems.h"
#include "workbench/record/SessionJson.h"
#include "workbench/record/SessionText.h"

namespace {

constexpr qsizetype kToMinutes = sizeof "2026-11-17 10:12" - 1;

QString valueText(const NvItem& described, const std::optional<record::ItemData>& data) {
    if (!data) {
        return {};
    }
    NvItem item = described;
    item.setRawData(*data);
    return shownValues(item);
}

/// Of the phone: its name, where it tells none the port on which it was.
QString serialText(const record::PhoneRow& phone) {
    return phone.serial.empty() ? "(no serial number) on " + shownText(phone.port) : shownText(phone.serial);
}

} // namespace

QString shownValues(const NvItem& item) {
    if (!item.isTime()) {
        return shownText(record::valuesText(item));
    }
    std::string dates;
    for (const SubItem& field : item.getSubItems()) {
        dates += (dates.empty() ? "" : ", ") + dateText(field.value);
    }
    return shownText(dates);
}

std::vector<ShownItem> shownItems(const std::vector<record::SessionItem>& items,
                                  const std::map<std::uint16_t, record::ItemData>& known, Calvane& catalog) {
    std::vector<ShownItem> shown;
    shown.reserve(items.size());
    for (const record::SessionItem& item : items) {
        const NvItem described = catalog.describedItem(item.number);
        const auto found = known.find(item.number);
        const auto before = item.before || found == known.end() ? item.before : std::optional(found->second);
        const auto after = record::valueOf(item, record::Which::kAfter);
        shown.push_back({item.number, shownText(described.getName()), valueText(described, before),
                         valueText(described, after), shownText(record::resultText(item)),
                         before && after && before != after});
    }
    return shown;
}

QStringList phoneTitles() {
    return {"Model", "Serial Number", "Last Seen"};
}

std::vector<RowsModel::Row> rowsOf(const std::vector<record::PhoneRow>& phones) {
    std::vector<RowsModel::Row> rows;
    rows.reserve(phones.size());
    for (const record::PhoneRow& phone : phones) {
        rows.push_back({{phone.model.empty() ? QString("unknown model") : shownText(phone.model), serialText(phone),
                         shownText(record::localTime(phone.lastSeen)).left(kToMinutes)},
                        {{}, {}, static_cast<qlonglong>(record::msOf(phone.lastSeen))}});
    }
    return rows;
}

QStringList sessionTitles() {
    return {"Time", "What", "By", "Items", "Changed", "State", "Note"};
}

QString noteText(const record::Session& session) {
    return shownLines(session.note).simplified();
}

std::vector<RowsModel::Row> rowsOf(const std::vector<record::Session>& sessions) {
    std::vector<RowsModel::Row> rows;
    rows.reserve(sessions.size());
    for (const record::Session& session : sessions) {
        const auto items = static_cast<qulonglong>(session.items);
        const auto changed = static_cast<qulonglong>(session.changed);
        rows.push_back({{shownText(record::localTime(session.begun)), shownText(record::askedText(session)),
                         shownText(record::operatorText(session)), QString::number(items), QString::number(changed),
                         QString(record::wordOf(session.state)), noteText(session)},
                        {static_cast<qlonglong>(record::msOf(session.begun)), {}, {}, items, changed},
                        session.state == record::SessionState::kInterrupted});
    }
    return rows;
}

QStringList itemTitles() {
    return {"Item", "Name", "Before", "After", "Result"};
}

std::vector<RowsModel::Row> rowsOf(const std::vector<const ShownItem*>& items) {
    std::vector<RowsModel::Row> rows;
    rows.reserve(items.size());
    for (const ShownItem* item : items) {
        rows.push_back(
            {{QString::number(item->number), item->name, item->before, item->after, item->result}, {item->number}});
    }
    return rows;
}

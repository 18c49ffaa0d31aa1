#include "app/history/ItemHistory.h"

#include "app/dialogs/ShownText.h"
#include "app/history/HistoryRows.h"
#include "workbench/record/SessionText.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <numeric>

namespace {

/// The raw text of a sub-field, with its unit where it has one; empty where the item has no such sub-field.
std::string fieldText(const NvItem& item, std::size_t field, const workbench::FieldUnit* unit) {
    const auto subItems = item.getSubItems();
    if (field >= subItems.size()) {
        return {};
    }
    const std::string& raw = subItems[field].value;
    return unit == nullptr ? raw : raw + " (" + workbench::judgedText(*unit, std::strtod(raw.c_str(), nullptr)) + ")";
}

const char* judgement(record::Verdict verdict) {
    switch (verdict) {
    case record::Verdict::kNotKnown:
        return "";
    case record::Verdict::kUsual:
        return "usual";
    case record::Verdict::kUnusual:
        return "unusual";
    case record::Verdict::kUnlikeMost:
        return "unlike most";
    }
    return "";
}

} // namespace

ItemHistory askItemHistory(StoreLink& link, const ItemQuestion& question) {
    record::History store = link.history();
    ItemHistory answer;
    answer.layout = link.catalog().describedItem(question.number);
    if (question.phone != workbench::PhoneIdentity()) {
        answer.phone = store.findPhone(question.phone, question.port);
    }
    const auto changes =
        answer.phone ? store.overTime(answer.phone->id, question.number) : std::vector<record::ValueSince>();
    for (auto value = changes.rbegin(); value != changes.rend(); ++value) {
        ItemHistory::Change& change = answer.changes.emplace_back();
        change.since = value->since;
        change.item = answer.layout;
        change.item.setRawData(value->data);
        if (const auto session = value->session.empty() ? std::nullopt : store.session(value->session)) {
            const bool isRead = session->kind == record::SessionKind::kRead;
            change.by = (value->isFound && !isRead ? "found by " : "") + record::operatorText(*session);
            change.asked = record::askedText(*session);
        }
    }
    std::map<std::int64_t, record::PhoneRow> phones;
    for (record::PhoneRow& phone : store.phones()) {
        phones.emplace(phone.id, std::move(phone));
    }
    answer.values = store.overPhones(question.number);
    std::erase_if(answer.values, [&](const auto& value) { return !phones.contains(value.phone); });
    for (const record::ValueOfPhone& value : answer.values) {
        answer.phones.push_back(phones[value.phone]);
    }
    return answer;
}

FieldSpread::FieldSpread(const ItemHistory& history, std::size_t field, const workbench::FieldUnit* unit)
    : history_(history), unit_(unit), numbers_(record::numbersOf(history.values, history.layout, field)),
      usual_(numbers_) {}

std::optional<double> FieldSpread::own() const {
    const auto found = std::ranges::find_if(numbers_, [this](const auto& one) { return isAsked(one.phone); });
    return found == numbers_.end() ? std::nullopt : std::optional(found->number);
}

QString FieldSpread::textOf(double raw) const {
    if (unit_ != nullptr) {
        return shownText(workbench::physicalText(*unit_, raw));
    }
    return QString::number(raw, 'f', raw == std::floor(raw) ? 0 : 1);
}

bool FieldSpread::standsOut(double raw) const {
    const record::Verdict verdict = usual_.judge(raw);
    return verdict == record::Verdict::kUnusual || verdict == record::Verdict::kUnlikeMost;
}

QString FieldSpread::summary() const {
    QString text = usual_.phones() == 1 ? QString("1 phone. ") : QString("%1 phones. ").arg(usual_.phones());
    if (!isUsualKnown()) {
        text += QString("What is usual can be said of %1 phones or more. ").arg(record::kFewestPhones);
    } else {
        const auto odd = std::ranges::count_if(numbers_, [this](const auto& one) { return standsOut(one.number); });
        const bool isRaw = unit_ == nullptr; // whole numbers then
        text +=
            "Median " + textOf(usual_.median()) + ", usual " +
            textOf(isRaw ? std::ceil(usual_.lowest()) : usual_.lowest()) + " to " +
            textOf(isRaw ? std::floor(usual_.highest()) : usual_.highest()) +
            (odd == 0 ? QString(". None is unusual. ")
                      : QString("; %1 %2. ").arg(odd).arg(usual_.medianDeviation() == 0 ? "unlike most" : "unusual"));
    }
    if (const auto value = own()) {
        const QString verdict = judgement(usual_.judge(*value));
        text += "This phone: " + textOf(*value) + (verdict.isEmpty() ? "." : ", " + verdict + ".");
    }
    return text.trimmed();
}

QStringList spreadTitles() {
    return {"Phone", "Value", "Since", "Among the Phones"};
}

double FieldSpread::distance(std::size_t position) const {
    return std::abs(numbers_[position].number - usual_.median());
}

std::vector<std::size_t> FieldSpread::order() const {
    std::vector<std::size_t> order(numbers_.size());
    std::iota(order.begin(), order.end(), std::size_t{0});
    std::ranges::stable_sort(order, std::greater(), [this](std::size_t position) { return distance(position); });
    return order;
}

int FieldSpread::ownRow() const {
    const auto positions = order();
    const auto found =
        std::ranges::find_if(positions, [this](std::size_t position) { return isAsked(history_.phones[position].id); });
    return found == positions.end() ? -1 : static_cast<int>(found - positions.begin());
}

std::vector<RowsModel::Row> FieldSpread::rows() const {
    std::vector<RowsModel::Row> rows;
    rows.reserve(numbers_.size());
    for (const std::size_t position : order()) {
        const record::PhoneRow& phone = history_.phones[position];
        const double number = numbers_[position].number;
        const record::Time since = history_.values[position].since;
        const QString name = shownText(record::phoneText(phone.model, phone.serial, phone.port));
        rows.push_back({{isAsked(phone.id) ? name + " - this phone" : name, textOf(number),
                         shownText(record::localTime(since)), judgement(usual_.judge(number))},
                        {{}, number, static_cast<qlonglong>(record::msOf(since)), distance(position)},
                        isAsked(phone.id) || standsOut(number)});
    }
    return rows;
}

QStringList changeTitles() {
    return {"Since", "Value", "All Values", "By", "What"};
}

std::vector<RowsModel::Row> rowsOf(const ItemHistory& history, std::size_t field, const workbench::FieldUnit* unit) {
    std::vector<RowsModel::Row> rows;
    for (std::size_t position = 0; position < history.changes.size(); ++position) {
        const ItemHistory::Change& change = history.changes[position];
        const std::string text = fieldText(change.item, field, unit);
        const bool isFirst = position + 1 == history.changes.size();
        rows.push_back({{shownText(record::localTime(change.since)), shownText(text), shownValues(change.item),
                         shownText(change.by), shownText(change.asked)},
                        {static_cast<qlonglong>(record::msOf(change.since))},
                        !isFirst && text != fieldText(history.changes[position + 1].item, field, unit)});
    }
    return rows;
}

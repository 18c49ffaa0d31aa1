#include "cli/CommandText.h"
#include "cli/HistoryAccount.h"
#include "cli/HistoryStore.h"
#include "cli/Run.h"
#include "cli/ShownStream.h"
#include "cli/Verbs.h"
#include "platform/kernel/Text.h"
#include "workbench/ItemJson.h"
#include "workbench/MessageText.h"
#include "workbench/record/SessionJson.h"
#include "workbench/record/Unusual.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <iostream>
#include <map>

namespace {

using Json = nlohmann::ordered_json;
using record::Verdict;

/// More phones than these are counted instead of named.
constexpr std::size_t kMaxNamedPhones = 50;

std::string numberText(double number) {
    std::array<char, 64> text{};
    return {text.data(), std::to_chars(text.data(), text.data() + text.size(), number).ptr};
}

NvItem itemWith(const record::ItemData& data, NvItem layout) {
    layout.setRawData(data);
    return layout;
}

Json headOf(const Arguments& arguments, const NvItem& layout) {
    Json document = workbench::headJson("history", arguments.run->ring());
    document["id"] = layout.getId();
    document["name"] = workbench::utf8Text(layout.getName());
    return document;
}

Json valuesJson(const NvItem& item) {
    Json values = Json::array();
    for (const SubItem& subItem : item.getSubItems()) {
        values.push_back(subItem.value);
    }
    return values;
}

bool isSameText(const std::optional<std::string>& asked, const std::string& text) {
    return !asked || kernel::lowerCase(*asked) == kernel::lowerCase(text);
}

/// A port tells phones apart that have no serial number, and those alone.
bool isOnPort(const std::optional<std::string>& asked, const record::PhoneRow& phone) {
    return !asked || (phone.serial.empty() && kernel::lowerCase(*asked) == kernel::lowerCase(phone.port));
}

/// The phones that the arguments mean.
std::map<std::int64_t, record::PhoneRow> phonesFor(ShownHistory& shown, const Arguments& arguments) {
    std::map<std::int64_t, record::PhoneRow> phones;
    for (record::PhoneRow& phone : shown.history().phones()) {
        if (isSameText(arguments.history.serial, phone.serial) && isSameText(arguments.history.model, phone.model) &&
            isOnPort(arguments.history.port, phone)) {
            phones.emplace(phone.id, std::move(phone));
        }
    }
    return phones;
}

/// Who has brought the value, or, where nobody knows that, who has found it.
std::string bringerText(const record::ValueSince& value, const std::optional<record::Session>& session) {
    if (!session) {
        return "a session that is gone";
    }
    const std::string who = shortNumber(session->uuid) + "  ";
    return value.isFound ? who + "found by a " + whoText(*session) + " (who wrote it is not known)"
                         : who + whoText(*session);
}

/// One item of one phone: when it changed, by whom, from what to what.
class ItemOverTime {
public:
    ItemOverTime(ShownHistory& shown, const NvItem& layout) : shown_(shown), layout_(layout) {}

    void print(const record::PhoneRow& phone) {
        std::cout << layout_.getId() << ' ' << workbench::shownText(layout_.getName()) << " of "
                  << phoneText(phone.model, phone.serial, phone.port) << '\n';
        std::optional<NvItem> before;
        for (const record::ValueSince& value : shown_.history().overTime(phone.id, layout_.getId())) {
            const auto session = shown_.history().session(value.session);
            std::cout << localText(value.since) << "  " << bringerText(value, session) << '\n';
            NvItem now = itemWith(value.data, layout_);
            printChange(std::cout, before, now);
            before = std::move(now);
        }
    }

    Json json(const record::PhoneRow& phone) {
        Json values = Json::array();
        for (const record::ValueSince& value : shown_.history().overTime(phone.id, layout_.getId())) {
            const auto session = shown_.history().session(value.session);
            values.push_back({{"since", workbench::utcText(value.since)},
                              {"session", session ? Json(session->uuid) : Json()},
                              {"kind", session ? Json(record::wordOf(session->kind)) : Json()},
                              {"user", session ? Json(session->user) : Json()},
                              {"host", session ? Json(session->host) : Json()},
                              {"found", value.isFound},
                              {"values", valuesJson(itemWith(value.data, layout_))},
                              {"raw", workbench::hexText(value.data)}});
        }
        return {{"model", phone.model},
                {"serialNumber", phone.serial},
                {"port", phone.port},
                {"changes", std::move(values)}};
    }

private:
    ShownHistory& shown_;
    const NvItem& layout_;
};

/// One item over all phones: what is usual in each sub-field, and who has something else.
class ItemOverPhones {
public:
    ItemOverPhones(std::map<std::int64_t, record::PhoneRow> phones, std::vector<record::ValueOfPhone> values,
                   const NvItem& layout)
        : phones_(std::move(phones)), values_(std::move(values)), layout_(layout), fields_(layout.getSubItems()) {
        std::erase_if(values_, [this](const auto& value) { return !phones_.contains(value.phone); });
        for (std::size_t field = 0; field < fields_.size(); ++field) {
            numbers_.push_back(record::numbersOf(values_, layout_, field));
            usual_.emplace_back(numbers_.back());
        }
    }

    void print() const {
        std::cout << layout_.getId() << ' ' << workbench::shownText(layout_.getName()) << " of " << values_.size()
                  << (values_.size() == 1 ? " phone\n" : " phones\n");
        for (std::size_t field = 0; field < fields_.size(); ++field) {
            const record::Usual& usual = usual_[field];
            std::cout << "  [" << field + 1 << "] " << workbench::shownText(fields_[field].description) << ": median "
                      << numberText(usual.median()) << ", median absolute deviation "
                      << numberText(usual.medianDeviation()) << '\n';
            printUnusual(field);
        }
    }

    std::string account() const {
        return values_.size() >= record::kFewestPhones
                   ? ""
                   : "What is usual is not known of fewer than " + std::to_string(record::kFewestPhones) + " phones.\n";
    }

    void putInto(Json& document) const {
        document["fields"] = Json::array();
        for (std::size_t field = 0; field < fields_.size(); ++field) {
            const record::Usual& usual = usual_[field];
            document["fields"].push_back({{"field", field + 1},
                                          {"description", workbench::utf8Text(fields_[field].description)},
                                          {"median", usual.median()},
                                          {"medianDeviation", usual.medianDeviation()},
                                          {"lowest", usual.lowest()},
                                          {"highest", usual.highest()}});
        }
        document["phones"] = Json::array();
        for (std::size_t at = 0; at < values_.size(); ++at) {
            const record::PhoneRow& phone = phones_.at(values_[at].phone);
            document["phones"].push_back({{"model", phone.model},
                                          {"serialNumber", phone.serial},
                                          {"port", phone.port},
                                          {"since", workbench::utcText(values_[at].since)},
                                          {"values", valuesJson(itemWith(values_[at].data, layout_))},
                                          {"raw", workbench::hexText(values_[at].data)},
                                          {"unusual", unusualFields(at)}});
        }
        document["isKnown"] = values_.size() >= record::kFewestPhones;
    }

private:
    bool isUnusual(std::size_t field, std::size_t at) const {
        const Verdict verdict = usual_[field].judge(numbers_[field][at].number);
        return verdict == Verdict::kUnusual || verdict == Verdict::kUnlikeMost;
    }

    Json unusualFields(std::size_t at) const {
        Json fields = Json::array();
        for (std::size_t field = 0; field < fields_.size(); ++field) {
            if (isUnusual(field, at)) {
                fields.push_back(field + 1);
            }
        }
        return fields;
    }

    void printUnusual(std::size_t field) const {
        std::size_t found = 0;
        for (std::size_t at = 0; at < values_.size(); ++at) {
            if (!isUnusual(field, at) || ++found > kMaxNamedPhones) {
                continue;
            }
            const record::PhoneRow& phone = phones_.at(values_[at].phone);
            const bool isUnlikeMost = usual_[field].medianDeviation() == 0;
            std::cout << "      " << (isUnlikeMost ? "unlike most" : "unusual") << ": "
                      << phoneText(phone.model, phone.serial, phone.port) << ": " << Colour::kNew
                      << itemWith(values_[at].data, layout_).getSubItems()[field].value << Colour::kPlain << '\n';
        }
        if (found > kMaxNamedPhones) {
            std::cout << "      and " << found - kMaxNamedPhones << " more\n";
        }
    }

    const std::map<std::int64_t, record::PhoneRow> phones_;
    std::vector<record::ValueOfPhone> values_;
    const NvItem& layout_;
    const std::vector<SubItem> fields_;
    std::vector<std::vector<record::PhoneNumber>> numbers_; ///< by sub-field, in the order of the values
    std::vector<record::Usual> usual_;
};

void showOverTime(ShownHistory& shown, const Arguments& arguments, const NvItem& layout) {
    const auto phones = phonesFor(shown, arguments);
    if (phones.empty()) {
        const auto& asked = arguments.history;
        throw BatchFailure(ExitStatus::kFile, "The record has no phone " +
                                                  (asked.serial ? "with the serial number " + quoted(*asked.serial)
                                                                : "without a serial number on " + quoted(*asked.port)) +
                                                  ".");
    }
    ItemOverTime overTime(shown, layout);
    Json document = headOf(arguments, layout);
    document["overTime"] = Json::array();
    for (const auto& [id, phone] : phones) {
        if (arguments.jsonPath.empty()) {
            overTime.print(phone);
        } else {
            document["overTime"].push_back(overTime.json(phone));
        }
    }
    if (!arguments.jsonPath.empty()) {
        writeOutput(arguments.jsonPath, workbench::textOf(document));
    }
}

} // namespace

ExitStatus showItemHistory(Calvane& catalog, const Arguments& arguments) {
    return onRecord([&] {
        ShownHistory shown(arguments);
        const NvItem layout = catalog.describedItem(arguments.history.item);
        if (arguments.history.serial || arguments.history.port) {
            showOverTime(shown, arguments, layout);
            return ExitStatus::kDone;
        }
        const ItemOverPhones overPhones(phonesFor(shown, arguments), shown.history().overPhones(layout.getId()),
                                        layout);
        if (arguments.jsonPath.empty()) {
            overPhones.print();
        } else {
            Json document = headOf(arguments, layout);
            overPhones.putInto(document);
            writeOutput(arguments.jsonPath, workbench::textOf(document));
        }
        arguments.run->note(overPhones.account());
        return ExitStatus::kDone;
    });
}

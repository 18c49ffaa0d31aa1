#include "cli/CommandText.h"
#include "cli/HistoryAccount.h"
#include "cli/HistoryStore.h"
#include "cli/ItemListing.h"
#include "cli/ItemSides.h"
#include "cli/Run.h"
#include "cli/Verbs.h"
#include "workbench/MessageText.h"
#include "workbench/ResultJson.h"
#include "workbench/record/SessionItems.h"
#include "workbench/record/SessionJson.h"

#include <algorithm>
#include <iostream>
#include <map>

namespace {

using Json = nlohmann::ordered_json;
using record::ItemState;
using record::Which;

ExitStatus listPhones(ShownHistory& shown, const Arguments& arguments) {
    Json list = Json::array();
    const auto phones = shown.history().phones();
    for (const record::PhoneRow& phone : phones) {
        list.push_back({{"model", phone.model},
                        {"serialNumber", phone.serial},
                        {"port", phone.port},
                        {"lastSeen", workbench::utcText(phone.lastSeen)},
                        {"sessions", phone.sessions}});
        if (arguments.jsonPath.empty()) {
            std::cout << localText(phone.lastSeen) << "  " << phoneText(phone.model, phone.serial, phone.port) << ", "
                      << phone.sessions << (phone.sessions == 1 ? " session\n" : " sessions\n");
        }
    }
    if (!arguments.jsonPath.empty()) {
        Json document = workbench::headJson("history", {});
        document["phones"] = std::move(list);
        writeOutput(arguments.jsonPath, workbench::textOf(document));
    }
    return ExitStatus::kDone;
}

ExitStatus listSessions(ShownHistory& shown, const Arguments& arguments) {
    const auto& asked = arguments.history;
    const auto sessions = shown.history().sessions(
        {.serial = asked.serial, .port = asked.port, .since = asked.since, .limit = asked.limit});
    Json list = Json::array();
    for (const record::Session& session : sessions) {
        if (arguments.jsonPath.empty()) {
            std::cout << lineOf(session) << '\n';
        } else {
            list.push_back(record::sessionJson(session));
        }
    }
    if (!arguments.jsonPath.empty()) {
        Json document = workbench::headJson("history", {});
        document["sessions"] = std::move(list);
        writeOutput(arguments.jsonPath, workbench::textOf(document));
    }
    if (sessions.size() == asked.limit) {
        arguments.run->note("These are the newest " + std::to_string(asked.limit) + "; there may be more.\n");
    }
    return ExitStatus::kDone;
}

std::optional<NvItem> itemWith(const std::optional<record::ItemData>& data, const NvItem& layout) {
    if (!data) {
        return std::nullopt;
    }
    NvItem item = layout;
    item.setRawData(*data);
    return item;
}

std::string stateText(const record::SessionItem& item) {
    std::string word = record::wordOf(item.state);
    std::ranges::replace(word, '_', ' ');
    return word + (item.reason.empty() ? "" : ": " + boundedText(item.reason));
}

/// A write's items, each with what it changed.
void printWritten(const std::vector<record::SessionItem>& items, Calvane& catalog) {
    for (const record::SessionItem& item : items) {
        const NvItem layout = catalog.describedItem(item.number);
        std::cout << item.number << ' ' << workbench::shownText(layout.getName()) << "  " << stateText(item) << '\n';
        const auto before = itemWith(item.before, layout);
        if (const auto after = itemWith(record::valueOf(item, Which::kAfter), layout)) {
            printChange(std::cout, before, *after);
        } else if (const auto wanted = itemWith(item.wanted, layout)) {
            std::cout << "       wanted, and not known to be there:\n";
            printChange(std::cout, before, *wanted);
        }
    }
}

/// A read's values, and what it found no value of, by reason.
void printRead(const std::vector<record::SessionItem>& items, Calvane& catalog) {
    printItems(std::cout, record::itemsOf(items, Which::kAfter, catalog).items);
    std::map<std::string, std::vector<std::uint16_t>> without;
    for (const record::SessionItem& item : items) {
        if (item.state != ItemState::kRead) {
            without[stateText(item)].push_back(item.number);
        }
    }
    for (const auto& [state, numbers] : without) {
        std::cout << state << ": " << joined(numbers) << '\n';
    }
}

} // namespace

ExitStatus listHistory(const Arguments& arguments) {
    return onRecord([&] {
        ShownHistory shown(arguments);
        const auto& asked = arguments.history;
        const bool ofSessions = asked.ofSessions || asked.serial || asked.port || asked.since;
        return ofSessions ? listSessions(shown, arguments) : listPhones(shown, arguments);
    });
}

ExitStatus showSession(Calvane& catalog, const Arguments& arguments) {
    return onRecord([&] {
        ShownHistory shown(arguments);
        const record::Session session = shown.session(arguments);
        const auto items = shown.namedItems(session, arguments);
        if (!arguments.jsonPath.empty()) {
            const auto nameOf = [&](std::uint16_t number) { return catalog.describedItem(number).getName(); };
            writeOutput(arguments.jsonPath, record::sessionToJson(session, items, nameOf));
            return ExitStatus::kDone;
        }
        std::cout << headOf(session);
        if (session.kind == record::SessionKind::kRead) {
            printRead(items, catalog);
        } else {
            printWritten(items, catalog);
        }
        return ExitStatus::kDone;
    });
}

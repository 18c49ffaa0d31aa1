#include "cli/HistoryStore.h"

#include "cli/CommandText.h"
#include "cli/ItemSides.h"
#include "cli/Run.h"
#include "platform/kernel/Process.h"
#include "platform/kernel/Text.h"
#include "workbench/MessageText.h"

#include <algorithm>

namespace {

record::ShownStore openFor(const Arguments& arguments) {
    return onRecord([&] {
        return failingWith(ExitStatus::kFile, [&] {
            const std::string& place = arguments.historyPlace;
            return place.empty() ? record::openShown(historySettings()) : record::openShownAt(place);
        });
    });
}

} // namespace

record::HistorySettings historySettings() {
    return failingWith(ExitStatus::kFile, [] { return record::readSettings(kernel::programFolders().own); });
}

ShownHistory::ShownHistory(const Arguments& arguments)
    : shown_(openFor(arguments)), history_(shown_.store->database()) {
    if (!shown_.remark.empty()) {
        // What a server says has lines and tabs.
        std::string remark = shown_.remark;
        std::ranges::replace_if(remark, kernel::isWhiteSpace, ' ');
        arguments.run->note(workbench::shownText(remark) + "\n");
    }
}

record::Session ShownHistory::session(const Arguments& arguments) {
    auto session = history_.session(arguments.history.session);
    if (!session) {
        throw BatchFailure(ExitStatus::kFile, "The record has no session, or several, whose number begins with " +
                                                  quoted(arguments.history.session) + ".");
    }
    return std::move(*session);
}

std::vector<record::SessionItem> ShownHistory::namedItems(const record::Session& session, const Arguments& arguments) {
    auto items = history_.items(session.uuid);
    std::vector<std::uint16_t> found;
    found.reserve(items.size());
    for (const auto& item : items) {
        found.push_back(item.number);
    }
    if (const auto missing = missingNumbers(arguments.singleNumbers, found); !missing.empty()) {
        throw BatchFailure(ExitStatus::kValues, "The session has no item " + joined(missing) + ".");
    }
    std::erase_if(items, [&](const auto& item) { return !isNamed(arguments, item.number); });
    return items;
}

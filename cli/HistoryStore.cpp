#include "cli/HistoryStore.h"

#include "cli/CommandText.h"
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

#include "workbench/record/ShownStore.h"

#include "workbench/record/LocalStore.h"

#include <filesystem>

namespace record {
namespace {

/// Opening a file that is not there would make one.
void requireFile(const std::filesystem::path& path, const std::string& otherwise) {
    std::error_code error;
    if (!std::filesystem::exists(path, error)) {
        throw DatabaseError(DatabaseError::Kind::kUnreachable, otherwise);
    }
}

ShownStore openFile(const std::filesystem::path& path) {
    return {.store = std::make_unique<Store>(openSqlite(path.string())), .place = path.string()};
}

ShownStore openServer(const std::string& url) {
    return {.store = std::make_unique<Store>(openPostgres(url)), .isShared = true, .place = url};
}

/// What of this computer's own the shared store does not have yet.
std::string notHandedOver(const HistorySettings& settings) {
    std::error_code error;
    if (!std::filesystem::exists(settings.file, error)) {
        return {};
    }
    try {
        const std::size_t count = openFile(settings.file).store->pending().size();
        return count == 0 ? ""
                          : "Of this computer " + std::to_string(count) +
                                (count == 1 ? " session is" : " sessions are") + " not in the shared record yet.";
    } catch (const DatabaseError& failure) {
        return std::string("The record of this computer can't be opened: ") + failure.what();
    }
}

} // namespace

ShownStore openShown(const HistorySettings& settings) {
    std::string remark;
    if (!settings.sharedUrl.empty()) {
        try {
            ShownStore shown = openServer(settings.sharedUrl);
            shown.remark = notHandedOver(settings);
            return shown;
        } catch (const DatabaseError& failure) {
            remark = std::string("The shared record can't be reached, so this is that of this computer alone: ") +
                     failure.what();
        }
    }
    requireFile(settings.file, (remark.empty() ? "" : remark + "\n") + "nothing has been recorded yet: there is no '" +
                                   settings.file.string() + "'");
    ShownStore shown = openFile(settings.file);
    shown.remark = std::move(remark);
    return shown;
}

ShownStore openShownAt(const std::string& place, bool mayMake) {
    if (isUrl(place)) {
        checkSharedUrl(place);
        return openServer(place);
    }
    if (!mayMake) {
        requireFile(place, "there is no record at '" + place + "'");
    }
    return openFile(place);
}

ShownStore openOwn(const HistorySettings& settings) {
    ShownStore shown;
    shown.place = settings.file.string();
    shown.store = openLocalStore(settings.file, shown.remark);
    return shown;
}

} // namespace record

#pragma once

#include <chrono>
#include <filesystem>
#include <optional>
#include <string>

namespace record {

inline constexpr const char* kSettingsFileName = "Calvane.toml";
inline constexpr const char* kStoreFileName = "History.sqlite";

/// What the user wants of the record: the table [history] of Calvane.toml in the user's folder.
struct HistorySettings {
    bool isOn = true;                           ///< record = false switches it off
    std::filesystem::path file;                 ///< this computer's own store
    std::string sharedUrl = {};                 ///< store = "postgresql://...": shared with others; empty for none
    std::optional<std::chrono::days> keep = {}; ///< keep = "1y": older sessions go; nothing: they stay for ever
    /// The file is the program's own: a damaged one makes room for a new one. One that somebody has named may be
    /// anything, and stays as it is.
    bool isOwnFile = true;
    /// The shared store is that of one run alone: it gets what this run records, and nothing that waits for another.
    bool isOfOneRun = false;

    bool operator==(const HistorySettings&) const = default;
};

/// Those of the user's folder `own`; the defaults where there is no file. Throws std::runtime_error naming file, line
/// and what is wrong: a password inside the URL, too, with the place where it belongs.
HistorySettings readSettings(const std::filesystem::path& own);
/// Puts them into the file; comments and everything else in it stay as they are. Throws std::runtime_error, with the
/// file as it was, where that is not to be had: the file is wrong already, or can't be written.
void saveSettings(const std::filesystem::path& own, const HistorySettings& settings);
/// Those of one run that records elsewhere than the file says: `place` is the path of a store of this computer, the URL
/// of a shared one, or "none". Nothing is pruned by such a run. Throws std::runtime_error as checkSharedUrl() does.
HistorySettings settingsFor(const std::string& place, const std::filesystem::path& own);
/// Whether it is the URL of a database rather than a path.
bool isUrl(const std::string& place);
/// "1y", "6m", "30d", "2w". Nothing where it is none of these.
std::optional<std::chrono::days> parsePeriod(const std::string& text);
/// "1y", or in days where it is no whole number of years.
std::string periodText(std::chrono::days period);
/// Throws std::runtime_error where `url` is none of a PostgreSQL database, or holds a password.
void checkSharedUrl(const std::string& url);

} // namespace record

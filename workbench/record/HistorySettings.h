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
};

/// Those of the user's folder `own`; the defaults where there is no file. Throws std::runtime_error naming file, line
/// and what is wrong: a password inside the URL, too, with the place where it belongs.
HistorySettings readSettings(const std::filesystem::path& own);
/// Puts them into the file; comments and everything else in it stay as they are.
void saveSettings(const std::filesystem::path& own, const HistorySettings& settings);
/// "1y", "6m", "30d", "2w". Nothing where it is none of these.
std::optional<std::chrono::days> parsePeriod(const std::string& text);
/// Throws std::runtime_error where `url` is none of a PostgreSQL database, or holds a password.
void checkSharedUrl(const std::string& url);

} // namespace record

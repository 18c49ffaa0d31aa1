#pragma once

#include "tessra/simulator/ConfigError.h"

// A text such as "[:a]" violates an assertion of the library, which refuses it properly behind that.
#define TOML_ASSERT(expr) static_assert(true)
#include <toml++/toml.h>

#include <cstdint>
#include <filesystem>
#include <optional>
#include <set>
#include <string>
#include <string_view>

namespace tessra {

/// Times in a configuration are at most a day.
inline constexpr std::int64_t kMaxConfigMs = std::int64_t{24} * 3600 * 1000;

/// Reads one table of a configuration file key by key. Every failure is a ConfigError at its line; a key that has not
/// been asked for when all were read is unknown. `file` and `table` must outlive this.
class ConfigTable {
public:
    /// `what` is the table's name in messages.
    ConfigTable(const std::filesystem::path& file, const toml::table& table, std::string_view what)
        : file_(file), table_(table), what_(what) {}

    /// At the line of `key`, or of the table where there is no such key.
    [[noreturn]] void fail(const std::string& reason, std::string_view key = {}) const;
    bool has(std::string_view key) const { return table_.contains(key); }

    std::optional<std::int64_t> integer(std::string_view key, std::int64_t min, std::int64_t max);
    bool flag(std::string_view key, bool otherwise);
    /// Not empty.
    std::optional<std::string> text(std::string_view key);
    /// A text for a phone: at most `maxBytes` printable ASCII characters. `target` stays where there is none.
    void phoneText(std::string_view key, std::size_t maxBytes, std::string& target);
    /// A relative one starts at the file's folder; empty where there is none.
    std::filesystem::path path(std::string_view key);
    /// Calls `read` with each table of an array of tables ([[key]]).
    template <class Read>
    void tables(std::string_view key, Read read) {
        for (const toml::node& element : tableArray(key)) {
            ConfigTable table(file_, *element.as_table(), key);
            read(table);
            table.refuseUnknownKeys();
        }
    }
    void refuseUnknownKeys() const;

private:
    const toml::node* find(std::string_view key);
    const toml::array& tableArray(std::string_view key);

    const std::filesystem::path& file_;
    const toml::table& table_;
    const std::string_view what_;
    std::set<std::string_view> asked_;
};

} // namespace tessra

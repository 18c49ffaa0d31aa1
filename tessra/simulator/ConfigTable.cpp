#include "tessra/simulator/ConfigTable.h"

#include <algorithm>

namespace tessra {

void ConfigTable::fail(const std::string& reason, std::string_view key) const {
    const toml::node* const value = table_.get(key);
    throw ConfigError(file_, (value != nullptr ? value : &table_)->source().begin.line, reason);
}

std::optional<std::int64_t> ConfigTable::integer(std::string_view key, std::int64_t min, std::int64_t max) {
    const toml::node* const node = find(key);
    if (node == nullptr) {
        return std::nullopt;
    }
    const auto value = node->value_exact<std::int64_t>();
    if (!value || *value < min || *value > max) {
        fail("'" + std::string(key) + "' must be a whole number from " + std::to_string(min) + " to " +
                 std::to_string(max),
             key);
    }
    return value;
}

bool ConfigTable::flag(std::string_view key, bool otherwise) {
    const toml::node* const node = find(key);
    if (node == nullptr) {
        return otherwise;
    }
    const auto value = node->value_exact<bool>();
    if (!value) {
        fail("'" + std::string(key) + "' must be true or false", key);
    }
    return *value;
}

std::optional<std::string> ConfigTable::text(std::string_view key) {
    const toml::node* const node = find(key);
    if (node == nullptr) {
        return std::nullopt;
    }
    auto value = node->value_exact<std::string>();
    if (!value || value->empty()) {
        fail("'" + std::string(key) + "' must be a text that is not empty", key);
    }
    return value;
}

void ConfigTable::phoneText(std::string_view key, std::size_t maxBytes, std::string& target) {
    const auto isPrintable = [](unsigned char character) { return character >= 0x20 && character < 0x7F; };
    const std::string value = text(key).value_or(target);
    if (value.size() > maxBytes || !std::all_of(value.begin(), value.end(), isPrintable)) {
        fail("'" + std::string(key) + "' must be at most " + std::to_string(maxBytes) + " printable ASCII characters",
             key);
    }
    target = value;
}

std::filesystem::path ConfigTable::path(std::string_view key) {
    const auto value = text(key);
    return value ? file_.parent_path() / *value : std::filesystem::path();
}

void ConfigTable::refuseUnknownKeys() const {
    for (const auto& [key, node] : table_) {
        if (!asked_.contains(key.str())) {
            throw ConfigError(file_, key.source().begin.line,
                              "unknown key '" + std::string(key.str()) + "' in " + std::string(what_));
        }
    }
}

const toml::node* ConfigTable::find(std::string_view key) {
    asked_.insert(key);
    return table_.get(key);
}

const toml::array& ConfigTable::tableArray(std::string_view key) {
    static const toml::array kNone;
    const toml::node* const node = find(key);
    if (node == nullptr) {
        return kNone;
    }
    const toml::array* const array = node->as_array();
    if (array == nullptr || (!array->empty() && !array->is_homogeneous<toml::table>())) {
        fail("'" + std::string(key) + "' must be tables, each under [[" + std::string(key) + "]]", key);
    }
    return *array;
}

} // namespace tessra

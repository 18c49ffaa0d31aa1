#include "workbench/record/Database.h"

#include "platform/kernel/Text.h"

#include <libpq-fe.h>
#include <sqlite3.h>

namespace record {
namespace {

template <class Kind>
Kind valueIn(const Value& value) {
    if (std::holds_alternative<std::monostate>(value)) {
        return {};
    }
    if (const Kind* found = std::get_if<Kind>(&value)) {
        return *found;
    }
    throw DatabaseError(DatabaseError::Kind::kDamaged, "a column of the record holds what does not belong there");
}

} // namespace

std::int64_t numberIn(const Value& value) {
    return valueIn<std::int64_t>(value);
}

std::string textIn(const Value& value) {
    return valueIn<std::string>(value);
}

Bytes bytesIn(const Value& value) {
    return valueIn<Bytes>(value);
}

std::string storableText(std::string_view text) {
    std::string storable;
    storable.reserve(text.size());
    while (!text.empty()) {
        const std::size_t length = text.front() == '\0' ? 0 : kernel::utf8Length(text);
        storable += length == 0 ? "?" : text.substr(0, length);
        text.remove_prefix(length == 0 ? 1 : length);
    }
    return storable;
}

std::string inWords(std::string sql, std::span<const std::pair<std::string_view, std::string_view>> words) {
    for (const auto& [word, own] : words) {
        for (std::size_t at = sql.find(word); at != std::string::npos; at = sql.find(word, at + own.size())) {
            sql.replace(at, word.size(), own);
        }
    }
    return sql;
}

std::string databaseVersions() {
    constexpr int kMajor = 10000;
    const int client = PQlibVersion();
    return std::string("SQLite ") + sqlite3_libversion() + ", libpq " + std::to_string(client / kMajor) + "." +
           std::to_string(client % kMajor);
}

} // namespace record

#include "workbench/record/Contents.h"

#include "workbench/record/Rows.h"

#include <algorithm>

namespace record {

Bytes storedBytes(const ItemData& data) {
    const auto last = std::find_if(data.rbegin(), data.rend(), [](std::uint8_t byte) { return byte != 0; });
    return {data.begin(), last.base()};
}

ItemData itemDataOf(const Bytes& bytes) {
    ItemData data{};
    if (bytes.size() > data.size()) {
        throw DatabaseError(DatabaseError::Kind::kDamaged, "the record has an item of too many bytes");
    }
    std::ranges::copy(bytes, data.begin());
    return data;
}

std::optional<ItemData> itemDataIn(const Value& column) {
    if (std::holds_alternative<std::monostate>(column)) {
        return std::nullopt;
    }
    return itemDataOf(bytesIn(column));
}

ContentIds contentIds(Database& database, const std::set<Bytes>& contents) {
    ContentIds ids;
    const auto keep = [&ids](const std::vector<Row>& rows) {
        for (const Row& row : rows) {
            ids.emplace(bytesIn(row.at(1)), numberIn(row.at(0)));
        }
    };
    const std::vector<Value> wanted(contents.begin(), contents.end());
    keep(selectIn(database, "SELECT id, bytes FROM content WHERE bytes IN", wanted));
    std::vector<Row> missing;
    for (const Bytes& bytes : contents) {
        if (!ids.contains(bytes)) {
            missing.push_back({bytes});
        }
    }
    keep(insertRows(database, "INSERT INTO content (bytes) VALUES", missing, "RETURNING id, bytes"));
    return ids;
}

} // namespace record

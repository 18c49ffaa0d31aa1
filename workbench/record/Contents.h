#pragma once

#include "workbench/record/Database.h"
#include "workbench/record/Session.h"

#include <cstdint>
#include <map>
#include <optional>
#include <set>

namespace record {

/// The bytes of an item as the store has them: without the zeros at their end.
Bytes storedBytes(const ItemData& data);
/// The item of such bytes. Throws a DatabaseError of the kind kDamaged where they are more than an item has.
ItemData itemDataOf(const Bytes& bytes);
/// That of a column of bytes, nothing where nothing stands there.
std::optional<ItemData> itemDataIn(const Value& column);

/// Where each of these contents stands in the store; those that are not there are added. Within a transaction.
using ContentIds = std::map<Bytes, std::int64_t>;
ContentIds contentIds(Database& database, const std::set<Bytes>& contents);

} // namespace record

#pragma once

#include "workbench/record/Database.h"
#include "workbench/record/Session.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <set>

namespace record {

/// Contents by the numbers of their items.
using Values = std::map<std::uint16_t, Bytes>;

/// Records that the phone had these values at that time, as a session found them. Sessions may come in any order: what
/// stands in the store is when a value began to be another one. Answers how many are others than those that were known
/// for that time; one of which nothing was known is none of them. Within a transaction, as all here.
std::size_t putValues(Database& database, std::int64_t phone, std::int64_t session, std::int64_t atMs,
                      const Values& values);

/// Makes the latest values of these items of the phone what the record over time says.
void renewLatest(Database& database, std::int64_t phone, const std::set<std::uint16_t>& numbers);

} // namespace record

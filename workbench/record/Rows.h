#pragma once

#include "workbench/record/Database.h"

#include <functional>
#include <span>
#include <string>
#include <vector>

namespace record {

/// Inserts `rows` of the same length each by `into`, "INSERT INTO table (columns) VALUES", and `behind` what follows
/// the rows. Many rows are one statement, as a server's answer to each would be waited for. Answers the
/// rows of a RETURNING, in any order.
std::vector<Row> insertRows(Database& database, const std::string& into, std::span<const Row> rows,
                            const std::string& behind = {});

/// Runs `select`, "SELECT ... IN", for all of `values`: answers the rows of all of them, in any order. `behind` follows
/// the list.
std::vector<Row> selectIn(Database& database, const std::string& select, std::span<const Value> values,
                          const std::string& behind = {});

} // namespace record

#pragma once

#include "workbench/record/Database.h"

namespace record {

inline constexpr int kSchemaVersion = 1;

/// What may be done with a store.
enum class Access {
    kWritable,
    kReadOnly, ///< a newer program has made it, or its owner lets nobody write
};

/// Makes the tables where there are none, and brings older ones forward, in one transaction.
Access openSchema(Database& database);

} // namespace record

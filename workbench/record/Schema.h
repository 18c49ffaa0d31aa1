#pragma once

#include "workbench/record/Database.h"

#include <span>

namespace record {

inline constexpr int kSchemaVersion = 1;

/// What may be done with a store.
enum class Access {
    kWritable,
    kReadOnly, ///< a newer program has made it, or its owner lets nobody write
};

/// What makes a store of one version one of the next: statements in the words of Database::inOwnWords(). The first
/// makes version 1 of nothing.
using Migration = std::span<const char* const>;
std::span<const Migration> migrations();

/// Makes the tables where there are none, and brings older ones forward, in one transaction. Throws a DatabaseError of
/// the kind kDamaged where they are none of ours.
Access openSchema(Database& database, std::span<const Migration> steps = migrations());

} // namespace record

#pragma once

#include "workbench/record/Database.h"

#include <string>

namespace record {

/// Makes an empty file at `path` where there is none: its user alone may read and write it, where SQLite would let
/// others read. Throws a DatabaseError where there is no regular file then.
void makeSqliteFile(const std::string& path);

/// Makes the file behind an open connection one of the record, if it is empty. One that is somebody else's is a
/// DatabaseError of the kind kDamaged, and not written to. Answers whether it has a log, so that those who read need
/// not wait for those who write.
bool claimSqliteFile(Database& database, const std::string& path);

} // namespace record

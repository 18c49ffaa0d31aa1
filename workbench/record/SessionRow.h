#pragma once

#include "workbench/record/Database.h"
#include "workbench/record/Session.h"

#include <string>

namespace record {

/// A session as its row tells it: "SELECT " + kSessionColumns + kSessionTables, with conditions on the session "s", its
/// phone "p" and its ring "r" behind it.
inline constexpr const char* kSessionColumns =
    "s.uuid, s.kind, s.state, s.begun, s.ended, s.received, s.program, r.path, r.sha256, s.port, p.model, p.serial,"
    " s.software, s.user_name, s.host, s.asked, s.failure, s.note, s.items, s.changed";
inline constexpr const char* kSessionTables =
    " FROM session s JOIN phone p ON p.id = s.phone LEFT JOIN ring r ON r.id = s.ring";

/// The session of such a row, which may have more columns behind these. Throws a DatabaseError of the kind kDamaged for
/// what no Session holds.
Session sessionOf(const Row& row);

/// What a column says where it holds the number of an enumerator, of which `last` is the last.
template <class Enumeration>
Enumeration enumeratorIn(const Value& column, Enumeration last) {
    const std::int64_t number = numberIn(column);
    if (number < 0 || number > static_cast<std::int64_t>(last)) {
        throw DatabaseError(DatabaseError::Kind::kDamaged, "the record has a state or a kind that is none");
    }
    return static_cast<Enumeration>(number);
}

} // namespace record

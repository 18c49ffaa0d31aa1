#include "workbench/record/Schema.h"

#include "platform/kernel/Text.h"

#include <array>
#include <optional>

namespace record {
namespace {

using Kind = DatabaseError::Kind;

constexpr const char* kMeta = "CREATE TABLE IF NOT EXISTS meta (name {ascii} PRIMARY KEY, value TEXT NOT NULL)";

/// Times are milliseconds since 1970 in UTC. Kinds and states are the numbers of the enumerators of Session.h.
constexpr std::array kVersion1{
    "CREATE TABLE ring (id {key}, path TEXT NOT NULL, sha256 TEXT NOT NULL, UNIQUE (path, sha256))",

    // "port" is empty where the serial number is known. "last_seen" is the begin of the newest session.
    "CREATE TABLE phone (id {key}, model TEXT NOT NULL, serial TEXT NOT NULL, port TEXT NOT NULL,"
    " last_seen BIGINT NOT NULL, sessions INTEGER NOT NULL, UNIQUE (model, serial, port))",

    // The bytes of an item without the zeros at their end.
    "CREATE TABLE content (id {key}, bytes {bytes} NOT NULL UNIQUE)",

    // A set of items as reads found them. "hash" is over the whole set; "base" is the snapshot to which its rows are
    // the differences, and "depth" how many bases lie below it.
    "CREATE TABLE snapshot (id {key}, hash {bytes} NOT NULL UNIQUE, base INTEGER, depth INTEGER NOT NULL)",

    // An item that the base has and the set has not: state -1.
    "CREATE TABLE snapshot_item (snapshot INTEGER NOT NULL, item INTEGER NOT NULL, state INTEGER NOT NULL,"
    " status INTEGER NOT NULL, content INTEGER, PRIMARY KEY (snapshot, item)) {tight}",

    // "snapshot" of reads alone. "ring" where one is known. "pid" and "pid_start" of the process that has begun it.
    "CREATE TABLE session (id {key}, uuid {ascii} NOT NULL UNIQUE, phone INTEGER NOT NULL, kind INTEGER NOT NULL,"
    " state INTEGER NOT NULL, begun BIGINT NOT NULL, ended BIGINT, received BIGINT, program TEXT NOT NULL,"
    " ring INTEGER, port TEXT NOT NULL, software TEXT NOT NULL, user_name TEXT NOT NULL, host TEXT NOT NULL,"
    " pid BIGINT, pid_start TEXT, asked TEXT NOT NULL, snapshot INTEGER, items INTEGER NOT NULL,"
    " changed INTEGER NOT NULL, failure TEXT NOT NULL, note TEXT NOT NULL, handed_over INTEGER NOT NULL)",
    "CREATE INDEX session_of_phone ON session (phone, begun)",
    "CREATE INDEX session_begun ON session (begun)",
    "CREATE INDEX session_open ON session (host) WHERE state = 0",
    "CREATE INDEX session_pending ON session (begun) WHERE handed_over = 0",

    // Of writes alone; the three are contents, where they are known.
    "CREATE TABLE session_item (session INTEGER NOT NULL, item INTEGER NOT NULL, position INTEGER NOT NULL,"
    " state INTEGER NOT NULL, status INTEGER NOT NULL, before INTEGER, wanted INTEGER, after INTEGER,"
    " reason TEXT NOT NULL, PRIMARY KEY (session, item)) {tight}",

    // From "since" on the phone had the content, until the next row. "session" is gone where it was pruned.
    "CREATE TABLE over_time (phone INTEGER NOT NULL, item INTEGER NOT NULL, since BIGINT NOT NULL,"
    " session INTEGER, content INTEGER NOT NULL, PRIMARY KEY (phone, item, since)) {tight}",

    // The last of these rows for each phone, with the bytes themselves: an item's values of all phones are one piece of
    // the file, and not a page each.
    "CREATE TABLE latest (item INTEGER NOT NULL, phone INTEGER NOT NULL, since BIGINT NOT NULL, bytes {bytes} NOT NULL,"
    " PRIMARY KEY (item, phone) {carrying since, bytes}) {tight}",
};
constexpr std::array<Migration, kSchemaVersion> kMigrations{kVersion1};

/// Nothing where there is no store yet.
std::optional<std::size_t> versionOf(Database& database) {
    const auto rows = database.run("SELECT value FROM meta WHERE name = 'schema'");
    if (rows.empty()) {
        return std::nullopt;
    }
    const auto version = kernel::wholeNumber<std::size_t>(textIn(rows[0].at(0)));
    if (!version) {
        throw DatabaseError(Kind::kDamaged, "the record does not tell the version of its tables");
    }
    return version;
}

/// The same without a transaction around it, where the table may be missing.
std::optional<std::size_t> versionIfAny(Database& database) {
    try {
        return versionOf(database);
    } catch (const DatabaseError& error) {
        if (error.kind() != Kind::kOther) {
            throw;
        }
        return std::nullopt;
    }
}

/// A file can be made to look like ours.
void requireTables(Database& database) {
    try {
        database.run(
            "SELECT 1 FROM ring, phone, content, snapshot, snapshot_item, session, session_item, over_time, latest"
            " WHERE 1 = 0");
    } catch (const DatabaseError& error) {
        throw DatabaseError(error.kind() == Kind::kOther ? Kind::kDamaged : error.kind(), error.what());
    }
}

} // namespace

std::span<const Migration> migrations() {
    return kMigrations;
}

Access openSchema(Database& database, std::span<const Migration> steps) {
    const auto found = versionIfAny(database);
    if (found && *found <= steps.size()) {
        requireTables(database);
    }
    if (found && (*found > steps.size() || !database.mayWrite())) {
        return Access::kReadOnly;
    }
    if (found == steps.size()) {
        return Access::kWritable;
    }
    Transaction transaction(database, true);
    database.run(database.inOwnWords(kMeta));
    const std::size_t version = versionOf(database).value_or(0); // another process may have been faster
    for (std::size_t step = version; step < steps.size(); ++step) {
        for (const char* statement : steps[step]) {
            database.run(database.inOwnWords(statement));
        }
    }
    if (version < steps.size()) {
        database.run("DELETE FROM meta WHERE name = 'schema'");
        database.run("INSERT INTO meta (name, value) VALUES ('schema', ?1)", {std::to_string(steps.size())});
    }
    transaction.commit();
    return Access::kWritable;
}

} // namespace record

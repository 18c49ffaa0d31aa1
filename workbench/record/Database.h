#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

namespace record {

using Bytes = std::vector<std::uint8_t>;
/// What stands in a column, or for a parameter: nothing, a number, a text in UTF-8, bytes.
using Value = std::variant<std::monostate, std::int64_t, std::string, Bytes>;
using Row = std::vector<Value>;

/// Why a database has not done what it was asked for.
class DatabaseError : public std::runtime_error {
public:
    enum class Kind {
        kBusy,        ///< others hold it; it may work later
        kFull,        ///< no room on the disk
        kDamaged,     ///< the file is none of ours, or no longer whole
        kUnreachable, ///< no file or server there, or it is gone, or we are not let in
        kOther,
    };
    DatabaseError(Kind kind, const std::string& text) : std::runtime_error(text), kind_(kind) {}
    Kind kind() const { return kind_; }

private:
    Kind kind_;
};

/// One connection to a database, the same for every kind of it. One thread at a time. Every call may throw a
/// DatabaseError.
class Database {
public:
    virtual ~Database() = default;

    /// Runs one statement. Parameters stand in `sql` as ?1, ?2, ...; statements are prepared once and kept.
    virtual std::vector<Row> run(std::string_view sql, std::span<const Value> parameters) = 0;
    std::vector<Row> run(std::string_view sql, std::initializer_list<Value> parameters = {}) {
        return run(sql, std::span(parameters.begin(), parameters.size()));
    }
    /// A transaction that writes. From here to commit() or rollback() nothing of it is seen by others.
    /// `durable`: what is committed outlives a power cut, too; otherwise the last second may be lost with it, and
    /// nothing with the process.
    virtual void begin(bool durable) = 0;
    virtual void commit() = 0;
    /// Throws nothing.
    virtual void rollback() noexcept = 0;
    /// `sql` of a table in words of this database: "{key}" is a primary key that counts itself up, "{bytes}" the type
    /// of bytes, "{ascii}" that of a text of ASCII alone which is found by its first characters, "{tight}" what follows
    /// the columns of a table that is kept in the order of its primary key. "{carrying a, b}" behind a primary key has
    /// the key's index carry these columns where the table is kept in another order.
    virtual std::string inOwnWords(std::string sql) const = 0;
    /// Whether it is shared by several stations.
    virtual bool isShared() const = 0;
    /// Whether its owner lets this user write.
    virtual bool mayWrite() = 0;
    /// Milliseconds since 1970 by its own clock, which is the server's.
    virtual std::int64_t nowMs() = 0;
    /// Gives the room of what was removed back to the disk, as far as that is for a user to do.
    virtual void giveBackRoom() = 0;
};

/// What stands in a column that was made for such values; empty and 0 for nothing. Throw a DatabaseError of the kind
/// kDamaged for any other, as somebody else may have written the file.
std::int64_t numberIn(const Value& value);
std::string textIn(const Value& value);
Bytes bytesIn(const Value& value);

/// `text` as every database takes it: a question mark stands for a byte that is no UTF-8, and for a NUL. Parameters are
/// made so by the databases themselves.
std::string storableText(std::string_view text);

/// `sql` with `own` for each `word`.
std::string inWords(std::string sql, std::span<const std::pair<std::string_view, std::string_view>> words);

/// Rolls back unless it was committed.
class Transaction {
public:
    explicit Transaction(Database& database, bool durable = false) : database_(&database) { database.begin(durable); }
    ~Transaction() {
        if (database_ != nullptr) {
            database_->rollback();
        }
    }
    Transaction(const Transaction&) = delete;
    Transaction& operator=(const Transaction&) = delete;
    void commit() {
        database_->commit();
        database_ = nullptr;
    }

private:
    Database* database_;
};

/// The SQLite file at `path`, which is made where there is none; readable and writable by its user alone.
std::unique_ptr<Database> openSqlite(const std::string& path);
/// The PostgreSQL database of `url`, "postgresql://...". Passwords come from libpq's own places; waits a few seconds
/// for a server.
std::unique_ptr<Database> openPostgres(const std::string& url);

/// The libraries behind both, for people: "SQLite 3.40.1, libpq 15.20".
std::string databaseVersions();

} // namespace record

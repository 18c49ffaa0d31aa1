#include "workbench/record/Database.h"
#include "workbench/record/SqliteFile.h"

#include <sqlite3.h>
#include <sys/stat.h>
#include <sys/statvfs.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <map>
#include <system_error>

namespace record {
namespace {

using Kind = DatabaseError::Kind;

constexpr int kBusyMs = 5000;
/// Longer than any text or row of the record; a file of somebody else's making may hold longer ones.
constexpr int kLongestValue = 1 << 24;
constexpr int kPagesAtOnce = 2000;

struct CloseConnection {
    void operator()(sqlite3* connection) const { sqlite3_close_v2(connection); }
};
struct FinalizeStatement {
    void operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }
};
using Statement = std::unique_ptr<sqlite3_stmt, FinalizeStatement>;

Kind kindOf(sqlite3* connection, int code) {
    switch (code & 0xFF) {
    case SQLITE_BUSY:
    case SQLITE_LOCKED:
        return Kind::kBusy;
    case SQLITE_FULL:
        return Kind::kFull;
    case SQLITE_CORRUPT:
    case SQLITE_NOTADB:
        return Kind::kDamaged;
    case SQLITE_CANTOPEN:
        return Kind::kUnreachable;
    case SQLITE_IOERR:
        // SQLite knows one reason of the system for a full disk, and there are others: a quota, a limit of files.
        return code == SQLITE_IOERR_WRITE && sqlite3_system_errno(connection) != EIO ? Kind::kFull : Kind::kOther;
    default:
        return Kind::kOther;
    }
}

Value columnOf(sqlite3_stmt* statement, int column) {
    switch (sqlite3_column_type(statement, column)) {
    case SQLITE_NULL:
        return {};
    case SQLITE_TEXT: {
        const auto* text = static_cast<const char*>(sqlite3_column_blob(statement, column));
        return std::string(text, static_cast<std::size_t>(sqlite3_column_bytes(statement, column)));
    }
    case SQLITE_BLOB: {
        const auto* bytes = static_cast<const std::uint8_t*>(sqlite3_column_blob(statement, column));
        return Bytes(bytes, bytes + sqlite3_column_bytes(statement, column));
    }
    default:
        return std::int64_t{sqlite3_column_int64(statement, column)};
    }
}

class SqliteDatabase final : public Database {
public:
    explicit SqliteDatabase(const std::string& path) : path_(path) {
        makeSqliteFile(path);
        if (::stat(path.c_str(), &file_) != 0) {
            throw DatabaseError(Kind::kUnreachable, path + ": " + std::generic_category().message(errno));
        }
        sqlite3* connection = nullptr;
        const int code =
            sqlite3_open_v2(path.c_str(), &connection, SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX, nullptr);
        connection_.reset(connection);
        check(code);
        sqlite3_extended_result_codes(connection, 1);
        sqlite3_busy_timeout(connection, kBusyMs);
        // What a file of somebody else's making may hold is not run.
        for (const auto& [option, value] : {std::pair(SQLITE_DBCONFIG_DEFENSIVE, 1),
                                            {SQLITE_DBCONFIG_TRUSTED_SCHEMA, 0},
                                            {SQLITE_DBCONFIG_ENABLE_TRIGGER, 0},
                                            {SQLITE_DBCONFIG_ENABLE_VIEW, 0}}) {
            sqlite3_db_config(connection, option, value, nullptr);
        }
        sqlite3_limit(connection, SQLITE_LIMIT_LENGTH, kLongestValue);
        hasLog_ = claimSqliteFile(*this, path);
    }

    std::vector<Row> run(std::string_view sql, std::span<const Value> parameters) override {
        sqlite3_stmt* statement = prepared(sql);
        const std::unique_ptr<sqlite3_stmt, decltype(&sqlite3_reset)> reset(statement, &sqlite3_reset);
        for (std::size_t i = 0; i < parameters.size(); ++i) {
            check(bind(statement, static_cast<int>(i) + 1, parameters[i]));
        }
        std::vector<Row> rows;
        int code = SQLITE_OK;
        while ((code = sqlite3_step(statement)) == SQLITE_ROW) {
            Row& row = rows.emplace_back();
            row.reserve(static_cast<std::size_t>(sqlite3_column_count(statement)));
            for (int column = 0; column < sqlite3_column_count(statement); ++column) {
                row.push_back(columnOf(statement, column));
            }
        }
        if (code != SQLITE_DONE) {
            check(code);
        }
        return rows;
    }

    void begin(bool durable) override {
        struct stat now {};
        if (::stat(path_.c_str(), &now) != 0 || now.st_dev != file_.st_dev || now.st_ino != file_.st_ino) {
            throw DatabaseError(Kind::kUnreachable, path_ + ": the file was moved or removed meanwhile");
        }
        run(durable || !hasLog_ ? "PRAGMA synchronous = FULL" : "PRAGMA synchronous = NORMAL", {});
        run("BEGIN IMMEDIATE", {});
    }
    void commit() override { run("COMMIT", {}); }
    void rollback() noexcept override {
        // After some failures there is nothing left to roll back, which is as well.
        sqlite3_exec(connection_.get(), "ROLLBACK", nullptr, nullptr, nullptr);
    }

    std::string inOwnWords(std::string sql) const override {
        static constexpr std::array<std::pair<std::string_view, std::string_view>, 6> kWords{
            {{"{key}", "INTEGER PRIMARY KEY"},
             {"{bytes}", "BLOB"},
             {"{ascii}", "TEXT"},
             {"{tight}", "WITHOUT ROWID"},
             {"{carrying ", "/* "},
             {"}", " */"}}};
        return inWords(std::move(sql), kWords);
    }
    bool isShared() const override { return false; }
    bool mayWrite() override { return sqlite3_db_readonly(connection_.get(), "main") == 0; }
    std::int64_t nowMs() override {
        return std::chrono::duration_cast<std::chrono::milliseconds>(
                   std::chrono::system_clock::now().time_since_epoch())
            .count();
    }
    void giveBackRoom() override {
        // In pieces, so that whoever begins a write need not wait for all of it.
        for (std::int64_t left = number("PRAGMA freelist_count"); left > 0; left -= kPagesAtOnce) {
            run("PRAGMA incremental_vacuum(" + std::to_string(kPagesAtOnce) + ")", {});
        }
        run("PRAGMA wal_checkpoint(TRUNCATE)", {});
    }

private:
    std::int64_t number(std::string_view sql) { return numberIn(run(sql, {}).at(0).at(0)); }

    sqlite3_stmt* prepared(std::string_view sql) {
        const auto known = statements_.find(sql);
        if (known != statements_.end()) {
            return known->second.get();
        }
        sqlite3_stmt* statement = nullptr;
        check(sqlite3_prepare_v3(connection_.get(), sql.data(), static_cast<int>(sql.size()), SQLITE_PREPARE_PERSISTENT,
                                 &statement, nullptr));
        return statements_.emplace(sql, Statement(statement)).first->second.get();
    }

    static int bind(sqlite3_stmt* statement, int at, const Value& value) {
        if (const auto* number = std::get_if<std::int64_t>(&value)) {
            return sqlite3_bind_int64(statement, at, *number);
        }
        if (const auto* text = std::get_if<std::string>(&value)) {
            const std::string storable = storableText(*text);
            return sqlite3_bind_text(statement, at, storable.data(), static_cast<int>(storable.size()),
                                     SQLITE_TRANSIENT);
        }
        if (const auto* bytes = std::get_if<Bytes>(&value)) {
            // Without a place, it would be nothing instead of no bytes.
            return sqlite3_bind_blob(statement, at, bytes->empty() ? "" : static_cast<const void*>(bytes->data()),
                                     static_cast<int>(bytes->size()), SQLITE_TRANSIENT);
        }
        return sqlite3_bind_null(statement, at);
    }

    void check(int code) {
        if (code == SQLITE_OK) {
            return;
        }
        const Kind kind = kindOf(connection_.get(), code);
        const std::string reason = sqlite3_errmsg(connection_.get());
        if (kind == Kind::kOther && (code & 0xFF) == SQLITE_IOERR && isDiskFull()) {
            throw DatabaseError(Kind::kFull, path_ + ": no room is left on the disk (" + reason + ")");
        }
        throw DatabaseError(kind, path_ + ": " + reason);
    }

    /// SQLite has a word of its own for that only where it writes to the file, and not to the memory beside it.
    bool isDiskFull() const {
        struct statvfs disk {};
        return ::statvfs(path_.c_str(), &disk) == 0 && disk.f_blocks > 0 && disk.f_bavail == 0;
    }

    std::string path_;
    struct stat file_ {};
    bool hasLog_ = false;
    std::unique_ptr<sqlite3, CloseConnection> connection_;
    /// Behind the connection: they go before it.
    std::map<std::string, Statement, std::less<>> statements_;
};

} // namespace

std::unique_ptr<Database> openSqlite(const std::string& path) {
    return std::make_unique<SqliteDatabase>(path);
}

} // namespace record

#include "workbench/record/SqliteFile.h"

#include "platform/kernel/FileDescriptor.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <chrono>
#include <mutex>
#include <system_error>
#include <thread>

namespace record {
namespace {

using Kind = DatabaseError::Kind;

/// In the file's header: it is one of ours.
constexpr std::int64_t kApplicationId = 0x436C766E; // "Clvn"
/// As much of its log as stays on the disk when nobody needs it.
constexpr const char* kLogBytes = "PRAGMA journal_size_limit = 4194304";
/// How often a new file is tried that another process is just making, too, and how long the pause is.
constexpr int kTries = 50;
constexpr std::chrono::milliseconds kPause{20};

std::int64_t numberOf(Database& database, const std::string& sql) {
    return numberIn(database.run(sql).at(0).at(0));
}

bool claimOnce(Database& database, const std::string& path) {
    const auto markOf = [&database] { return numberOf(database, "PRAGMA application_id"); };
    if (markOf() != kApplicationId) {
        if (numberOf(database, "PRAGMA page_count") == 0) { // otherwise it may be somebody else's
            database.run("PRAGMA auto_vacuum = INCREMENTAL");
        }
        Transaction transaction(database);
        const std::int64_t mark = markOf();
        if (mark != kApplicationId && (mark != 0 || numberOf(database, "SELECT count(*) FROM sqlite_schema") > 0)) {
            throw DatabaseError(Kind::kDamaged, path + " is a database, but no record of phones");
        }
        database.run("PRAGMA application_id = " + std::to_string(kApplicationId));
        transaction.commit();
    }
    const bool hasLog = !database.mayWrite() || textIn(database.run("PRAGMA journal_mode = WAL").at(0).at(0)) == "wal";
    database.run(kLogBytes);
    return hasLog;
}

} // namespace

void makeSqliteFile(const std::string& path) {
    // Where a file is closed, the system drops all locks that this process has on it: another thread must not have some
    // already, and comes by here first.
    static std::mutex mutex;
    const std::scoped_lock lock(mutex);
    const kernel::FileDescriptor made(::open(path.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, S_IRUSR | S_IWUSR));
    if (!made && errno != EEXIST) {
        throw DatabaseError(errno == ENOSPC ? Kind::kFull : Kind::kUnreachable,
                            path + ": " + std::generic_category().message(errno));
    }
    struct stat file {};
    if (::stat(path.c_str(), &file) != 0 || !S_ISREG(file.st_mode)) {
        throw DatabaseError(Kind::kUnreachable, path + " is no regular file");
    }
}

bool claimSqliteFile(Database& database, const std::string& path) {
    for (int tries = 1;; ++tries) {
        try {
            return claimOnce(database, path);
        } catch (const DatabaseError& error) {
            // Two that make the same new file: SQLite does not wait where waiting could last for ever.
            if (error.kind() != Kind::kBusy || tries == kTries) {
                throw;
            }
            std::this_thread::sleep_for(kPause);
        }
    }
}

} // namespace record

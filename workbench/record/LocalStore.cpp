#include "workbench/record/LocalStore.h"

#include "platform/kernel/FileDescriptor.h"

#include <fcntl.h>
#include <sys/file.h>

#include <ctime>
#include <system_error>

namespace record {
namespace {

using Kind = DatabaseError::Kind;

std::unique_ptr<Store> openChecked(const std::filesystem::path& path, Check check) {
    auto store = std::make_unique<Store>(openSqlite(path.string()));
    if (check == Check::kWhole) {
        const std::string found = textIn(store->database().run("PRAGMA integrity_check(1)").at(0).at(0));
        if (found != "ok") {
            throw DatabaseError(Kind::kDamaged, path.string() + ": " + found);
        }
    }
    return store;
}

/// "History.damaged-20261124-101200.sqlite" for History.sqlite, with a number where that is taken.
std::filesystem::path freeName(const std::filesystem::path& path) {
    const std::time_t now = std::time(nullptr);
    std::tm utc{};
    ::gmtime_r(&now, &utc);
    char time[sizeof("20261124-101200")] = {};
    (void)std::strftime(time, sizeof(time), "%Y%m%d-%H%M%S", &utc);
    const std::string stem = path.stem().string() + ".damaged-" + time;
    for (int number = 1;; ++number) {
        auto name =
            path.parent_path() / (stem + (number > 1 ? "-" + std::to_string(number) : "") + path.extension().string());
        if (!std::filesystem::exists(name)) {
            return name;
        }
    }
}

/// The side files first: without them the file is still whole enough to be found damaged by the next program.
std::filesystem::path moveAside(const std::filesystem::path& path) {
    std::filesystem::path to = freeName(path);
    for (const char* side : {"-wal", "-shm", ""}) {
        std::error_code error;
        std::filesystem::rename(path.string() + side, to.string() + side, error);
        if (error && error != std::errc::no_such_file_or_directory) {
            throw DatabaseError(Kind::kUnreachable,
                                path.string() + ": it is damaged, and can't be moved aside: " + error.message());
        }
    }
    return to;
}

} // namespace

std::unique_ptr<Store> openLocalStore(const std::filesystem::path& path, std::string& told, Check check) {
    std::error_code ignored; // opening the file says what is wrong with its folder
    std::filesystem::create_directories(path.parent_path(), ignored);
    try {
        return openChecked(path, check);
    } catch (const DatabaseError& error) {
        if (error.kind() != Kind::kDamaged) {
            throw;
        }
    }
    // Of several programs that see the damage, the first moves the file; the others find the new one behind the lock.
    const kernel::FileDescriptor lock(::open((path.string() + ".lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600));
    ::flock(lock.number(), LOCK_EX);
    try {
        return openChecked(path, check);
    } catch (const DatabaseError& error) {
        if (error.kind() != Kind::kDamaged) {
            throw;
        }
        const std::filesystem::path aside = moveAside(path);
        auto store = openChecked(path, Check::kQuick);
        told = "The history of phones was damaged (" + std::string(error.what()) + "). It was moved to " +
               aside.string() + ", and a new one was begun.";
        return store;
    }
}

} // namespace record

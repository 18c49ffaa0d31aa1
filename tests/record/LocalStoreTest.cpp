// The store's file on this computer: whose it is, who may read it, and what becomes of a damaged one.

#include "tests/record/Sessions.h"
#include "tests/support/FileSizeLimit.h"
#include "tests/support/Processes.h"

#include <signal.h>
#include <sqlite3.h>

namespace record {
namespace {

constexpr std::size_t kPage = 4096;

void runSql(const std::filesystem::path& file, const std::string& sql) {
    sqlite3* database = nullptr;
    ASSERT_EQ(sqlite3_open(file.c_str(), &database), SQLITE_OK);
    EXPECT_EQ(sqlite3_exec(database, sql.c_str(), nullptr, nullptr, nullptr), SQLITE_OK) << sqlite3_errmsg(database);
    sqlite3_close(database);
}

std::string namesIn(const TemporaryFolder& folder) {
    return outputOf("ls " + folder.path.string() + " | sed 's/-[0-9]\\{8\\}-[0-9]\\{6\\}/-TIME/' | tr '\\n' ' '");
}

TEST(LocalStoreTest, AFileThatIsNoneOfOursOrDamagedIsMovedAside) {
    const std::string ours = "PRAGMA application_id = 1131181678;";
    const struct {
        const char* name;
        std::function<void(const std::filesystem::path&)> make;
        Check check = Check::kQuick;
    } cases[] = {
        {"text", [](const auto& file) { writeText(file, "something else, and longer than a header of a database"); }},
        {"somebody else's", [](const auto& file) { runSql(file, "CREATE TABLE session (uuid TEXT)"); }},
        {"no version",
         [&](const auto& file) {
             runSql(file, ours + "CREATE TABLE meta (name TEXT, value TEXT); INSERT INTO meta VALUES ('schema', 'x')");
         }},
        {"tables of others",
         [&](const auto& file) {
             runSql(file, ours + "CREATE TABLE meta (name TEXT, value TEXT); INSERT INTO meta VALUES ('schema', '1');"
                                 "CREATE VIEW session AS SELECT * FROM meta");
         }},
        {"cut",
         [](const auto& file) {
             std::string told;
             openLocalStore(file, told);
             std::filesystem::resize_file(file, 3 * kPage);
         }},
        {"a page overwritten",
         [](const auto& file) {
             std::string told;
             openLocalStore(file, told);
             const std::string text = readText(file);
             writeText(file, text.substr(0, 5 * kPage) + std::string(kPage, 'x') + text.substr(6 * kPage));
         },
         Check::kWhole},
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(row.name);
        TemporaryFolder folder;
        const auto file = folder / "History.sqlite";
        row.make(file);
        const std::string before = readText(file);
        std::string told;
        const auto store = openLocalStore(file, told, row.check);
        EXPECT_TRUE(store->add(session("a", 10), std::vector{found(1, 5)}));
        EXPECT_EQ(namesIn(folder), "History.damaged-TIME.sqlite History.sqlite History.sqlite-shm History.sqlite-wal "
                                   "History.sqlite.lock ");
        if (before.find("Clvn") == std::string::npos) {
            EXPECT_TRUE(readText(outputOf("printf %s " + (folder / "*damaged*sqlite").string())) == before);
        }
        EXPECT_TRUE(told.ends_with(", and a new one was begun.")) << told;

        told.clear();
        EXPECT_EQ(countOf(*openLocalStore(file, told, Check::kWhole), "session"), 1);
        EXPECT_EQ(told, "");
    }
}

TEST(LocalStoreTest, OthersOfThisComputerReadNothingOfIt) {
    TemporaryFolder folder;
    std::string told;
    const auto store = openLocalStore(folder / "own" / "History.sqlite", told);
    store->add(session("a", 10), {});
    EXPECT_EQ(outputOf("stat -c '%a %n' " + (folder / "own").string() + "/* | sed 's,/.*/,,'"),
              "600 History.sqlite\n600 History.sqlite-shm\n600 History.sqlite-wal\n");
}

TEST(LocalStoreTest, AFileThatWasRemovedTakesNoSessions) {
    TemporaryFolder folder;
    std::string told;
    const auto store = openLocalStore(folder / "History.sqlite", told);
    std::filesystem::rename(folder / "History.sqlite", folder / "elsewhere");
    try {
        store->add(session("a", 10), {});
        FAIL() << "it went into a file that nobody will open";
    } catch (const DatabaseError& error) {
        EXPECT_EQ(error.kind(), DatabaseError::Kind::kUnreachable);
    }
}

TEST(LocalStoreTest, AFullDiskTakesNothingAndLeavesTheRest) {
    TemporaryFolder folder;
    const auto file = folder / "History.sqlite";
    std::string told;
    const auto store = openLocalStore(file, told);
    store->add(session("a", 10), std::vector{found(1, 5)});
    std::vector<SessionItem> many;
    for (int number = 0; number < 2000; ++number) {
        many.push_back(found(static_cast<std::uint16_t>(number), static_cast<std::uint8_t>(number)));
    }
    ::signal(SIGXFSZ, SIG_IGN);
    {
        const FileSizeLimit full(std::filesystem::file_size(file.string() + "-wal") + kPage);
        try {
            store->add(session("b", 20), many);
            FAIL() << "there is no room for it";
        } catch (const DatabaseError& error) {
            EXPECT_EQ(error.kind(), DatabaseError::Kind::kFull) << error.what();
        }
    }
    EXPECT_EQ(overTime(*store), "1: 10=5!");
    EXPECT_TRUE(store->add(session("b", 20), many));
    EXPECT_EQ(countOf(*openLocalStore(file, told, Check::kWhole), "session"), 2);
}

TEST(LocalStoreTest, AStoreOfTheFirstReleaseIsOpened) {
    TemporaryFolder folder;
    runSql(folder / "History.sqlite", readText(CALVANE_SOURCE_DIR "/tests/record/history-1.sql"));
    std::string told;
    const auto store = openLocalStore(folder / "History.sqlite", told);
    EXPECT_EQ(told, "");
    EXPECT_EQ(overTime(*store), "1060: 10=4 20=5!");
    EXPECT_TRUE(store->add(session("a", 30), std::vector{found(1060, 5), found(1007, 1)}));
    EXPECT_EQ(overTime(*store), "1007: 30=1!; 1060: 10=4 20=5!");
}

TEST(LocalStoreTest, RoomIsGivenBack) {
    TemporaryFolder folder;
    std::string told;
    const auto store = openLocalStore(folder / "History.sqlite", told);
    const auto size = [&] { return std::filesystem::file_size(folder / "History.sqlite"); };
    store->database().giveBackRoom();
    const auto empty = size();
    for (int at = 0; at < 50; ++at) {
        std::vector<SessionItem> items;
        for (int number = 0; number < 100; ++number) {
            items.push_back(found(static_cast<std::uint16_t>(number), static_cast<std::uint8_t>(at + number)));
        }
        store->add(session(std::to_string(at), at), items);
    }
    EXPECT_EQ(store->prune(timeOf(1000), false), 50U);
    EXPECT_LE(size(), empty + 2 * kPage);
}

} // namespace
} // namespace record

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

std::vector<SessionItem> manyItems(int count, int value) {
    std::vector<SessionItem> items;
    for (int number = 0; number < count; ++number) {
        items.push_back(found(static_cast<std::uint16_t>(number), static_cast<std::uint8_t>(value + number)));
    }
    return items;
}

std::string namesIn(const TemporaryFolder& folder) {
    return outputOf("ls " + folder.path.string() + " | sed 's/-[0-9]\\{8\\}-[0-9]\\{6\\}/-TIME/' | tr '\\n' ' '");
}

class LocalStoreTest : public testing::Test {
protected:
    std::unique_ptr<Store> open(Check check = Check::kQuick) { return openLocalStore(file_, told_, check); }

    TemporaryFolder folder_;
    std::filesystem::path file_ = folder_ / "History.sqlite";
    std::string told_;
};

#define OURS "PRAGMA application_id = 1131181678; CREATE TABLE meta (name TEXT, value TEXT);"
struct Damage {
    const char* name;
    const char* sql = nullptr;
    std::size_t cutBehind = 0;
    std::size_t overwritten = 0;
};
class DamagedStoreTest : public LocalStoreTest, public testing::WithParamInterface<Damage> {};
INSTANTIATE_TEST_SUITE_P(
    Of, DamagedStoreTest,
    testing::Values(Damage{"Text"},
                    Damage{"SomebodyElse", "PRAGMA auto_vacuum = FULL; CREATE TABLE session (uuid TEXT)"},
                    Damage{"NoVersion", OURS "INSERT INTO meta VALUES ('schema', 'x')"},
                    Damage{"OtherTables", OURS "INSERT INTO meta VALUES ('schema', '1');"
                                               "CREATE VIEW session AS SELECT * FROM meta"},
                    Damage{.name = "Cut", .cutBehind = 3}, Damage{.name = "Overwritten", .overwritten = 5}),
    [](const auto& each) { return each.param.name; });

TEST_P(DamagedStoreTest, IsMovedAside) {
    std::string before = "something else, and longer than a header of a database";
    if (GetParam().sql != nullptr) {
        runSql(file_, GetParam().sql);
        before = readText(file_);
    } else if (GetParam().cutBehind + GetParam().overwritten > 0) {
        open();
        before = readText(file_);
        if (GetParam().cutBehind > 0) {
            before.resize(GetParam().cutBehind * kPage);
        } else {
            before.replace(GetParam().overwritten * kPage, kPage, kPage, 'x');
        }
    }
    writeText(file_, before);

    const auto store = open(GetParam().overwritten > 0 ? Check::kWhole : Check::kQuick);
    EXPECT_TRUE(store->add(session("a", 10), std::vector{found(1, 5)}));
    EXPECT_EQ(namesIn(folder_), "History.damaged-TIME.sqlite History.sqlite History.sqlite-shm History.sqlite-wal "
                                "History.sqlite.lock ");
    if (before.find("Clvn") == std::string::npos) {
        EXPECT_TRUE(readText(outputOf("printf %s " + (folder_ / "*damaged*sqlite").string())) == before);
    }
    EXPECT_TRUE(told_.ends_with(", and a new one was begun.")) << told_;

    told_.clear();
    EXPECT_EQ(countOf(*open(Check::kWhole), "session"), 1);
    EXPECT_EQ(told_, "");
}

TEST_F(LocalStoreTest, OthersOfThisComputerReadNothingOfIt) {
    const auto store = openLocalStore(folder_ / "own" / "History.sqlite", told_);
    store->add(session("a", 10), {});
    EXPECT_EQ(outputOf("stat -c '%a %n' " + (folder_ / "own").string() + "/* | sed 's,/.*/,,'"),
              "600 History.sqlite\n600 History.sqlite-shm\n600 History.sqlite-wal\n");
}

TEST_F(LocalStoreTest, AFileThatWasRemovedTakesNoSessions) {
    const auto store = open();
    std::filesystem::rename(file_, folder_ / "elsewhere");
    const auto other = open(); // somebody has begun a new one in its place
    EXPECT_EQ(failureOf([&] { store->add(session("a", 10), {}); }), DatabaseError::Kind::kUnreachable);
}

TEST_F(LocalStoreTest, AFullDiskTakesNothingAndLeavesTheRest) {
    const auto store = open();
    store->add(session("a", 10), std::vector{found(1, 5)});
    const auto many = manyItems(2000, 0);
    ::signal(SIGXFSZ, SIG_IGN);
    {
        const FileSizeLimit full(std::filesystem::file_size(file_.string() + "-wal") + kPage);
        EXPECT_EQ(failureOf([&] { store->add(session("b", 20), many); }), DatabaseError::Kind::kFull);
    }
    EXPECT_EQ(overTime(*store), "1: 10=5!");
    EXPECT_TRUE(store->add(session("b", 20), many));
    EXPECT_EQ(countOf(*open(Check::kWhole), "session"), 2);
}

TEST_F(LocalStoreTest, AStoreOfTheFirstReleaseIsOpened) {
    runSql(file_, readText(CALVANE_SOURCE_DIR "/tests/record/history-1.sql"));
    const auto store = open();
    EXPECT_EQ(told_, "");
    EXPECT_EQ(overTime(*store), "1060: 10=4 20=5!");
    EXPECT_TRUE(store->add(session("a", 30), std::vector{found(1060, 5), found(1007, 1)}));
    EXPECT_EQ(overTime(*store), "1007: 30=1!; 1060: 10=4 20=5!");
}

TEST_F(LocalStoreTest, RoomIsGivenBack) {
    const auto store = open();
    const auto size = [&] { return std::filesystem::file_size(file_); };
    store->database().giveBackRoom();
    const auto empty = size();
    for (int at = 0; at < 50; ++at) {
        store->add(session(std::to_string(at), at), manyItems(100, at));
    }
    EXPECT_EQ(store->prune(timeOf(1000), false), 50U);
    EXPECT_LE(size(), empty + 2 * kPage);

    // A process that ends before its sweep leaves that to the next one, which finds nothing to remove.
    for (int at = 0; at < 50; ++at) {
        store->add(session(std::to_string(at), at), manyItems(100, at));
    }
    store->database().run("ALTER TABLE ring RENAME TO away"); // the sweep stops half-way
    EXPECT_THROW(store->prune(timeOf(1000), false), DatabaseError);
    EXPECT_EQ(countOf(*store, "session"), 0);
    store->database().run("ALTER TABLE away RENAME TO ring");
    EXPECT_EQ(store->prune(timeOf(1000), false), 0U);
    EXPECT_LE(size(), empty + 2 * kPage);
}

} // namespace
} // namespace record

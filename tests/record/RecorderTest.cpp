// Recording beside the work: what is given to a recorder is in the store, or told.

#include "workbench/record/Recorder.h"

#include "tests/support/PostgresServer.h"
#include "tests/support/TemporaryFolder.h"
#include "workbench/record/ReportItems.h"
#include "workbench/record/Store.h"
#include "workbench/record/WriteRecording.h"

#include <gtest/gtest.h>

#include <thread>

namespace {

using namespace record;
using std::chrono::seconds;

class RecorderTest : public testing::Test {
protected:
    static Session session(SessionKind kind) {
        Session session = newSession(kind, "calvane 1", "a test");
        session.port = "COM1";
        session.phone = {.serialNumber = "7", .model = "M", .softwareVersion = "1"};
        session.state = kind == SessionKind::kRead ? SessionState::kComplete : SessionState::kBegun;
        return session;
    }
    static SessionItem item(std::uint16_t number, std::uint8_t value) {
        return {.number = number, .wanted = ItemData{value}};
    }
    static std::int64_t count(const std::unique_ptr<Database>& database, const std::string& what) {
        return std::get<std::int64_t>(database->run("SELECT count(*) FROM " + what).at(0).at(0));
    }
    /// Read at once, written by several threads, and all of it there at the end.
    static void recordMuch(Recorder& recorder) {
        std::vector<std::thread> threads;
        for (std::uint16_t first = 0; first < 3; ++first) {
            threads.emplace_back([&recorder, first] {
                Session write = session(SessionKind::kWrite);
                EXPECT_EQ(recorder.begin(write, {item(first, 1), item(9, 1)}), "");
                for (const std::uint16_t number : {first, std::uint16_t{9}}) {
                    SessionItem done = item(number, 1);
                    done.state = ItemState::kVerified;
                    recorder.item(write.uuid, done);
                    recorder.add(session(SessionKind::kRead), {item(number, 1)});
                }
                write.state = SessionState::kComplete;
                recorder.end(write);
            });
        }
        for (std::thread& thread : threads) {
            thread.join();
        }
    }

    const TemporaryFolder folder;
    HistorySettings settings{.file = folder / "History.sqlite"};
};

TEST_F(RecorderTest, WhatThreadsGiveIsInTheStoreWhenItEnds) {
    {
        Recorder recorder(settings);
        recordMuch(recorder);
        EXPECT_EQ(recorder.takeLosses(), std::vector<std::string>());
    }
    const auto database = openSqlite(settings.file.string());
    EXPECT_EQ(count(database, "session WHERE state = 1"), 9);
    EXPECT_EQ(count(database, "session_item WHERE state = 5"), 6);
}

TEST_F(RecorderTest, OffNothingIsRecordedAndOnAgainItIs) {
    settings.isOn = false;
    Recorder recorder(settings);
    EXPECT_EQ(recorder.begin(session(SessionKind::kWrite), {item(1, 1)}), "");
    recorder.add(session(SessionKind::kRead), {item(1, 1)});
    EXPECT_TRUE(recorder.flush(seconds(10)));
    EXPECT_FALSE(std::filesystem::exists(settings.file));
    settings.isOn = true;
    recorder.setSettings(settings);
    recorder.add(session(SessionKind::kRead), {item(1, 1)});
    EXPECT_TRUE(recorder.flush(seconds(10)));
    EXPECT_EQ(count(openSqlite(settings.file.string()), "session"), 1);
}

TEST_F(RecorderTest, AStoreThatComesBackGetsAllOfAWrite) {
    std::atomic<int> news = 0;
    Recorder recorder(settings);
    recorder.setNews([&] { ++news; });
    Session write = session(SessionKind::kWrite);
    ASSERT_EQ(recorder.begin(write, {item(1, 1), item(2, 2)}), "");
    SessionItem done = item(1, 1);
    done.state = ItemState::kVerified;
    recorder.item(write.uuid, done);
    ASSERT_TRUE(recorder.flush(seconds(10)));
    for (const char* suffix : {"", "-wal", "-shm"}) {
        std::filesystem::remove(settings.file.string() + suffix);
    }
    write.state = SessionState::kCancelled;
    recorder.end(write);
    ASSERT_TRUE(recorder.flush(seconds(10)));
    EXPECT_EQ(count(openSqlite(settings.file.string()), "session_item WHERE state = 5 AND item = 1"), 1);
    EXPECT_EQ(recorder.takeLosses(), std::vector<std::string>());

    ASSERT_EQ(recorder.begin(session(SessionKind::kWrite), {item(1, 1)}), "");
    std::filesystem::remove_all(folder.path);
    recorder.add(session(SessionKind::kRead), {item(1, 1)});
    ASSERT_TRUE(recorder.flush(seconds(10)));
    std::filesystem::remove_all(folder.path);
    writeText(folder.path, "no folder");
    recorder.add(session(SessionKind::kRead), {item(1, 1)});
    Session told = session(SessionKind::kWrite);
    EXPECT_NE(recorder.begin(told, {item(1, 1)}), "");
    recorder.end(told); // is not told again
    ASSERT_TRUE(recorder.flush(seconds(10)));
    const auto losses = recorder.takeLosses();
    ASSERT_EQ(losses.size(), 1U) << "the folder is made where it is gone";
    EXPECT_TRUE(losses.front().starts_with("Not recorded: the read of M 7 on COM1: ")) << losses.front();
    EXPECT_EQ(news, 1);
}

TEST_F(RecorderTest, AnEndThatTheStoreRefusesIsTriedAgainAtTheVeryEnd) {
    Session write = session(SessionKind::kWrite);
    {
        Recorder recorder(settings);
        ASSERT_EQ(recorder.begin(write, {item(1, 1)}), "");
        std::filesystem::remove_all(folder.path);
        writeText(folder.path, "no folder");
        write.state = SessionState::kComplete;
        recorder.end(write);
        ASSERT_TRUE(recorder.flush(seconds(10)));
        EXPECT_EQ(recorder.takeLosses().size(), 1U);
        std::filesystem::remove(folder.path);
        EXPECT_TRUE(recorder.close(seconds(10)));
    }
    const auto database = openSqlite(settings.file.string());
    EXPECT_EQ(count(database, "session WHERE state = 1"), 1);

    database->run("UPDATE session SET state = 0, pid_start = 'earlier'");
    Recorder next(settings);
    ASSERT_TRUE(next.flush(seconds(10)));
    EXPECT_EQ(next.takeInterrupted().size(), 1U) << "also by a program that ends at once";
}

TEST_F(RecorderTest, WhatHasEndedIsHandedOverOnceNobodyWrites) {
    if (PostgresServer::ofThisProgram() == nullptr) {
        GTEST_SKIP() << "there is no PostgreSQL server";
    }
    settings.sharedUrl = PostgresServer::ofThisProgram()->newDatabase();
    const auto shared = [this] {
        const auto database = openPostgres(settings.sharedUrl);
        return database->run("SELECT 1 FROM pg_tables WHERE tablename = 'session'").empty()
                   ? 0
                   : count(database, "session");
    };
    {
        Recorder recorder(settings);
        Session write = session(SessionKind::kWrite);
        ASSERT_EQ(recorder.begin(write, {item(1, 1)}), "");
        recorder.add(session(SessionKind::kRead), {item(1, 1)});
        ASSERT_TRUE(recorder.flush(seconds(10)));
        std::this_thread::sleep_for(std::chrono::milliseconds(200));
        EXPECT_EQ(shared(), 0) << "a write is under way";
        write.state = SessionState::kComplete;
        recorder.end(write);
    }
    EXPECT_EQ(shared(), 2) << "the end waits for it";
    { const Recorder again(settings); }
    EXPECT_EQ(shared(), 2);
    Store(openSqlite(settings.file.string())).add(session(SessionKind::kRead), {}); // waits for another server
    settings.isOfOneRun = true;
    { Recorder(settings).add(session(SessionKind::kRead), {item(1, 1)}); }
    EXPECT_EQ(shared(), 3);
    EXPECT_EQ(count(openSqlite(settings.file.string()), "session WHERE handed_over = 0"), 1);

    openSqlite(settings.file.string())->run("UPDATE session SET snapshot = 99 WHERE handed_over = 0");
    settings.isOfOneRun = false;
    const Waiting left = Housekeeper().work(settings, [] { return true; });
    EXPECT_EQ(left.sessions, 1U);
    EXPECT_TRUE(left.reason.starts_with("1 can't be handed over: ")) << left.reason;
}

} // namespace

// What a store holds behind each call, on this computer and on a server: sessions with their items, values over time,
// and the latest ones.

#include "tests/record/Sessions.h"
#include "tests/support/Processes.h"
#include "workbench/record/History.h"
#include "workbench/record/ProcessMark.h"

#include <iostream>
#include <thread>

namespace record {
namespace {

class StoreTest : public EachStore {
protected:
    /// Sessions of one phone, in which all writers find the same. 0 where the store has taken them.
    int writeSessions(int writer, int count) {
        try {
            const auto own = open();
            for (int at = 0; at < count; ++at) {
                own->add(
                    session(std::to_string(writer) + "-" + std::to_string(at), at * 10 + writer),
                    std::vector{found(1, static_cast<std::uint8_t>(at)), found(2, static_cast<std::uint8_t>(50 - at))});
            }
            return 0;
        } catch (const std::exception& failure) {
            std::cerr << failure.what() << "\n";
            return 1;
        }
    }
};
INSTANTIATE_TEST_SUITE_P(On, StoreTest, testing::Values("SQLite", "PostgreSQL"),
                         [](const auto& each) { return each.param; });

TEST_P(StoreTest, ValuesStandWhereTheyBeganWhateverTheOrderOfTheSessions) {
    EXPECT_TRUE(store_->add(session("a", 10), std::vector{found(1, 5), found(2, 1)}));
    EXPECT_TRUE(store_->add(session("b", 40), std::vector{found(1, 6), found(2, 0)}));
    EXPECT_TRUE(store_->add(session("c", 30), std::vector{found(1, 6), found(2, 3)}));
    EXPECT_TRUE(store_->add(session("d", 20), std::vector{found(1, 5)}));
    EXPECT_FALSE(store_->add(session("b", 99), std::vector{found(1, 9)}));
    EXPECT_EQ(overTime(*store_), "1: 10=5 30=6!; 2: 10=1 30=3 40=0!");
    EXPECT_EQ(History(store_->database()).session("c")->changed, 2U);
    EXPECT_EQ(History(store_->database()).session("d")->changed, 0U);
}

TEST_P(StoreTest, ASessionComesOutAsItWentIn) {
    Session read = session("a", 10);
    read.ended = timeOf(1'800'000'000'123);
    read.failure = "\"it's\" %s ?1 $1; DROP TABLE session";
    read.note = "caf\xc3\xa9";
    read.asked = std::string("a\0b\xff", 4);
    std::vector<SessionItem> items{found(7, 255), {.number = 9, .state = ItemState::kFailed, .status = 65535}};
    items[0].after->fill(0xA5);
    items.push_back({.number = 65535, .state = ItemState::kRead, .after = ItemData{}});
    store_->add(read, items);
    Session write = session("b", 20, SessionKind::kRestore);
    write.phone = {.serialNumber = "", .model = "X1", .softwareVersion = "8"};
    write.state = SessionState::kIncomplete;
    std::vector changes{written(9, 1, 2), written(3, 4, 5)};
    changes[1].reason = "refused";
    store_->add(write, changes);

    History history(store_->database());
    read.asked = "a?b?";
    read.items = 3;
    write.items = write.changed = 2;
    auto first = history.session("a").value();
    EXPECT_EQ(first.received.has_value(), store_->database().isShared());
    first.received.reset();
    auto second = history.session("b").value();
    second.received.reset();
    EXPECT_EQ(first, read);
    EXPECT_EQ(second, write);
    EXPECT_EQ(history.items("a"), items);
    EXPECT_EQ(history.items("b"), changes);
    EXPECT_TRUE(history.findPhone(write.phone, "COM1").has_value());
    EXPECT_FALSE(history.findPhone(write.phone, "COM2").has_value());
}

TEST_P(StoreTest, EveryReadIsThereThoughOnlyDifferencesAreStored) {
    std::vector<std::vector<SessionItem>> reads;
    std::vector<SessionItem> items;
    for (std::uint16_t number = 0; number < 100; ++number) {
        items.push_back(found(number, 1));
    }
    for (std::uint8_t round = 1; round <= 40; ++round) {
        items[std::size_t{2} * round].after = bytes({round, round});
        items[round].state = round % 3 == 0 ? ItemState::kNoValue : ItemState::kRead;
        reads.push_back(items);
        if (round % 10 == 0) {
            items.erase(items.begin() + 90); // an item is no more asked for
        }
        store_->add(session(std::string("0") + static_cast<char>('a' + round % 6) + std::to_string(round), round),
                    reads.back());
    }
    History history(store_->database());
    for (std::size_t round = 1; round <= reads.size(); ++round) {
        EXPECT_EQ(history.items(std::string("0") + static_cast<char>('a' + round % 6) + std::to_string(round)),
                  reads[round - 1])
            << round;
    }
    const auto rows = countOf(*store_, "snapshot_item");
    store_->add(session("e", 99), reads.back());
    EXPECT_EQ(countOf(*store_, "snapshot_item"), rows);
    EXPECT_LT(rows, 40 * 100 / 4);

    store_->database().run("UPDATE snapshot SET base = id");
    items[0].after = bytes({99});
    EXPECT_TRUE(store_->add(session("f", 100), items));
    EXPECT_EQ(history.items("f"), items);
}

TEST_P(StoreTest, PruningLeavesWhatOthersNeedAndNothingElse) {
    for (int at = 1; at <= 30; ++at) {
        const auto value = static_cast<std::uint8_t>(at / 4);
        store_->add(session(std::to_string(at), at),
                    std::vector{found(1, value), found(2, 7), found(3, 8), found(4, 8)});
    }
    Session other = session("aa", 5, SessionKind::kWrite);
    other.phone.serialNumber = "GONE";
    other.state = SessionState::kComplete;
    store_->add(other, std::vector{written(1, 90, 91)});
    store_->markHandedOver("aa");
    for (int at = 1; at <= 18; ++at) {
        store_->markHandedOver(std::to_string(at));
    }
    const auto items = History(store_->database()).items("30");

    EXPECT_EQ(store_->prune(timeOf(22), true), 19U); // those that were not handed over stay
    EXPECT_EQ(store_->prune(timeOf(22), false), 3U);
    EXPECT_EQ(overTime(*store_), "1: 20=5 24=6 28=7!; 2: 1=7!; 3: 1=8!; 4: 1=8!");
    EXPECT_EQ(History(store_->database()).items("30"), items);
    EXPECT_EQ(History(store_->database()).phones().size(), 1U);
    EXPECT_EQ(History(store_->database()).phones()[0].sessions, 9U);
    EXPECT_EQ(countOf(*store_, "content"), 9); // later reads are stored as differences to earlier ones
    EXPECT_EQ(countOf(*store_, "session_item"), 0);

    EXPECT_EQ(store_->prune(timeOf(99), false), 9U);
    for (const char* table : {"phone", "content", "snapshot", "snapshot_item", "over_time", "latest", "ring"}) {
        EXPECT_EQ(countOf(*store_, table), 0) << table;
    }
}

TEST_P(StoreTest, AWriteWhosePhoneIsLearntAtItsEndGoesToThatPhone) {
    store_->add(session("a", 10), std::vector{found(1, 5)});
    Session write = session("b", 20, SessionKind::kWrite);
    write.phone = {};
    store_->begin(write, std::vector{written(1, 7, 8)});
    write.phone = session("a", 0).phone;
    write.state = SessionState::kComplete;
    store_->end(write);
    EXPECT_EQ(overTime(*store_), "1: 10=5 20=7 21=8!");
    EXPECT_EQ(countOf(*store_, "latest"), 1);
    const auto phones = History(store_->database()).phones();
    ASSERT_EQ(phones.size(), 1U);
    EXPECT_EQ(phones[0].sessions, 2U);
}

TEST_P(StoreTest, ADeadProcessLeavesWhatItHadRecorded) {
    Session write = session("b", 20, SessionKind::kWrite);
    write.host = hostName();
    SessionItem one = written(1, 5, 6);
    const SessionItem sent = {.number = 1, .before = one.before, .wanted = one.wanted};
    const SessionItem next = {.number = 2, .before = bytes({4}), .wanted = bytes({3})};
    EXPECT_EQ(inChild([&] {
                  const auto own = open();
                  own->begin(write, std::vector{sent, next});
                  own->setItem("b", one);
                  return own->takeInterrupted().empty() ? 0 : 1;
              }),
              0);
    const auto interrupted = store_->takeInterrupted();
    ASSERT_EQ(interrupted.size(), 1U);
    EXPECT_EQ(interrupted[0].state, SessionState::kInterrupted);
    EXPECT_EQ(interrupted[0].items, 2U);
    EXPECT_EQ(interrupted[0].changed, 1U);
    EXPECT_TRUE(store_->takeInterrupted().empty());
    SessionItem unknown = next;
    unknown.state = ItemState::kNotKnown; // it may have been sent
    EXPECT_EQ(History(store_->database()).items("b"), (std::vector{one, unknown}));
    EXPECT_EQ(overTime(*store_), "1: 20=5 21=6!; 2: 20=4!");
    EXPECT_EQ(store_->pending(), std::vector<std::string>{"b"});
}

TEST_P(StoreTest, SeveralProcessesWriteAtOnce) {
    constexpr int kWriters = 6;
    constexpr int kSessions = 15;
    store_.reset();
    renew(); // all of them find a store that is not there yet, or just so
    std::vector<std::thread> writers;
    for (int writer = 0; writer < kWriters; ++writer) {
        writers.emplace_back([this, writer] {
            EXPECT_EQ(inChild([this, writer] { return writeSessions(writer, kSessions); }), 0) << writer;
        });
    }
    for (std::thread& writer : writers) {
        writer.join();
    }
    store_ = open();
    EXPECT_EQ(countOf(*store_, "session"), kWriters * kSessions);
    EXPECT_EQ(countOf(*store_, "content"), kSessions * 2);
    EXPECT_EQ(countOf(*store_, "over_time"), kSessions * 2);
    EXPECT_EQ(numberIn(store_->database().run("SELECT sessions FROM phone").at(0).at(0)), kWriters * kSessions);
}

constexpr std::array kVersion2{"ALTER TABLE phone ADD COLUMN colour TEXT NOT NULL DEFAULT 'grey'",
                               "CREATE INDEX phone_colour ON phone (colour)"};
constexpr std::array kFaulty{"ALTER TABLE phone ADD COLUMN size INTEGER", "CREATE NONSENSE"};

TEST_P(StoreTest, StoresGoForwardAndNewerOnesAreOnlyRead) {
    store_->add(session("a", 10), std::vector{found(1, 5)});
    const Migration first = migrations()[0];
    EXPECT_THROW(openSchema(store_->database(), std::array<Migration, 3>{first, kVersion2, kFaulty}), DatabaseError);
    EXPECT_EQ(store_->database().run("SELECT value FROM meta").at(0).at(0), Value("1")); // as it was
    EXPECT_EQ(openSchema(store_->database(), std::array<Migration, 2>{first, kVersion2}), Access::kWritable);
    EXPECT_EQ(store_->database().run("SELECT colour FROM phone").at(0).at(0), Value("grey"));

    const auto older = open(); // by a program that knows the first version alone
    EXPECT_EQ(older->access(), Access::kReadOnly);
    EXPECT_EQ(History(older->database()).items("a").size(), 1U);
    EXPECT_THROW(older->add(session("b", 20), {}), DatabaseError);
    EXPECT_THROW(older->begin(session("b", 20), {}), DatabaseError);
    EXPECT_EQ(countOf(*store_, "session"), 1);
}

} // namespace
} // namespace record

// Sessions of a computer's own store on their way to the shared one.

#include "workbench/record/HandOver.h"

#include "tests/record/Sessions.h"
#include "workbench/record/History.h"

namespace record {
namespace {

class HandOverTest : public testing::Test {
protected:
    void SetUp() override {
        if (PostgresServer::ofThisProgram() == nullptr) {
            GTEST_SKIP() << "there is no PostgreSQL server here";
        }
        url_ = PostgresServer::ofThisProgram()->newDatabase();
        for (std::int64_t at = 1; at <= 5; ++at) {
            own_->add(session(std::to_string(at), at * 10), std::vector{found(1, static_cast<std::uint8_t>(at))});
        }
    }

    std::string sharedUuids() {
        std::string text;
        for (const Row& row : Store(openPostgres(url_)).database().run("SELECT uuid FROM session ORDER BY id")) {
            text += textIn(row.at(0)) + " ";
        }
        return text;
    }

    TemporaryFolder folder_;
    std::string told_;
    std::unique_ptr<Store> own_ = openLocalStore(folder_ / "History.sqlite", told_);
    std::string url_;
};

TEST_F(HandOverTest, EachOnceAndInOrderThoughTheServerGoesAndComes) {
    PostgresServer& server = *PostgresServer::ofThisProgram();
    auto shared = std::make_unique<Store>(openPostgres(url_));
    int asked = 0;
    const auto stopsAtThird = [&] {
        if (++asked == 3) {
            server.stop();
        }
        return true;
    };
    EXPECT_EQ(failureOf([&] { handOver(*own_, *shared, stopsAtThird); }), DatabaseError::Kind::kUnreachable);
    EXPECT_EQ(own_->pending(), (std::vector<std::string>{"3", "4", "5"}));
    EXPECT_THROW(openPostgres(url_), DatabaseError);
    server.start();
    EXPECT_THROW(shared->add(session("6", 60), {}), DatabaseError); // the old connection stays lost
    shared = std::make_unique<Store>(openPostgres(url_));

    own_->database().run("UPDATE session SET handed_over = 0 WHERE uuid = '2'"); // as if the mark had been lost
    EXPECT_EQ(handOver(*own_, *shared, [] { return true; }).taken, 4U);
    EXPECT_EQ(sharedUuids(), "1 2 3 4 5 ");
    EXPECT_EQ(overTime(*shared), overTime(*own_));
    EXPECT_EQ(History(shared->database()).items("4"), History(own_->database()).items("4"));
    EXPECT_TRUE(own_->pending().empty());
}

TEST_F(HandOverTest, ANoteFollowsAndAPauseIsKept) {
    Store shared(openPostgres(url_));
    int left = 2;
    EXPECT_EQ(handOver(*own_, shared, [&] { return left-- > 0; }).taken, 2U);
    own_->setNote("1", "after the repair");
    EXPECT_EQ(own_->pending(), (std::vector<std::string>{"1", "3", "4", "5"}));
    handOver(*own_, shared, [] { return true; });
    EXPECT_EQ(History(shared.database()).session("1")->note, "after the repair");
    own_->setNote("1", "");
    handOver(*own_, shared, [] { return true; });
    EXPECT_EQ(History(shared.database()).session("1")->note, "");
    EXPECT_EQ(sharedUuids(), "1 2 3 4 5 ");
}

TEST_F(HandOverTest, OneThatCanNotBeReadKeepsNoOthersAndLongTextsKeepNobody) {
    Store shared(openPostgres(url_));
    own_->database().run("UPDATE session SET snapshot = 99 WHERE uuid = '2'");
    Session longest = session("6", 60);
    for (std::string* text : {&longest.ringPath, &longest.phone.model, &longest.phone.serialNumber}) {
        for (unsigned seed = 1; text->size() < 60000; seed = seed * 1103515245U + 12345U) {
            *text += "\xC3" + std::string(1, static_cast<char>(0x80 + (seed >> 16U) % 0x40)); // packed no smaller
        }
    }
    own_->add(longest, std::vector{found(1, 6)});
    const HandedOver done = handOver(*own_, shared, [] { return true; });
    EXPECT_EQ(done.taken, 5U);
    EXPECT_EQ(done.skipped, std::vector<std::string>{"2: the record lacks what a read was based on"});
    EXPECT_EQ(sharedUuids(), "1 3 4 5 6 ");
    EXPECT_EQ(own_->pending(), std::vector<std::string>{"2"});
}

TEST_F(HandOverTest, AServerThatLetsNobodyWriteIsOnlyRead) {
    PostgresServer& server = *PostgresServer::ofThisProgram();
    const std::string database = url_.substr(14, url_.find('?') - 14);
    Store(openPostgres(url_)).add(session("1", 10), std::vector{found(1, 5)});
    server.ask(database, "CREATE ROLE guest LOGIN; GRANT USAGE ON SCHEMA calvane TO guest;"
                         " GRANT SELECT ON ALL TABLES IN SCHEMA calvane TO guest");
    Store guest(openPostgres(server.url(database, "guest")));
    EXPECT_EQ(guest.access(), Access::kReadOnly);
    EXPECT_EQ(History(guest.database()).items("1").size(), 1U);
    EXPECT_EQ(failureOf([&] { openPostgres(server.url("nowhere")); }), DatabaseError::Kind::kUnreachable);
}

} // namespace
} // namespace record

// What a store holds behind each call: sessions with their items, values over time, and the latest ones.

#include "tests/support/Processes.h"
#include "tests/support/TemporaryFolder.h"
#include "workbench/record/Contents.h"
#include "workbench/record/LocalStore.h"
#include "workbench/record/ProcessMark.h"
#include "workbench/record/SessionRow.h"
#include "workbench/record/Snapshots.h"

#include <gtest/gtest.h>

namespace record {
namespace {

ItemData bytes(std::initializer_list<std::uint8_t> front) {
    ItemData data{};
    std::ranges::copy(front, data.begin());
    return data;
}

Session session(const std::string& uuid, std::int64_t atMs, SessionKind kind = SessionKind::kRead) {
    return {.uuid = uuid,
            .kind = kind,
            .state = kind == SessionKind::kRead ? SessionState::kComplete : SessionState::kBegun,
            .begun = timeOf(atMs),
            .program = "calvane-batch 1.4.34",
            .ringPath = "NV Decoder.vrk",
            .ringSha256 = std::string(64, 'a'),
            .port = "COM1",
            .phone = {.serialNumber = "A100", .model = "X1", .softwareVersion = "7"},
            .user = "anna",
            .host = "bench-3",
            .asked = "read"};
}

SessionItem found(std::uint16_t number, std::initializer_list<std::uint8_t> after) {
    return {.number = number, .state = ItemState::kRead, .after = bytes(after)};
}

class StoreTest : public testing::Test {
protected:
    /// "1: 10=a 20=b" for the first item: since when it had which first byte.
    std::string overTime() {
        std::string text;
        std::int64_t item = -1;
        for (const Row& row : store_->database().run("SELECT o.item, o.since, c.bytes FROM over_time o JOIN content c"
                                                     " ON c.id = o.content ORDER BY o.item, o.since")) {
            if (numberIn(row.at(0)) != item) {
                item = numberIn(row.at(0));
                text += (text.empty() ? "" : "; ") + std::to_string(item) + ":";
            }
            text += " " + std::to_string(numberIn(row.at(1))) + "=" + std::to_string(itemDataIn(row.at(2))->at(0));
        }
        return text;
    }

    TemporaryFolder folder_;
    std::string told_;
    std::unique_ptr<Store> store_ = openLocalStore(folder_ / "History.sqlite", told_);
};

TEST_F(StoreTest, ValuesStandWhereTheyBeganWhateverTheOrderOfTheSessions) {
    EXPECT_TRUE(store_->add(session("a", 10), std::vector{found(1, {5})}));
    EXPECT_TRUE(store_->add(session("b", 40), std::vector{found(1, {6})}));
    EXPECT_TRUE(store_->add(session("c", 30), std::vector{found(1, {6})}));
    EXPECT_TRUE(store_->add(session("d", 20), std::vector{found(1, {5})}));
    EXPECT_FALSE(store_->add(session("b", 99), std::vector{found(1, {9})}));
    EXPECT_EQ(overTime(), "1: 10=5 30=6");
}

TEST_F(StoreTest, AWriteIsThereBeforeItsItemsAndTellsHowFarItGot) {
    ASSERT_TRUE(store_->add(session("a", 10), std::vector{found(1, {5}), found(2, {5})}));
    Session write = session("w", 20, SessionKind::kWrite);
    write.host = hostName();
    SessionItem one{.number = 1, .before = bytes({5}), .wanted = bytes({6})};
    SessionItem two{.number = 2, .before = bytes({4}), .wanted = bytes({4})};
    EXPECT_EQ(inChild([&] {
                  auto own = openLocalStore(folder_ / "History.sqlite", told_);
                  own->begin(write, std::vector{one, two});
                  one.state = ItemState::kVerified;
                  one.after = one.wanted;
                  own->setItem("w", one);
                  return own->takeInterrupted().empty() ? 0 : 1;
              }),
              0);
    const auto interrupted = store_->takeInterrupted();
    ASSERT_EQ(interrupted.size(), 1U);
    EXPECT_EQ(interrupted[0].uuid, "w");
    EXPECT_EQ(interrupted[0].items, 2U);
    EXPECT_TRUE(store_->takeInterrupted().empty());
    EXPECT_EQ(overTime(), "1: 10=5 21=6; 2: 10=5 20=4");
    EXPECT_EQ(store_->pending(), (std::vector<std::string>{"a", "w"}));
}

} // namespace
} // namespace record

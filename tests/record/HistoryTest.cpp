// What people ask of a store: phones, sessions, items, values over time and over phones.

#include "workbench/record/History.h"

#include "tests/record/Sessions.h"

namespace record {
namespace {

class HistoryTest : public EachStore {
protected:
    /// Adds a session of the phone `serial` that began at `atMs`; its uuid begins with `digit`.
    std::string add(char digit, const std::string& serial, std::int64_t atMs, const std::vector<SessionItem>& items,
                    SessionKind kind = SessionKind::kRead) {
        Session one = session(std::string(8, digit) + "-0000-4000-8000-000000000000", atMs, kind);
        one.port = serial.empty() ? "COM2" : "COM1";
        one.phone.serialNumber = serial;
        store_->add(one, items);
        return one.uuid;
    }

    History history() { return History(store_->database()); }

    std::string uuids(const SessionQuery& query) {
        std::string text;
        for (const Session& one : history().sessions(query)) {
            text += one.uuid.front();
        }
        return text;
    }

    /// "10=1 20=-": the first byte after the session.
    std::string items(const std::string& uuid) {
        std::string text;
        for (const SessionItem& item : history().items(uuid)) {
            text += (text.empty() ? "" : " ") + std::to_string(item.number) + "=" +
                    (item.after ? std::to_string(item.after->at(0)) : "-");
        }
        return text;
    }
};
INSTANTIATE_TEST_SUITE_P(On, HistoryTest, testing::Values("SQLite", "PostgreSQL"),
                         [](const auto& each) { return each.param; });

TEST_P(HistoryTest, SessionsAreFoundByPhonePortTimeAndNumber) {
    add('c', "A100", 3000, {found(10, 1)});
    add('a', "A100", 1000, {found(10, 2)});
    add('b', "b200", 2000, {found(10, 3)});
    const std::string unknown = add('d', "", 4000, {found(10, 4)});
    add('e', "A200", 5000, {});
    const struct {
        SessionQuery query;
        const char* uuids;
    } rows[] = {
        {{}, "edcba"},
        {{.limit = 2}, "ed"},
        {{.serial = "a100"}, "ca"}, // in any case
        {{.serial = "A100", .limit = 1}, "c"},
        {{.serial = "A"}, ""}, // whole
        {{.port = "COM1", .since = timeOf(2000)}, "ecb"},
        {{.port = "COM2"}, "d"},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(uuids(row.query), row.uuids);
    }
    const auto phone = history().findPhone({.serialNumber = "", .model = "X1", .softwareVersion = ""}, "COM2");
    ASSERT_TRUE(phone);
    EXPECT_EQ(uuids({.phone = phone->id}), "d");
    std::string phones;
    for (const PhoneRow& row : history().phones()) {
        phones += row.serial + row.port + std::to_string(row.sessions) + " ";
    }
    EXPECT_EQ(phones, "A2001 COM21 A1002 b2001 ");

    EXPECT_EQ(history().session("DDDD")->uuid, unknown);
    Session twin = *history().session(unknown);
    twin.uuid.back() = '1';
    store_->add(twin, {});
    for (const char* begin : {"dddd", "", "%", "f"}) {
        EXPECT_FALSE(history().session(begin)) << begin;
    }
    EXPECT_EQ(history().session(unknown)->uuid, unknown);
}

TEST_P(HistoryTest, ItemsOfAReadAreAllThatItFoundHoweverFewDiffer) {
    std::vector<SessionItem> all;
    for (std::uint16_t number = 1; number <= 20; ++number) {
        all.push_back(found(number, 7));
    }
    const std::string first = add('a', "A100", 1000, all);
    all[1].after = bytes({8});
    all.pop_back();
    all.back() = {.number = 19, .state = ItemState::kFailed, .status = 3};
    EXPECT_EQ(history().items(add('b', "A100", 2000, all)), all);
    EXPECT_EQ(history().items(first).size(), 20U);
    const std::string write = add('c', "A100", 3000, {written(9, 7, 9), written(5, 7, 1)}, SessionKind::kWrite);
    EXPECT_EQ(items(write), "9=9 5=1") << "as they were written";
}

TEST_P(HistoryTest, AValueHasItsTimesWhateverTheOrderInWhichSessionsCome) {
    add('d', "A100", 4000, {found(10, 2)});
    add('b', "A100", 2000, {found(10, 1)});
    add('c', "A100", 3000, {found(10, 1)});
    add('a', "A100", 1000, {found(10, 2)});
    add('e', "B200", 1500, {found(10, 9), found(11, 1)});
    const auto phone = history().findPhone({.serialNumber = "A100", .model = "X1", .softwareVersion = ""}, "COM7");
    std::string changes;
    for (const ValueSince& value : history().overTime(phone.value().id, 10)) {
        changes += std::to_string(msOf(value.since)) + value.session.substr(0, 1) + std::to_string(value.data[0]) + " ";
    }
    EXPECT_EQ(changes, "1000a2 2000b1 4000d2 ");
    std::string latest;
    for (const ValueOfPhone& value : history().overPhones(10)) {
        latest += std::to_string(msOf(value.since)) + "=" + std::to_string(value.data[0]) + " ";
    }
    EXPECT_EQ(latest, "4000=2 1500=9 ");
}

TEST_P(HistoryTest, WhatNoProgramHasWrittenIsRefused) {
    const std::string uuid = add('a', "A100", 1000, {found(10, 1)});
    const std::string write = add('b', "A100", 1000, {written(10, 1, 2)}, SessionKind::kWrite);
    const std::pair<const char*, std::string> rows[] = {{"snapshot_item SET state = 77", uuid},
                                                        {"session_item SET state = 77", write},
                                                        {"session_item SET state = 5, item = 65536", write},
                                                        {"session_item SET item = 10, status = -1", write}};
    for (const auto& [change, asked] : rows) {
        store_->database().run(std::string("UPDATE ") + change);
        EXPECT_THROW(history().items(asked), DatabaseError) << change;
    }
    store_->database().run("UPDATE session SET state = 77");
    EXPECT_THROW(history().session(uuid), DatabaseError);
}

} // namespace
} // namespace record

// What people ask of a store: phones, sessions, items, values over time and over phones.

#include "workbench/record/History.h"

#include "engine/Calvane.h"
#include "tests/support/TemporaryFolder.h"
#include "workbench/record/LocalStore.h"
#include "workbench/record/SessionItems.h"

#include <gtest/gtest.h>

namespace record {
namespace {

ItemData bytes(std::uint8_t first) {
    ItemData data{};
    data[0] = first;
    return data;
}

workbench::PhoneIdentity phone(const std::string& serial) {
    return {.serialNumber = serial, .model = "X1", .softwareVersion = "7"};
}

SessionItem found(std::uint16_t number, std::uint8_t first) {
    return {.number = number, .state = ItemState::kRead, .after = bytes(first)};
}

class HistoryTest : public testing::Test {
protected:
    /// Adds a session of the phone `serial` that began at `atMs`; its uuid begins with `digit`.
    std::string add(char digit, const std::string& serial, std::int64_t atMs, const std::vector<SessionItem>& items,
                    SessionKind kind = SessionKind::kRead) {
        Session session;
        session.uuid = std::string(8, digit) + "-0000-4000-8000-000000000000";
        session.kind = kind;
        session.state = SessionState::kComplete;
        session.begun = timeOf(atMs);
        session.port = serial.empty() ? "COM2" : "COM1";
        session.phone = phone(serial);
        session.user = "anna";
        store_->add(session, items);
        return session.uuid;
    }

    std::string uuids(const SessionQuery& query) {
        std::string text;
        for (const Session& session : history_.sessions(query)) {
            text += session.uuid.front();
        }
        return text;
    }

    /// "10=1 20=-": the first byte after the session.
    std::string items(const std::string& uuid) {
        std::string text;
        for (const SessionItem& item : history_.items(uuid)) {
            text += (text.empty() ? "" : " ") + std::to_string(item.number) + "=" +
                    (item.after ? std::to_string(item.after->at(0)) : "-");
        }
        return text;
    }

    std::string overTime(const std::string& serial, std::uint16_t number) {
        std::string text;
        const auto found = history_.findPhone(phone(serial), "COM2");
        for (const ValueSince& value : history_.overTime(found ? found->id : -1, number)) {
            text += (text.empty() ? "" : " ") + std::to_string(msOf(value.since)) + value.session.substr(0, 1) + "=" +
                    std::to_string(value.data[0]);
        }
        return text;
    }

    TemporaryFolder folder_;
    std::string told_;
    std::unique_ptr<Store> store_ = openLocalStore(folder_ / "History.sqlite", told_);
    History history_{store_->database()};
};

TEST_F(HistoryTest, SessionsAreFoundByPhonePortTimeAndNumber) {
    add('c', "A100", 3000, {found(10, 1)});
    add('a', "A100", 1000, {found(10, 2)});
    add('b', "b200", 2000, {found(10, 3)});
    const std::string unknown = add('d', "", 4000, {found(10, 4)});
    add('e', "A200", 5000, {});
    EXPECT_EQ(uuids({}), "edcba");
    EXPECT_EQ(uuids({.limit = 2}), "ed");
    EXPECT_EQ(uuids({.serial = "a100"}), "ca") << "in any case, and whole";
    EXPECT_EQ(uuids({.serial = "A100", .limit = 1}), "c");
    EXPECT_EQ(uuids({.serial = "none"}), "");
    EXPECT_EQ(uuids({.port = "COM1", .since = timeOf(2000)}), "ecb");
    const auto row = history_.findPhone(phone(""), "COM2");
    ASSERT_TRUE(row);
    EXPECT_EQ(uuids({.phone = row->id}), "d");
    EXPECT_FALSE(history_.findPhone(phone(""), "COM3"));
    std::string phones;
    for (const PhoneRow& one : history_.phones()) {
        phones += one.serial + one.port + std::to_string(one.sessions) + " ";
    }
    EXPECT_EQ(phones, "A2001 COM21 A1002 b2001 ");

    EXPECT_EQ(history_.session("DDDD")->uuid, unknown);
    EXPECT_EQ(history_.session(unknown)->user, "anna");
    Session twin = *history_.session(unknown);
    twin.uuid.back() = '1';
    store_->add(twin, {});
    EXPECT_FALSE(history_.session("dddd")) << "two begin so";
    EXPECT_FALSE(history_.session(""));
    EXPECT_FALSE(history_.session("%"));
    EXPECT_FALSE(history_.session("f"));
}

TEST_F(HistoryTest, ItemsOfAReadAreAllThatItFoundHoweverFewDiffer) {
    std::vector<SessionItem> all;
    for (std::uint16_t number = 1; number <= 20; ++number) {
        all.push_back(found(number, 7));
    }
    const std::string first = add('a', "A100", 1000, all);
    all[1].after = bytes(8);
    all.pop_back();
    all.push_back({.number = 19, .state = ItemState::kFailed, .status = 3});
    const std::string second = add('b', "A100", 2000, all);
    EXPECT_EQ(history_.items(first).size(), 20U);
    EXPECT_EQ(items(second).substr(0, 12), "1=7 2=8 3=7 ");
    EXPECT_EQ(items(second).substr(items(second).size() - 5), " 19=-");
    EXPECT_EQ(history_.items(second).back().status, 3);
    const std::string write =
        add('c', "A100", 3000,
            {{.number = 9, .state = ItemState::kVerified, .before = bytes(7), .wanted = bytes(9), .after = bytes(9)},
             {.number = 5, .state = ItemState::kNotTried, .before = bytes(7), .wanted = bytes(1)}},
            SessionKind::kWrite);
    EXPECT_EQ(items(write), "9=9 5=-") << "as they were written";
    EXPECT_EQ(items("none"), "");
}

TEST_F(HistoryTest, AValueHasItsTimesWhateverTheOrderInWhichSessionsCome) {
    add('d', "A100", 4000, {found(10, 2)});
    add('b', "A100", 2000, {found(10, 1)});
    add('c', "A100", 3000, {found(10, 1)});
    add('a', "A100", 1000, {found(10, 2)});
    add('e', "B200", 1500, {found(10, 9), found(11, 1)});
    EXPECT_EQ(overTime("A100", 10), "1000a=2 2000b=1 4000d=2");
    EXPECT_EQ(overTime("A100", 11), "");
    std::string latest;
    for (const ValueOfPhone& value : history_.overPhones(10)) {
        latest += std::to_string(msOf(value.since)) + "=" + std::to_string(value.data[0]) + " ";
    }
    EXPECT_EQ(latest, "4000=2 1500=9 ");
}

TEST_F(HistoryTest, WhatNoProgramHasWrittenIsRefused) {
    const std::string uuid = add('a', "A100", 1000, {found(10, 1)});
    for (const char* damage : {"UPDATE snapshot_item SET state = 77", "UPDATE session SET state = 77",
                               "UPDATE session SET state = 'x'", "UPDATE session SET asked = 5"}) {
        store_->database().run(damage);
        EXPECT_THROW((history_.items(uuid), history_.session(uuid)), DatabaseError) << damage;
    }
}

TEST_F(HistoryTest, ItemsToPutBackAreThoseThatTheRingLetsWrite) {
    writeText(folder_ / "ring", "NV_B,30,ReadWrite,<BYTE,x>#\nNV_A,10,ReadWrite,<BYTE,x>#\nNV_LOCKED,20,ReadOnly,"
                                "<BYTE,x>#\nNV_RF_NV_LOADED_DATE_I,40,ReadWrite Time,<DWORD,d>#\n");
    Calvane catalog;
    catalog.loadDecoderRingFile((folder_ / "ring").string());
    std::vector<SessionItem> written;
    for (const std::uint16_t number : std::initializer_list<std::uint16_t>{40, 30, 20, 10, 99}) {
        written.push_back({.number = number,
                           .state = ItemState::kVerified,
                           .before = bytes(1),
                           .wanted = bytes(2),
                           .after = bytes(2)});
    }
    written.push_back({.number = 11, .state = ItemState::kRefused, .before = bytes(3), .wanted = bytes(4)});
    written.push_back({.number = 12, .state = ItemState::kNotKnown, .wanted = bytes(4)});
    const auto textOf = [](const SessionSet& set) {
        std::string text;
        for (const NvItem& item : set.items) {
            text += std::to_string(item.getId()) + "=" + std::to_string(item.rawData()[0]) + " ";
        }
        for (const LeftBehind& left : set.left) {
            text += "| " + std::to_string(left.number) + " " + left.reason + " ";
        }
        return text;
    };
    EXPECT_EQ(textOf(itemsOf(written, Which::kAfter, catalog)),
              "10=2 11=3 20=2 30=2 40=2 99=2 | 12 no value was known ");
    EXPECT_EQ(textOf(restorationOf(written, Which::kBefore, catalog, true)),
              "10=1 30=1 40=1 | 11 not in the ring | 12 no value was known | 20 read-only | 99 not in the ring ");
    EXPECT_EQ(textOf(restorationOf(std::span(written).first(1), Which::kAfter, catalog, false)),
              "| 40 set to the time of the write ");
}

} // namespace
} // namespace record

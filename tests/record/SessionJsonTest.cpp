// Sessions as JSON, ours and other people's.

#include "workbench/record/SessionJson.h"

#include "workbench/FieldValues.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace record {
namespace {

const std::string kRaw(256, '0');

Session session() {
    return {.uuid = "01234567-89ab-4cde-8f01-23456789abcd",
            .kind = SessionKind::kWrite,
            .state = SessionState::kIncomplete,
            .begun = *timeOfUtcText("2026-11-17T10:30:00.250Z"),
            .ended = timeOfUtcText("2026-11-17T10:31:00.001Z"),
            .program = "calvane 1",
            .ringPath = "r\xC3\xA4ng",
            .ringSha256 = std::string(64, 'a'),
            .port = "COM1",
            .phone = {.serialNumber = "A1", .model = "X", .softwareVersion = "2"},
            .user = "anna",
            .host = "bench",
            .asked = "write \"all\"\n",
            .failure = "gone",
            .note = "\x1b[31m"};
}

std::string refusal(const std::string& text) {
    try {
        sessionFromJson(text, "f");
        return "taken";
    } catch (const workbench::ValuesRefused& refused) {
        return refused.message();
    }
}

TEST(SessionJson, ASessionComesBackAsItWas) {
    ItemData before{1, 2};
    const std::vector<SessionItem> items{
        {.number = 30, .state = ItemState::kVerified, .before = before, .wanted = ItemData{3}, .after = ItemData{3}},
        {.number = 10, .state = ItemState::kRefused, .status = 3, .wanted = ItemData{4}, .reason = "full"}};
    const std::string text =
        sessionToJson(session(), items, [](std::uint16_t number) { return number == 10 ? "NV_\xE9" : ""; });
    const RecordedSession back = sessionFromJson(text, "f");
    EXPECT_EQ(back.session, session());
    EXPECT_EQ(back.items, items);
    EXPECT_NE(text.find("\"name\": \"NV_\xC3\xA9\""), std::string::npos);
}

TEST(SessionJson, AReadIsOneSessionHoweverOftenItIsTaken) {
    const std::string read = R"({"form":"items","schema":1,"program":"p","ring":{"path":"r","sha256":"","items":1},
        "port":"COM1","phone":{"model":"X","serialNumber":"A1","softwareVersion":"2"},"time":"2026-11-17T10:30:00.250Z",
        "missing":{"noValue":"40","failed":"","lost":"","notTried":""},
        "items":[{"id":10,"name":"n","access":"a","fields":[],"raw":")" +
                             kRaw + "\"}]}";
    const RecordedSession taken = sessionFromJson(read, "f");
    EXPECT_EQ(taken.session.uuid, sessionFromJson(read, "another name").session.uuid);
    EXPECT_EQ(taken.session.state, SessionState::kComplete);
    EXPECT_EQ(taken.items, (std::vector<SessionItem>{{.number = 10, .state = ItemState::kRead, .after = ItemData{}}}));
    std::string other = read;
    other.replace(other.find(kRaw), 2, "01");
    EXPECT_NE(taken.session.uuid, sessionFromJson(other, "f").session.uuid);
    other = read;
    other.replace(other.find("\"lost\":\""), 8, "\"lost\":\"7");
    EXPECT_EQ(sessionFromJson(other, "f").session.state, SessionState::kIncomplete);
}

TEST(SessionJson, WhatIsNoSessionIsRefusedWithItsPlace) {
    const std::string whole = sessionToJson(session(), std::vector<SessionItem>{{.number = 7}}, {});
    const auto changed = [&](const std::string& from, const std::string& to) {
        std::string text = whole;
        text.replace(text.find(from), from.size(), to);
        return text;
    };
    const std::pair<std::string, std::string> rows[] = {
        {"", "f: it is no object"},
        {"[]", "f: it is no object"},
        {std::string(100, '[') + std::string(100, ']'), "f: it is nested too deep"},
        {"{\"items\":[]}", "f: it does not say of which phone it is and when that was read"},
        {changed("\"schema\": 1", "\"schema\": 2"), "f: its schema is 2, and this program knows none above 1"},
        {changed("\"incomplete\"", "\"begun\""), "f: the session was still under way when it was written here"},
        {changed("\"incomplete\"", "\"odd\""), "f: its \"state\" is none that this program knows"},
        {changed("01234567-", "0123456X-"), "f: the session has no uuid, or no time of its begin"},
        {changed("2026-11-17T10:30", "2026-02-30T10:30"),
         "f: its \"begun\" is no time from 1970 to 2261 such as 2026-11-23T23:50:12.123Z"},
        {changed("2026-11-17T10:31", "2262-11-17T10:31"),
         "f: its \"ended\" is no time from 1970 to 2261 such as 2026-11-23T23:50:12.123Z"},
        {changed("\"COM1\"", "\"\\u0000\""), "f: its \"port\" is too long, or has a character 0"},
        {changed("\"COM1\"", "\"" + std::string(70000, 'x') + "\""),
         "f: its \"port\" is too long, or has a character 0"},
        {changed("\"COM1\"", "5"), "f: its \"port\" is no text"},
        {changed("\"id\": 7", "\"id\": -7"), "f: its \"id\" is no number from 0 to 65535"},
        {changed("\"status\": 0", "\"status\": 65536"), "f: item 7: its \"status\" is no number from 0 to 65535"},
        {changed("\"before\": null", "\"before\": \"0g\""), "f: item 7: its \"before\" needs 256 hexadecimal digits"},
        {changed("\"items\": [", "\"items\": [{\"id\":7,\"state\":\"read\",\"status\":0},"),
         "f: item 7: it stands in it twice"},
    };
    for (const auto& [text, message] : rows) {
        EXPECT_EQ(refusal(text), message) << text.substr(0, 500);
    }
    EXPECT_EQ(refusal(whole), "taken");
    EXPECT_EQ(timeOfUtcText("2026-11-17T10:30:00Z"), timeOfUtcText("2026-11-17T10:30:00.000Z"));
}

} // namespace
} // namespace record

#pragma once

#include "tests/support/PostgresServer.h"
#include "tests/support/TemporaryFolder.h"
#include "workbench/record/Contents.h"
#include "workbench/record/LocalStore.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <initializer_list>
#include <memory>
#include <optional>
#include <string>

namespace record {

inline ItemData bytes(std::initializer_list<std::uint8_t> front) {
    ItemData data{};
    std::ranges::copy(front, data.begin());
    return data;
}

inline Session session(const std::string& uuid, std::int64_t atMs, SessionKind kind = SessionKind::kRead) {
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

inline SessionItem found(std::uint16_t number, std::uint8_t after) {
    return {.number = number, .state = ItemState::kRead, .after = bytes({after})};
}

inline SessionItem written(std::uint16_t number, std::uint8_t before, std::uint8_t after) {
    return {.number = number,
            .state = ItemState::kVerified,
            .before = bytes({before}),
            .wanted = bytes({after}),
            .after = bytes({after})};
}

/// How `work` fails; nothing where it does not.
inline std::optional<DatabaseError::Kind> failureOf(const std::function<void()>& work) {
    try {
        work();
        return std::nullopt;
    } catch (const DatabaseError& error) {
        return error.kind();
    }
}

/// "1: 10=5 30=6; 2: 10=5": since when each item had which first byte, and the latest one in the table of those.
inline std::string overTime(Store& store) {
    std::string text;
    std::int64_t item = -1;
    for (const Row& row : store.database().run(
             "SELECT o.item, o.since, c.bytes, CASE WHEN l.bytes IS NULL THEN 0 ELSE 1 END FROM over_time o"
             " JOIN content c ON c.id = o.content LEFT JOIN latest l ON l.phone = o.phone AND l.item = o.item AND"
             " l.since = o.since AND l.bytes = c.bytes ORDER BY o.phone, o.item, o.since")) {
        if (numberIn(row.at(0)) != item) {
            item = numberIn(row.at(0));
            text += (text.empty() ? "" : "; ") + std::to_string(item) + ":";
        }
        text += " " + std::to_string(numberIn(row.at(1))) + "=" + std::to_string(itemDataIn(row.at(2))->at(0)) +
                (numberIn(row.at(3)) != 0 ? "!" : "");
    }
    return text;
}

inline std::int64_t countOf(Store& store, const std::string& table) {
    return numberIn(store.database().run("SELECT count(*) FROM " + table).at(0).at(0));
}

/// A store of each kind, empty.
class EachStore : public testing::TestWithParam<std::string> {
protected:
    void SetUp() override {
        if (GetParam() == "PostgreSQL" && PostgresServer::ofThisProgram() == nullptr) {
            GTEST_SKIP() << "there is no PostgreSQL server here";
        }
        renew();
        store_ = open();
    }

    /// Makes room for an empty store, which is not there yet.
    void renew() {
        file_ = folder_ / ("History" + std::to_string(++files_) + ".sqlite");
        url_ = GetParam() == "PostgreSQL" ? PostgresServer::ofThisProgram()->newDatabase() : "";
    }

    std::unique_ptr<Database> connect() { return url_.empty() ? openSqlite(file_.string()) : openPostgres(url_); }
    std::unique_ptr<Store> open() { return std::make_unique<Store>(connect()); }

    TemporaryFolder folder_;
    std::filesystem::path file_;
    int files_ = 0;
    std::string url_;
    std::unique_ptr<Store> store_;
};

} // namespace record

// What a run of the batch tool leaves in the record, also where it is killed, or the record can't be kept.

#include "tests/cli/BatchTool.h"
#include "workbench/record/Store.h"

#include <filesystem>
#include <random>
#include <sstream>
#include <thread>

namespace {

constexpr int kItems = 40;

class BatchRecord : public BatchTool {
protected:
    /// What a statement finds, the columns of a row between blanks, a line each. Nothing where there are no tables yet.
    std::string ask(const std::string& sql) const {
        std::string text;
        const auto database = record::openSqlite(store);
        if (database->run("SELECT name FROM sqlite_master").empty()) {
            return text;
        }
        for (const record::Row& row : database->run(sql)) {
            for (const record::Value& value : row) {
                const auto* number = std::get_if<std::int64_t>(&value);
                const auto* words = std::get_if<std::string>(&value);
                text += (number != nullptr ? std::to_string(*number) : words != nullptr ? *words : "-") + " ";
            }
            text.back() = '\n';
        }
        return text;
    }

    /// A phone with so many items whose writes take a while, and a file that changes all of them from 1 to 2.
    void manyItems() const {
        std::string ring;
        std::string memory;
        std::string json;
        for (int item = 1; item <= kItems; ++item) {
            const std::string number = std::to_string(100 + item);
            ring += "NV_" + number + "," + number + ",ReadWrite,<BYTE,x>#\n";
            memory += number + " 0 01\n";
            json += (json.empty() ? "" : ",") + ("{\"id\":" + number) + ",\"fields\":[{\"value\":2}]}";
        }
        write("ring.vrk", ring);
        write("phone.nvmem", memory);
        write("many.json", "{\"items\":[" + json + "]}");
        service("[[port.fault]]\ncall = \"send\"\ndelay_ms = 3\n");
    }

    /// The numbers that the phone has with the new value.
    std::set<std::string> writtenOnPhone() const {
        std::set<std::string> numbers;
        std::istringstream memory(readText(folder / "COM1.nvmem"));
        for (std::string number, status, bytes; memory >> number >> status >> bytes;) {
            if (bytes == "02") {
                numbers.insert(number);
            }
        }
        return numbers;
    }

    const std::string store = (folder / "h").string();
};

TEST_F(BatchRecord, EachRunOnAPhoneIsASession) {
    write("Calvane.toml", "[history]\nrecord = false\n"); // is not the one of the program's folder
    write("units", "10 1 dB 1 - 0 5\n");
    write("items.json", R"({"items":[{"id":10,"fields":[{"value":5},{"value":2}]},{"id":30,"fields":[{"value":9}]}]})");
    const std::string full = "[[port.fault]]\ncall = \"send\"\nitem = 30\non = 2\nnv_status = 3\n";
    const struct {
        const char* arguments;
        int status;
        const char* session; ///< kind, state, items, what was asked for
        std::string fault = {};
    } runs[] = {
        {"read", 0, "0 1 4 read: all supported items"},
        {"diff ring.json COM1 --ids 10", 10, "0 1 1 diff: item 10"},
        {"check --port COM1 --units units --ids 10,20", 11, "0 1 2 check: items 10, 20"},
        {"set 30=8 '10[2]=7' --spc 121212", 0, "1 1 2 set 30 10[2]"},
        {"set 30 8 --dry-run", 0, "0 1 1 set 30 --dry-run"},
        {"write --from-json items.json --keep-going --spc-file code", 4,
         "1 2 2 write --from-json items.json --keep-going", full},
        {"read --raw --json raw --ids 10,11", 0, "0 1 2 read --raw: items 10, 11"},
        {"read --ids 20 --history none", 0, ""},
        {"write --from-json items.json --spc 999999", 4, "1 2 2 write --from-json items.json"},
    };
    write("code", "121212\n");
    ASSERT_EQ(run("read --json ring.json").status, 0);
    ASSERT_EQ(run("set 10 9,9").status, 0);
    std::string expected;
    for (const auto& row : runs) {
        service("spc = \"121212\"\n" + row.fault);
        const bool isNone = *row.session == '\0';
        const Outcome outcome = run(row.arguments + std::string(isNone ? "" : " --history h"));
        EXPECT_EQ(outcome.status, row.status) << row.arguments << '\n' << outcome.err;
        expected += isNone ? "" : row.session + std::string("\n");
    }
    EXPECT_EQ(ask("SELECT kind, state, items, asked FROM session ORDER BY id"), expected);
    EXPECT_EQ(ask("SELECT item, i.state, hex(b.bytes), hex(w.bytes), hex(a.bytes), i.status FROM session_item i "
                  "JOIN session s ON s.id = i.session LEFT JOIN content b ON b.id = before "
                  "LEFT JOIN content w ON w.id = wanted LEFT JOIN content a ON a.id = after "
                  "WHERE s.asked LIKE '%keep-going' OR s.asked LIKE 'set 30 10%' ORDER BY s.id, position"),
              "30 5 07 08 08 0\n10 5 090009AABB 090007AABB 090007AABB 0\n"
              "10 5 090007AABB 050002AABB 050002AABB 0\n30 6 08 09  3\n")
        << "with the bytes behind the sub-fields, which stay the phone's";
    EXPECT_EQ(ask("SELECT DISTINCT length(sha256), model, serial, program FROM session, ring, phone"),
              "64 Sample 0000000001 calvane-batch 1.4.34\n");
    for (const auto& entry : std::filesystem::directory_iterator(folder.path)) {
        const std::string name = entry.path().filename();
        EXPECT_TRUE(!name.starts_with("h") || readText(entry.path()).find("121212") == std::string::npos) << name;
    }
}

TEST_F(BatchRecord, AKillLeavesTheTruth) {
    manyItems();
    std::mt19937 chance(20261124); // NOLINT: the same moments each time
    std::set<std::string> ends;
    for (int round = 0; round < 12; ++round) {
        for (const char* file : {"h", "h-wal", "h-shm", "COM1.nvmem"}) {
            std::filesystem::remove(folder / file);
        }
        const double seconds = 0.15 + 0.001 * static_cast<double>(chance() % 500);
        run("write --from-json many.json --history h --quiet", " --port COM1",
            "sleep " + std::to_string(seconds) + "; kill -KILL $tool");
        const std::set<std::string> onPhone = writtenOnPhone();
        if (!std::filesystem::exists(store) || ask("SELECT uuid FROM session").empty()) {
            EXPECT_TRUE(onPhone.empty()) << "nothing is written before it stands in the store";
            ends.insert("before");
            continue;
        }
        EXPECT_EQ(ask("SELECT count(*), count(before), count(wanted) FROM session_item"), "40 40 40\n");
        std::istringstream verified(ask("SELECT item FROM session_item WHERE state = 5"));
        std::set<std::string> known;
        for (std::string number; verified >> number;) {
            EXPECT_TRUE(onPhone.contains(number)) << number;
            known.insert(number);
        }
        EXPECT_LE(onPhone.size() - known.size(), 2U) << "the one under way, and one on its way into the store";
        const bool isWhole = ask("SELECT state FROM session") == "1\n";
        ends.insert(isWhole ? "complete" : known.empty() ? "begun" : "middle");
        const std::string told = std::to_string(known.size()) + " of 40 items are recorded as verified.";
        EXPECT_EQ(run("read --ids 101 --history h").err.find(told) == std::string::npos, isWhole);
        EXPECT_EQ(run("read --ids 101 --history h").err.find(told), std::string::npos) << "once";
    }
    EXPECT_TRUE(ends.contains("middle"));
}

TEST_F(BatchRecord, AFullDiskStopsTheRecordAndNotTheWrite) {
    manyItems();
    ASSERT_EQ(run("read --history h").status, 0);
    const auto limit = std::to_string(std::filesystem::file_size(store) / 1024 + 40);
    for (const auto& [option, status] : {std::pair("", 0), {" --require-record", 6}}) {
        std::filesystem::remove(folder / "COM1.nvmem");
        const std::string line = "bash -c 'ulimit -f " + limit + "; cd " + folder.path.string() +
                                 " && exec " CALVANE_BATCH " write --service Tessra.toml --ring ring.vrk --port COM1 "
                                 "--from-json many.json --history h" +
                                 option + " 2>err'";
        EXPECT_EQ(WEXITSTATUS(std::system(line.c_str())), status); // NOLINT(concurrency-mt-unsafe)
        EXPECT_NE(readText(folder / "err")
                      .find("calvane-batch: Not recorded as a whole: the write to Sample 0000000001 on COM1: "),
                  std::string::npos)
            << readText(folder / "err");
        EXPECT_EQ(writtenOnPhone().size(), 40U);
    }
}

TEST_F(BatchRecord, AStoreThatOthersHoldIsTold) {
    ASSERT_EQ(run("read --history h").status, 0);
    const std::string late = "calvane-batch: Not recorded: 'h' has not taken it within half a second. ";
    {
        const auto other = record::openSqlite(store);
        const record::Transaction held(*other);
        const Outcome required = run("set 30 8 --history h --require-record");
        EXPECT_EQ(required.status, 6);
        EXPECT_EQ(required.err, late + "Nothing was written.\n");
        EXPECT_FALSE(std::filesystem::exists(folder / "COM1.nvmem")) << "nothing was sent";
        const Outcome ended =
            run("set 30 8 --history h --report r.json --log l.json", " --port COM1", "sleep 1.3; kill -TERM $tool");
        EXPECT_EQ(ended.status, 143) << "in the wait for the record: " << ended.err;
        EXPECT_NE(readText(folder / "r.json").find("verified"), std::string::npos);
        EXPECT_NE(readText(folder / "l.json").find("\"end\""), std::string::npos);
        std::filesystem::remove(folder / "COM1.nvmem");
    }
    Outcome outcome;
    {
        const auto other = record::openSqlite(store);
        std::optional<record::Transaction> held(*other);
        std::thread tool([&] { outcome = run("set 30 8 --history h"); });
        for (int tries = 0; tries < 1000 && !std::filesystem::exists(folder / "COM1.nvmem"); ++tries) {
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
        held.reset();
        tool.join();
    }
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.err, late + "Going on without a record of this write.\n" +
                               "COM1 (Sample 0000000001): 1 written and verified.\n");
    EXPECT_EQ(ask("SELECT state, asked FROM session WHERE kind = 1 AND state <> 3"), "1 set 30\n")
        << "what comes too late is recorded all the same";
}

TEST_F(BatchRecord, WhatCantBeAStoreStaysAsItIs) {
    write("golden.mox", "no store");
    const Outcome outcome = run("set 30 8 --history golden.mox");
    EXPECT_EQ(outcome.status, 0);
    EXPECT_TRUE(outcome.err.starts_with("calvane-batch: Not recorded: ")) << outcome.err;
    EXPECT_EQ(readText(folder / "golden.mox"), "no store");
    EXPECT_EQ(run("read --history postgresql://u:geheim@db/x").status, 2);
    EXPECT_EQ(run("set 30 9 --history none --require-record").status, 6);
}

} // namespace

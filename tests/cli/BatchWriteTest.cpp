// What set and write of the batch tool do to a phone, and what they tell of it.

#include "tests/cli/BatchTool.h"

#include <filesystem>

namespace {

const std::string kPhone = "COM1 (Sample 0000000001): ";
const std::string kSkipped = "Skipped 1 item whose access mark does not allow a write: 20.\n";

class BatchWrite : public BatchTool {
protected:
    BatchWrite() {
        write("items.json",
              R"({"items":[{"id":10,"fields":[{"value":-12},{"value":2}]},{"id":20,"fields":[{"value":6}]},
                                         {"id":30,"fields":[{"value":9}]},{"id":40,"fields":[{"value":4}]}]})");
    }

    /// A fault of the phone, which meets item 30.
    void fault(const std::string& lines) const { service("[[port.fault]]\ncall = \"send\"\nitem = 30\n" + lines); }
    /// The raw bytes that the phone has, up to the last that is not zero.
    std::string onPhone(const std::string& number) const {
        std::string json = run("read --ids " + number + " --json -").out;
        const auto raw = json.find("\"raw\": \"");
        return raw == std::string::npos ? "none" : json.substr(raw + 8, json.find("0000", raw) - raw - 8);
    }
    void forget() const { std::filesystem::remove(folder / "COM1.nvmem"); }
};

TEST_F(BatchWrite, SetKeepsTheBytesThatTheRingDoesNotKnow) {
    EXPECT_EQ(run("set 010 '-300,2'").out, "10 NV_A: -12, 1 -> -300, 2\n") << "a number is decimal";
    EXPECT_EQ(onPhone("10"), "d4fe02aabb");
    EXPECT_EQ(run("set 40 9").out, "40 NV_NONE: no value -> 9\n");
    expectRun(
        "set 30 -- -1", 7,
        "calvane-batch: '-1' for 'x' would be stored as 255: a BYTE is from 0 to 255. If it is meant, say --wrap.\n");
    EXPECT_EQ(run("set 30 --wrap -- -1").out, "30 NV_B: 7 -> 255\n");
}

TEST_F(BatchWrite, SetTakesItemsNamesAndSubFields) {
    EXPECT_EQ(run("set NV_B=0x10 40=4 '10[2]=0xff'").out,
              "30 NV_B: 7 -> 16\n40 NV_NONE: no value -> 4\n10 NV_A: -12, 1 -> -12, 255\n");
    EXPECT_EQ(onPhone("10"), "f4ffffaabb") << "the other bytes stay";
    EXPECT_EQ(run("set '10[1]=5' '10[2]=6'").out, "10 NV_A: -12, 255 -> 5, 6\n");
    const std::string memory = readText(folder / "COM1.nvmem");
    write("ring.vrk", readText(folder / "ring.vrk") + "NV_B,31,ReadWrite,<BYTE,x>#\n");
    const struct {
        const char* arguments;
        int status;
        const char* err;
    } refused[] = {
        {"set 30=1 '10[2]=0x100'", 7,
         "calvane-batch: '256' for 'flag' would be stored as 0: a BYTE is from 0 to 255. If it is meant, say "
         "--wrap.\n"},
        {"set 30=1 '10[3]=1'", 7, "calvane-batch: 10 NV_A has 2 sub-fields, and no 3.\n"},
        {"set 30=1 10=1,2 '10[1]=1'", 2, "calvane-batch: 10 NV_A is given twice. Nothing was written.\n"},
        {"set 10=1,2 NV_LOCKED=1", 7, "calvane-batch: 20 NV_LOCKED can't be written: its access mark is 'readonly'.\n"},
        {"set 10=1,2 NV_B=1", 7, "calvane-batch: 'NV_B' is the name of 2 items: 30, 31. Say which number is meant.\n"},
        {"set 10=1,2 '31[1]=1'", 9,
         "31 NV_B has no value on the phone, so that all of its sub-fields are needed.\n"
         "calvane-batch: Nothing was written, as not all is known of what the phone has.\n"},
    };
    for (const auto& row : refused) {
        expectRun(row.arguments, row.status, row.err);
    }
    EXPECT_EQ(run("set '10[1]=1' --dry-run", "").status, 2) << "without a port";
    EXPECT_EQ(readText(folder / "COM1.nvmem"), memory);
}

TEST_F(BatchWrite, APlanIsPrintedAndNothingWritten) {
    const struct {
        const char* port;
        const char* arguments;
        const char* out;
        std::string err;
    } cases[] = {
        {" --port COM1", "write --dry-run --from-json items.json",
         "10 NV_A\n       flag: 1 -> 2\n30 NV_B\n       x: 7 -> 9\n40 NV_NONE  the phone has no value\n       x: 4\n",
         "3 to be written, 1 read-only left out. Nothing was written.\n" + kSkipped},
        {"", "write --dry-run --from-json items.json",
         "10 NV_A\n       offset: -12\n       flag: 2\n30 NV_B\n       x: 9\n40 NV_NONE\n       x: 4\n",
         "3 to be written, 1 read-only left out. Nothing was written.\n" + kSkipped},
        {" --port COM1", "set --dry-run --changed-only 30 7", "",
         "1 equal. Nothing was written.\nSkipped 1 item that the phone has already.\n"},
    };
    for (const auto& row : cases) {
        service(row.port == std::string() ? "broken" : ""); // nobody looks for a port then
        const Outcome outcome = run(row.arguments, row.port);
        EXPECT_EQ(outcome.status, 0);
        EXPECT_EQ(outcome.out, row.out);
        EXPECT_EQ(outcome.err, row.err);
    }
    EXPECT_FALSE(std::filesystem::exists(folder / "COM1.nvmem"));
}

TEST_F(BatchWrite, AnAccountTellsWhatBecameOfEachItem) {
    const std::string refused = "30 NV_B was refused: The NVM is full\n";
    const std::string stopped = "Stopped at NV item 30 (NV_B): The NVM is full\n";
    // The first packet of an item reads it, the second writes it, the third reads it back.
    const struct {
        const char* fault;
        const char* options;
        int status;
        std::string err;
        const char* phoneHas;
    } cases[] = {
        {"on = 9\nnv_status = 3\n", "--offline-first", 0, kPhone + "3 written and verified.\n" + kSkipped, "4"},
        {"on = 2\nnv_status = 3\n", "", 4,
         stopped + refused + kPhone + "1 written and verified, 1 refused, 1 not tried.\nWritten and verified: 10.\n" +
             "Not tried: 40.\n" + kSkipped,
         "none"},
        {"on = 2\nnv_status = 3\n", "--keep-going", 4,
         refused + kPhone + "2 written and verified, 1 refused.\nWritten and verified: 10, 40.\n" + kSkipped, "4"},
        {"on = 2\nnv_status = 3\n", "--tolerate 30", 0,
         refused + kPhone + "2 written and verified, 1 refused.\nWritten and verified: 10, 40.\n" + kSkipped, "4"},
        {"on = 2\nnv_status = 11\n", "--keep-going", 5,
         "30 NV_B was written, but reads back different: x is 7 instead of 9.\n" + kPhone +
             "2 written and verified, 1 read back different.\nWritten and verified: 10, 40.\n" + kSkipped,
         "4"},
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(std::string(row.fault) + row.options);
        forget();
        fault(row.fault);
        expectRun(std::string("write --from-json items.json ") + row.options, row.status, row.err);
        service("");
        EXPECT_EQ(run("read --ids 40 --text -").out, row.phoneHas == std::string("4") ? "NV_NONE\r\n4, \r\n\r\n" : "");
    }
}

TEST_F(BatchWrite, AnItemWhoseFateIsNotKnownIsNamed) {
    fault("on = 2\nvanish = true\n");
    const Outcome outcome = run("write --from-json items.json --keep-going");
    EXPECT_EQ(outcome.status, 9);
    EXPECT_NE(outcome.err.find("\n30 NV_B may have been written or not: "), std::string::npos) << outcome.err;
    EXPECT_TRUE(outcome.err.ends_with("\nRead it back before you rely on it.\n" + kPhone +
                                      "1 written and verified, 1 not known, 1 not tried.\nWritten and verified: 10.\n"
                                      "Not tried: 40.\n" +
                                      kSkipped +
                                      "No phone is present on COM1. `calvane-batch ports` tells where phones are.\n"))
        << outcome.err;
}

TEST_F(BatchWrite, AnItemThatCantBeReadBeforeIsNotCutShort) {
    fault("from = 1\nnv_status = 4\n");
    const Outcome stopped = run("write --from-json items.json");
    EXPECT_EQ(stopped.status, 9);
    EXPECT_FALSE(std::filesystem::exists(folder / "COM1.nvmem")) << "nothing was written";
    const Outcome without = run("write --from-json items.json --keep-going");
    EXPECT_EQ(without.status, 9);
    EXPECT_TRUE(without.err.ends_with(kPhone + "2 written and verified.\n" + kSkipped +
                                      "Skipped 1 item that can't be read before: 30.\n"))
        << without.err;
}

TEST_F(BatchWrite, ThePhoneIsTheOneThatWasExpected) {
    EXPECT_EQ(run("set 30 8 --expect-serial 0000000001 --verify-after-reset").status, 0);
    forget();
    expectRun(
        "set 30 8 --expect-serial 0000000002", 8,
        "calvane-batch: The phone on COM1 is Sample 0000000001, software 1.0, not '0000000002'. Nothing was written to "
        "it.\n");
    service("serial = \" \"\n");
    EXPECT_EQ(run("set 30 8 --expect-serial ''").status, 8) << "one that tells none is no phone of that number";
    EXPECT_FALSE(std::filesystem::exists(folder / "COM1.nvmem"));
    EXPECT_EQ(run("set 30 8").status, 0) << "it may be written where nobody asks for another";
}

TEST_F(BatchWrite, AnInterruptWaitsForTheItemAndGivesTheAccount) {
    // Item 10 is in the phone when the memory is there; it is read back, and then item 30 is under way for two seconds.
    fault("on = 2\ndelay_ms = 2000\n");
    const std::string whenWritten =
        "for i in $(seq 1000); do [ -s COM1.nvmem ] && break; sleep 0.01; done; sleep 0.5; ";
    const std::pair<const char*, int> signals[] = {
        {"kill -INT $tool", 130}, {"kill -TERM $tool", 143}, {"kill -HUP $tool", 143}};
    for (const auto& [kill, status] : signals) {
        forget();
        const Outcome outcome = run("write --from-json items.json", " --port COM1", whenWritten + kill);
        EXPECT_EQ(outcome.status, status);
        EXPECT_EQ(outcome.err, "Interrupted.\n" + kPhone + "2 written and verified, 1 not tried.\n" +
                                   "Written and verified: 10, 30.\nNot tried: 40.\n" + kSkipped);
    }
    fault("delay_ms = 1000\n");
    for (const std::string verb : {"read --text t", "set 30 8"}) {
        std::filesystem::remove(folder / "log");
        const Outcome outcome =
            run(verb + " --log log", " --port COM1",
                "for i in $(seq 1000); do grep -q '\"id\":30' log 2>err2 && break; sleep 0.01; done; "
                "kill -INT $tool");
        EXPECT_EQ(outcome.status, 130) << verb;
        EXPECT_EQ(outcome.err, verb == "set 30 8"
                                   ? "Interrupted.\n" + kPhone + "1 not tried.\nNot tried: 30.\n"
                                   : "calvane-batch: Interrupted. Stopped at 30 NV_B, item 3 of 4. Nothing "
                                     "was printed or written to a file.\n");
    }
    EXPECT_FALSE(std::filesystem::exists(folder / "t"));
}

} // namespace

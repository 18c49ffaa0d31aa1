// The batch tool's verbs that compare items with others, or with limits.

#include "tests/cli/BatchTool.h"

namespace {

using BatchCompare = BatchTool;

TEST_F(BatchCompare, ADiffSaysWhatEachSideHas) {
    ASSERT_EQ(run("read --json j --mox p.mox --esn 1").status, 0);
    ASSERT_EQ(run("set '10' '-300,1'").status, 0);
    ASSERT_EQ(run("read --ids 10-30 --mox q.mox --esn 2").status, 0);
    ASSERT_EQ(run("set 40 9").status, 0);
    const struct {
        const char* arguments;
        int status;
        const char* out; ///< behind the two lines of the sides
        const char* err;
    } cases[] = {
        {"diff j j", 0, "", "3 equal, 0 different, 0 only left, 0 only right.\n"},
        {"diff j COM1", 10,
         "@@ 10 NV_A @@\n-  [1] offset: -12\n+  [1] offset: -300\n@@ 40 NV_NONE, only right @@\n+  [1] x: 9\n",
         "2 equal, 1 different, 0 only left, 1 only right.\n"},
        {"diff p.mox - --ids 20-30 <j", 10, "@@ 20 NV_LOCKED, only right @@\n+  [1] x: 5\n",
         "1 equal, 0 different, 0 only left, 1 only right.\n"},
        {"diff p.mox q.mox --ids 10", 10, "@@ 10 NV_A @@\n-  [1] offset: -12\n+  [1] offset: -300\n",
         "The values are of two phones: ESN 1 (left) and ESN 2 (right).\n"
         "0 equal, 1 different, 0 only left, 0 only right.\n"},
    };
    for (const auto& row : cases) {
        const Outcome outcome = run(row.arguments);
        EXPECT_EQ(outcome.status, row.status) << row.arguments;
        EXPECT_EQ(outcome.err, row.err) << row.arguments;
        const auto head = outcome.out.find("@@");
        EXPECT_EQ(outcome.out.starts_with("--- "), head != std::string::npos);
        EXPECT_EQ(head == std::string::npos ? outcome.out : outcome.out.substr(head), row.out) << row.arguments;
    }
    EXPECT_EQ(run("diff j COM1 --changed-only-names").out, "10 NV_A\n40 NV_NONE\n");
    EXPECT_NE(run("diff j COM1 --json -").out.find(R"("left":"-12","right":"-300","difference":"-288")"),
              std::string::npos);
}

TEST_F(BatchCompare, WhatCantBeComparedIsNoDifference) {
    ASSERT_EQ(run("read --json j --mox p.mox").status, 0);
    const std::string told = "Failed: 30: Command failed, reason other than NVM was full\n";
    service("[[port.fault]]\ncall = \"send\"\nitem = 30\nnv_status = 4\n");
    expectRun("diff j COM1", 9, told + "2 equal, 0 different, 0 only left, 0 only right, not compared: item 30.\n");
    ASSERT_EQ(run("read --json without").status, 9);
    expectRun("diff COM1 without", 0,
              told + "2 equal, 0 different, 0 only left, 0 only right, not compared: item 30.\n");
    write("ring.vrk", "NV_A,10,ReadWrite,<SIGNED_WORD,offset>#<BYTE,flag>#\n");
    service("");
    expectRun("diff p.mox COM1", 0, "2 equal, 0 different, 0 only left, 0 only right.\n");
    ASSERT_EQ(run("read --json j").status, 0);
    expectRun("diff p.mox j", 9,
              "'p.mox' has 1 item that the decoder ring does not describe, left out: 30.\n"
              "1 equal, 0 different, 0 only left, 0 only right, not compared: item 30.\n");
    expectRun("diff p.mox p.mox", 0, "2 equal, 0 different, 0 only left, 0 only right.\n");
    write("empty", R"({"items":[]})");
    expectRun("diff empty empty", 9,
              "0 equal, 0 different, 0 only left, 0 only right.\ncalvane-batch: Nothing was compared.\n");
    expectRun("diff p.mox COM9", 6, "calvane-batch: 'COM9' is no file, and no port of 'Tessra.toml'.\n");
}

TEST_F(BatchCompare, AReadWithGapsIsNotWhole) {
    const std::string lost = "[[port.fault]]\ncall = \"send\"\nitem = 30\nshort_answer = 20\n";
    const std::string refused = "[[port.fault]]\ncall = \"send\"\nitem = 20\nnv_status = 4\n";
    service(lost + refused);
    ASSERT_EQ(run("read --json gaps --retries 0").status, 9);
    service(refused);
    ASSERT_EQ(run("read --json refused").status, 9);
    service("");
    write("u", "30 1 V 1 0 - 9\n");
    const std::string equal = " equal, 0 different, 0 only left, 0 only right";
    expectRun("diff gaps COM1", 9, "1" + equal + ", not compared: item 20, 30.\n");
    expectRun("diff COM1 refused", 9, "2" + equal + ", not compared: item 20.\n");
    expectRun("diff refused refused", 0, "2" + equal + ", not compared: item 20.\n");
    expectRun("diff gaps COM1 --ids 10", 0, "1" + equal + ".\n");
    expectRun("check --from gaps --units u", 9,
              "Checked 0 values of 0 items: 0 outside their limits.\nNot known: 30.\n");
}

TEST_F(BatchCompare, ItemsThatTheRingLacksAreComparedByTheirBytes) {
    write("phone.nvmem", "10 0 f4ff01\n77 0 0102\n");
    ASSERT_EQ(run("read --raw --ids 0-100 --json before").status, 0);
    ASSERT_EQ(run("read --json j").status, 0);
    std::string changed = readText(folder / "before");
    changed.replace(changed.find("\"0102"), 5, "\"03FF");
    write("after", changed);
    for (const std::string sides : {"before after", "after COM1 --ids 77"}) {
        EXPECT_EQ(run("diff --changed-only-names " + sides).out, "77 No Name\n");
    }
    expectRun("diff before j", 9,
              "'before' has 1 item that the decoder ring does not describe, left out: 77.\n"
              "1 equal, 0 different, 0 only left, 0 only right, not compared: item 77.\n");
    const std::string checked = "Checked 1 value of 1 item: 0 outside their limits.\n";
    write("ring.units", "10 1 V 1 0 - 9\n77 1 V\n");
    expectRun("check --from before", 0, checked + "Not in the decoder ring and without limits: item 77.\n");
    write("ring.units", "10 1 V 1 0 - 9\n77 1 V 1 0 - 9\n");
    expectRun("check --from before", 9, checked + "Not known: 77.\n");
}

TEST_F(BatchCompare, ADiffOfTwoPhonesSaysThatTheyAreTwo) {
    const std::string second = "[[port]]\nname = \"COM2\"\ninitial = \"second.nvmem\"\n";
    write("second.nvmem", "10 0 f4ff01aabc\n20 0 05\n30 0 07\n");
    service(second + "serial = \"2\"\n");
    const Outcome outcome = run("diff COM1 COM2");
    EXPECT_EQ(outcome.status, 10);
    EXPECT_NE(outcome.out.find("@@ 10 NV_A @@\n-  bytes behind the sub-fields: aabb00"), std::string::npos)
        << outcome.out;
    EXPECT_EQ(outcome.err, "The values are of two phones: Sample 0000000001 on COM1 (left) and Sample 2 on COM2 "
                           "(right).\n2 equal, 1 different, 0 only left, 0 only right.\n");
    service(second + "[[port.fault]]\ncall = \"send\"\nvanish = true\n");
    EXPECT_EQ(run("diff COM1 COM2").status, 3) << "a failure outweighs a difference";
}

TEST_F(BatchCompare, ADiffOfADamagedFileIsAFailure) {
    ASSERT_EQ(run("read --mox p.mox --model-id 5").status, 0);
    std::string bytes = readText(folder / "p.mox");
    std::string stream;
    for (int digit = 0; digit < 8; ++digit) {
        stream += std::string("0\0", 2);
    }
    bytes[bytes.rfind(stream) + 0x78] = '\x20'; // the length of an item
    write("q.mox", bytes);
    const Outcome outcome = run("diff p.mox q.mox");
    EXPECT_EQ(outcome.status, 6);
    EXPECT_NE(outcome.err.find("'q.mox' is damaged: it may have had more items.\n"), std::string::npos) << outcome.err;
}

TEST_F(BatchCompare, JsonComesThroughPipes) {
    ASSERT_EQ(run("read --json j").status, 0);
    ASSERT_EQ(std::system(("mkfifo '" + (folder / "pipe").string() + "'").c_str()), 0);
    for (const std::string verb : {"diff j pipe", "check --from pipe --units u", "write --from-json pipe"}) {
        write("u", "30 1 - 1 0 - 7\n");
        EXPECT_EQ(run(verb, " --port COM1", "cat j >pipe").status, 0) << verb;
        EXPECT_EQ(run("list >list; cat j | " CALVANE_BATCH " " + verb.substr(0, verb.find("pipe")) +
                      "- --history none --ring ring.vrk" +
                      (verb.starts_with("write") ? " --port COM1 --service Tessra.toml" : "") +
                      (verb.starts_with("check") ? " --units u" : ""))
                      .status,
                  0)
            << verb;
    }
}

TEST_F(BatchCompare, ACheckNamesWhatIsOutsideItsLimits) {
    ASSERT_EQ(run("read --json j").status, 0);
    const std::string outside = "10 NV_A [1] offset: -1.2 dBm, low; permitted: -1.0 dBm to 2.0 dBm (raw -12)\n";
    const struct {
        const char* units;
        const char* arguments;
        int status;
        std::string out;
        std::string err;
    } cases[] = {
        {"10 1 dBm 0.1 - -1.2 2\n30 1 - 1 0 - 7\n", "check --port COM1", 0, "",
         "Checked 2 values of 2 items: 0 outside their limits.\n"},
        {"10 1 dBm 0.1 - -1 2\n10 2 V\n40 1 - 1 0 1 2\n", "check --from - <j", 11, outside,
         "Checked 1 value of 1 item: 1 outside their limits.\nWithout a value: 40.\n"},
        {"10 1 dBm 0.1 - -1 2\n", "check --from j --ids 30", 9, "",
         "Checked 0 values of 0 items: 0 outside their limits.\n"},
        {"# none\n", "check --from j", 6, "",
         "calvane-batch: 'ring.units' has no units and limits, or is not there.\n"},
        {"10 1 dBm 0.1 - -1 2\n", "check --from j --json -", 11,
         R"({
  "source": "",
  "values": [
    {"id":10,"name":"NV_A","field":1,"description":"offset","raw":"-12","value":-1.2000000000000002,"unit":"dBm",)"
         R"("least":-1.0,"most":2.0,"state":"low"}
  ],
  "checked": 1,
  "outside": 1,
  "without": [],
  "unknown": [],
  "undescribed": []
}
)",
         "Checked 1 value of 1 item: 1 outside their limits.\n"},
    };
    for (const auto& row : cases) {
        write("ring.units", row.units);
        Outcome outcome = run(row.arguments);
        if (const auto label = outcome.out.find("\"j ("); label != std::string::npos) {
            outcome.out.erase(label + 1, outcome.out.find(')') - label); // it has the time
        }
        EXPECT_EQ(outcome.status, row.status) << row.arguments;
        EXPECT_EQ(outcome.out, row.out);
        EXPECT_EQ(outcome.err, row.err);
    }
    service("[[port.fault]]\ncall = \"send\"\nitem = 10\nnv_status = 4\n");
    const Outcome failed = run("check --port COM1");
    EXPECT_EQ(failed.status, 9);
    EXPECT_TRUE(failed.err.ends_with("Not known: 10.\n")) << failed.err;
}

} // namespace

// The batch tool as its users run it: a process of its own for each call.

#include "tests/cli/BatchTool.h"

namespace {

TEST_F(BatchTool, ReadPrintsTheItemsAndTellsWhatIsMissing) {
    const Outcome outcome = run("read", "--port COM1");
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.out, "   10  NV_A  (readwrite)\n"
                           "       SIGNED WORD   -12  offset\n"
                           "       BYTE            1  flag\n"
                           "   20  NV_LOCKED  (readonly)\n"
                           "       BYTE          5  x\n"
                           "   30  NV_B  (readwrite)\n"
                           "       BYTE          7  x\n");
    EXPECT_EQ(outcome.err, "Read 3 items from COM1. The phone has no value for the other 1 of the decoder ring.\n");
    EXPECT_EQ(run("read", "--port COM1 --ids 40,10 --text -").out, "NV_A\r\n-12, 1, \r\n\r\n");
    EXPECT_EQ(run("ports", "", false).out, "COM1\n");
}

TEST_F(BatchTool, ASetValueSurvivesTheProgramsEnd) {
    const Outcome set = run("set", "--port COM1 10 '-300,2'");
    EXPECT_EQ(set.status, 0);
    EXPECT_EQ(set.out, "10 NV_A: -12, 1 -> -300, 2\n");
    EXPECT_EQ(run("read", "--port COM1 --ids 10 --text -").out, "NV_A\r\n-300, 2, \r\n\r\n");
    EXPECT_EQ(run("set", "--port COM1 40 9").out, "40 NV_NONE: no value -> 9\n");
}

TEST_F(BatchTool, SetRefusesWhatWouldNotBeWhatWasAskedFor) {
    const struct {
        const char* arguments;
        const char* err;
    } cases[] = {
        {"--port COM1 20 6", "20 NV_LOCKED can't be written: its access mark is 'readonly'.\n"},
        {"--port COM1 10 1", "Calvane::NvItem::setData( const string commaDelimitedDataString ) - For NV item: 'NV_A' "
                             "there are 2 expected data items, and there are only 1 in the passed in comma delimited "
                             "data string: '1'\n"},
        {"--port COM1 30 -- -1", "'-1' for 'x' would be stored as 255 in a BYTE.\n"},
        {"--port COM1 99 1", "Calvane::getSupportedNvItem( std::string nvItemName ) - The NV item id '99' is not found "
                             "in the decoder ring file.\n"},
    };
    for (const auto& row : cases) {
        const Outcome outcome = run("set", row.arguments);
        EXPECT_EQ(outcome.status, 1) << row.arguments;
        EXPECT_EQ(outcome.err, row.err);
    }
    EXPECT_FALSE(std::filesystem::exists(folder / "COM1.nvmem")) << "nothing was written";
}

TEST_F(BatchTool, AWriteSkipsReadOnlyItemsAndStopsAtARefusalWithItsAccount) {
    ASSERT_EQ(run("read", "--port COM1 --json '" + (folder / "items.json").string() + "'").status, 0);
    const std::string from = "--port COM1 --from-json '" + (folder / "items.json").string() + "' ";
    const Outcome done = run("write", from + "--offline-first");
    EXPECT_EQ(done.status, 0);
    EXPECT_EQ(done.err, "Wrote 2 of 3 items to COM1.\n"
                        "Skipped 1 item whose access mark does not allow a write: 20.\n");

    service("[[port.fault]]\ncall = \"send\"\nitem = 30\nnv_status = 3\n");
    const Outcome refused = run("write", from);
    EXPECT_EQ(refused.status, 1);
    EXPECT_EQ(refused.err, "Calvane::writeToPhone( const string comPort, const vector< NvItem >& nvItems, bool "
                           "throwException ) - Unable to write 'NV_B' to the phone. (The NVM is full)\n"
                           "Wrote 1 of 3 items to COM1: 10.\n"
                           "Skipped 1 item whose access mark does not allow a write: 20.\n"
                           "Stopped at 30 NV_B: read it back before you rely on it.\n");
    const Outcome tolerated = run("write", from + "--tolerate 30");
    EXPECT_EQ(tolerated.status, 0);
    EXPECT_EQ(tolerated.err, "30 Had the following error while writing to the phone - The NVM is full\n"
                             "Wrote 1 of 3 items to COM1.\n"
                             "Skipped 1 item whose access mark does not allow a write: 20.\n");
}

TEST_F(BatchTool, AnItemNumberIsDecimalWhateverItStartsWith) {
    EXPECT_EQ(run("set", "--port COM1 010 '1,1'").out, "10 NV_A: -12, 1 -> 1, 1\n");
    EXPECT_EQ(run("set", "--port COM1 0x1e 1").status, 2);
    EXPECT_EQ(run("set", "--port COM1 10,30 1").status, 2);
}

TEST_F(BatchTool, AWriteThatThePhoneOnlySeemsToTakeIsARefusal) {
    // Above 10, a status counts as success; the phone keeps its old value all the same.
    service("[[port.fault]]\ncall = \"send\"\nitem = 30\nnv_status = 11\non = 2\n");
    const Outcome set = run("set", "--port COM1 30 8");
    EXPECT_EQ(set.status, 1);
    EXPECT_EQ(set.err, "30 NV_B was written, but the phone reads back 7 for it.\n");
    write("items.json", R"({"items":[{"id":30,"fields":[{"value":9}]}]})");
    service("[[port.fault]]\ncall = \"send\"\nitem = 30\nnv_status = 11\non = 1\n");
    const Outcome written = run("write", "--port COM1 --from-json '" + (folder / "items.json").string() + "'");
    EXPECT_EQ(written.status, 1);
    EXPECT_EQ(written.err, "30 NV_B was written, but the phone reads back 7 for it.\n"
                           "Wrote 0 of 1 item to COM1.\n"
                           "Stopped at 30 NV_B: read it back before you rely on it.\n");
}

TEST_F(BatchTool, AFailureTellsHowFarItGotAndWhereThePhonesAre) {
    service("[[port.fault]]\ncall = \"send\"\nitem = 20\nvanish = true\n");
    const Outcome vanished = run("read", "--port COM1");
    EXPECT_EQ(vanished.status, 1);
    EXPECT_EQ(
        vanished.err,
        "Calvane::getNvItemsFromPhone( const string comPort ) - TessraServer::sendSyncImpl - A command can not be "
        "issued as the phone is not present.\n"
        "Stopped at 20 NV_LOCKED, item 2 of 4; nothing was written to a file.\n"
        "No phone is present on COM1.\n");
    service("");
    const std::string hint = "No phone is present on COM2. Phones are present on: COM1.\n";
    const std::string err = run("read", "--port COM2").err;
    EXPECT_EQ(err.substr(err.size() - hint.size()), hint);
    EXPECT_EQ(run("read", "--port COM1 --text '" + (folder / "t").string() + "' --json /nowhere/j").err,
              "Can't write '/nowhere/j': No such file or directory\nWritten before it: '" + (folder / "t").string() +
                  "'\n");
}

TEST_F(BatchTool, ProtectedItemsNeedTheAccessCode) {
    write("phone.nvmem", "30 0 07 protected\n");
    service("spc = \"123456\"\n");
    EXPECT_EQ(run("set", "--port COM1 30 8").status, 1);
    EXPECT_EQ(run("set", "--port COM1 30 8 --spc 000000").status, 1);
    EXPECT_EQ(run("set", "--port COM1 30 8 --spc 123456").out, "30 NV_B: 7 -> 8\n");
}

TEST_F(BatchTool, ResetWaitsForThePhone) {
    const Outcome outcome = run("reset", "--port COM1", false);
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.out, "The phone on COM1 has been reset.\n");
}

TEST_F(BatchTool, ExitStatusTellsARefusalFromWrongUsage) {
    EXPECT_EQ(run("read", "").status, 2) << "no port";
    EXPECT_EQ(run("read", "--port COM1 --ids 3-2").status, 2);
    EXPECT_EQ(run("set", "--port COM1 70000 1").status, 2);
    EXPECT_EQ(run("nothing", "").status, 2);
    EXPECT_EQ(run("read", "--help").status, 0);
    EXPECT_EQ(run("read", "--port COM2").status, 1);
    EXPECT_EQ(run("read", "--port COM1 --text /dev/full").status, 1);
    EXPECT_EQ(run("read", "--port COM1 >/dev/full").status, 1) << "an output that can't be written";
    write("ring.vrk", "NV_A,10;\n");
    EXPECT_EQ(run("list", "").status, 2) << "list has no service";
    EXPECT_EQ(run("read", "--port COM1").status, 1);
}

TEST_F(BatchTool, ABrokenServiceFileIsNamedWithItsLineAndLeavesNoPorts) {
    write("Tessra.toml", "[[port]]\nname = \n");
    const Outcome outcome = run("ports", "", false);
    EXPECT_EQ(outcome.status, 1) << "a file refused";
    EXPECT_EQ(outcome.out, "");
    EXPECT_NE(outcome.err.find("Tessra.toml:2: "), std::string::npos) << outcome.err;
    EXPECT_NE(outcome.err.find("Going on without ports.\nNo phone is present on any port.\n"), std::string::npos)
        << outcome.err;
}

} // namespace

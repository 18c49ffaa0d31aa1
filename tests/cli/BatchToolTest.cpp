// The batch tool as its users run it: a process of its own for each call.

#include "tests/cli/BatchTool.h"

#include <filesystem>
#include <sstream>

namespace {

TEST_F(BatchTool, ReadPrintsTheItemsAndTellsWhatIsMissing) {
    const Outcome outcome = run("read");
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.out, "   10  NV_A  (readwrite)\n"
                           "       SIGNED WORD   -12  offset\n"
                           "       BYTE            1  flag\n"
                           "   20  NV_LOCKED  (readonly)\n"
                           "       BYTE          5  x\n"
                           "   30  NV_B  (readwrite)\n"
                           "       BYTE          7  x\n");
    EXPECT_EQ(outcome.err, "Read 3 items from COM1. The phone has no value for the other 1 of the decoder ring.\n");
    EXPECT_EQ(run("ports").out, "COM1\n");
}

TEST_F(BatchTool, ASetValueSurvivesTheProgramsEnd) {
    EXPECT_EQ(run("set 010 '-300,2'").out, "10 NV_A: -12, 1 -> -300, 2\n") << "a number is decimal";
    EXPECT_EQ(run("read --ids 40,10 --text -").out, "NV_A\r\n-300, 2, \r\n\r\n");
    EXPECT_EQ(run("set 40 9").out, "40 NV_NONE: no value -> 9\n");
}

TEST_F(BatchTool, SetRefusesWhatWouldNotBeWhatWasAskedFor) {
    const std::pair<const char*, const char*> cases[] = {
        {"20 6", "20 NV_LOCKED can't be written: its access mark is 'readonly'.\n"},
        {"30 -- -1", "'-1' for 'x' would be stored as 255 in a BYTE.\n"},
    };
    for (const auto& [arguments, err] : cases) {
        const Outcome outcome = run("set " + std::string(arguments));
        EXPECT_EQ(outcome.status, 1) << arguments;
        EXPECT_EQ(outcome.err, err);
    }
    EXPECT_FALSE(std::filesystem::exists(folder / "COM1.nvmem")) << "nothing was written";
}

TEST_F(BatchTool, AWriteSkipsReadOnlyItemsAndStopsAtARefusalWithItsAccount) {
    ASSERT_EQ(run("read --json items.json").status, 0);
    const std::string skipped = "Skipped 1 item whose access mark does not allow a write: 20.\n";
    const Outcome done = run("write --from-json items.json --offline-first");
    EXPECT_EQ(done.status, 0);
    EXPECT_EQ(done.err, "Wrote 2 of 3 items to COM1.\n" + skipped);

    service("[[port.fault]]\ncall = \"send\"\nitem = 30\nnv_status = 3\n");
    const Outcome refused = run("write --from-json items.json");
    EXPECT_EQ(refused.status, 1);
    EXPECT_EQ(refused.err, "Calvane::writeToPhone( const string comPort, const vector< NvItem >& nvItems, bool "
                           "throwException ) - Unable to write 'NV_B' to the phone. (The NVM is full)\n"
                           "Wrote 1 of 3 items to COM1: 10.\n" +
                               skipped + "Stopped at 30 NV_B: read it back before you rely on it.\n");
    const Outcome tolerated = run("write --from-json items.json --tolerate 30");
    EXPECT_EQ(tolerated.status, 0);
    EXPECT_EQ(tolerated.err, "30 Had the following error while writing to the phone - The NVM is full\n"
                             "Wrote 1 of 3 items to COM1.\n" +
                                 skipped);
}

TEST_F(BatchTool, AWriteThatThePhoneOnlySeemsToTakeIsARefusal) {
    // Above 10, a status counts as success; the phone keeps its old value, which differs in the last byte alone.
    write("ring.vrk", "NV_WIDE,30,ReadWrite,<QWORD,a>#<QWORD,b>#<QWORD,c>#<QWORD,d>#<QWORD,e>#<QWORD,f>#<QWORD,g>#"
                      "<QWORD,h>#<QWORD,i>#<QWORD,j>#<QWORD,k>#<QWORD,l>#<QWORD,m>#<QWORD,n>#<QWORD,o>#<QWORD,p>#\n");
    service("[[port.fault]]\ncall = \"send\"\nitem = 30\nnv_status = 11\non = 2\n");
    const Outcome set = run("set 30 7,0,0,0,0,0,0,0,0,0,0,0,0,0,0,72057594037927936");
    EXPECT_EQ(set.status, 1);
    EXPECT_EQ(
        set.err,
        "30 NV_WIDE was written, but the phone reads back 7, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0 for it.\n");
    write("items.json", R"({"items":[{"id":30,"fields":[{"value":9}]}]})");
    write("ring.vrk", "NV_B,30,ReadWrite,<BYTE,x>#\n");
    service("[[port.fault]]\ncall = \"send\"\nitem = 30\nnv_status = 11\non = 1\n");
    const Outcome written = run("write --from-json items.json");
    EXPECT_EQ(written.status, 1);
    EXPECT_EQ(written.err, "30 NV_B was written, but the phone reads back 7 for it.\nWrote 0 of 1 item to COM1.\n"
                           "Stopped at 30 NV_B: read it back before you rely on it.\n");
}

TEST_F(BatchTool, AFailureTellsHowFarItGotAndWhereThePhonesAre) {
    service("[[port.fault]]\ncall = \"send\"\nitem = 20\nvanish = true\n");
    const Outcome vanished = run("read");
    EXPECT_EQ(vanished.status, 1);
    EXPECT_EQ(
        vanished.err,
        "Calvane::getNvItemsFromPhone( const string comPort ) - TessraServer::sendSyncImpl - A command can not be "
        "issued as the phone is not present.\n"
        "Stopped at 20 NV_LOCKED, item 2 of 4; nothing was written to a file.\n"
        "No phone is present on COM1.\n");
    service("");
    EXPECT_TRUE(run("read --port COM2").err.ends_with("No phone is present on COM2. Phones are present on: COM1.\n"));
    EXPECT_EQ(run("read --text t --json /nowhere/j").err,
              "Can't write '/nowhere/j': No such file or directory\nWritten before it: 't'\n");
}

TEST_F(BatchTool, ProtectedItemsNeedTheAccessCode) {
    write("phone.nvmem", "30 0 07 protected\n");
    service("spc = \"123456\"\n");
    EXPECT_EQ(run("set 30 8").status, 1);
    EXPECT_EQ(run("set 30 8 --spc 000000").status, 1);
    EXPECT_EQ(run("set 30 8 --spc 123456").out, "30 NV_B: 7 -> 8\n");
    write("items.json", R"({"items":[{"id":30,"fields":[{"value":9}]}]})");
    EXPECT_EQ(run("write --from-json items.json").status, 1);
    EXPECT_EQ(run("write --from-json items.json --spc 123456").status, 0);
    EXPECT_EQ(run("reset").out, "The phone on COM1 has been reset.\n");
}

TEST_F(BatchTool, ExitStatusTellsARefusalFromWrongUsage) {
    std::istringstream wrongUsage(
        "nothing;list --service Tessra.toml;read --port;set 70000 1;set 0x1e 1;set 10,30 1;set 30x 1;"
        "read --ids 3-2;read --ids 1,12x;read --esn 1;read --mox x --esn 12x;read --mox x --esn 4294967296;"
        "read --mox x --model-id 0x;read --mox x --model-id 5x;read --mox x --nv-version 1;"
        "read --mox x --nv-version 1.2x;read --mox x --nv-version 1.256;show x --hex=5x;prune x;prune x --keep 5x;"
        "write;write --from-mox a --from-json b;write --from-mox a --tolerate 7x;write --from-mox a "
        "--offline-first=5x");
    for (std::string wrong; std::getline(wrongUsage, wrong, ';');) {
        EXPECT_EQ(run(wrong).status, 2) << wrong;
    }
    for (const char* refused : {"list >/dev/full", "set 30 1x", "read --text /dev/full", "read >/dev/full"}) {
        EXPECT_EQ(run(refused).status, 1) << refused;
    }
    EXPECT_EQ(run("read --help").status, 0);
    EXPECT_FALSE(std::filesystem::exists(folder / "x") || std::filesystem::exists(folder / "COM1.nvmem"));
}

TEST_F(BatchTool, ABrokenServiceFileIsNamedWithItsLineAndLeavesNoPorts) {
    write("Tessra.toml", "[[port]]\nname = \n");
    const Outcome outcome = run("ports");
    EXPECT_EQ(outcome.status, 1) << "a file refused";
    EXPECT_NE(outcome.err.find("Tessra.toml:2: "), std::string::npos) << outcome.err;
    EXPECT_TRUE(outcome.err.ends_with("Going on without ports.\nNo phone is present on any port.\n")) << outcome.err;
}

TEST_F(BatchTool, TheSamplePhoneFitsTheSampleRing) {
    const std::filesystem::path samples = std::filesystem::path(CALVANE_BATCH).parent_path();
    write("ring.vrk", readText(samples / "NV Decoder.vrk"));
    write("phone.nvmem", readText(samples / "Sample Phone.nvmem"));
    const Outcome outcome = run("read --ids 0-9999");
    EXPECT_TRUE(outcome.err.starts_with("Read 178 items from COM1.")) << outcome.err;
    EXPECT_EQ(outcome.out.find("No Name"), std::string::npos);
}

} // namespace

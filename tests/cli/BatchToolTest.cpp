// The batch tool as its users run it: a process of its own for each call.

#include "tests/catalog/CatalogFixture.h"

#include <sys/wait.h>

#include <array>
#include <cstdio>
#include <sstream>

namespace {

struct Outcome {
    int status = -1;
    std::string out;
    std::string err;
};

class BatchTool : public CatalogFixture {
protected:
    BatchTool() {
        write("ring.vrk", "NV_A,10,ReadWrite,<SIGNED_WORD,offset>#<BYTE,flag>#\nNV_LOCKED,20,ReadOnly,<BYTE,x>#\n"
                          "NV_B,30,ReadWrite,<BYTE,x>#\nNV_NONE,40,ReadWrite,<BYTE,x>#\n");
        write("phone.nvmem", "10 0 f4ff01\n20 0 05\n30 0 07\n");
        service("");
    }

    void write(const std::string& name, const std::string& text) {
        std::ofstream(folder / name, std::ios::binary) << text;
    }

    /// The service's file, with further lines for its one port.
    void service(const std::string& portLines) {
        write("Tessra.toml", "[[port]]\nname = \"COM1\"\nmemory = \"COM1.nvmem\"\ninitial = \"phone.nvmem\"\n"
                             "away_ms = 50\n" +
                                 portLines);
    }

    std::string read(const std::string& name) const {
        std::ostringstream text;
        text << std::ifstream(folder / name, std::ios::binary).rdbuf();
        return text.str();
    }

    Outcome run(const std::string& verb, const std::string& arguments, bool ring = true) const {
        const std::string command = std::string(CALVANE_BATCH) + " " + verb + " --service '" +
                                    (folder / "Tessra.toml").string() + "'" +
                                    (ring ? " --ring '" + (folder / "ring.vrk").string() + "'" : "") + " " + arguments +
                                    " 2>'" + (folder / "err").string() + "'";
        Outcome outcome;
        FILE* pipe = ::popen(command.c_str(), "r");
        std::array<char, 4096> buffer{};
        while (const std::size_t count = std::fread(buffer.data(), 1, buffer.size(), pipe)) {
            outcome.out.append(buffer.data(), count);
        }
        const int status = ::pclose(pipe);
        outcome.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
        outcome.err = read("err");
        return outcome;
    }
};

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
                           "Skipped 1 item whose access mark does not allow a write: 20.\n");
    const Outcome tolerated = run("write", from + "--tolerate 30");
    EXPECT_EQ(tolerated.status, 0);
    EXPECT_EQ(tolerated.err, "30 Had the following error while writing to the phone - The NVM is full\n"
                             "Wrote 1 of 3 items to COM1.\n"
                             "Skipped 1 item whose access mark does not allow a write: 20.\n");
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
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.out, "");
    EXPECT_NE(outcome.err.find("Tessra.toml:2: "), std::string::npos) << outcome.err;
    EXPECT_NE(outcome.err.find("Going on without ports.\nNo phone is present on any port.\n"), std::string::npos)
        << outcome.err;
}

} // namespace

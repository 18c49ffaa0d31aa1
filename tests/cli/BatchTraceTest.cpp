// Runs that are recorded, and what a replay of them comes to.

#include "tests/cli/BatchTool.h"

namespace {

class BatchTrace : public BatchTool {
protected:
    /// Runs the tool on a phone behind a terminal, which the simulator makes with these options.
    Outcome runOnLine(const std::string& simulator, const std::string& arguments) const {
        write("Line.toml", "[[port]]\nname = \"COM1\"\ndevice = \"phone\"\n");
        const std::string command =
            "cd '" + folder.path.string() + "' || exit 99; rm -f terminal; mkfifo terminal; " CALVANE_SIMULATOR " " +
            simulator + " --link phone >terminal & simulator=$!; cd '" + folder.path.string() +
            "'; read -r device <terminal; " CALVANE_BATCH " " + arguments +
            " --service Line.toml --ring ring.vrk --history none --port COM1 >out 2>err; status=$?; kill $simulator; "
            "wait $simulator; exit $status";
        const int status = std::system(command.c_str());
        return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, readText(folder / "out"), readText(folder / "err")};
    }
};

TEST_F(BatchTrace, AWriteComesToTheSameWhenItIsReplayed) {
    write("phone.nvmem", "10 0 f4ff01aabb protected\n20 0 05\n30 7 07\n");
    ASSERT_EQ(run("read --json items.json --ids 10,20").status, 0);
    struct Row {
        std::string simulator;
        std::string arguments;
        int status;
    };
    const Row rows[] = {
        {"--spc 314159", "set 10 5,7 --spc 314159", 0},
        {"--spc 314159", "set 10 5,7 --spc 271828", 4},
        {"--spc 314159 --away-ms 300", "set 10 5,7 --spc 314159 --verify-after-reset", 0},
        {"--bit-errors 4e-4 --seed 5 --garbage 3 --doubled-answers 0.3", "write --from-json items.json --keep-going",
         4},
        {"", "set 30 9", 9},
    };
    for (const Row& row : rows) {
        const Outcome first = runOnLine("--initial phone.nvmem " + row.simulator, row.arguments + " --trace t.trc");
        const std::string trace = readText(folder / "t.trc");
        EXPECT_EQ(first.status, row.status) << row.arguments << first.err << trace;
        EXPECT_EQ(trace.find("333134313539"), std::string::npos) << "the code can be read in the trace";
        EXPECT_EQ(trace.find("323731383238"), std::string::npos) << "the code can be read in the trace";
        const Outcome again = runOnLine("--replay t.trc", row.arguments);
        EXPECT_EQ(again.status, first.status) << row.arguments << trace;
        EXPECT_EQ(again.out, first.out) << row.arguments << trace;
        EXPECT_EQ(again.err, first.err) << row.arguments << trace;
    }
}

TEST_F(BatchTrace, AFileThatCantBeWrittenIsTold) {
    const Outcome refused = run("set 10 5,7 --trace none/t.trc");
    EXPECT_EQ(refused.status, 6);
    EXPECT_EQ(refused.err,
              "calvane-batch: Can't write 'none/t.trc': No such file or directory. Nothing was sent to a phone.\n");
    EXPECT_FALSE(std::filesystem::exists(folder / "COM1.nvmem"));
    const std::string line =
        "( ulimit -f 1; cd '" + folder.path.string() +
        "'; " CALVANE_BATCH
        " read --history none --service Tessra.toml --ring ring.vrk --port COM1 --trace t.trc >out 2>err )";
    const int status = std::system(line.c_str());
    EXPECT_EQ(WEXITSTATUS(status), 6);
    EXPECT_EQ(readText(folder / "err"),
              "Read 3 items from COM1 (Sample 0000000001). The phone has no value for the other 1 of the decoder "
              "ring.\ncalvane-batch: The trace 't.trc' ends early, as it can't be written: File too large\n");
    EXPECT_TRUE(readText(folder / "t.trc").ends_with("\n")) << "a line is whole or not there";
    EXPECT_EQ(run("read --trace ring.vrk").status, 2);
}

} // namespace

// What phone-simulator makes of its options. Each run ends at a link that it may not replace, if not before.

#include "tests/support/Processes.h"
#include "tests/support/TemporaryFolder.h"

#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdlib>

namespace {

TEST(SimulatorProgram, ChecksItsOptionsBeforeItStarts) {
    constexpr int kLinkIsTaken = 1;
    constexpr int kWrongUsage = 2;
    const std::pair<const char*, int> rows[] = {
        {"--spc 123456 --serial 1234567890 --seed 7", kLinkIsTaken},
        {"--bit-errors 1e-5 --lost-bytes 0 --doubled-answers 1 --away-ms -1 --delay-ms 0", kLinkIsTaken},
        {"--spc 12345x", kWrongUsage},
        {"--serial 12345678901", kWrongUsage},
        {"--seed -1", kWrongUsage},
        {"--bit-errors nan", kWrongUsage},
        {"--doubled-answers -0.1", kWrongUsage},
        {"--away-ms -2", kWrongUsage},
        {"--delay-ms 86400001", kWrongUsage},
        {"--memory ''", kWrongUsage},
        {"--no-such-option", kWrongUsage},
        {"--replay t --replay-port COM1 --garbage 1", kLinkIsTaken},
        {"--replay t --memory m", kWrongUsage},
        {"--replay-port COM1", kWrongUsage},
    };
    const TemporaryFolder folder;
    const std::filesystem::path target = "/dev/pts/../../nowhere"; // no terminal
    writeText(folder / "t", "Calvane packet trace 1, begun now\n0.000001 COM1 > query-mode - - 2a\n");
    std::filesystem::create_symlink(target, folder / "taken");
    for (const auto& [options, ending] : rows) {
        const std::string command = "cd '" + folder.path.string() + "' && timeout 20 '" CALVANE_SIMULATOR "' " +
                                    options + " --link taken >/dev/null 2>&1";
        const int status = std::system(command.c_str());
        EXPECT_EQ(WIFEXITED(status) ? WEXITSTATUS(status) : -1, ending) << options;
    }
    EXPECT_EQ(std::filesystem::read_symlink(folder / "taken"), target);
}

TEST(SimulatorProgram, ShowsWhatATerminalWouldObey) {
    const TemporaryFolder folder;
    writeText(folder / "twice", "10 0 05\n10 0 06\n");
    writeText(folder / "mark", "10 0 05 \x1B[2J\n");
    const std::pair<const char*, const char*> rows[] = {
        {"--seed '\x1B[2J'", "\\x1b[2J"},
        {"--initial '\x1B[2J'", "phone-simulator: \\x1b[2J: can't be read: No such file or directory\n"},
        {"--initial mark", "phone-simulator: mark:1: unknown mark '\\x1b[2J'\n"},
        {"--initial twice", "phone-simulator: twice:2: item 10 stands here a second time\n"},
    };
    for (const auto& [options, text] : rows) {
        const std::string told =
            outputOf("cd '" + folder.path.string() + "' && timeout 20 '" CALVANE_SIMULATOR "' " + options + " 2>&1");
        EXPECT_NE(told.find(text), std::string::npos) << told;
        EXPECT_EQ(told.find('\x1B'), std::string::npos) << told;
    }
}

} // namespace

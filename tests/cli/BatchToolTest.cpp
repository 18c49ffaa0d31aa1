// The batch tool as its users run it: a process of its own for each call.

#include "tests/cli/BatchTool.h"

#include <filesystem>
#include <sstream>

namespace {

TEST_F(BatchTool, ReadPrintsTheItemsAndTellsWhatIsMissing) {
    const Outcome outcome = run("read");
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.out, "   10  NV_A  (readwrite)\n"
                           "  [1]  SIGNED WORD   -12  offset\n"
                           "  [2]  BYTE            1  flag\n"
                           "   20  NV_LOCKED  (readonly)\n"
                           "  [1]  BYTE          5  x\n"
                           "   30  NV_B  (readwrite)\n"
                           "  [1]  BYTE          7  x\n");
    EXPECT_EQ(outcome.err, "Read 3 items from COM1 (Sample 0000000001). The phone has no value for the other 1 of the "
                           "decoder ring.\n");
    EXPECT_EQ(run("ports").out, "COM1\n");
}

TEST_F(BatchTool, ReadAsksAgainAndNamesWhatStaysMissing) {
    const std::string twice = "[[port.fault]]\ncall = \"send\"\nitem = 30\nserver_code = 0x80042003\n";
    service(twice + "on = 1\n");
    EXPECT_EQ(run("read --ids 30 --text t --retries 0").status, 9);
    service(twice + "[[port.fault]]\ncall = \"send\"\nitem = 20\nnv_status = 4\n");
    expectRun("read --text t --json j --mox m", 9,
              "Read 1 item from COM1 (Sample 0000000001). The phone has no value for the other 1 of the "
              "decoder ring.\nFailed: 20: Command failed, reason other than NVM was full\n"
              "Missing: 30: Serial CRC error\nWrote 1 item to 'm'.\n");
    EXPECT_EQ(readText(folder / "t"), "NV_A\r\n-12, 1, \r\n\r\n") << "what came is kept";
    expectRun("read --text t --quiet", 9,
              "Failed: 20: Command failed, reason other than NVM was full\nMissing: 30: Serial CRC error\n");
    EXPECT_EQ(run("show m").err, "'m' holds 1 item.\n");
}

TEST_F(BatchTool, ReadRefusesANumberThatTheRingDoesNotDescribe) {
    const Outcome outcome = run("read --ids 7,10,11 --text t");
    EXPECT_EQ(outcome.status, 7);
    EXPECT_EQ(outcome.err, "calvane-batch: The decoder ring does not describe 7, 11.\n");
    EXPECT_FALSE(std::filesystem::exists(folder / "t"));
    EXPECT_EQ(run("read --ids 9-15 --text -").out, "NV_A\r\n-12, 1, \r\n\r\n") << "of a range, those that it describes";
}

TEST_F(BatchTool, AFailureTellsHowFarItGotAndWhereThePhonesAre) {
    service("[[port.fault]]\ncall = \"send\"\nitem = 20\nvanish = true\n");
    const Outcome vanished = run("read --text t");
    EXPECT_EQ(vanished.status, 3);
    EXPECT_TRUE(vanished.err.ends_with(" Stopped at 20 NV_LOCKED, item 2 of 4. Nothing was printed or written to a "
                                       "file. `calvane-batch ports` tells where phones are.\n"))
        << vanished.err;
    EXPECT_FALSE(std::filesystem::exists(folder / "t"));
    service("");
    EXPECT_TRUE(
        run("read --text t --json /nowhere/j")
            .err.starts_with(
                "calvane-batch: Can't write '/nowhere/j': No such file or directory. Written before it: 't'\n"));
}

TEST_F(BatchTool, AFailureIsOneLineThatNamesItsPortOrFile) {
    write("Tessra.toml", "[[port]]\nname = \"COM1\"\ndevice = \"none\"\n[[port]]\nname = \"COM2\"\n");
    write("p.mox", std::string(600, 'x'));
    write("p.json", "{\"items\":[{\"id\":10,}]}");
    const std::string none = " can't be used: none: can't be opened: No such file or directory";
    const struct {
        const char* arguments;
        int status;
        std::string err;
    } rows[] = {
        {"read", 3, "COM1" + none + ". Nothing was printed or written to a file."},
        {"reset", 3, "COM1" + none},
        {"set 30 8", 3, "COM1" + none + ". Nothing was written."},
        {"read --port COM9", 3, "COM9 is no port of 'Tessra.toml', which has COM1, COM2."},
        {"write --from-mox p.mox", 6, "'p.mox': The file p.mox is not a valid compound file."},
        {"write --from-json p.json", 6, "p.json: parse error at line 1, column 20: "},
    };
    const auto expectLine = [this](const char* arguments, int status, const std::string& err) {
        const Outcome outcome = run(arguments);
        EXPECT_EQ(outcome.status, status) << arguments;
        EXPECT_TRUE(outcome.err.starts_with("calvane-batch: " + err)) << outcome.err;
        EXPECT_EQ(outcome.err.find('\n'), outcome.err.size() - 1) << outcome.err;
    };
    for (const auto& row : rows) {
        expectLine(row.arguments, row.status, row.err);
    }
    EXPECT_NE(run("read --verbose").err.find("The serial line of COM1: none: "), std::string::npos) << "the error log";
    write("ring.vrk", "NV_A,10,ReadWrite,<BITE,x>#\n");
    expectLine("read", 6, "'ring.vrk': Error processing the decoder ring file.");
    write("Tessra.toml", "[[port]]\nname =\n");
    expectLine("read", 6, "Tessra.toml:2: ");
}

TEST_F(BatchTool, TwoToolsUseTwoPortsAtOnceAndAThirdIsToldWhoHasIt) {
    service("[[port.fault]]\ncall = \"send\"\ndelay_ms = 300\n[[port]]\nname = \"COM2\"\nmemory = \"COM2.nvmem\"\n"
            "initial = \"phone.nvmem\"\n");
    const std::string again =
        CALVANE_BATCH " read --history none --service Tessra.toml --ring ring.vrk --ids 10 --port ";
    const Outcome slow = run("read --ids 10,20,30", " --port COM1",
                             "echo $tool >pid; while kill -0 $tool && ! [ -e COM1.nvmem.lock ]; do :; done; " + again +
                                 "COM1 2>refused; echo $? >>refused; " + again + "COM2 >other");
    EXPECT_EQ(slow.status, 0) << slow.err;
    EXPECT_NE(readText(folder / "other").find("NV_A"), std::string::npos);
    std::string pid = readText(folder / "pid");
    pid.pop_back();
    const std::string refused = readText(folder / "refused");
    EXPECT_NE(refused.find("COM1.nvmem: this phone memory is in use: calvane-batch (process " + pid + ") uses it. "),
              std::string::npos)
        << refused;
    EXPECT_TRUE(refused.ends_with("\n3\n")) << refused;
}

TEST_F(BatchTool, ProtectedItemsNeedTheAccessCode) {
    write("phone.nvmem", "30 0 07 protected\n");
    service("spc = \"123456\"\n");
    write("items.json", R"({"items":[{"id":30,"fields":[{"value":9}]}]})");
    EXPECT_EQ(run("write --from-json items.json").status, 4);
    EXPECT_EQ(run("write --from-json items.json --spc 123456").status, 0);
    EXPECT_EQ(run("reset").out, "The phone on COM1 has been reset.\n");
}

TEST_F(BatchTool, TheAccessCodeNeedNotStandAmongTheArguments) {
    service("spc = \"123456\"\n");
    write("code", "123456\r\nmore\n");
    write("wrong", "654321");
    write("text", "123456 is the code\n");
    const struct {
        const char* environment;
        const char* options;
        int status;
    } rows[] = {
        {"123456", "", 0},
        {"654321", " --spc 123456", 0},
        {"654321", " --spc-file code", 0},
        {"123456", " --spc-file wrong", 4},
        {"123456", " --spc-file text", 6},
        {"123456", " --spc-file .", 6},
        {"123456", " --spc-file /dev/zero", 6},
        {"123456", " --spc-file ''", 2},
        {"123456", " --spc 12345x", 2},
        {"1234567", "", 2},
        {"123456", " --spc-file code --spc 123456", 2},
        {"", " --dry-run --spc-file none", 6},
    };
    for (const auto& row : rows) {
        std::filesystem::remove(folder / "COM1.nvmem");
        write("phone.nvmem", "30 0 07 protected\n");
        ::setenv("CALVANE_SPC", row.environment, 1);
        EXPECT_EQ(run(std::string("set 30 8") + row.options).status, row.status) << row.environment << row.options;
        EXPECT_EQ(std::filesystem::exists(folder / "COM1.nvmem"), row.status == 0);
    }
    ::unsetenv("CALVANE_SPC");
}

TEST_F(BatchTool, ExitStatusTellsAFailureFromWrongUsage) {
    std::istringstream wrongUsage(
        "nothing;read --only-port COM1;list --service Tessra.toml;read --port;set 70000 1;set 0x1e 1;set 10,30 1;set "
        "30x 1;set 30 1 40 1;set "
        "30=1 40;set 30[0]=1;set 30[1]=1,2;set =1;"
        "read --ids 3-2;read --ids 1,12x;read --esn 1;read --mox x --esn 12x;read --mox x --esn 4294967296;"
        "read --mox x --model-id 0x;read --mox x --model-id 5x;read --mox x --nv-version 1;read --retries x;read --mox "
        "-;show x --info --hex;"
        "read --mox x --nv-version 1.2x;read --mox x --nv-version 1.256;show x --hex=5x;prune x;prune x --keep 5x;"
        "write;write --from-mox a --from-json b;write --from-mox a --tolerate 7x;write --from-mox a "
        "--offline-first=5x;list --ring '';ports --service '';read --port '';read --text '';read --json '';read --mox "
        "'';show '';prune '' --keep 1;tree '';set 30 1 --spc '';write --from-json '';write --port COM1 x '';write "
        "--from-mox '';ports --probe x;ports --all --baud 9600;read --port A --device B;read --port A "
        "--baud 9600");
    for (std::string wrong; std::getline(wrongUsage, wrong, ';');) {
        EXPECT_EQ(run(wrong).status, 2) << wrong;
    }
    for (const char* const noPort : {"set 30 1", "read", "reset"}) {
        EXPECT_EQ(run(noPort, "").status, 2) << noPort;
    }
    const std::pair<const char*, int> failures[] = {
        {"list >/dev/full", 6},
        {"read --text /dev/full", 6},
        {"read >/dev/full", 6},
        {"prune none --keep 1", 6},
        {"write --from-json none", 6},
        {"set 30 1x", 7},
        {"set 31 1", 7},
        {"list --ids 31", 7},
        {"set 30 1,2", 7},
        {"read --ids 30 --port X", 3},
        {"set 30 8 --expect-serial 2", 8},
        {"set 30 8 --expect-serial ''", 8},
        {"reset --port COM7", 3},
        {"write --from-mox none --dry-run", 6},
        {"set 20 1", 7},
    };
    for (const auto& [arguments, status] : failures) {
        EXPECT_EQ(run(arguments).status, status) << arguments;
    }
    EXPECT_NE(run("--help").out.find("\n    7  values or numbers that don't fit the decoder ring\n"),
              std::string::npos);
    EXPECT_FALSE(std::filesystem::exists(folder / "x") || std::filesystem::exists(folder / "COM1.nvmem"));
}

TEST_F(BatchTool, WrongUsageNamesTheWordAndTheNearestOne) {
    const std::pair<const char*, const char*> cases[] = {
        {"raed", "unknown verb 'raed'; did you mean read? (calvane-batch --help says more)"},
        {"nothing", "unknown verb 'nothing' (calvane-batch --help says more)"},
        {"read --jsno=x", "unknown option --jsno of read; did you mean --json? (calvane-batch read --help says more)"},
        {"write --form-mox x",
         "unknown option --form-mox of write; did you mean --from-mox? (calvane-batch write --help "
         "says more)"},
        {"tree a b", "unexpected word 'b' of tree (calvane-batch tree --help says more)"},
        {"diff a b --changed-only",
         "unknown option --changed-only of diff; did you mean --changed-only-names? (calvane-batch diff --help says "
         "more)"},
        {"--xyz", "unknown option --xyz (calvane-batch --help says more)"},
    };
    for (const auto& [arguments, err] : cases) {
        expectRun(arguments, 2, "calvane-batch: " + std::string(err) + "\n");
    }
    expectRun("show none", 6, "calvane-batch: 'none': Trying to read 'none' that doesn't exists\n");
    expectRun("show none --verbose", 6,
              "calvane-batch: 'none': MoxFile::setupStgPointers() - Trying to read 'none' that doesn't exists\n");
}

TEST_F(BatchTool, TheShellCompletesVerbsOptionsAndFiles) {
    write("complete", CALVANE_PAGES R"( bash >script && bash -n script && . ./script
        try() { COMP_WORDS=(calvane-batch "$@"); COMP_CWORD=$#; _calvane_batch; echo "${COMPREPLY[@]}"; }
        try re; try hist; try history re; try history restore --bef; try read --js; try --verbose diff --changed; try read --json ring.; try read --port ''; try none --js
         try read --progress ''; try write --color a; try check --he)");
    EXPECT_EQ(std::system(("cd '" + folder.path.string() + "' && bash complete >out").c_str()), 0);
    EXPECT_EQ(readText(folder / "out"),
              "read reset\nhistory\nrestore\n--before\n--json\n--changed-only-names\nring.vrk\n\n\n"
              "bar json none\nalways auto\n--help\n");
}

TEST_F(BatchTool, APageForManIsTheHelp) {
    write("help", "Does it.\nUsage: /x/tool [OPTIONS]\n\nOptions:\n  -h,--help    Print \\n\n  --rate N:0 to 1\n"
                  "               .5 at most\n               or more\n");
    ASSERT_EQ(std::system(("cd '" + folder.path.string() + "' && " CALVANE_PAGES " man 'V 1' tool <help >out").c_str()),
              0);
    EXPECT_EQ(readText(folder / "out"),
              ".\\\" Made from the program's own --help.\n.TH \"TOOL\" 1 \"\" \"V 1\" \"User Commands\"\n.SH NAME\n"
              "tool \\- Does it\n.SH SYNOPSIS\n.B \"tool\"\n[OPTIONS]\n.SH DESCRIPTION\nDoes it.\n.SH \"OPTIONS\"\n"
              ".TP\n.B \"\\-h,\\-\\-help\"\nPrint \\en\n.TP\n.B \"\\-\\-rate N:0 to 1\"\n\\&.5 at most or more\n");
}

TEST_F(BatchTool, PortsNamesABrokenFileWithItsLine) {
    write("Tessra.toml", "[[port]]\nname = \n");
    const Outcome broken = run("ports");
    EXPECT_EQ(broken.status, 6);
    EXPECT_NE(broken.err.find("Tessra.toml:2: "), std::string::npos) << broken.err;
    write("COM1.nvmem", "10 0 05\nrubbish\n");
    const std::string more = "\n[[port]]\nname = \"COM2\"\ninitial = \"phone.nvmem\"\n"
                             "[[port]]\nname = \"COM3\"\ndevice = \"none\"\n";
    service(more);
    const Outcome damaged = run("ports");
    EXPECT_EQ(damaged.status, 6);
    EXPECT_EQ(damaged.out, "COM2\n");
    EXPECT_NE(damaged.err.find("/COM1.nvmem:2: "), std::string::npos) << damaged.err;
    std::filesystem::remove(folder / "COM1.nvmem");
    EXPECT_EQ(run("ports").status, 0) << "a line without a device has no phone, which is no failure";
}

TEST_F(BatchTool, WhatATerminalWouldObeyIsShown) {
    const std::string escape = "\x1B[2J";
    write("ring.vrk", "NV_" + escape + ",10,ReadWrite,<BYTE,L\xE4rm\r\a" + std::string(1, '\0') + "\u202E>#\n");
    EXPECT_EQ(run("list").out,
              "   10  NV_\\x1b[2J  (readwrite)\n  [1]  BYTE          L\\xe4rm\\x0d\\x07\\x00\\u202e\n");
    EXPECT_NE(run("read --json -").out.find("NV_\\u001b[2J"), std::string::npos) << "for a program";
    EXPECT_EQ(run("read --text -").out, "NV_" + escape + "\r\n244, \r\n\r\n") << "for a program";
    for (const std::string arguments :
         {"list ", "list --ids ", "show ", "read --port ", "set 10 ", "read --mox /no/"}) {
        const Outcome outcome = run(arguments + "'" + escape + "'");
        EXPECT_EQ((outcome.out + outcome.err).find('\x1B'), std::string::npos) << arguments;
        EXPECT_NE(outcome.err.find("\\x1b[2J"), std::string::npos) << arguments;
    }
    write("ring.vrk", "NV,10,ReadWrite,<BYTE" + std::string(1, '\0') + ",x>#\n");
    EXPECT_NE(run("list").err.find("<BYTE\\x00,x>#' processing of"), std::string::npos) << "not cut short";
    service("[[port]]\nname = \"CO\\u001bM\\n2\"\nnumber = 2\ninitial = \"phone.nvmem\"\n");
    EXPECT_EQ(run("ports").out, "COM1\nCO\\x1bM\\x0a2\n");
}

TEST_F(BatchTool, TheSamplePhoneFitsTheSampleRing) {
    const std::filesystem::path samples = std::filesystem::path(CALVANE_BATCH).parent_path();
    write("ring.vrk", readText(samples / "NV Decoder.vrk"));
    write("phone.nvmem", readText(samples / "Sample Phone.nvmem"));
    const Outcome outcome = run("read --ids 0-9999");
    EXPECT_TRUE(outcome.err.starts_with("Read 183 items from COM1 ")) << outcome.err;
    EXPECT_EQ(outcome.status, 9) << "it has two that it does not read";
    EXPECT_EQ(outcome.out.find("No Name"), std::string::npos);
}

} // namespace

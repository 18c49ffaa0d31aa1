// What the batch tool is to the programs that call it: reports, logs, several ports at once, raw reads.

#include "cli/ChildProcesses.h"
#include "tests/cli/BatchTool.h"
#include "tests/support/Processes.h"

#include <nlohmann/json.hpp>
#include <sys/stat.h>

#include <csignal>
#include <filesystem>
#include <sstream>
#include <thread>

namespace {

using Json = nlohmann::json;

const std::string kTwoSeconds = "[[port.fault]]\ncall = \"send\"\nitem = 30\ndelay_ms = 2000\n";

class BatchLine : public BatchTool {
protected:
    BatchLine() {
        write("items.json",
              R"({"items":[{"id":10,"fields":[{"value":-12},{"value":2}]},{"id":20,"fields":[{"value":6}]},
                                         {"id":30,"fields":[{"value":9}]},{"id":40,"fields":[{"value":4}]}]})");
    }

    /// COM1 and COM2, each with further lines.
    void twoPorts(const std::string& first, const std::string& second) const {
        service(first +
                "\n[[port]]\nname = \"COM2\"\nmemory = \"COM2.nvmem\"\ninitial = \"phone.nvmem\"\n"
                "serial = \"0000000002\"\n" +
                second);
    }

    /// For the shell: waits until so many lines of the log have this text.
    static std::string whenLogged(const std::string& text, int lines = 1) {
        return "for i in $(seq 2000); do [ $(cat log 2>&1 | grep -c '" + text + "') -ge " + std::to_string(lines) +
               " ] && break; sleep 0.01; done; ";
    }

    /// `files`: each behind "-i".
    void expectAllowed(const std::string& files, const std::string& schema) const {
        EXPECT_EQ(outputOf("cd '" + folder.path.string() + "' && /usr/bin/python3 -W ignore -m jsonschema" + files +
                           " " CALVANE_SOURCE_DIR "/docs/schema/" + schema + ".json 2>&1"),
                  "");
    }

    /// The JSON of a file, which the schema of this name allows.
    Json json(const std::string& file, const std::string& schema) const {
        expectAllowed(" -i " + file, schema);
        return Json::parse(readText(folder / file), nullptr, false);
    }

    /// The events of these lines, each allowed by the schema, as "start item message end".
    std::string events(const std::string& lines) const {
        std::istringstream stream(lines);
        std::string kinds;
        std::string files;
        for (std::string line; std::getline(stream, line);) {
            const std::string file = "line" + std::to_string(kinds.size());
            write(file, line);
            files += " -i " + file;
            kinds += (kinds.empty() ? "" : " ") + Json::parse(line).value("event", "none");
        }
        expectAllowed(files, "event");
        return kinds;
    }

    /// "10 verified, 30 refused".
    static std::string results(const Json& report) {
        std::string text;
        for (const Json& item : report["items"]) {
            text += (text.empty() ? "" : ", ") + item["id"].dump() + " " + item["result"].get<std::string>();
        }
        return text;
    }
};

TEST_F(BatchLine, AReportTellsEachItemWhateverTheEnd) {
    const std::string fault = "[[port.fault]]\ncall = \"send\"\nitem = 30\n";
    const struct {
        std::string fault;
        const char* arguments;
        std::string meanwhile;
        int status;
        const char* results;
    } rows[] = {
        {"", "write --from-json items.json --spc 121212", "", 0, "10 verified, 20 read_only, 30 verified, 40 verified"},
        {"", "write --from-json items.json --dry-run", "", 0, "10 planned, 20 read_only, 30 planned, 40 planned"},
        {"", "set 30 7 --changed-only", "", 0, "30 unchanged"},
        {fault + "on = 2\nnv_status = 3\n", "write --from-json items.json", "", 4,
         "10 verified, 20 read_only, 30 refused, 40 not_tried"},
        {fault + "on = 2\nnv_status = 11\n", "set 30 8", "", 5, "30 different"},
        {fault + "on = 2\ndelay_ms = 1500\n", "write --from-json items.json",
         whenLogged("\"write\",\"position\":2") + "kill $tool", 143,
         "10 verified, 20 read_only, 30 verified, 40 not_tried"},
        {fault + "nv_status = 4\n", "set 30 8", "", 9, "30 unreadable"},
        {fault + "vanish = true\n", "read", "", 3, "10 read, 20 read, 30 not_tried, 40 not_tried"},
        {"", "read --text /nowhere/t", "", 6, "10 read, 20 read, 30 read, 40 no_value"},
        {"", "read --ids 11", "", 7, ""},
        {"", "reset", whenLogged("Waiting for") + "kill $tool", 143, ""},
        {"", "ports", "", 0, ""},
        {fault + "nv_status = 4\n", "check --port COM1 --units u", "", 9, "10 read, 20 read, 30 failed, 40 no_value"},
        {fault + "on = 2\ndelay_ms = 1500\n", "diff COM1 COM1 --ids 20-40", whenLogged("\"id\":30,", 2) + "kill $tool",
         143, "20 read, 30 read, 40 no_value, 20 read, 30 read, 40 not_tried"},
    };
    write("u", "30 1 V 1 0 - 9\n");
    for (const auto& row : rows) {
        SCOPED_TRACE(row.arguments);
        std::filesystem::remove(folder / "COM1.nvmem");
        write("r", "an old one");
        write("log", "");
        service((row.arguments == std::string("reset") ? "leave_after_ms = 30000\n" : "spc = \"121212\"\n") +
                row.fault);
        const Outcome outcome =
            run(row.arguments + std::string(" --report r --log log"), " --port COM1", row.meanwhile);
        EXPECT_EQ(outcome.status, row.status) << outcome.err;
        const Json report = json("r", "report");
        EXPECT_EQ(results(report), row.results);
        EXPECT_EQ(report.value("exitStatus", -1), row.status);
        EXPECT_EQ(readText(folder / "r").find("121212"), std::string::npos);
    }
    EXPECT_TRUE(json("r", "report")["ring"].is_object()) << "also ports names the one in use";
    write("r", "an old one");
    EXPECT_EQ(run("read --report r --json r").status, 2);
    EXPECT_EQ(readText(folder / "r"), "an old one");
}

TEST_F(BatchLine, TheReportOfADiffSaysWhatEachSideIs) {
    twoPorts("", "");
    ASSERT_EQ(run("read --ids 30 --json j").status, 0);
    const std::pair<const char*, const char*> rows[] = {
        {"COM1 COM2", "null 0000000001 0000000002 left read right read"},
        {"j COM2", "\"COM2\" none 0000000002 right read"},
        {"j j", "null none none"},
    };
    for (const auto& [sides, told] : rows) {
        ASSERT_EQ(run("diff --ids 30 --report r " + std::string(sides)).status, 0) << sides;
        const Json report = json("r", "report");
        std::string text = report["port"].dump();
        for (const Json& side : report["sides"]) {
            text += " " + side.value(Json::json_pointer("/phone/serialNumber"), "none");
        }
        for (const Json& item : report["items"]) {
            text += " " + item.value("side", "") + " " + item.value("result", "");
        }
        EXPECT_EQ(text, told);
    }
    EXPECT_EQ(run("diff j COM1,COM2").status, 2);
}

TEST_F(BatchLine, AReportHasTheBytesBeforeWantedAndAfter) {
    ASSERT_EQ(run("set 10 -- -300,2").status, 0);
    ASSERT_EQ(run("set 10 --report - -- -301,3").err,
              "COM1 (Sample 0000000001): 1 written and verified.\n10 NV_A: -300, 2 -> -301, 3\n");
    const Json report = Json::parse(readText(folder / "out"));
    const Json& item = report["items"][0];
    EXPECT_EQ(item["before"].get<std::string>().substr(0, 10), "d4fe02aabb");
    EXPECT_EQ(item["wanted"].get<std::string>().substr(0, 10), "d3fe03aabb");
    EXPECT_EQ(item["after"], item["wanted"]);
    EXPECT_EQ(report["totals"].dump(), R"({"verified":1})");
    EXPECT_EQ(report["phone"]["serialNumber"], "0000000001");
    EXPECT_EQ(report["ring"]["sha256"].get<std::string>() + "  ring.vrk\n",
              outputOf("cd '" + folder.path.string() + "' && sha256sum ring.vrk"));
}

TEST_F(BatchLine, EventsAreLinesAndALogIsNoConditionOfTheRun) {
    const Outcome told = run("read --ids 10,20 --text t --progress json --log log");
    EXPECT_EQ(events(told.err), "start item item message end");
    EXPECT_EQ(run("set 30 1x --log log --quiet").err,
              "calvane-batch: '1x' for 'x' is no decimal number: a BYTE is from 0 to 255.\n");
    EXPECT_EQ(run("read --text t --log log --quiet").err, "");
    EXPECT_EQ(
        events(readText(folder / "log")),
        "start item result item result message end start message end start item result item result item result item "
        "result message end");
    const std::pair<const char*, const char*> rows[] = {
        {"/nowhere/log",
         "calvane-batch: Can't write '/nowhere/log': No such file or directory. Going on without a log.\n"},
        {"/dev/full", "calvane-batch: The log '/dev/full' lacks what came last: No space left on device\n"}};
    for (const auto& [log, err] : rows) {
        expectRun("set 30 8 --quiet --log " + std::string(log), 0, err);
    }
    service("[[port.fault]]\ncall = \"send\"\nitem = 10\ndelay_ms = 300\n");
    outputOf("mkfifo '" + (folder / "gone").string() + "'");
    expectRun("set 30 8 --quiet --report gone", 6, "calvane-batch: Can't write 'gone': nobody reads it\n");
    const Outcome outcome = run("read --text t --quiet --log gone", " --port COM1", "head -n 1 gone >line");
    EXPECT_EQ(outcome.status, 0) << "the reader has left";
    EXPECT_EQ(outcome.err, "calvane-batch: The log 'gone' lacks what came last: Broken pipe\n");
    service("");
    EXPECT_EQ(run("diff COM1 items.json --ids 30 --quiet --color always").out.substr(0, 8), "\x1B[31m---");
    EXPECT_EQ(run("read --progress some").status, 2);
}

TEST_F(BatchLine, ASignalEndsItAlsoWhereNobodyTakesWhatItTells) {
    twoPorts("", "");
    for (const std::string ports : {"COM1", "COM1,COM2"}) {
        const std::string script =
            "cd '" + folder.path.string() +
            "'; rm -f full log; mkfifo full; exec 3<>full; timeout -s KILL 20 " CALVANE_BATCH
            " read --service Tessra.toml --ring ring.vrk --raw --json 'raw-{port}' --log log --progress json --port " +
            ports +
            " 2>full & tool=$!; size=-1; for i in $(seq 100); do sleep 0.1; now=$(wc -c <log); [ $now -gt 60000 ] && "
            "[ $now = $size ] && break; size=$now; done; kill -TERM $tool; wait $tool; echo $?";
        EXPECT_EQ(outputOf(script), "143\n") << ports;
    }
}

TEST_F(BatchLine, ATerminalHasColoursAndOneBarForAllPorts) {
    twoPorts("", "");
    const auto atTerminal = [this](const std::string& environment, const std::string& arguments) {
        return outputOf("cd '" + folder.path.string() + "' && env -u NO_COLOR TERM=vt100 " + environment +
                        " script -qec '" CALVANE_BATCH " " + arguments +
                        " --history none --service Tessra.toml --ring ring.vrk' /dev/null </dev/null");
    };
    const std::string plan = "set --port COM1 30 8 --dry-run --progress none";
    EXPECT_EQ(atTerminal("", plan), "30 NV_B\r\n       x: \x1B[31m7\x1B[0m -> \x1B[32m8\x1B[0m\r\n1 to be written. "
                                    "Nothing was written.\r\n");
    const std::string plain = "30 NV_B\r\n       x: 7 -> 8\r\n1 to be written. Nothing was written.\r\n";
    EXPECT_EQ(atTerminal("NO_COLOR=1", plan), plain);
    EXPECT_EQ(atTerminal("", plan + " --color never"), plain);
    const std::string read = atTerminal("", "read --port COM1,COM2 --json {port}");
    EXPECT_NE(read.find("] 8/8 COM1 4, COM2 4\x1B[K"), std::string::npos) << read;
    EXPECT_NE(read.find("\r\x1B[KCOM"), std::string::npos) << read;
}

TEST_F(BatchLine, AReadSaysWhatItIsAndALaterSchemaIsRefused) {
    service("[[port.fault]]\ncall = \"send\"\nitem = 20\nnv_status = 4\n");
    ASSERT_EQ(run("read --json j").status, 9);
    const Json items = json("j", "items");
    EXPECT_EQ(items["missing"].dump(), R"({"failed":"20","lost":"","noValue":"40","notTried":""})");
    EXPECT_EQ(items["phone"]["model"], "Sample");
    EXPECT_EQ(run("write --from-json j --changed-only").status, 0);
    write("later.json", R"({"schema":2,"items":[]})");
    expectRun("write --from-json later.json", 6,
              "calvane-batch: later.json: its schema is 2, and this program knows none above 1\n");
    write("ring.units", "10 1 dBm 0.1 - -1.2 2\n");
    ASSERT_EQ(run("read --ids 10,30 --mox m --quiet").status, 0);
    const std::pair<const char*, const char*> others[] = {{"ports", "ports"},         {"list", "list"},
                                                          {"tree m", "tree"},         {"show m --info", "file-info"},
                                                          {"show m", "items"},        {"diff COM1 items.json", "diff"},
                                                          {"check --from j", "check"}};
    for (const auto& [arguments, schema] : others) {
        run(std::string(arguments) + " --json o");
        EXPECT_TRUE(json("o", schema).is_object()) << arguments;
    }
}

TEST_F(BatchLine, SeveralPortsEachHaveTheirOwnEnd) {
    twoPorts("", "[[port.fault]]\ncall = \"send\"\nitem = 30\non = 2\nnv_status = 3\n");
    const Outcome both = run("set 30 9 --port COM1,COM2 --report 'r-{port}' --log log");
    EXPECT_EQ(both.status, 4);
    EXPECT_EQ(both.out, "COM1: 30 NV_B: 7 -> 9\n");
    EXPECT_NE(both.err.find("COM2: 30 NV_B was refused: The NVM is full\n"), std::string::npos) << both.err;
    EXPECT_EQ(results(json("r-COM1", "report")) + results(json("r-COM2", "report")), "30 verified30 refused");
    EXPECT_EQ(json("r-COM2", "report")["phone"]["serialNumber"], "0000000002");
    write("ring.units", "30 1 V 1 0 - 8\n");
    EXPECT_EQ(run("check --port COM1,COM2 --json 'c-{port}'").status, 11);
    EXPECT_EQ(json("c-COM1", "check")["outside"].dump() + json("c-COM2", "check")["outside"].dump(), "10");
    const Outcome followed = run("read --port COM1,COM2 --ids 30 --json '{port}' --progress json");
    std::istringstream kinds(events(followed.err));
    EXPECT_EQ(std::distance(std::istream_iterator<std::string>(kinds), {}), 8) << followed.err;
    EXPECT_EQ(run("read --port COM1,COM9 --quiet --json '{port}'").status, 3);
    std::filesystem::create_symlink("COM2-j", folder / "COM1-j");
    std::istringstream wrong("read --port COM1,COM2 --json '{port}-j';read --port COM1,COM2 --json j;read --port "
                             "COM1,COM2 --report -;set 30 1 --port COM1,COM1;"
                             "write --port COM1,COM2 --from-json -;write --port COM1,COM2 --from-json /dev/null;"
                             "set 30 1 --port COM1,");
    for (std::string arguments; std::getline(wrong, arguments, ';');) {
        EXPECT_EQ(run(arguments).status, 2) << arguments;
    }
    EXPECT_FALSE(std::filesystem::exists(folder / "j") || std::filesystem::exists(folder / "COM2-j"));
    ASSERT_EQ(::mkfifo((folder / "pipe").c_str(), 0600), 0);
    const Outcome unread = run("read --port COM1,COM2 --ids 30 --json '{port}' --log pipe");
    EXPECT_EQ(unread.status, 0) << "nobody waits for a reader of the log";
    EXPECT_NE(unread.err.find("Can't write 'pipe'"), std::string::npos) << unread.err;
}

TEST_F(BatchLine, AProcessThatCrashesIsToldAndAnInterruptReachesAll) {
    const std::string incomplete = kTwoSeconds + "[[port.fault]]\ncall = \"send\"\nitem = 20\nnv_status = 4\n";
    twoPorts(incomplete, incomplete);
    const std::string whenBoth = whenLogged("\"id\":30,", 2);
    const std::string arguments = "read --port COM1,COM2 --json 'j-{port}' --report 'r-{port}' --log log";
    const Outcome crashed = run(arguments, "", whenBoth + "kill -ABRT $(pgrep -n -P $tool)");
    EXPECT_EQ(crashed.status, 1) << crashed.err;
    EXPECT_NE(crashed.err.find(": The process for it was ended by signal 6 (Aborted). What it did until then "
                               "is not known: read the phone before you rely on it.\n"),
              std::string::npos)
        << crashed.err;
    EXPECT_EQ(json("r-COM1", "report").value("exitStatus", 0) + json("r-COM2", "report").value("exitStatus", 0), 1 + 9);
    EXPECT_NE(std::filesystem::exists(folder / "j-COM1"), std::filesystem::exists(folder / "j-COM2"));

    write("log", "");
    const Outcome ended = run(arguments, "", whenBoth + "kill -TERM $tool");
    EXPECT_EQ(ended.status, 143) << ended.err;
    for (const std::string port : {"COM1", "COM2"}) {
        EXPECT_NE(ended.err.find(port + ": calvane-batch: Interrupted. "), std::string::npos) << ended.err;
        EXPECT_EQ(results(json("r-" + port, "report")), "10 read, 20 failed, 30 read, 40 not_tried");
        std::filesystem::remove(folder / ("r-" + port));
    }
    write("log", "");
    run(arguments, "", whenBoth + "child=$(pgrep -o -P $tool); kill -KILL $tool; tail -f /dev/null --pid=$child");
    EXPECT_EQ(json("r-COM1", "report").value("exitStatus", 0), 143) << "nobody is left to follow it";
}

TEST_F(BatchLine, ARawReadGoesOnWhereItEnded) {
    write("phone.nvmem", "10 0 f4ff01aabb\n25 0 0102\n30 0 07\n3000 0 09\n");
    twoPorts("[[port.fault]]\ncall = \"send\"\nitem = 30\non = 1\ndelay_ms = 1500\n", "");
    const Outcome cut = run("read --raw --json raw --ids 0-3100 --log log", " --port COM1",
                            whenLogged("\"id\":30,") + "kill -INT $tool");
    EXPECT_EQ(cut.status, 130) << cut.err;
    EXPECT_EQ(json("raw", "raw-items")["missing"]["notTried"], "31-3100") << cut.err;
    const Outcome rest = run("read --raw --resume raw --ids 0-3100 --report r");
    EXPECT_EQ(json("r", "report")["totals"].dump(), R"({"no_value":3069,"read":1})") << "of this run";
    EXPECT_EQ(rest.status, 0);
    EXPECT_EQ(rest.err,
              "Read 4 items from COM1 (Sample 0000000001); 3097 without a value, 0 failed, 0 lost, 0 not tried; 31 "
              "of them as in 'raw'.\n");
    EXPECT_EQ(json("raw", "raw-items")["items"].size(), 4U);
    expectRun(
        "read --raw --resume raw --port COM2 --report r", 8,
        "calvane-batch: Another phone answers on COM2: Sample 0000000002 instead of Sample 0000000001. Nothing was "
        "read from it.\n");
    EXPECT_EQ(json("r", "report")["phone"]["serialNumber"], "0000000002");
    EXPECT_EQ(run("read --raw").status + run("read --raw --json j --text t").status, 4);

    expectRun("write --from-json raw", 6, "calvane-batch: raw: its form is \"raw-items\", and \"items\" is needed\n");
    ASSERT_EQ(run("read --json j").status, 0);
    expectRun("read --raw --resume j", 6, "calvane-batch: j: its form is \"items\", and \"raw-items\" is needed\n");
    expectRun("write --raw --from-json r", 6,
              "calvane-batch: r: its form is \"report\", and \"items\" or \"raw-items\" is needed\n");
    std::string changed = readText(folder / "raw");
    changed.replace(changed.find("\"0102"), 5, "\"03FF");
    write("raw", changed);
    const Outcome written = run("write --raw --from-json raw --port COM2 --changed-only");
    EXPECT_EQ(written.status, 0) << written.err;
    ASSERT_EQ(run("read --raw --ids 25 --json back --port COM2").status, 0);
    EXPECT_EQ(json("back", "raw-items")["items"][0]["raw"].get<std::string>().substr(0, 6), "03ff00");
}

TEST_F(BatchLine, TheScriptOfTheDocumentationRunsAsPrinted) {
    const std::string page = readText(CALVANE_SOURCE_DIR "/docs/automation.md");
    const auto begin = page.find("#!/bin/bash");
    write("line.sh", page.substr(begin, page.find("```", begin) - begin));
    std::filesystem::copy_file(CALVANE_BATCH, folder / "calvane-batch");
    std::filesystem::rename(folder / "ring.vrk", folder / "NV Decoder.vrk");
    twoPorts("", "");
    const std::string line = "cd '" + folder.path.string() + "' && PATH=$PWD:$PATH bash line.sh golden.json COM1,COM2 ";
    const std::string tool = "'" + (folder / "calvane-batch").string() + "' ";
    ASSERT_EQ(outputOf(tool + "set 30=9 10=-12,2 --port COM1 --quiet | wc -l"), "2\n");
    ASSERT_EQ(
        outputOf(tool + "read --port COM1 --ids 10,30 --quiet --json '" + (folder / "golden.json").string() + "'"), "");
    EXPECT_EQ(outputOf(line + "10,30 archive 2>&1; echo $?"),
              "2 equal, 0 different, 0 only left, 0 only right.\nCOM1: equal\n"
              "The values are of two phones: Sample 0000000001 on COM1 (left) and Sample 0000000002 on COM2 (right).\n"
              "0 equal, 2 different, 0 only left, 0 only right.\n"
              "COM2 (Sample 0000000002): 2 written and verified.\n0\n");
    EXPECT_EQ(outputOf(line + "10,30 again 2>/dev/null; echo $?"), "COM1: equal\nCOM2: equal\n0\n");
    EXPECT_EQ(outputOf("cd '" + folder.path.string() + "' && tar -tzf archive/*.tar.gz | sort | tr -d '\\n'"),
              "././before-COM1.json./before-COM2.json./diff-COM1.json./diff-COM2.json./golden.json./log.jsonl"
              "./read-COM1.json./read-COM2.json./write-COM2.json");
    twoPorts("", "[[port.fault]]\ncall = \"send\"\nitem = 30\nnv_status = 4\n");
    EXPECT_EQ(outputOf(line + "10,30 failed >/dev/null 2>&1; echo $?"), "9\n") << "nobody knows what the phone has";
}

TEST(ChildProcesses, LinesOfAnyLengthAreTakenAndWhoHangsIsKilled) {
    const std::string big(300000, 'x');
    std::string taken;
    int signalCame = 0;
    {
        ChildProcesses children(std::chrono::milliseconds(200));
        EXPECT_EQ(children.start("/nowhere/program", {"program"}), ENOENT);
        EXPECT_EQ(
            children.start("/bin/sh",
                           {"sh", "-c", "head -c 300000 /dev/zero | tr '\\0' x; read x || echo; echo end >&2; exit 3"}),
            0);
        EXPECT_EQ(children.start("/bin/sh", {"sh", "-c", "trap '' INT; echo ready; exec sleep 1000"}), 0);
        EXPECT_EQ(children.start("/bin/grep", {"grep", "SigBlk", "/proc/self/status"}), 0);
        children.wait(
            [&](std::size_t child, ChildProcesses::Output output, const std::string& line) {
                taken += std::to_string(child) + (output == ChildProcesses::kError ? "e" : "o") +
                         (line == big ? "big" : line) + " ";
                signalCame = line == "ready" ? SIGINT : signalCame;
            },
            [&] { return signalCame; });
        EXPECT_EQ(children.statusOf(0), -1);
        EXPECT_EQ(WTERMSIG(children.statusOf(2)), SIGKILL);
    }
    EXPECT_NE(taken.find("2oready "), std::string::npos) << taken.substr(0, 1000);
    EXPECT_NE(taken.find("3oSigBlk:\t0000000000004003 "), std::string::npos) << "HUP, INT and TERM wait for main()";
    EXPECT_LT(::waitpid(-1, nullptr, WNOHANG), 0) << "a child is left";
}

} // namespace

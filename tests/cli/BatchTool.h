#pragma once

#include "tests/support/TemporaryFolder.h"

#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdlib>
#include <string>

/// How one run of the batch tool ended.
struct Outcome {
    int status = -1;
    std::string out;
    std::string err;
};

/// The batch tool with a ring and one phone, each call a process of its own. Its files stand in a folder.
class BatchTool : public testing::Test {
protected:
    BatchTool() {
        write("ring.vrk", "NV_A,10,ReadWrite,<SIGNED_WORD,offset>#<BYTE,flag>#\nNV_LOCKED,20,ReadOnly,<BYTE,x>#\n"
                          "NV_B,30,ReadWrite,<BYTE,x>#\nNV_NONE,40,ReadWrite,<BYTE,x>#\n");
        write("phone.nvmem", "10 0 f4ff01aabb\n20 0 05\n30 0 07\n");
        service("");
    }

    void write(const std::string& name, const std::string& text) const { writeText(folder / name, text); }

    /// The service's file, with further lines for its one port.
    void service(const std::string& portLines) const {
        write("Tessra.toml", "[[port]]\nname = \"COM1\"\nmemory = \"COM1.nvmem\"\ninitial = \"phone.nvmem\"\n"
                             "away_ms = 50\n" +
                                 portLines);
    }

    /// Runs the tool in the folder. A verb that takes a ring, a service or a port gets its own, unless `port` is none.
    /// `meanwhile` are commands of the shell that run beside it and know its process as $tool.
    Outcome run(const std::string& arguments, const char* port = " --port COM1",
                const std::string& meanwhile = "") const {
        const std::string verb = arguments.substr(0, arguments.find(' '));
        const bool phone = verb == "read" || verb == "set" || verb == "write" || verb == "reset";
        const bool sides = verb == "diff" || verb == "check";
        const bool ring = (phone && verb != "reset") || verb == "list" || verb == "show" || sides;
        const bool takesPort = phone && arguments.find("--port") == std::string::npos;
        const std::string command =
            "cd '" + folder.path.string() + "' || exit 99; " CALVANE_BATCH " >out 2>err " + verb +
            (phone || sides || verb == "ports" ? " --service Tessra.toml" : "") + (ring ? " --ring ring.vrk" : "") +
            (ring && verb != "list" && verb != "show" && arguments.find("--history") == std::string::npos
                 ? " --history none"
                 : "") +
            (takesPort ? port : "") + arguments.substr(verb.size()) +
            (meanwhile.empty() ? "" : " & tool=$!; " + meanwhile + "; wait $tool");
        const int status = std::system(command.c_str());
        return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, readText(folder / "out"), readText(folder / "err")};
    }

    void expectRun(const std::string& arguments, int status, const std::string& err) const {
        const Outcome outcome = run(arguments);
        EXPECT_EQ(outcome.status, status) << arguments;
        EXPECT_EQ(outcome.err, err) << arguments;
    }

    const TemporaryFolder folder;
};

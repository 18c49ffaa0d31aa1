#pragma once

#include "tests/catalog/CatalogFixture.h"

#include <sys/wait.h>

#include <array>
#include <cstdio>
#include <sstream>

struct Outcome {
    int status = -1;
    std::string out;
    std::string err;
};

/// The batch tool with a ring and one phone, each call a process of its own.
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

    Outcome run(const std::string& verb, const std::string& arguments, bool ring = true, bool service = true) const {
        const std::string command = std::string(CALVANE_BATCH) + " " + verb +
                                    (service ? " --service '" + (folder / "Tessra.toml").string() + "'" : "") +
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

#pragma once

#include "tests/support/Processes.h"
#include "tests/support/TemporaryFolder.h"

#include <unistd.h>

#include <memory>
#include <string>
#include <utility>

/// A PostgreSQL server in a folder of its own, reached by a socket in that folder alone. It ends with this object,
/// or with the test program, whatever ends that.
class PostgresServer {
public:
    /// The one of this test program, started when it is first asked for. Null where the programs are not installed.
    /// `fsync`: "on" where it is to wait for the disk as it does at work.
    static PostgresServer* ofThisProgram(const std::string& fsync = "off") {
        static const std::unique_ptr<PostgresServer> server(programs().empty() ? nullptr : new PostgresServer(fsync));
        return server.get();
    }
    ~PostgresServer() { ::pclose(end_); }
    PostgresServer(const PostgresServer&) = delete;
    PostgresServer& operator=(const PostgresServer&) = delete;

    /// The URL of a new database.
    std::string newDatabase() {
        const std::string name = "calvane" + std::to_string(++databases_);
        ask("postgres", "CREATE DATABASE " + name);
        return url(name);
    }
    std::string url(const std::string& database, const std::string& role = "postgres") const {
        return "postgresql:///" + database + "?host=" + folder_.path.string() + "&user=" + role;
    }
    /// What the server's own client prints.
    std::string ask(const std::string& database, const std::string& sql) const {
        return outputOf(programs() + "/psql -qAtX '" + url(database) + "' -c \"" + sql + "\" 2>&1");
    }

    void start() {
        const std::string data = (folder_ / "data").string();
        run(programs() + "/pg_ctl -s -w -D " + data + " -l " + data + ".log -o '-k " + folder_.path.string() +
            " -c listen_addresses= -c fsync=" + fsync_ + "' start");
    }
    /// At once, as a crash does it.
    void stop() { run(stopCommand()); }

private:
    explicit PostgresServer(std::string fsync) : fsync_(std::move(fsync)) {
        if (::geteuid() == 0) {
            outputOf("chown postgres " + folder_.path.string());
        }
        run(programs() + "/initdb -A trust -U postgres -E UTF8 --no-sync -D " + (folder_ / "data").string());
        start();
        // Its input ends when this process does.
        end_ = ::popen(
            asServer("sh -c 'trap : INT; cat >" + folder_.path.string() + "/end; " + stopCommand() + "'").c_str(), "w");
    }

    std::string stopCommand() const {
        return programs() + "/pg_ctl -s -m immediate -D " + (folder_ / "data").string() + " stop";
    }

    /// The folder of the server's programs; empty where there is none.
    static const std::string& programs() {
        static const std::string folder = [] {
            std::string newest = outputOf("ls -d /usr/lib/postgresql/*/bin 2>/dev/null | sort -V | tail -1");
            return newest.substr(0, newest.find('\n'));
        }();
        return folder;
    }

    /// The server refuses to run as root.
    static std::string asServer(const std::string& command) {
        return "cd /; exec >/dev/null 2>&1; " + std::string(::geteuid() == 0 ? "runuser -u postgres -- " : "") +
               command;
    }
    static void run(const std::string& command) { outputOf(asServer(command)); }

    TemporaryFolder folder_;
    std::string fsync_;
    FILE* end_ = nullptr;
    int databases_ = 0;
};

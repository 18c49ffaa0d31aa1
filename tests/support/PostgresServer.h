#pragma once

#include "tests/support/Processes.h"
#include "tests/support/TemporaryFolder.h"

#include <unistd.h>

#include <memory>
#include <string>
#include <utility>

/// A PostgreSQL server in a folder of its own, reached by a socket in that folder alone. It ends with this object.
class PostgresServer {
public:
    /// The one of this test program, started when it is first asked for. Null where the programs are not installed.
    /// `fsync`: "on" where it is to wait for the disk as it does at work.
    static PostgresServer* ofThisProgram(const std::string& fsync = "off") {
        static const std::unique_ptr<PostgresServer> server(programs().empty() ? nullptr : new PostgresServer(fsync));
        return server.get();
    }
    ~PostgresServer() { stop(); }
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
    void stop() { run(programs() + "/pg_ctl -s -m immediate -D " + (folder_ / "data").string() + " stop"); }

private:
    explicit PostgresServer(std::string fsync) : fsync_(std::move(fsync)) {
        if (::geteuid() == 0) {
            outputOf("chown postgres " + folder_.path.string());
        }
        run(programs() + "/initdb -A trust -U postgres -E UTF8 --no-sync -D " + (folder_ / "data").string());
        start();
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
    static void run(const std::string& command) {
        const std::string user = ::geteuid() == 0 ? "cd / && runuser -u postgres -- " : "cd / && ";
        outputOf("{ " + user + command + "; } >/dev/null 2>&1");
    }

    TemporaryFolder folder_;
    std::string fsync_;
    int databases_ = 0;
};

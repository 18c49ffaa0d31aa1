#pragma once

#include "tests/support/Processes.h"
#include "tests/support/TemporaryFolder.h"

#include <unistd.h>

#include <cstdlib>
#include <memory>
#include <string>

/// A PostgreSQL server in a folder of its own, reached by a socket in that folder alone. It ends with this object.
class PostgresServer {
public:
    /// The one of this test program, started when it is first asked for. Null where the programs are not installed.
    static PostgresServer* ofThisProgram() {
        static const std::unique_ptr<PostgresServer> server(programs().empty() ? nullptr : new PostgresServer);
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
            " -c listen_addresses= -c fsync=off' start");
    }
    /// At once, as a crash does it.
    void stop() { run(programs() + "/pg_ctl -s -m immediate -D " + (folder_ / "data").string() + " stop"); }

private:
    PostgresServer() {
        if (::geteuid() == 0) {
            (void)std::system(("chown postgres " + folder_.path.string()).c_str());
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
        (void)std::system((user + command + " >/dev/null 2>&1").c_str());
    }

    TemporaryFolder folder_;
    int databases_ = 0;
};

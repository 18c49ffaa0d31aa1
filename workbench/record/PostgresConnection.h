#pragma once

#include <libpq-fe.h>

#include <chrono>
#include <functional>
#include <memory>
#include <string>

namespace record {

struct ClearResult {
    void operator()(PGresult* result) const { PQclear(result); }
};
using PostgresResult = std::unique_ptr<PGresult, ClearResult>;

/// A connection to a PostgreSQL server. One thread at a time. It never waits for ever: a server or a network that falls
/// silent is a DatabaseError of the kind kUnreachable after a minute at most, and the connection is of no use from then
/// on. What the server refuses is a DatabaseError, of a kind as its SQLSTATE says.
class PostgresConnection {
public:
    /// Waits a few seconds for the server. `url` may say more or something else than what stands here.
    explicit PostgresConnection(const std::string& url);

    /// Sends by `send`, which answers 0 where it can't, and waits for the last result of what was sent.
    PostgresResult ask(const std::function<int(PGconn*)>& send);
    /// Runs statements that take no parameters and give nothing.
    void run(const std::string& sql);
    /// Whether a transaction is open, and nothing in it has failed.
    bool isInTransaction() const;
    /// The database and its server, for people.
    const std::string& where() const { return where_; }

private:
    struct Finish {
        void operator()(PGconn* connection) const { PQfinish(connection); }
    };

    void waitForResult(std::chrono::steady_clock::time_point end);
    [[noreturn]] void throwFailure(const PGresult* failed) const;

    std::string where_;
    std::unique_ptr<PGconn, Finish> connection_;
};

} // namespace record

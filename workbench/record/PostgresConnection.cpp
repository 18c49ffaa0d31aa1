#include "workbench/record/PostgresConnection.h"

#include "platform/kernel/Text.h"
#include "workbench/record/Database.h"

#include <poll.h>

#include <algorithm>
#include <array>
#include <cerrno>

namespace record {
namespace {

using Kind = DatabaseError::Kind;

constexpr std::chrono::seconds kLongestAnswer{60};

Kind kindOf(std::string_view state) {
    // XX000 is a fault inside the server; those behind it are damaged files.
    static constexpr auto kKinds = std::to_array<std::pair<std::string_view, Kind>>({
        {"XX000", Kind::kOther},
        {"XX00", Kind::kDamaged},
        {"53100", Kind::kFull},
        {"53", Kind::kBusy},
        {"40", Kind::kBusy},
        {"55P03", Kind::kBusy},
        {"57014", Kind::kBusy},
        {"57P", Kind::kUnreachable},
        {"08", Kind::kUnreachable},
        {"25P03", Kind::kUnreachable},
        {"28", Kind::kUnreachable},
        {"42501", Kind::kUnreachable},
    });
    const auto found =
        std::ranges::find_if(kKinds, [state](const auto& known) { return state.starts_with(known.first); });
    return found == kKinds.end() ? Kind::kOther : found->second;
}

std::string oneLine(const char* message) {
    std::string text(kernel::trimmed(message));
    std::ranges::replace(text, '\n', ' ');
    return text;
}

} // namespace

PostgresConnection::PostgresConnection(const std::string& url) {
    // What the URL says comes behind what stands here, and so takes its place.
    const std::array<const char*, 9> names{"connect_timeout", "application_name",    "tcp_user_timeout",
                                           "keepalives_idle", "keepalives_interval", "keepalives_count",
                                           "dbname",          "client_encoding",     nullptr};
    const std::array<const char*, 9> values{"5", "calvane", "10000", "10", "5", "3", url.c_str(), "UTF8", nullptr};
    connection_.reset(PQconnectdbParams(names.data(), values.data(), 1));
    if (PQstatus(connection_.get()) != CONNECTION_OK) {
        throw DatabaseError(Kind::kUnreachable, oneLine(PQerrorMessage(connection_.get())));
    }
    const auto saysNothing = [](void*, const char*) {};
    PQsetNoticeProcessor(connection_.get(), saysNothing, nullptr);
    PQsetnonblocking(connection_.get(), 1);
    where_ = std::string("the database ") + PQdb(connection_.get()) + " on " + PQhost(connection_.get());
}

PostgresResult PostgresConnection::ask(const std::function<int(PGconn*)>& send) {
    if (!connection_) {
        throw DatabaseError(Kind::kUnreachable, where_ + ": the connection is lost");
    }
    if (send(connection_.get()) == 0) {
        throwFailure(nullptr);
    }
    const auto end = std::chrono::steady_clock::now() + kLongestAnswer;
    PostgresResult last;
    PostgresResult failed;
    for (;;) {
        waitForResult(end);
        PostgresResult next(PQgetResult(connection_.get()));
        if (!next) {
            break;
        }
        const ExecStatusType status = PQresultStatus(next.get());
        const bool isGood = status == PGRES_COMMAND_OK || status == PGRES_TUPLES_OK;
        (isGood || failed ? last : failed) = std::move(next);
    }
    if (failed || !last) {
        throwFailure(failed.get());
    }
    return last;
}

void PostgresConnection::run(const std::string& sql) {
    ask([&sql](PGconn* connection) { return PQsendQuery(connection, sql.c_str()); });
}

bool PostgresConnection::isInTransaction() const {
    return PQtransactionStatus(connection_.get()) == PQTRANS_INTRANS;
}

void PostgresConnection::waitForResult(std::chrono::steady_clock::time_point end) {
    PGconn* const connection = connection_.get();
    for (;;) {
        const int unsent = PQflush(connection);
        if ((unsent == 0 && PQisBusy(connection) == 0) || PQsocket(connection) < 0) {
            return;
        }
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - std::chrono::steady_clock::now());
        pollfd event{.fd = PQsocket(connection),
                     .events = static_cast<short>(POLLIN | (unsent > 0 ? POLLOUT : 0)),
                     .revents = 0};
        const int ready = left.count() <= 0 ? 0 : ::poll(&event, 1, static_cast<int>(left.count()));
        if (ready == 0) {
            connection_.reset();
            throw DatabaseError(Kind::kUnreachable, where_ + " does not answer");
        }
        // Without an answer, PQgetResult() says why.
        if (unsent < 0 || (ready < 0 && errno != EINTR) || PQconsumeInput(connection) == 0) {
            return;
        }
    }
}

void PostgresConnection::throwFailure(const PGresult* failed) const {
    const char* const state = failed == nullptr ? nullptr : PQresultErrorField(failed, PG_DIAG_SQLSTATE);
    const bool isGone = state == nullptr || PQstatus(connection_.get()) != CONNECTION_OK;
    const char* const message = failed == nullptr ? nullptr : PQresultErrorField(failed, PG_DIAG_MESSAGE_PRIMARY);
    throw DatabaseError(isGone ? Kind::kUnreachable : kindOf(state),
                        where_ + ": " + oneLine(message != nullptr ? message : PQerrorMessage(connection_.get())));
}

} // namespace record

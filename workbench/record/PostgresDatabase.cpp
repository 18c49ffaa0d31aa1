#include "platform/kernel/Text.h"
#include "workbench/record/Database.h"

#include <libpq-fe.h>
#include <poll.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <map>

namespace record {
namespace {

using Kind = DatabaseError::Kind;

/// In which the tables stand, whatever else the database has.
constexpr const char* kNamespace = "calvane";
constexpr std::chrono::seconds kLongestAnswer{60};
/// For those who write one after the other. The number is ours alone.
constexpr const char* kBegin = "BEGIN; SELECT pg_advisory_xact_lock(4858452018)";
constexpr const char* kBeginFast =
    "BEGIN; SET LOCAL synchronous_commit = off; SELECT pg_advisory_xact_lock(4858452018)";
/// A station whose network fails in the midst of a transaction keeps the others waiting no longer than this.
constexpr const char* kSetUp = "SET search_path TO calvane; SET lock_timeout = '10s';"
                               " SET idle_in_transaction_session_timeout = '30s'";

/// The server's numbers of types.
enum TypeId : Oid { kBool = 16, kBytea = 17, kInt8 = 20, kInt2 = 21, kInt4 = 23, kText = 25, kVarchar = 1043 };

struct CloseConnection {
    void operator()(PGconn* connection) const { PQfinish(connection); }
};
struct ClearResult {
    void operator()(PGresult* result) const { PQclear(result); }
};
using Result = std::unique_ptr<PGresult, ClearResult>;

Kind kindOf(std::string_view state) {
    static constexpr std::array<std::pair<std::string_view, Kind>, 11> kKinds{{{"53100", Kind::kFull},
                                                                               {"53", Kind::kBusy},
                                                                               {"40", Kind::kBusy},
                                                                               {"55P03", Kind::kBusy},
                                                                               {"57014", Kind::kBusy},
                                                                               {"08", Kind::kUnreachable},
                                                                               {"25P03", Kind::kUnreachable},
                                                                               {"28", Kind::kUnreachable},
                                                                               {"42501", Kind::kUnreachable},
                                                                               {"57P", Kind::kUnreachable},
                                                                               {"XX00", Kind::kDamaged}}};
    for (const auto& [begin, kind] : kKinds) {
        // XX000 is a fault inside the server, those behind it are damaged files.
        if (state.starts_with(begin) && state != "XX000") {
            return kind;
        }
    }
    return Kind::kOther;
}

std::string oneLine(const char* message) {
    std::string text(kernel::trimmed(message));
    for (std::size_t at = 0; (at = text.find('\n', at)) != std::string::npos;) {
        text.replace(at, 1, " ");
    }
    return text;
}

/// The value of so many bytes, the highest first.
std::int64_t bigEndian(const std::uint8_t* bytes, std::size_t count) {
    std::uint64_t number = (bytes[0] & 0x80) != 0 ? ~std::uint64_t{0} : 0;
    for (std::size_t at = 0; at < count; ++at) {
        number = number << 8 | bytes[at];
    }
    return static_cast<std::int64_t>(number);
}

/// Parameters as the server takes them; the texts and bytes live as long as this.
class Parameters {
public:
    explicit Parameters(std::span<const Value> values) {
        kept_.reserve(values.size());
        for (const Value& value : values) {
            add(value);
        }
        for (const std::string& bytes : kept_) {
            lengths.push_back(static_cast<int>(bytes.size()));
        }
    }

    int count() const { return static_cast<int>(types.size()); }

    std::vector<Oid> types;
    std::vector<const char*> places;
    std::vector<int> lengths;
    std::vector<int> formats;

private:
    void add(const Value& value) {
        std::string& bytes = kept_.emplace_back();
        Oid type = 0;
        if (const auto* number = std::get_if<std::int64_t>(&value)) {
            type = kInt8;
            for (int shift = 56; shift >= 0; shift -= 8) {
                bytes.push_back(static_cast<char>(*number >> shift));
            }
        } else if (const auto* text = std::get_if<std::string>(&value)) {
            type = kText;
            bytes = storableText(*text);
        } else if (const auto* raw = std::get_if<Bytes>(&value)) {
            type = kBytea;
            bytes.assign(raw->begin(), raw->end());
        }
        types.push_back(type);
        places.push_back(type == 0 ? nullptr : bytes.c_str());
        formats.push_back(1);
    }

    std::vector<std::string> kept_;
};

class PostgresDatabase final : public Database {
public:
    explicit PostgresDatabase(const std::string& url) {
        // What the URL says comes behind what stands here, and so takes its place.
        const std::array<const char*, 9> names{"connect_timeout", "application_name",    "tcp_user_timeout",
                                               "keepalives_idle", "keepalives_interval", "keepalives_count",
                                               "dbname",          "client_encoding",     nullptr};
        const std::array<const char*, 9> values{"5", "calvane", "10000", "10", "5", "3", url.c_str(), "UTF8", nullptr};
        connection_.reset(PQconnectdbParams(names.data(), values.data(), 1));
        PQsetNoticeProcessor(
            connection_.get(), [](void*, const char*) {}, nullptr);
        if (PQstatus(connection_.get()) != CONNECTION_OK) {
            throw DatabaseError(Kind::kUnreachable, oneLine(PQerrorMessage(connection_.get())));
        }
        PQsetnonblocking(connection_.get(), 1);
        where_ = std::string("the database ") + PQdb(connection_.get()) + " on " + PQhost(connection_.get());
        simple(kSetUp);
        if (numberIn(run("SELECT to_regnamespace(?1) IS NULL", std::array{Value(kNamespace)}).at(0).at(0)) != 0) {
            Transaction transaction(*this, true); // of several that find none, the first makes it
            simple(std::string("CREATE SCHEMA IF NOT EXISTS ") + kNamespace);
            transaction.commit();
        }
    }

    std::vector<Row> run(std::string_view sql, std::span<const Value> parameters) override {
        const Parameters sent(parameters);
        const std::string& name = prepared(sql, sent);
        requireSent(PQsendQueryPrepared(connected(), name.c_str(), sent.count(), sent.places.data(),
                                        sent.lengths.data(), sent.formats.data(), 1));
        return rowsOf(*answer());
    }

    void begin(bool durable) override { simple(durable ? kBegin : kBeginFast); }
    void commit() override {
        // A transaction in which a statement has failed is ended by this, too, and is not committed.
        if (PQtransactionStatus(connected()) != PQTRANS_INTRANS) {
            throw DatabaseError(Kind::kOther, where_ + ": the transaction has failed");
        }
        simple("COMMIT");
    }
    void rollback() noexcept override {
        try {
            simple("ROLLBACK");
        } catch (const std::exception&) { // NOLINT(bugprone-empty-catch): without the connection, the server does it
        }
    }

    std::string inOwnWords(std::string sql) const override {
        static constexpr std::array<std::pair<std::string_view, std::string_view>, 6> kWords{
            {{"{key}", "INTEGER GENERATED BY DEFAULT AS IDENTITY PRIMARY KEY"},
             {"{bytes}", "BYTEA"},
             {"{ascii}", "TEXT COLLATE \"C\""},
             {"{tight}", ""},
             {"{carrying ", "INCLUDE ("},
             {"}", ")"}}};
        return inWords(std::move(sql), kWords);
    }
    bool isShared() const override { return true; }
    bool mayWrite() override {
        return numberIn(run("SELECT COALESCE(has_table_privilege(to_regclass('session'), 'INSERT'), true)"
                            " AND NOT pg_is_in_recovery()",
                            {})
                            .at(0)
                            .at(0)) != 0;
    }
    std::int64_t nowMs() override {
        return numberIn(
            run("SELECT CAST(floor(extract(epoch FROM clock_timestamp()) * 1000) AS bigint)", {}).at(0).at(0));
    }
    /// The server does this by itself.
    void giveBackRoom() override {}

private:
    PGconn* connected() const {
        if (!connection_) {
            throw DatabaseError(Kind::kUnreachable, where_ + ": the connection is lost");
        }
        return connection_.get();
    }

    void requireSent(int isSent) const {
        if (isSent == 0) {
            throw DatabaseError(Kind::kUnreachable, where_ + ": " + oneLine(PQerrorMessage(connection_.get())));
        }
    }

    /// Statements without parameters and without an answer that is looked at.
    void simple(const std::string& sql) {
        requireSent(PQsendQuery(connected(), sql.c_str()));
        answer();
    }

    /// The name of the statement, which is prepared where it is new: types are a part of it.
    const std::string& prepared(std::string_view sql, const Parameters& sent) {
        std::string key(sql);
        for (const Oid type : sent.types) {
            key += '\0' + std::to_string(type);
        }
        const auto known = statements_.find(key);
        if (known != statements_.end()) {
            return known->second;
        }
        const std::string name = "s" + std::to_string(statements_.size());
        std::string own(sql);
        std::ranges::replace(own, '?', '$');
        requireSent(PQsendPrepare(connected(), name.c_str(), own.c_str(), sent.count(), sent.types.data()));
        answer();
        return statements_.emplace(std::move(key), name).first->second;
    }

    /// The last result of what was sent; throws for the first failure in it, and where none comes in time.
    Result answer() {
        const auto end = std::chrono::steady_clock::now() + kLongestAnswer;
        Result last;
        Result failed;
        for (;;) {
            waitForResult(end);
            Result next(PQgetResult(connection_.get()));
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

    void waitForResult(std::chrono::steady_clock::time_point end) {
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

    [[noreturn]] void throwFailure(const PGresult* failed) const {
        const char* const state = failed == nullptr ? nullptr : PQresultErrorField(failed, PG_DIAG_SQLSTATE);
        const bool isGone = state == nullptr || PQstatus(connection_.get()) != CONNECTION_OK;
        const char* const message = failed == nullptr ? nullptr : PQresultErrorField(failed, PG_DIAG_MESSAGE_PRIMARY);
        throw DatabaseError(isGone ? Kind::kUnreachable : kindOf(state),
                            where_ + ": " + oneLine(message != nullptr ? message : PQerrorMessage(connection_.get())));
    }

    std::vector<Row> rowsOf(const PGresult& result) const {
        std::vector<Row> rows(static_cast<std::size_t>(PQntuples(&result)));
        for (std::size_t at = 0; at < rows.size(); ++at) {
            for (int column = 0; column < PQnfields(&result); ++column) {
                rows[at].push_back(valueOf(result, static_cast<int>(at), column));
            }
        }
        return rows;
    }

    Value valueOf(const PGresult& result, int row, int column) const {
        if (PQgetisnull(&result, row, column) != 0) {
            return {};
        }
        const char* const text = PQgetvalue(&result, row, column);
        // NOLINTNEXTLINE(cppcoreguidelines-pro-type-reinterpret-cast): the library has them as characters
        const auto* const bytes = reinterpret_cast<const std::uint8_t*>(text);
        const auto length = static_cast<std::size_t>(PQgetlength(&result, row, column));
        switch (PQftype(&result, column)) {
        case kBool:
        case kInt2:
        case kInt4:
        case kInt8:
            return bigEndian(bytes, length);
        case kBytea:
            return Bytes(bytes, bytes + length);
        case kText:
        case kVarchar:
            return std::string(text, length);
        default:
            throw DatabaseError(Kind::kOther, where_ + ": a column is of a type that nobody has asked for");
        }
    }

    std::string where_;
    std::unique_ptr<PGconn, CloseConnection> connection_;
    /// Their names.
    std::map<std::string, std::string> statements_;
};

} // namespace

std::unique_ptr<Database> openPostgres(const std::string& url) {
    return std::make_unique<PostgresDatabase>(url);
}

} // namespace record

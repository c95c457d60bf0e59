#pragma once
// The PostgreSQL provider: one connection per recordset, one statement in a read-only transaction.
// A query's rows come through a cursor in batches sized to a few megabytes, the next batch asked for
// before the current one is read, so that the server works while the list fills; any other text
// (SHOW, EXPLAIN) is described first, refused when it returns no rows, and read one row at a time.
// The data source is a file holding a libpq connection string; the connection text's password is
// the server's.

#include "../Cursor_p.h"

#include <libpq-fe.h>

namespace Brennvox10::data::postgres {

struct ConnectionCloser {
    void operator()(PGconn *connection) const { PQfinish(connection); }
};
struct ResultClearer {
    void operator()(PGresult *result) const { PQclear(result); }
};
using Connection = std::unique_ptr<PGconn, ConnectionCloser>;
using Result = std::unique_ptr<PGresult, ResultClearer>;

class PostgresCursor final : public Cursor {
public:
    // Connects, prepares sql adapted to PostgreSQL (showAdapted hears the text run when it differs
    // from sql) and starts it; Failure when the server cannot be reached, refuses the login or the
    // text, or the text returns no rows.
    static std::unique_ptr<PostgresCursor> open(const ConnectionText &connection, const QString &sql,
        void (*showAdapted)(const QString &));
    ~PostgresCursor() override;

    bool next() override;

    Storage storage(int column) const override
    {
        if (PQgetisnull(m_batch.get(), m_index, column))
            return Storage::Null;
        return m_kinds[size_t(column)].storage;
    }
    qint64 integer(int column) const override;
    double real(int column) const override;
    QByteArrayView text(int column) const override;
    QByteArrayView blob(int column) const override;

    // How a column's text is read: the storage it reports and what must be done to its text first.
    enum class Fix : quint8 { None, Boolean, Money, ZonedTime, Bytes };
    struct Kind {
        Storage storage = Storage::Text;
        Fix fix = Fix::None;
    };

private:
    PostgresCursor() = default;
    // Waits for the server's next answer, keeping the window alive and honouring Esc and the time
    // limit; null when the statement has no more answers.
    Result nextResult();
    // The one result of the command just sent, or a Failure.
    Result commandResult(ExecStatusType expected);
    [[noreturn]] void failWith(const PGresult *result);
    void requestBatch();
    bool takeBatch();
    void checkTime();

    Connection m_connection;
    Result m_batch; // the rows being read: a cursor's batch, or one row
    int m_index = 0;
    int m_count = 0;
    bool m_fromCursor = false;
    bool m_lastBatch = false; // a batch came short: the cursor has no more rows
    int m_batchRows = 64;
    int m_rowsToCheck = 0; // rows left before the next look at the clock
    std::vector<Kind> m_kinds;
    mutable std::vector<QByteArray> m_fixed; // per column, the current row's adapted text
    std::chrono::steady_clock::time_point m_deadline = std::chrono::steady_clock::time_point::max();
    std::chrono::milliseconds m_limit { 0 };
    bool m_cancelled = false;
    bool m_late = false;
    bool m_done = false; // the statement has given all its answers
};

} // namespace Brennvox10::data::postgres

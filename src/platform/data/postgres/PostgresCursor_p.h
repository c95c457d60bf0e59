#pragma once
// The PostgreSQL provider: one connection per recordset, one statement in a read-only transaction,
// rows taken from the server one at a time so that memory stays that of one row. The data source
// is a file holding a libpq connection string; the connection text's password is the server's.

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
        if (PQgetisnull(m_row.get(), 0, column))
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
    [[noreturn]] void failWith(const PGresult *result);

    Connection m_connection;
    Result m_row; // the current row's single-row result
    std::vector<Kind> m_kinds;
    mutable std::vector<QByteArray> m_fixed; // per column, the current row's adapted text
    std::chrono::steady_clock::time_point m_deadline = std::chrono::steady_clock::time_point::max();
    std::chrono::milliseconds m_limit { 0 };
    bool m_cancelled = false;
    bool m_late = false;
    bool m_done = false; // the statement has given all its answers
};

} // namespace Brennvox10::data::postgres

// SPDX-License-Identifier: MIT
#pragma once
// The PostgreSQL provider: one connection per recordset, one statement in a read-only transaction.
// A query's rows come through a cursor in batches of about 256 KB of text (the first one 64 rows),
// the next batch asked for before the current one is read, so that the server works while the list fills; any other text
// (SHOW, EXPLAIN) is described first, refused when it returns no rows, and read one row at a time.
// The data source is a file holding a libpq connection string; the connection text's password is
// the server's. Connecting included, no step waits inside libpq: the time limit and Esc hold on the
// client's clock even when the server stops answering.

#include "providers/postgres/Waiting_p.h"
#include "sql/cursor/Cursor.h"

#include <condition_variable>
#include <deque>
#include <mutex>
#include <thread>

namespace Brennvox10::data::postgres {

// How a column's text is read: the storage it reports and what must be done to its text first.
enum class Fix : quint8 { None, Boolean, Money, ZonedTime, Bytes };
struct Kind {
    Storage storage = Storage::Text;
    Fix fix = Fix::None;
};

// One row of a result, read as a cursor's current row: the cursor's own, and the reader thread's
// while it shapes a batch.
class PostgresRow final : public Cursor {
public:
    explicit PostgresRow(const std::vector<Kind> &kinds)
        : m_kinds(kinds)
    {
    }
    void point(const PGresult *result, int index)
    {
        m_result = result;
        m_index = index;
    }

    bool next() override { return false; }
    Storage storage(int column) const override
    {
        if (PQgetisnull(m_result, m_index, column))
            return Storage::Null;
        return m_kinds[size_t(column)].storage;
    }
    qint64 integer(int column) const override;
    double real(int column) const override;
    QByteArrayView text(int column) const override;
    QByteArrayView blob(int column) const override;

private:
    const std::vector<Kind> &m_kinds;
    const PGresult *m_result = nullptr;
    int m_index = 0;
    QByteArray &fixed(int column) const;
    mutable std::vector<QByteArray> m_fixed; // per column, the current row's adapted text
};

class PostgresCursor final : public Cursor {
public:
    // Connects, prepares sql adapted to PostgreSQL (showAdapted hears the text run when it differs
    // from sql) and starts it; Failure when the server cannot be reached, refuses the login or the
    // text, or the text returns no rows.
    static std::unique_ptr<PostgresCursor> open(const ConnectionText &connection, const QString &sql,
        void (*showAdapted)(const QString &));
    ~PostgresCursor() override;

    bool next() override;

    Storage storage(int column) const override { return m_row.storage(column); }
    qint64 integer(int column) const override { return m_row.integer(column); }
    double real(int column) const override { return m_row.real(column); }
    QByteArrayView text(int column) const override { return m_row.text(column); }
    QByteArrayView blob(int column) const override { return m_row.blob(column); }
    QByteArrayView shaped(int ahead) const override;
    // Read-ahead is this cursor's own: its reader thread keeps to the row limit and shapes the rows.
    bool readAheadOwn(qint64 maxRows, RowShaper shaper) override;

private:
    PostgresCursor() = default;
    // Waits for the server's next answer, keeping the window alive and honouring Esc and the time
    // limit; null when the statement has no more answers.
    Result nextResult();
    // The one result of the command just sent, or a Failure.
    Result commandResult(ExecStatusType expected);
    [[noreturn]] void failWith(const PGresult *result);
    // Esc or the time limit: the statement is cancelled on the server and the connection closed
    // without waiting for either, then the load is reported interrupted.
    [[noreturn]] void interrupt(WaitEnd why);
    void closeConnection(bool cancel);
    void connect(const ConnectionText &connection);
    void beginReadOnly();
    // Starts the text, returning the result that describes its columns.
    const PGresult *startQuery(const QByteArray &utf8);
    const PGresult *startStatement(const QByteArray &utf8, Result &description);
    void takeColumns(const PGresult *described);
    void requestBatch();
    void takeFirstBatch();
    // The reader thread's loop, and the user-interface thread's side of it.
    void readBatches();
    bool takeQueuedBatch();
    void stopReader();
    void checkTime();
    Waiter userInterfaceWaiter() const { return { m_deadline, true, nullptr, &stopRequested }; }

    // A batch as the reader thread hands it over: the rows, and what the shaper made of each.
    struct Batch {
        Result rows;
        std::vector<char> shaped;
        std::vector<quint32> shapedEnds;
    };
    void shapeBatch(Batch &batch, const RowShaper &shaper) const;

    Connection m_connection;
    Result m_batch; // the rows being read: a cursor's batch, or one row
    std::vector<char> m_shaped;
    std::vector<quint32> m_shapedEnds;
    int m_index = 0;
    int m_count = 0;
    bool m_fromCursor = false;
    // After the first batch a thread of the cursor's own asks for the next ones and keeps up to two
    // ready, so that the server and libpq work while the list takes rows. From then on only that
    // thread uses the connection, until it is stopped.
    struct Reader {
        std::mutex mutex;
        std::condition_variable changed;
        std::deque<Batch> batches;
        qint64 maxRows = -1; // once known: the most rows to fetch in all
        RowShaper shaper;
        std::vector<std::vector<char>> spare; // shaped bytes read, to be filled again
        Result failure; // the answer that failed, if one did
        bool failed = false;
        bool late = false; // the deadline passed while the reader waited on the server
        bool finished = false; // nothing more will come
        std::atomic_bool stop { false };
        std::thread thread;
    };
    std::unique_ptr<Reader> m_reader;
    int m_batchRows = 64;
    int m_rowsToCheck = 0; // rows left before the next look at the clock
    std::vector<Kind> m_kinds;
    PostgresRow m_row { m_kinds };
    std::chrono::steady_clock::time_point m_deadline = std::chrono::steady_clock::time_point::max();
    std::chrono::milliseconds m_limit { 0 };
    bool m_cancelled = false;
    bool m_late = false;
    bool m_done = false; // the statement has given all its answers
};

} // namespace Brennvox10::data::postgres

// SPDX-License-Identifier: MIT
#pragma once
// The SQLite provider: one read-only connection per recordset, one prepared statement; the cell
// accessors are SQLite's own column functions.

#include "sql/cursor/Cursor.h"

#include <sqlite3.h>

namespace Brennvox10::data::sqlite {

struct ConnectionCloser {
    void operator()(sqlite3 *db) const { sqlite3_close_v2(db); }
};
struct StatementFinalizer {
    void operator()(sqlite3_stmt *statement) const { sqlite3_finalize(statement); }
};
using Connection = std::unique_ptr<sqlite3, ConnectionCloser>;
using Statement = std::unique_ptr<sqlite3_stmt, StatementFinalizer>;

// What the text a connection is given becomes before SQLite reads it, and the functions that text
// may call; either may be absent. The choice of provider decides it.
struct SqlDialect {
    QString (*adapt)(const QString &sql) = nullptr;
    void (*registerFunctions)(sqlite3 *db) = nullptr;
};

class SqliteCursor final : public Cursor {
public:
    // Opens the connection's data source read-only and prepares sql as dialect adapts it; Failure
    // when the file cannot be opened or sql is not exactly one statement that only reads.
    // showAdapted, when given, sees the text prepared when it differs from sql.
    static std::unique_ptr<SqliteCursor> open(const ConnectionText &connection, const QString &sql,
        const SqlDialect &dialect, void (*showAdapted)(const QString &) = nullptr);
    // The same over a serialized database held in memory (another provider's tables), read in place
    // and read-only; the cursor keeps the image alive. Its time limit counts from opened, when the
    // recordset began (making the image used some of that time).
    static std::unique_ptr<SqliteCursor> openImage(std::shared_ptr<const QByteArray> image,
        const ConnectionText &connection, const QString &sql, const SqlDialect &dialect,
        void (*showAdapted)(const QString &) = nullptr,
        std::chrono::steady_clock::time_point opened = std::chrono::steady_clock::now());

    bool next() override;

    // The progress handler's entry point; asks SQLite to interrupt a recordset that ran past its
    // time limit or that the user cancelled.
    static int onProgressHandler(void *cursor);

    Storage storage(int column) const override
    {
        // SQLITE_INTEGER 1, SQLITE_FLOAT 2, SQLITE_TEXT 3, SQLITE_BLOB 4, SQLITE_NULL 5.
        static constexpr Storage byCode[]
            = { Storage::Null, Storage::Integer, Storage::Real, Storage::Text, Storage::Blob, Storage::Null };
        const auto code = unsigned(sqlite3_column_type(m_statement.get(), column));
        return code < std::size(byCode) ? byCode[code] : Storage::Null;
    }
    qint64 integer(int column) const override { return sqlite3_column_int64(m_statement.get(), column); }
    double real(int column) const override { return sqlite3_column_double(m_statement.get(), column); }
    QByteArrayView text(int column) const override
    {
        // The pointer first, then the size: asking for the size first may convert the value twice.
        const auto *data = reinterpret_cast<const char *>(sqlite3_column_text(m_statement.get(), column));
        return { data, sqlite3_column_bytes(m_statement.get(), column) };
    }
    QByteArrayView blob(int column) const override
    {
        const auto *data = static_cast<const char *>(sqlite3_column_blob(m_statement.get(), column));
        return { data, sqlite3_column_bytes(m_statement.get(), column) };
    }

private:
    SqliteCursor() = default;
    int onProgress();
    // Configures the open connection and prepares sql, in SQLite's words, on it.
    void prepare(const QString &sql, const SqlDialect &dialect, void (*showAdapted)(const QString &));

    // The statement is finalized before its connection closes, and the connection before the image
    // it reads (members die in reverse order).
    std::shared_ptr<const QByteArray> m_image;
    Connection m_db;
    Statement m_statement;
    // The whole recordset, from its open to its last row, has one time budget.
    std::chrono::steady_clock::time_point m_deadline = std::chrono::steady_clock::time_point::max();
    std::chrono::milliseconds m_limit { 0 };
    bool m_cancelled = false; // the user pressed Esc
    bool m_late = false; // the budget ran out
};

} // namespace Brennvox10::data::sqlite

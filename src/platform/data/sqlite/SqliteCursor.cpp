#include "SqliteCursor_p.h"
#include "platform/services/BusyCursor.h"

#include <QFile>

#include <atomic>

namespace Brennvox10::data::sqlite {

namespace {

const QString failureSource = QStringLiteral("Brennvox10.SQLite");

// Big enough for any record a list shows, small enough that zeroblob() or a runaway concatenation
// cannot exhaust memory.
constexpr int maxValueBytes = 100 * 1000 * 1000;
constexpr int maxSqlBytes = 1000 * 1000;
constexpr int busyTimeoutMs = 5000;
constexpr int progressPeriod = 100000; // virtual machine instructions between watchdog calls

// The one way a SQLite return code becomes a Failure: the statement's own faults are command
// errors, everything about the file or the engine is a database error.
[[noreturn]] void fail(sqlite3 *db, int rc)
{
    const char *message = db ? sqlite3_errmsg(db) : sqlite3_errstr(rc);
    qint32 number = FailureNumber::DatabaseError;
    switch (rc & 0xff) {
    case SQLITE_ERROR:
    case SQLITE_AUTH:
    case SQLITE_TOOBIG:
    case SQLITE_RANGE:
    case SQLITE_MISMATCH:
    case SQLITE_INTERRUPT:
    case SQLITE_SCHEMA: // a denied schema write surfaces as this after SQLite's own retry
    case SQLITE_READONLY:
    case SQLITE_CONSTRAINT:
        number = FailureNumber::CommandError;
        break;
    default:
        break;
    }
    throw Failure(number, QString::fromUtf8(message), failureSource);
}

[[noreturn]] void refuse(const QString &why)
{
    throw Failure(FailureNumber::CommandError, why, failureSource);
}

bool isDeniedFunction(const char *name)
{
    // Functions that reach outside the statement: loading code, files, tokenizer pointers.
    static constexpr const char *denied[]
        = { "load_extension", "fts3_tokenizer", "readfile", "writefile", "edit" };
    if (!name)
        return true;
    for (const char *entry : denied) {
        if (sqlite3_stricmp(name, entry) == 0)
            return true;
    }
    return false;
}

int authorize(void *, int action, const char *, const char *function, const char *, const char *)
{
    switch (action) {
    case SQLITE_SELECT:
    case SQLITE_READ:
    case SQLITE_RECURSIVE:
        return SQLITE_OK;
    case SQLITE_FUNCTION:
        return isDeniedFunction(function) ? SQLITE_DENY : SQLITE_OK;
    default:
        return SQLITE_DENY;
    }
}

// Whether the text after the prepared statement holds nothing but blanks, semicolons and comments.
bool onlyTrivia(const char *tail)
{
    const char *p = tail;
    while (*p) {
        if (*p == ';' || *p == ' ' || *p == '\t' || *p == '\n' || *p == '\r' || *p == '\f' || *p == '\v') {
            ++p;
        } else if (p[0] == '-' && p[1] == '-') {
            while (*p && *p != '\n')
                ++p;
        } else if (p[0] == '/' && p[1] == '*') {
            p += 2;
            while (*p && !(p[0] == '*' && p[1] == '/'))
                ++p;
            if (*p)
                p += 2;
        } else {
            return false;
        }
    }
    return true;
}

void configure(sqlite3 *db, void *cursor)
{
    sqlite3_extended_result_codes(db, 1);
    sqlite3_busy_timeout(db, busyTimeoutMs);
    sqlite3_db_config(db, SQLITE_DBCONFIG_DEFENSIVE, 1, nullptr);
    sqlite3_db_config(db, SQLITE_DBCONFIG_TRUSTED_SCHEMA, 0, nullptr);
    sqlite3_db_config(db, SQLITE_DBCONFIG_ENABLE_LOAD_EXTENSION, 0, nullptr);
    sqlite3_limit(db, SQLITE_LIMIT_LENGTH, maxValueBytes);
    sqlite3_limit(db, SQLITE_LIMIT_SQL_LENGTH, maxSqlBytes);
    sqlite3_limit(db, SQLITE_LIMIT_ATTACHED, 0);
    sqlite3_set_authorizer(db, authorize, nullptr);
    sqlite3_progress_handler(db, progressPeriod, &SqliteCursor::onProgressHandler, cursor);
}

} // namespace

int SqliteCursor::onProgressHandler(void *cursor)
{
    return static_cast<SqliteCursor *>(cursor)->onProgress();
}

int SqliteCursor::onProgress()
{
    busy::tick();
    const auto now = std::chrono::steady_clock::now();
    if (m_watchedStep != m_step) {
        m_watchedStep = m_step;
        m_stepSeen = now;
        return 0;
    }
    return now - m_stepSeen > stepTimeLimit() ? 1 : 0;
}

std::unique_ptr<SqliteCursor> SqliteCursor::open(const ConnectionText &connection, const QString &sql)
{
    const QString path = connection.dataSource();
    // An empty name would make SQLite open a private temporary database.
    if (path.isEmpty())
        throw Failure(FailureNumber::DatabaseError,
            QStringLiteral("unable to open database file: no data source"), failureSource);
    if (!connection.password().isEmpty()) {
        static std::atomic_bool told { false };
        if (!told.exchange(true))
            qCInfo(lcData) << "SQLite files carry no password; the connection's password is not used";
    }

    std::unique_ptr<SqliteCursor> cursor(new SqliteCursor);
    sqlite3 *db = nullptr;
    // No SQLITE_OPEN_CREATE: a missing file stays missing.
    const int rc = sqlite3_open_v2(
        QFile::encodeName(path).constData(), &db, SQLITE_OPEN_READONLY | SQLITE_OPEN_NOMUTEX, nullptr);
    cursor->m_db.reset(db);
    if (rc != SQLITE_OK)
        fail(db, rc);
    configure(db, cursor.get());

    const QByteArray text = sql.toUtf8();
    sqlite3_stmt *statement = nullptr;
    const char *tail = nullptr;
    // The size includes the terminating zero, which spares SQLite a copy.
    const int prepared = sqlite3_prepare_v2(db, text.constData(), int(text.size()) + 1, &statement, &tail);
    cursor->m_statement.reset(statement);
    if (prepared != SQLITE_OK)
        fail(db, prepared);
    if (!statement)
        refuse(QStringLiteral("the text holds no statement"));
    if (tail && !onlyTrivia(tail))
        refuse(QStringLiteral("the text holds more than one statement"));
    if (!sqlite3_stmt_readonly(statement))
        refuse(QStringLiteral("the statement would write to the database"));

    const int count = sqlite3_column_count(statement);
    cursor->columns.resize(count);
    for (int i = 0; i < count; ++i) {
        ColumnInfo &column = cursor->columns[i];
        column.name = QString::fromUtf8(sqlite3_column_name(statement, i));
        column.declaredType = adoTypeForDeclared(QByteArrayView(sqlite3_column_decltype(statement, i)));
    }
    return cursor;
}

bool SqliteCursor::next()
{
    ++m_step;
    const int rc = sqlite3_step(m_statement.get());
    if (rc == SQLITE_ROW)
        return true;
    if (rc == SQLITE_DONE)
        return false;
    fail(m_db.get(), rc);
}

} // namespace Brennvox10::data::sqlite

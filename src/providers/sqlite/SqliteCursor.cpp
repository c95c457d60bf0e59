// SPDX-License-Identifier: MIT
#include "providers/sqlite/SqliteCursor_p.h"
#include "sql/cursor/ActionTime.h"
#include "sql/lexer/Lexer.h"
#include "core/BusyCursor.h"

#include <QDir>
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
    // SQLite calls these "attempt to write a readonly database", which sends the user looking for
    // a permissions problem; what the file needs is a writer to finish its work.
    if (rc == SQLITE_READONLY_ROLLBACK || rc == SQLITE_READONLY_RECOVERY)
        throw Failure(FailureNumber::DatabaseError,
            QStringLiteral("the database has an unfinished write from another program (%1); open it "
                           "once with a program that can write to it")
                .arg(rc == SQLITE_READONLY_ROLLBACK ? QStringLiteral("hot journal")
                                                    : QStringLiteral("write-ahead log to recover")),
            failureSource);
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

bool isReadingPragma(const char *name, const char *value)
{
    // Their argument names a table or an index; they only report.
    static constexpr const char *naming[]
        = { "table_info", "table_xinfo", "index_info", "index_xinfo", "index_list", "foreign_key_list" };
    // Settings, allowed only as a question: with a value they would write.
    static constexpr const char *asked[] = { "data_version", "schema_version", "user_version",
        "application_id", "page_count", "page_size", "freelist_count", "encoding" };
    if (!name)
        return false;
    for (const char *entry : naming) {
        if (sqlite3_stricmp(name, entry) == 0)
            return true;
    }
    for (const char *entry : asked) {
        if (sqlite3_stricmp(name, entry) == 0)
            return !value;
    }
    return false;
}

int authorize(void *, int action, const char *first, const char *second, const char *, const char *)
{
    switch (action) {
    case SQLITE_SELECT:
    case SQLITE_READ:
    case SQLITE_RECURSIVE:
        return SQLITE_OK;
    case SQLITE_FUNCTION:
        return isDeniedFunction(second) ? SQLITE_DENY : SQLITE_OK;
    case SQLITE_PRAGMA:
        // Table-valued pragmas and FTS5's own data_version query come through here.
        return isReadingPragma(first, second) ? SQLITE_OK : SQLITE_DENY;
    case SQLITE_UPDATE:
        // Connecting any virtual table (FTS5, dbstat, pragma_*) compiles, but never runs, an update
        // of the schema table; denying it fails the connect. Ignoring it leaves such an update
        // changing nothing, and a statement holding one is still refused as a write.
        return first
                && (sqlite3_stricmp(first, "sqlite_master") == 0
                    || sqlite3_stricmp(first, "sqlite_temp_master") == 0)
            ? SQLITE_IGNORE
            : SQLITE_DENY;
    default:
        return SQLITE_DENY;
    }
}

// The data source as a URI SQLite cannot read anything but a path into: absolute, every byte
// outside the unreserved set escaped, so "file:x.db?mode=rwc" or ":memory:" is only ever a name.
QByteArray uriOf(const QString &path, bool immutable)
{
    // Not cleaned: ".." after a symbolic link must resolve as the system resolves it.
    const QByteArray absolute = QFile::encodeName(QDir::current().absoluteFilePath(path));
    // "file://" with an empty authority: a path that starts with "//" stays a path.
    QByteArray uri = "file://" + absolute.toPercentEncoding("/");
    if (immutable)
        uri += "?immutable=1";
    return uri;
}

// A reader of a WAL database creates -shm and -wal beside it and, having no right to write,
// cannot remove them. With no -wal (and no journal) the file alone holds every committed row, so it
// is read as immutable: nothing is created or locked. The price: a writer that starts meanwhile is
// not seen, and a checkpoint it finishes during the read may fail the read as corrupt. With a -wal
// its pages are needed, so the file opens normally and SQLite's own files may remain.
bool readAsImmutable(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return false;
    const QByteArray header = file.read(20);
    // Bytes 18 and 19 are the write and read versions: 2 for WAL.
    const bool wal
        = header.size() == 20 && header.startsWith("SQLite format 3") && header[18] == 2 && header[19] == 2;
    return wal && !QFile::exists(path + QStringLiteral("-wal"))
        && !QFile::exists(path + QStringLiteral("-journal"));
}

// Whether the text after the prepared statement holds nothing but blanks, semicolons and comments.
bool onlyTrivia(const char *tail)
{
    const QString text = QString::fromUtf8(tail);
    lexer::Lexer lexer(text, lexer::Dialect::Sqlite);
    for (lexer::Token token; lexer.next(token);) {
        if (!token.isTrivia() && token.in(text) != u";")
            return false;
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
    m_cancelled = m_cancelled || cancelAsked();
    m_late = m_late || std::chrono::steady_clock::now() > m_deadline;
    return m_cancelled || m_late ? 1 : 0;
}

std::unique_ptr<SqliteCursor> SqliteCursor::open(const ConnectionText &connection, const QString &sql,
    const SqlDialect &dialect, void (*showAdapted)(const QString &))
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
    const TimeBudget budget = timeBudget(connection, failureSource);
    cursor->m_limit = budget.limit;
    cursor->m_deadline = budget.deadline;
    sqlite3 *db = nullptr;
    // No SQLITE_OPEN_CREATE: a missing file stays missing.
    const int rc = sqlite3_open_v2(uriOf(path, readAsImmutable(path)).constData(), &db,
        SQLITE_OPEN_READONLY | SQLITE_OPEN_NOMUTEX | SQLITE_OPEN_URI, nullptr);
    cursor->m_db.reset(db);
    if (rc != SQLITE_OK)
        fail(db, rc);
    cursor->prepare(sql, dialect, showAdapted);
    return cursor;
}

std::unique_ptr<SqliteCursor> SqliteCursor::openImage(std::shared_ptr<const QByteArray> image,
    const ConnectionText &connection, const QString &sql, const SqlDialect &dialect,
    void (*showAdapted)(const QString &), std::chrono::steady_clock::time_point opened)
{
    std::unique_ptr<SqliteCursor> cursor(new SqliteCursor);
    // The copy of a Jet file's tables and the query on it share one limit, counted from opened.
    TimeBudget budget = timeBudget(connection, failureSource);
    if (budget.limit.count() > 0)
        budget.deadline = std::min(budget.deadline, opened + budget.limit);
    cursor->m_limit = budget.limit;
    cursor->m_deadline = budget.deadline;
    cursor->m_image = std::move(image);
    sqlite3 *db = nullptr;
    const int rc = sqlite3_open_v2(":memory:", &db, SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX, nullptr);
    cursor->m_db.reset(db);
    if (rc != SQLITE_OK)
        fail(db, rc);
    // Read in place: SQLite neither copies nor frees the bytes, and refuses to change them.
    const QByteArray &bytes = *cursor->m_image;
    if (!bytes.isEmpty()) {
        auto *data = reinterpret_cast<unsigned char *>(const_cast<char *>(bytes.constData()));
        const int loaded = sqlite3_deserialize(db, "main", data, bytes.size(), bytes.size(), SQLITE_DESERIALIZE_READONLY);
        if (loaded != SQLITE_OK)
            fail(db, loaded);
    }
    cursor->prepare(sql, dialect, showAdapted);
    return cursor;
}

void SqliteCursor::prepare(const QString &sql, const SqlDialect &dialect, void (*showAdapted)(const QString &))
{
    sqlite3 *db = m_db.get();
    configure(db, this);
    if (dialect.registerFunctions)
        dialect.registerFunctions(db);
    const QString adapted = dialect.adapt ? dialect.adapt(sql) : sql;
    if (adapted != sql && showAdapted)
        showAdapted(adapted);

    const QByteArray text = adapted.toUtf8();
    sqlite3_stmt *statement = nullptr;
    const char *tail = nullptr;
    // The size includes the terminating zero, which spares SQLite a copy.
    const int prepared = sqlite3_prepare_v2(db, text.constData(), int(text.size()) + 1, &statement, &tail);
    m_statement.reset(statement);
    if (prepared != SQLITE_OK)
        fail(db, prepared);
    if (!statement)
        refuse(QStringLiteral("the text holds no statement"));
    if (tail && !onlyTrivia(tail))
        refuse(QStringLiteral("the text holds more than one statement"));
    // A second layer: the read-only open and the authorizer already refuse every write; this names
    // the refusal before the statement runs.
    if (!sqlite3_stmt_readonly(statement))
        refuse(QStringLiteral("the statement would write to the database"));

    const int count = sqlite3_column_count(statement);
    columns.resize(count);
    for (int i = 0; i < count; ++i) {
        ColumnInfo &column = columns[i];
        column.name = QString::fromUtf8(sqlite3_column_name(statement, i));
        column.declaredType = adoTypeForDeclared(QByteArrayView(sqlite3_column_decltype(statement, i)));
    }
}

bool SqliteCursor::next()
{
    const int rc = sqlite3_step(m_statement.get());
    if (rc == SQLITE_ROW)
        return true;
    if (rc == SQLITE_DONE)
        return false;
    if ((rc & 0xff) == SQLITE_INTERRUPT && (m_cancelled || m_late))
        failInterrupted(m_cancelled, m_limit, failureSource);
    fail(m_db.get(), rc);
}

} // namespace Brennvox10::data::sqlite

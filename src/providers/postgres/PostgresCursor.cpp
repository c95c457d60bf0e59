// SPDX-License-Identifier: MIT
#include "providers/postgres/PostgresCursor_p.h"

#include "providers/postgres/Dialect.h"
#include "sql/cursor/ActionTime.h"
#include "sql/lexer/Lexer.h"
#include "core/BusyCursor.h"

#include <QFile>

#include <algorithm>
#include <cmath>
#include <limits>

namespace Brennvox10::data::postgres {

namespace {

const QString failureSource = QStringLiteral("Brennvox10.PostgreSQL");

constexpr qint64 maxConnectionFileBytes = 64 * 1024;
constexpr auto queuePeriod = std::chrono::milliseconds(50);
// A batch of rows holds about this much text; a few wide rows make small batches.
constexpr qint64 batchBytes = 256 * 1024;
constexpr int minBatchRows = 16, maxBatchRows = 16384;

// Type ids of the built-in types (pg_type.oid), fixed since PostgreSQL 7.
enum : Oid {
    BoolOid = 16, ByteaOid = 17, Int8Oid = 20, Int2Oid = 21, Int4Oid = 23, OidOid = 26, Float4Oid = 700,
    Float8Oid = 701, MoneyOid = 790, DateOid = 1082, TimestampOid = 1114, TimestampTzOid = 1184, NumericOid = 1700
};

// numeric(19,4) is how a currency column is declared where there is no money type.
constexpr int currencyTypmod = ((19 << 16) | 4) + 4;

QString trimmedMessage(const char *message)
{
    return QString::fromUtf8(message ? message : "").trimmed();
}

[[noreturn]] void failDatabase(const QString &message)
{
    throw Failure(FailureNumber::DatabaseError, message, failureSource);
}

// The libpq connection string in the data source file: lines starting with '#' are comments.
QByteArray connectionStringIn(const QString &path)
{
    if (path.isEmpty())
        failDatabase(QStringLiteral("no connection file: the data source is empty"));
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        failDatabase(QStringLiteral("cannot read the connection file %1: %2").arg(path, file.errorString()));
    if (file.size() > maxConnectionFileBytes)
        failDatabase(QStringLiteral("the connection file %1 is larger than 64 KB").arg(path));
    QByteArray result;
    for (const QByteArray &line : file.readAll().split('\n')) {
        const QByteArray text = line.trimmed();
        if (!text.isEmpty() && !text.startsWith('#'))
            result += text + ' ';
    }
    return result.trimmed();
}

Kind kindOf(Oid type, int typmod, int &adoType)
{
    using K = Kind;
    using F = Fix;
    switch (type) {
    case BoolOid:
        adoType = AdoType::Boolean;
        return K { Storage::Integer, F::Boolean };
    case Int2Oid:
        adoType = AdoType::SmallInt;
        return K { Storage::Integer, F::None };
    case Int4Oid:
    case OidOid:
        adoType = AdoType::Integer;
        return K { Storage::Integer, F::None };
    case Int8Oid:
        adoType = AdoType::BigInt;
        return K { Storage::Integer, F::None };
    case Float4Oid:
        adoType = AdoType::Single;
        return K { Storage::Real, F::None };
    case Float8Oid:
        adoType = AdoType::Double;
        return K { Storage::Real, F::None };
    case MoneyOid:
        adoType = AdoType::Currency;
        return K { Storage::Text, F::Money };
    case NumericOid:
        adoType = typmod == currencyTypmod ? AdoType::Currency : AdoType::Decimal;
        return K { Storage::Text, F::None };
    case DateOid:
    case TimestampOid:
        adoType = AdoType::Date;
        return K { Storage::Text, F::None };
    case TimestampTzOid:
        adoType = AdoType::Date;
        return K { Storage::Text, F::ZonedTime };
    case ByteaOid:
        adoType = AdoType::Binary;
        return K { Storage::Blob, F::Bytes };
    default:
        adoType = AdoType::Text;
        return K { Storage::Text, F::None };
    }
}

// Whether the text is a query a cursor can run: it starts (after blanks, comments and opening
// parentheses) with SELECT, WITH, VALUES or TABLE.
bool isCursorQuery(const QString &text)
{
    lexer::Lexer lexer(text, lexer::Dialect::Postgres);
    lexer::Token token {};
    bool more = false;
    while ((more = lexer.next(token)) && (token.isTrivia() || token.in(text) == u"(")) { }
    if (!more || token.kind != lexer::Kind::Word)
        return false;
    const QStringView word = token.in(text);
    for (const char *keyword : { "select", "with", "values", "table" })
        if (word.compare(QLatin1String(keyword), Qt::CaseInsensitive) == 0)
            return true;
    return false;
}

} // namespace

std::unique_ptr<PostgresCursor> PostgresCursor::open(const ConnectionText &connection, const QString &sql,
    void (*showAdapted)(const QString &))
{
    std::unique_ptr<PostgresCursor> cursor(new PostgresCursor);
    const TimeBudget budget = timeBudget(connection, failureSource);
    cursor->m_limit = budget.limit;
    cursor->m_deadline = budget.deadline;
    cursor->connect(connection);
    cursor->beginReadOnly();

    const QString text = adaptForPostgres(sql);
    if (text != sql && showAdapted)
        showAdapted(text);
    Result description;
    const PGresult *described = isCursorQuery(text) ? cursor->startQuery(text.toUtf8())
                                                    : cursor->startStatement(text.toUtf8(), description);
    cursor->takeColumns(described);
    // The first batch is read from its first row on.
    cursor->m_index = -1;
    return cursor;
}

void PostgresCursor::connect(const ConnectionText &connection)
{
    // Later keywords win: the file may change the time-out, the keepalives and the name the server
    // logs, never the encoding, and the control's password wins over one in the file. Keepalives
    // let a peer that vanished show even where there is no time limit.
    const QByteArray conninfo = connectionStringIn(connection.dataSource());
    const QByteArray password = connection.password().toUtf8();
    std::vector<const char *> keys = { "connect_timeout", "keepalives", "keepalives_idle", "keepalives_interval",
        "keepalives_count", "tcp_user_timeout", "fallback_application_name", "dbname", "client_encoding" };
    std::vector<const char *> values
        = { "10", "1", "15", "5", "3", "30000", "Brennvox10", conninfo.constData(), "UTF8" };
    if (!password.isEmpty()) {
        keys.push_back("password");
        values.push_back(password.constData());
    }
    keys.push_back(nullptr);
    values.push_back(nullptr);
    const auto start = Clock::now();
    m_connection.reset(PQconnectStartParams(keys.data(), values.data(), 1));
    PGconn *db = m_connection.get();
    if (!db)
        failDatabase(QStringLiteral("out of memory while connecting"));
    if (PQstatus(db) == CONNECTION_BAD)
        failDatabase(trimmedMessage(PQerrorMessage(db)));
    // The connect time-out is libpq's own failure; the time limit, when it comes first, the load's.
    const auto connectBy = connectDeadline(db, start);
    const WaitEnd end = awaitConnection(db, { std::min(m_deadline, connectBy), true, nullptr });
    if (end == WaitEnd::Cancelled || (end == WaitEnd::Late && m_deadline <= connectBy))
        interrupt(end);
    if (end == WaitEnd::Late) {
        const QString before = trimmedMessage(PQerrorMessage(db));
        failDatabase(before.isEmpty() ? QStringLiteral("timeout expired") : before + QStringLiteral(" timeout expired"));
    }
    if (PQstatus(db) != CONNECTION_OK)
        failDatabase(trimmedMessage(PQerrorMessage(db)));
    // Sending never blocks either; the waits flush what is left.
    PQsetnonblocking(db, 1);
}

// Read-only for the whole transaction, which ends unfinished when the connection closes. Dates and
// money come in the forms the shared readers know.
void PostgresCursor::beginReadOnly()
{
    const QByteArray setup = "BEGIN READ ONLY; SET LOCAL statement_timeout = " + QByteArray::number(m_limit.count())
        + "; SET LOCAL DateStyle = 'ISO, YMD'; SET LOCAL lc_monetary = 'C'; SET LOCAL IntervalStyle = 'postgres'; SET LOCAL bytea_output = 'hex'";
    if (!PQsendQuery(m_connection.get(), setup.constData()))
        failDatabase(trimmedMessage(PQerrorMessage(m_connection.get())));
    commandResult(PGRES_COMMAND_OK);
}

// A cursor takes only a query, so nothing that writes or runs a command gets this far.
const PGresult *PostgresCursor::startQuery(const QByteArray &utf8)
{
    const QByteArray declare = "DECLARE bv_rows NO SCROLL CURSOR FOR " + utf8;
    if (!PQsendQueryParams(m_connection.get(), declare.constData(), 0, nullptr, nullptr, nullptr, nullptr, 0))
        failDatabase(trimmedMessage(PQerrorMessage(m_connection.get())));
    commandResult(PGRES_COMMAND_OK);
    m_fromCursor = true;
    requestBatch();
    takeFirstBatch();
    return m_batch.get();
}

// The unnamed statement: one statement only, and described before it runs, so that a text that
// returns no rows (a command) never runs at all.
const PGresult *PostgresCursor::startStatement(const QByteArray &utf8, Result &description)
{
    PGconn *db = m_connection.get();
    if (!PQsendPrepare(db, "", utf8.constData(), 0, nullptr))
        failDatabase(trimmedMessage(PQerrorMessage(db)));
    commandResult(PGRES_COMMAND_OK);
    if (!PQsendDescribePrepared(db, ""))
        failDatabase(trimmedMessage(PQerrorMessage(db)));
    description = commandResult(PGRES_COMMAND_OK);
    if (PQnfields(description.get()) == 0)
        throw Failure(FailureNumber::CommandError,
            QStringLiteral("the statement returns no rows: only queries are run"), failureSource);
    if (!PQsendQueryPrepared(db, "", 0, nullptr, nullptr, nullptr, 0))
        failDatabase(trimmedMessage(PQerrorMessage(db)));
    PQsetSingleRowMode(db);
    return description.get();
}

void PostgresCursor::takeColumns(const PGresult *described)
{
    const int count = PQnfields(described);
    columns.resize(size_t(count));
    m_kinds.resize(size_t(count));
    for (int i = 0; i < count; ++i) {
        ColumnInfo &column = columns[size_t(i)];
        column.name = QString::fromUtf8(PQfname(described, i));
        m_kinds[size_t(i)] = kindOf(PQftype(described, i), PQfmod(described, i), column.declaredType);
    }
}

Result PostgresCursor::commandResult(ExecStatusType expected)
{
    Result result = nextResult();
    if (PQresultStatus(result.get()) != expected)
        failWith(result.get());
    // The command's end: libpq gives null once every result has been taken.
    while (Result more = nextResult()) {
        if (PQresultStatus(more.get()) != expected)
            failWith(more.get());
    }
    return result;
}

void PostgresCursor::requestBatch()
{
    const QByteArray fetch = "FETCH FORWARD " + QByteArray::number(m_batchRows) + " FROM bv_rows";
    if (!PQsendQueryParams(m_connection.get(), fetch.constData(), 0, nullptr, nullptr, nullptr, nullptr, 0))
        failDatabase(trimmedMessage(PQerrorMessage(m_connection.get())));
}

namespace {

// Small at first, so that slow rows show soon and a line limit wastes little; then as many as fill
// a batch of about batchBytes, as its first rows tell.
int nextBatchRows(const PGresult *batch)
{
    const int count = PQntuples(batch), columns = PQnfields(batch);
    const int sampled = std::min(count, 256);
    qint64 bytes = 1;
    for (int r = 0; r < sampled; ++r)
        for (int c = 0; c < columns; ++c)
            bytes += PQgetlength(batch, r, c) + 8;
    const qint64 fitting = qint64(sampled) * batchBytes / bytes;
    return int(std::clamp<qint64>(std::min<qint64>(fitting, qint64(count) * 4), minBatchRows, maxBatchRows));
}

} // namespace

// The first batch gives the columns; the reader thread asks for the rest.
void PostgresCursor::takeFirstBatch()
{
    const int asked = m_batchRows;
    m_batch = commandResult(PGRES_TUPLES_OK);
    m_count = PQntuples(m_batch.get());
    m_index = 0;
    if (m_count < asked) {
        m_done = true;
        return;
    }
    m_batchRows = nextBatchRows(m_batch.get());
    m_reader = std::make_unique<Reader>();
    m_reader->thread = std::thread([this] { readBatches(); });
}

void PostgresCursor::readBatches()
{
    Reader &r = *m_reader;
    PGconn *db = m_connection.get();
    const Waiter waiter { m_deadline, false, &r.stop };
    int rows = m_batchRows;
    qint64 fetched = m_count; // the first batch's rows
    bool asked = false;
    RowShaper shaper;
    std::vector<char> spare;
    const auto ask = [&](int wanted) {
        const QByteArray fetch = "FETCH FORWARD " + QByteArray::number(wanted) + " FROM bv_rows";
        asked = PQsendQueryParams(db, fetch.constData(), 0, nullptr, nullptr, nullptr, nullptr, 0);
    };
    for (;;) {
        qint64 maxRows = -1;
        {
            std::unique_lock lock(r.mutex);
            r.changed.wait(lock, [&] { return r.stop || r.batches.size() < 2; });
            if (r.stop)
                break;
            maxRows = r.maxRows;
            if (!shaper)
                shaper = r.shaper;
            if (shaper && !r.spare.empty()) {
                spare = std::move(r.spare.back());
                r.spare.pop_back();
            }
        }
        // No row past the line limit is fetched.
        if (maxRows >= 0)
            rows = int(std::min<qint64>(rows, maxRows - fetched));
        if (rows <= 0)
            break;
        if (!asked)
            ask(rows);
        Batch batch;
        batch.shaped = std::move(spare);
        batch.shaped.clear();
        WaitEnd end = WaitEnd::Ready;
        if (asked) {
            batch.rows = awaitNext(db, waiter, end);
            // The command's end: null once every result has been taken.
            while (end == WaitEnd::Ready && awaitNext(db, waiter, end)) { }
        }
        asked = false;
        if (end == WaitEnd::Ready && PQresultStatus(batch.rows.get()) == PGRES_TUPLES_OK) {
            const int count = PQntuples(batch.rows.get());
            fetched += count;
            const bool more = count == rows;
            rows = nextBatchRows(batch.rows.get());
            if (maxRows >= 0)
                rows = int(std::min<qint64>(rows, maxRows - fetched));
            // The server makes the next batch while this one is shaped.
            if (more && rows > 0)
                ask(rows);
            else
                rows = 0;
            if (shaper)
                shapeBatch(batch, shaper);
        }
        std::lock_guard lock(r.mutex);
        if (end == WaitEnd::Stopped)
            break;
        if (end == WaitEnd::Late || PQresultStatus(batch.rows.get()) != PGRES_TUPLES_OK) {
            r.late = end == WaitEnd::Late;
            r.failure = std::move(batch.rows);
            r.failed = true;
            break;
        }
        r.batches.push_back(std::move(batch));
        r.changed.notify_all();
        if (rows == 0)
            break;
    }
    std::lock_guard lock(r.mutex);
    r.finished = true;
    r.changed.notify_all();
}

void PostgresCursor::shapeBatch(Batch &batch, const RowShaper &shaper) const
{
    PostgresRow row(m_kinds);
    const int count = PQntuples(batch.rows.get());
    batch.shapedEnds.reserve(size_t(count));
    for (int i = 0; i < count; ++i) {
        row.point(batch.rows.get(), i);
        shapeRow(shaper, row, batch.shaped);
        batch.shapedEnds.push_back(quint32(batch.shaped.size()));
    }
}

bool PostgresCursor::readAheadOwn(qint64 maxRows, RowShaper shaper)
{
    if (!m_fromCursor)
        return false;
    if (m_reader) {
        std::lock_guard lock(m_reader->mutex);
        m_reader->maxRows = maxRows;
        m_reader->shaper = std::move(shaper);
        m_reader->changed.notify_all();
    }
    return true;
}

QByteArrayView PostgresCursor::shaped(int ahead) const
{
    const int row = m_index + ahead;
    if (!m_batch || ahead < 0 || row >= m_count || size_t(row) >= m_shapedEnds.size())
        return {};
    const quint32 begin = row > 0 ? m_shapedEnds[size_t(row - 1)] : 0;
    return { m_shaped.data() + begin, qsizetype(m_shapedEnds[size_t(row)] - begin) };
}

// The next batch the reader made, waiting for it with the window kept alive; false at the end.
bool PostgresCursor::takeQueuedBatch()
{
    Reader &r = *m_reader;
    std::unique_lock lock(r.mutex);
    while (r.batches.empty() && !r.finished) {
        lock.unlock();
        if (const WaitEnd end = checkWaiter(userInterfaceWaiter()); end != WaitEnd::Ready)
            interrupt(end);
        lock.lock();
        r.changed.wait_for(lock, queuePeriod, [&] { return !r.batches.empty() || r.finished; });
    }
    if (!r.batches.empty()) {
        Batch batch = std::move(r.batches.front());
        r.batches.pop_front();
        if (m_shaped.capacity() > 0 && r.spare.size() < 2)
            r.spare.push_back(std::move(m_shaped));
        r.changed.notify_all();
        m_batch = std::move(batch.rows);
        m_shaped = std::move(batch.shaped);
        m_shapedEnds = std::move(batch.shapedEnds);
        m_count = PQntuples(m_batch.get());
        m_index = 0;
        return m_count > 0;
    }
    m_done = true;
    const bool failed = r.failed, late = r.late;
    lock.unlock();
    if (!failed)
        return false;
    if (late)
        interrupt(WaitEnd::Late);
    // The reader is done with the connection: its message may be read here.
    stopReader();
    failWith(r.failure.get());
}

void PostgresCursor::stopReader()
{
    if (!m_reader || !m_reader->thread.joinable())
        return;
    {
        std::lock_guard lock(m_reader->mutex);
        m_reader->stop = true;
        m_reader->changed.notify_all();
    }
    // A wait on the server sees the flag within one slice, answered or not.
    m_reader->thread.join();
}

void PostgresCursor::closeConnection(bool cancel)
{
    stopReader();
    PGconn *db = m_connection.get();
    if (cancel && db && PQstatus(db) == CONNECTION_OK && PQtransactionStatus(db) == PQTRANS_ACTIVE)
        cancelAside(db);
    // Non-blocking since connected: the goodbye is left in the socket's buffer, never waited on.
    m_connection.reset();
}

void PostgresCursor::interrupt(WaitEnd why)
{
    m_cancelled = m_cancelled || why == WaitEnd::Cancelled;
    m_late = !m_cancelled;
    closeConnection(true);
    failWith(nullptr);
}

PostgresCursor::~PostgresCursor()
{
    // Closed before its end (the line limit): the server would otherwise go on producing rows
    // nobody reads. A cursor only ever makes the batch asked for.
    closeConnection(!m_fromCursor && !m_done);
}

Result PostgresCursor::nextResult()
{
    WaitEnd end = WaitEnd::Ready;
    Result result = awaitNext(m_connection.get(), userInterfaceWaiter(), end);
    if (end != WaitEnd::Ready)
        interrupt(end);
    return result;
}

void PostgresCursor::failWith(const PGresult *result)
{
    m_done = true;
    const char *state = result ? PQresultErrorField(result, PG_DIAG_SQLSTATE) : nullptr;
    const QByteArray code(state ? state : "");
    if (m_cancelled || m_late || code == "57014")
        failInterrupted(m_cancelled, m_limit, failureSource);
    QString message = trimmedMessage(result ? PQresultErrorMessage(result) : nullptr);
    if (message.isEmpty() && m_connection)
        message = trimmedMessage(PQerrorMessage(m_connection.get()));
    if (message.isEmpty())
        message = QStringLiteral("the server did not answer");
    // The connection, the login, the server's resources or its shutdown are the database's
    // failures; everything else is the statement's.
    const bool server = code.isEmpty() || code.startsWith("08") || code.startsWith("28") || code.startsWith("53")
        || code.startsWith("57") || code.startsWith("58") || code.startsWith("XX");
    throw Failure(server ? FailureNumber::DatabaseError : FailureNumber::CommandError, message, failureSource);
}

void PostgresCursor::checkTime()
{
    m_rowsToCheck = 256;
    if (cancelAsked())
        interrupt(WaitEnd::Cancelled);
    if (Clock::now() > m_deadline)
        interrupt(WaitEnd::Late);
}

bool PostgresCursor::next()
{
    busy::tick();
    if (--m_rowsToCheck <= 0)
        checkTime();
    if (m_fromCursor) {
        if (m_batch && ++m_index < m_count) {
            m_row.point(m_batch.get(), m_index);
            return true;
        }
        m_batch.reset();
        m_shaped.clear();
        m_shapedEnds.clear();
        const bool more = m_reader && !m_done && takeQueuedBatch();
        m_row.point(m_batch.get(), m_index);
        return more;
    }
    m_batch.reset();
    if (m_done)
        return false;
    Result result = nextResult();
    switch (PQresultStatus(result.get())) {
    case PGRES_SINGLE_TUPLE:
        m_batch = std::move(result);
        m_index = 0;
        m_count = 1;
        m_row.point(m_batch.get(), m_index);
        return true;
    case PGRES_TUPLES_OK:
        m_done = true;
        while (nextResult()) { }
        return false;
    default:
        failWith(result.get());
    }
}

QByteArray &PostgresRow::fixed(int column) const
{
    if (m_fixed.size() < m_kinds.size())
        m_fixed.resize(m_kinds.size());
    return m_fixed[size_t(column)];
}

qint64 PostgresRow::integer(int column) const
{
    const char *value = PQgetvalue(m_result, m_index, column);
    if (m_kinds[size_t(column)].fix == Fix::Boolean)
        return value[0] == 't' ? 1 : 0;
    qint64 result = 0;
    parseInt64(QByteArrayView(value, PQgetlength(m_result, m_index, column)), result);
    return result;
}

double PostgresRow::real(int column) const
{
    double result = 0;
    if (!parseDouble(QByteArrayView(PQgetvalue(m_result, m_index, column), PQgetlength(m_result, m_index, column)), result))
        return std::numeric_limits<double>::quiet_NaN();
    return result;
}

QByteArrayView PostgresRow::text(int column) const
{
    const char *value = PQgetvalue(m_result, m_index, column);
    const int length = PQgetlength(m_result, m_index, column);
    switch (m_kinds[size_t(column)].fix) {
    case Fix::None:
        return { value, length };
    case Fix::Boolean:
        return value[0] == 't' ? QByteArrayView("1") : QByteArrayView("0");
    case Fix::Money: {
        // "-$1,234.50" under lc_monetary C: the number alone.
        QByteArray &money = fixed(column);
        money.clear();
        for (int i = 0; i < length; ++i) {
            const char c = value[i];
            if ((c >= '0' && c <= '9') || c == '.' || c == '-')
                money += c;
        }
        return money;
    }
    case Fix::ZonedTime: {
        // "2008-03-05 10:00:00+01": the time as the session's zone tells it, without the offset.
        int end = length;
        while (end > 19 && value[end - 1] != '+' && value[end - 1] != '-')
            --end;
        return { value, end > 19 ? end - 1 : length };
    }
    case Fix::Bytes:
        return blob(column);
    }
    return { value, length };
}

QByteArrayView PostgresRow::blob(int column) const
{
    const char *value = PQgetvalue(m_result, m_index, column);
    const int length = PQgetlength(m_result, m_index, column);
    if (m_kinds[size_t(column)].fix != Fix::Bytes)
        return { value, length };
    QByteArray &bytes = fixed(column);
    // bytea_output 'hex', the default since PostgreSQL 9.0: "\x" and two digits a byte.
    if (length >= 2 && value[0] == '\\' && value[1] == 'x')
        bytes = QByteArray::fromHex(QByteArray::fromRawData(value + 2, length - 2));
    else
        bytes = QByteArray(value, length);
    return bytes;
}

} // namespace Brennvox10::data::postgres

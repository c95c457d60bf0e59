#include "Recordset.h"

#include "Cursor_p.h"
#include "sqlite/SqliteCursor_p.h"

#include <QDateTime>
#include <QMutex>

#include <atomic>
#include <cmath>

Q_LOGGING_CATEGORY(lcData, "brennvox.data")

namespace Brennvox10 {

namespace {

QBasicMutex observerMutex;

std::function<void(const QString &)> &queryObserver()
{
    static std::function<void(const QString &)> observer;
    return observer;
}

void notifyObserver(const QString &sql)
{
    std::function<void(const QString &)> observer;
    {
        QMutexLocker locker(&observerMutex);
        observer = queryObserver();
    }
    if (observer)
        observer(sql);
}

} // namespace

void setQueryObserver(std::function<void(const QString &sql)> observer)
{
    QMutexLocker locker(&observerMutex);
    queryObserver() = std::move(observer);
}

namespace data {

namespace {

const QString failureSource = QStringLiteral("Brennvox10.Recordset");

std::atomic<qint64> stepLimitMs { 120 * 1000 };

[[noreturn]] void throwMismatch()
{
    throw failureFor(FailureNumber::TypeMismatch, failureSource);
}

[[noreturn]] void throwNull()
{
    throw failureFor(FailureNumber::InvalidUseOfNull, failureSource);
}

// The cell readers are templates over the cursor type so that, for the final SQLite cursor, every
// call below is a direct (inlined) call into SQLite.
template <typename C> qint64 readInt64(const C &cursor, int column)
{
    switch (cursor.storage(column)) {
    case Storage::Integer:
        return cursor.integer(column);
    case Storage::Real: {
        const double real = cursor.real(column);
        if (std::trunc(real) == real && real >= -9.2e18 && real <= 9.2e18)
            return qint64(real);
        break;
    }
    case Storage::Text: {
        qint64 value = 0;
        if (parseInt64(cursor.text(column), value))
            return value;
        break;
    }
    case Storage::Null:
        throwNull();
    case Storage::Blob:
        break;
    }
    throwMismatch();
}

template <typename C> double readDouble(const C &cursor, int column)
{
    switch (cursor.storage(column)) {
    case Storage::Integer:
        return double(cursor.integer(column));
    case Storage::Real:
        return cursor.real(column);
    case Storage::Text: {
        double value = 0;
        if (parseDouble(cursor.text(column), value))
            return value;
        break;
    }
    case Storage::Null:
        throwNull();
    case Storage::Blob:
        break;
    }
    throwMismatch();
}

template <typename C> bool readBool(const C &cursor, int column)
{
    switch (cursor.storage(column)) {
    case Storage::Integer:
        return cursor.integer(column) != 0;
    case Storage::Real:
        return cursor.real(column) != 0;
    case Storage::Text: {
        bool value = false;
        if (parseBool(cursor.text(column), value))
            return value;
        break;
    }
    case Storage::Null:
        throwNull();
    case Storage::Blob:
        break;
    }
    throwMismatch();
}

template <typename C> DateTimeValue readDate(const C &cursor, int column)
{
    const Storage storage = cursor.storage(column);
    if (storage == Storage::Null)
        throwNull();
    DateTimeValue value;
    if (storage != Storage::Text || !parseIsoDateTime(cursor.text(column), value))
        throwMismatch();
    return value;
}

template <typename C> int typeOfValue(const C &cursor, int column, Storage storage)
{
    switch (storage) {
    case Storage::Integer:
        return adoTypeForInteger(cursor.integer(column));
    case Storage::Real:
        return AdoType::Double;
    case Storage::Blob:
        return AdoType::Binary;
    case Storage::Text:
    case Storage::Null:
        break;
    }
    return AdoType::Text;
}

template <typename C> QVariant readValue(const C &cursor, int column, int declaredType)
{
    const Storage storage = cursor.storage(column);
    if (storage == Storage::Null)
        return QVariant();
    const int type = declaredType ? declaredType : typeOfValue(cursor, column, storage);
    switch (type) {
    case AdoType::SmallInt:
    case AdoType::Integer:
    case AdoType::BigInt:
        return QVariant(qlonglong(readInt64(cursor, column)));
    case AdoType::Single:
    case AdoType::Double:
    case AdoType::Currency:
    case AdoType::Decimal:
        return QVariant(readDouble(cursor, column));
    case AdoType::Boolean:
        return QVariant(readBool(cursor, column));
    case AdoType::Date: {
        const DateTimeValue value = readDate(cursor, column);
        const QDate date = QDate::fromJulianDay(value.julianDay);
        if (!value.hasTime)
            return QVariant(date);
        return QVariant(QDateTime(date, QTime::fromMSecsSinceStartOfDay(value.msecs)));
    }
    case AdoType::Binary: {
        const QByteArrayView bytes = storage == Storage::Blob ? cursor.blob(column) : cursor.text(column);
        return QVariant(bytes.toByteArray());
    }
    default: {
        const QByteArrayView text = cursor.text(column);
        return QVariant(QString::fromUtf8(text.data(), text.size()));
    }
    }
}

} // namespace

void setStepTimeLimit(std::chrono::milliseconds limit)
{
    stepLimitMs.store(limit.count(), std::memory_order_relaxed);
}

std::chrono::milliseconds stepTimeLimit()
{
    return std::chrono::milliseconds(stepLimitMs.load(std::memory_order_relaxed));
}

std::unique_ptr<Cursor> openCursor(const ConnectionText &connection, const QString &sql)
{
    if (connection.provider() == u"sqlite")
        return sqlite::SqliteCursor::open(connection, sql);
    throw failureFor(FailureNumber::ProviderNotFound, failureSource);
}

class RecordsetPrivate {
public:
    // Runs f on the cursor of the current row: the SQLite cursor by its final type, so its inline
    // readers are called without a virtual dispatch per cell.
    template <typename F> decltype(auto) onRow(F &&f) const
    {
        if (Q_UNLIKELY(!atRow))
            throwNoCurrentRow();
        if (Q_LIKELY(sqliteCursor))
            return f(*sqliteCursor);
        return f(*cursor);
    }

    [[noreturn]] void throwNoCurrentRow() const
    {
        if (!cursor)
            throwClosed();
        throw Failure(3021,
            QStringLiteral("Either BOF or EOF is True, or the current record has been deleted. "
                           "Requested operation requires a current record."),
            failureSource);
    }

    [[noreturn]] static void throwClosed()
    {
        throw Failure(
            3704, QStringLiteral("Operation is not allowed when the object is closed."), failureSource);
    }

    void close()
    {
        atRow = false;
        sqliteCursor = nullptr;
        cursor.reset();
    }

    std::unique_ptr<Cursor> cursor; // null while closed
    sqlite::SqliteCursor *sqliteCursor = nullptr;
    bool atRow = false;
    int cursorLocation = 2;
    // Kept after Close so that references to fields stay valid until the next Open.
    std::vector<ColumnInfo> columns;
    std::vector<Field> fields;

    void adopt(std::unique_ptr<Cursor> opened, bool hasRow)
    {
        columns = std::move(opened->columns);
        fields.assign(columns.size(), Field());
        for (size_t i = 0; i < fields.size(); ++i) {
            fields[i].d = this;
            fields[i].column = int(i);
        }
        sqliteCursor = opened->kind == Cursor::Kind::Sqlite
            ? static_cast<sqlite::SqliteCursor *>(opened.get())
            : nullptr;
        cursor = std::move(opened);
        atRow = hasRow;
    }
};

QString Field::Name() const
{
    return d->columns[column].name;
}

int Field::Type() const
{
    if (const int declared = d->columns[column].declaredType)
        return declared;
    if (!d->cursor)
        RecordsetPrivate::throwClosed();
    if (!d->atRow)
        return AdoType::Text;
    return d->onRow(
        [this](const auto &cursor) { return typeOfValue(cursor, column, cursor.storage(column)); });
}

QVariant Field::Value() const
{
    return d->onRow(
        [this](const auto &cursor) { return readValue(cursor, column, d->columns[column].declaredType); });
}

Storage Field::storage() const
{
    return d->onRow([this](const auto &cursor) { return cursor.storage(column); });
}

bool Field::isNull() const
{
    return storage() == Storage::Null;
}

qint64 Field::asInt64() const
{
    return d->onRow([this](const auto &cursor) { return readInt64(cursor, column); });
}

double Field::asDouble() const
{
    return d->onRow([this](const auto &cursor) { return readDouble(cursor, column); });
}

bool Field::asBool() const
{
    return d->onRow([this](const auto &cursor) { return readBool(cursor, column); });
}

DateTimeValue Field::asDate() const
{
    return d->onRow([this](const auto &cursor) { return readDate(cursor, column); });
}

QByteArrayView Field::utf8() const
{
    return d->onRow([this](const auto &cursor) { return cursor.text(column); });
}

Recordset::Recordset()
    : d(std::make_unique<RecordsetPrivate>())
{
}

Recordset::~Recordset() = default;

void Recordset::setCursorLocation(int location)
{
    d->cursorLocation = location;
}

int Recordset::CursorLocation() const
{
    return d->cursorLocation;
}

void Recordset::Open(const QString &source, const QString &connection, int, int, int)
{
    if (d->cursor)
        throw Failure(
            3705, QStringLiteral("Operation is not allowed when the object is open."), failureSource);
    notifyObserver(source);
    std::unique_ptr<Cursor> cursor = openCursor(ConnectionText::parse(connection), source);
    const bool hasRow = cursor->next();
    d->adopt(std::move(cursor), hasRow);
}

bool Recordset::Eof() const
{
    return !d->atRow;
}

void Recordset::MoveNext()
{
    if (!d->atRow)
        d->throwNoCurrentRow();
    // A row that cannot be read leaves the recordset open at its end.
    d->atRow = false;
    d->atRow = d->sqliteCursor ? d->sqliteCursor->next() : d->cursor->next();
}

int Recordset::State() const
{
    return d->cursor ? 1 : 0;
}

void Recordset::Close()
{
    d->close();
}

int Recordset::fieldCount() const
{
    return d->cursor ? int(d->fields.size()) : 0;
}

Field &Recordset::Fields(int index)
{
    if (!d->cursor)
        RecordsetPrivate::throwClosed();
    if (index < 0 || size_t(index) >= d->fields.size())
        throw failureFor(FailureNumber::ItemNotFoundInCollection, failureSource);
    return d->fields[size_t(index)];
}

Field &Recordset::Fields(const QString &name)
{
    if (!d->cursor)
        RecordsetPrivate::throwClosed();
    const int index = fieldIndex(name);
    if (index < 0)
        throw failureFor(FailureNumber::ItemNotFoundInCollection, failureSource);
    return d->fields[size_t(index)];
}

int Recordset::fieldIndex(const QString &name) const
{
    if (!d->cursor)
        return -1;
    for (size_t i = 0; i < d->columns.size(); ++i) {
        if (d->columns[i].name.compare(name, Qt::CaseInsensitive) == 0)
            return int(i);
    }
    return -1;
}

} // namespace data
} // namespace Brennvox10

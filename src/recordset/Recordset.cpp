// SPDX-License-Identifier: MIT
#include "recordset/Recordset.h"

#include "recordset/Providers.h"
#include "sql/cursor/ReadAhead.h"

#include <QDateTime>

#include <cmath>

namespace Brennvox10::data {

namespace {

const QString failureSource = QStringLiteral("Brennvox10.Recordset");

[[noreturn]] void fail(qint32 number)
{
    throw failureFor(number, failureSource);
}

// A stored value as a T, or false when it is no such value (a fraction read as a whole number).
bool convert(qint64 stored, qint64 &value)
{
    value = stored;
    return true;
}
bool convert(double stored, qint64 &value)
{
    value = qint64(stored);
    return std::trunc(stored) == stored && stored >= -9.2e18 && stored <= 9.2e18;
}
bool convert(QByteArrayView text, qint64 &value)
{
    return parseInt64(text, value);
}
bool convert(qint64 stored, double &value)
{
    value = double(stored);
    return true;
}
bool convert(double stored, double &value)
{
    value = stored;
    return true;
}
bool convert(QByteArrayView text, double &value)
{
    return parseDouble(text, value);
}
bool convert(qint64 stored, bool &value)
{
    value = stored != 0;
    return true;
}
bool convert(double stored, bool &value)
{
    value = stored != 0;
    return true;
}
bool convert(QByteArrayView text, bool &value)
{
    return parseBool(text, value);
}
// Dates are stored as ISO-8601 text only.
bool convert(qint64, DateTimeValue &)
{
    return false;
}
bool convert(double, DateTimeValue &)
{
    return false;
}
bool convert(QByteArrayView text, DateTimeValue &value)
{
    return parseIsoDateTime(text, value);
}

// Every typed read of a cell: Null is Failure 94, a value that is not a T Failure 13.
template <typename T> T read(const Cursor &cursor, int column, Storage storage)
{
    T value {};
    bool ok = false;
    switch (storage) {
    case Storage::Integer:
        ok = convert(cursor.integer(column), value);
        break;
    case Storage::Real:
        ok = convert(cursor.real(column), value);
        break;
    case Storage::Text:
        ok = convert(cursor.text(column), value);
        break;
    case Storage::Null:
        fail(FailureNumber::InvalidUseOfNull);
    case Storage::Blob:
        break;
    }
    if (!ok)
        fail(FailureNumber::TypeMismatch);
    return value;
}

template <typename T> T read(const Cursor &cursor, int column)
{
    return read<T>(cursor, column, cursor.storage(column));
}

int typeOfValue(const Cursor &cursor, int column, Storage storage)
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

QVariant readValue(const Cursor &cursor, int column, int declaredType)
{
    const Storage storage = cursor.storage(column);
    if (storage == Storage::Null)
        return QVariant();
    const int type = declaredType ? declaredType : typeOfValue(cursor, column, storage);
    switch (type) {
    case AdoType::SmallInt:
    case AdoType::Integer:
    case AdoType::BigInt:
        return QVariant(qlonglong(read<qint64>(cursor, column)));
    case AdoType::Single:
    case AdoType::Double:
    case AdoType::Currency:
    case AdoType::Decimal:
        return QVariant(read<double>(cursor, column));
    case AdoType::Boolean:
        return QVariant(read<bool>(cursor, column));
    case AdoType::Date: {
        const DateTimeValue value = read<DateTimeValue>(cursor, column);
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

class RecordsetPrivate {
public:
    // The cursor standing on the current row.
    const Cursor &row() const
    {
        if (Q_UNLIKELY(!atRow))
            throwNoCurrentRow();
        return *cursor;
    }

    [[noreturn]] void throwNoCurrentRow() const
    {
        if (!cursor)
            throwClosed();
        fail(FailureNumber::NoCurrentRecord);
    }

    [[noreturn]] static void throwClosed() { fail(FailureNumber::ObjectClosed); }

    std::unique_ptr<Cursor> cursor; // null while closed
    bool atRow = false;
    qint64 rowsLeft = -1; // rows that may still be read after the current one; -1 for any number
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
        cursor = std::move(opened);
        atRow = hasRow;
    }
};

FieldView::FieldView(const Cursor &row, int column, int declaredType)
    : m_row(&row)
    , m_column(column)
    , m_declaredType(declaredType)
    , m_storage(row.storage(column))
{
}

int FieldView::Type() const
{
    return m_declaredType ? m_declaredType : typeOfValue(*m_row, m_column, m_storage);
}

qint64 FieldView::asInt64() const
{
    return read<qint64>(*m_row, m_column, m_storage);
}

double FieldView::asDouble() const
{
    return read<double>(*m_row, m_column, m_storage);
}

bool FieldView::asBool() const
{
    return read<bool>(*m_row, m_column, m_storage);
}

DateTimeValue FieldView::asDate() const
{
    return read<DateTimeValue>(*m_row, m_column, m_storage);
}

QByteArrayView FieldView::utf8() const
{
    return m_row->text(m_column);
}

FieldView Field::view() const
{
    return FieldView(d->row(), column, d->columns[column].declaredType);
}

int Field::Type() const
{
    if (const int declared = d->columns[column].declaredType)
        return declared;
    if (!d->cursor)
        RecordsetPrivate::throwClosed();
    if (!d->atRow)
        return AdoType::Text;
    return typeOfValue(*d->cursor, column, d->cursor->storage(column));
}

QVariant Field::Value() const
{
    return readValue(d->row(), column, d->columns[column].declaredType);
}

Storage Field::storage() const
{
    return view().storage();
}

bool Field::isNull() const
{
    return storage() == Storage::Null;
}

qint64 Field::asInt64() const
{
    return view().asInt64();
}

double Field::asDouble() const
{
    return view().asDouble();
}

bool Field::asBool() const
{
    return view().asBool();
}

DateTimeValue Field::asDate() const
{
    return view().asDate();
}

QByteArrayView Field::utf8() const
{
    return view().utf8();
}

Recordset::Recordset()
    : d(std::make_unique<RecordsetPrivate>())
{
}

Recordset::~Recordset() = default;

void Recordset::Open(const QString &source, const QString &connection, int, int, int)
{
    if (d->cursor)
        fail(FailureNumber::ObjectOpen);
    notifyObserver(source);
    std::unique_ptr<Cursor> cursor = openCursor(ConnectionText::parse(connection), source);
    if (m_readAhead) {
        RowShaper shaper = m_shaperFactory ? m_shaperFactory(cursor->columns) : RowShaper();
        if (!cursor->readAheadOwn(m_maxRecords, shaper))
            cursor = readAhead(std::move(cursor), m_maxRecords, std::move(shaper));
    }
    const bool hasRow = m_maxRecords != 0 && cursor->next();
    d->adopt(std::move(cursor), hasRow);
    d->rowsLeft = m_maxRecords < 0 ? -1 : m_maxRecords - 1;
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
    if (d->rowsLeft == 0)
        return;
    if (d->rowsLeft > 0)
        --d->rowsLeft;
    d->atRow = d->cursor->next();
}

int Recordset::State() const
{
    return d->cursor ? 1 : 0;
}

void Recordset::Close()
{
    d->atRow = false;
    d->cursor.reset();
}

Field &Recordset::Fields(int index)
{
    if (!d->cursor)
        RecordsetPrivate::throwClosed();
    if (index < 0 || size_t(index) >= d->fields.size())
        fail(FailureNumber::ItemNotFoundInCollection);
    return d->fields[size_t(index)];
}

Field &Recordset::Fields(const QString &name)
{
    if (!d->cursor)
        RecordsetPrivate::throwClosed();
    const int index = fieldIndex(name);
    if (index < 0)
        fail(FailureNumber::ItemNotFoundInCollection);
    return d->fields[size_t(index)];
}

bool Recordset::shapeCurrent(const RowShaper &shaper, std::vector<char> &out) const
{
    return d->atRow && shaper && shapeRow(shaper, *d->cursor, out);
}

const std::vector<ColumnInfo> &Recordset::columns() const
{
    return d->columns;
}

QByteArrayView Recordset::shaped(int ahead) const
{
    return d->atRow ? d->cursor->shaped(ahead) : QByteArrayView();
}

int Recordset::fieldIndex(const QString &name) const
{
    return d->cursor ? fieldIndex(d->columns, name) : -1;
}

int Recordset::fieldIndex(const std::vector<ColumnInfo> &columns, const QString &name)
{
    for (size_t i = 0; i < columns.size(); ++i) {
        if (columns[i].name.compare(name, Qt::CaseInsensitive) == 0)
            return int(i);
    }
    return -1;
}

} // namespace Brennvox10::data

// SPDX-License-Identifier: MIT
#pragma once
// Read-only recordsets over the providers named by a connection text's Provider= key.
// Every text is one statement, run read-only; a rejected text, a database that cannot be opened or
// a value that cannot be read as its field's type is a Failure. Nothing here ever writes.

#include <Brennvox10/Failure.h>
#include <Brennvox10/QueryObserver.h>

#include "sql/cursor/ConnectionText.h"
#include "sql/cursor/Cursor.h"
#include "sql/cursor/Values.h"

#include <QByteArrayView>
#include <QString>
#include <QVariant>

#include <functional>
#include <memory>
#include <vector>

namespace Brennvox10::data {

class RecordsetPrivate;

// A field of a row as a bulk reader sees it, on whichever thread has the row: the same readings as
// Field's, with the same failures.
class FieldView {
public:
    // Reads the cell's storage once: a view lasts no longer than its row.
    FieldView(const Cursor &row, int column, int declaredType);
    int Type() const;
    Storage storage() const { return m_storage; }
    bool isNull() const { return m_storage == Storage::Null; }
    qint64 asInt64() const;
    double asDouble() const;
    bool asBool() const;
    DateTimeValue asDate() const;
    QByteArrayView utf8() const;

private:
    const Cursor *m_row;
    int m_column;
    int m_declaredType;
    Storage m_storage;
};

class Field {
public:
    // The ADO type code of the field: from the declared column type where there is one (see the
    // mapping in the provider), otherwise from the current value's storage class.
    int Type() const;
    // The current row's value: QVariant() for Null; qlonglong, double, QString, bool, QByteArray,
    // QDate or QDateTime by Type. A value that cannot be read as its type is Failure 13.
    QVariant Value() const;

    // Fast access for bulk readers: no allocation, valid until the next MoveNext.
    Storage storage() const;
    bool isNull() const;
    qint64 asInt64() const; // Failure 13 when the value is not a whole number
    double asDouble() const; // Failure 13 when the value is not a number
    bool asBool() const; // Failure 13 when the value is not a number or true/false
    DateTimeValue asDate() const; // ISO-8601 text; Failure 13 otherwise
    QByteArrayView utf8() const; // the value's text as the database gives it
    // The current row's field; failing as every reading does when there is no current row.
    FieldView view() const;

private:
    friend class RecordsetPrivate;
    RecordsetPrivate *d = nullptr;
    int column = 0;
};

class Recordset {
public:
    Recordset();
    ~Recordset(); // closes
    Recordset(const Recordset &) = delete;
    Recordset &operator=(const Recordset &) = delete;

    // 2 server, 3 client: both read forward here, so the choice changes nothing.
    void setCursorLocation(int) { }
    // For the next Open: no more than this many rows are read (a negative number for all), and
    // with readAhead the rows are read on a thread of their own while the caller takes them. What
    // the caller sees, rows, end and Failures in their order, is the same either way.
    void setMaxRecords(qint64 rows) { m_maxRecords = rows; }
    void setReadAhead(bool on) { m_readAhead = on; }
    // For the next Open with read-ahead: makes, from the statement's columns, a shaper that runs on
    // the reader thread for each row (see RowShaper); shaped() then gives its bytes.
    using ShaperFactory = std::function<RowShaper(const std::vector<ColumnInfo> &columns)>;
    void setRowShaper(ShaperFactory factory) { m_shaperFactory = std::move(factory); }

    // Opens the provider named by the connection text, runs source and positions on the first row.
    // The query observer sees source first. Failure on an unknown provider, a database that cannot
    // be opened, a text that is not exactly one read-only statement, or a SQL error.
    void Open(const QString &source, const QString &connection, int cursorType = 3, int lockType = 3,
        int options = -1);
    // Named Eof because EOF is a macro of the C library.
    bool Eof() const;
    // Failure when reading the next row fails.
    void MoveNext();
    int State() const; // 0 closed, 1 open
    void Close();

    // By position (0-based) or by name (case-insensitive); Failure 3265 when there is no such field.
    Field &Fields(int index);
    Field &Fields(const QString &name);
    int fieldIndex(const QString &name) const; // -1 when missing
    static int fieldIndex(const std::vector<ColumnInfo> &columns, const QString &name);
    // Runs a shaper made by the factory over the current row, here, for a row the reader thread left
    // unshaped; false when it left nothing or failed.
    bool shapeCurrent(const RowShaper &shaper, std::vector<char> &out) const;
    // The columns of the statement, for a shaper made here.
    const std::vector<ColumnInfo> &columns() const;
    // The shaper's bytes for the row `ahead` rows further on (0: the current one), when the rows
    // read ahead hold it; empty otherwise.
    QByteArrayView shaped(int ahead = 0) const;

private:
    std::unique_ptr<RecordsetPrivate> d;
    qint64 m_maxRecords = -1;
    bool m_readAhead = false;
    ShaperFactory m_shaperFactory;
};

} // namespace Brennvox10::data

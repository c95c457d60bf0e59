// SPDX-License-Identifier: MIT
#pragma once
// One Jet cell as the in-memory image holds it, made from the bytes the file stores rather than from
// mdbtools' text form, so that every value reads back as Jet itself shows it: a Single holding 0.15
// is 0.15, not 0.150000006; a date keeps its time of day; Currency keeps its four decimals.

#include <QByteArrayView>
#include <QtGlobal>

struct sqlite3_stmt;

namespace Brennvox10::data::jet {

class JetValue {
public:
    enum class Kind : quint8 { Null, Integer, Real, Text, Blob };

    Kind kind = Kind::Null;
    qint64 integer = 0;
    double real = 0;

    // Text (UTF-8) and Blob: a view of the bytes given, or of a text made here (a date).
    QByteArrayView bytes() const { return m_madeSize ? QByteArrayView(m_made, m_madeSize) : m_view; }

    static JetValue null() { return {}; }
    static JetValue ofInteger(qint64 value);
    static JetValue ofReal(double value);
    static JetValue ofText(QByteArrayView utf8) { return ofBytes(Kind::Text, utf8); }
    static JetValue ofBlob(QByteArrayView data) { return ofBytes(Kind::Blob, data); }
    // A text of at most sizeof m_made bytes, kept inside the value.
    static JetValue ofMadeText(const char *text, qsizetype size);

private:
    JetValue() = default;
    explicit JetValue(Kind k) : kind(k) { }
    static JetValue ofBytes(Kind kind, QByteArrayView bytes);

    QByteArrayView m_view;
    char m_made[32] = {};
    qsizetype m_madeSize = 0;
};

// The SQLite declared type that gives a Jet type its field type (one of mdbtools' MDB_* codes).
const char *declaredType(int jetType);

// Whether jetValue takes mdbtools' UTF-8 text for a column of jetType rather than the stored bytes.
bool readsText(int jetType);

// The value of one cell of a column of jetType. raw is what the file stores, little-endian: one to
// eight bytes for Byte, Integer, Long Integer, Single, Double, DateTime and Currency, seventeen for
// Decimal (a sign byte, then four 32-bit words, most significant first), one byte 0 or 1 for Boolean
// (which Jet keeps in the row's null mask); for Text, Memo and replication ids mdbtools' UTF-8 text;
// for OLE objects and binary columns the bytes. scale counts a Decimal's digits after the point.
// Empty raw bytes are Null (mdbtools gives no bytes for an empty text either).
JetValue jetValue(int jetType, QByteArrayView raw, int scale);

// Binds value as parameter at (1-based) of statement, copying any bytes.
int bindJetValue(sqlite3_stmt *statement, int at, const JetValue &value);

} // namespace Brennvox10::data::jet

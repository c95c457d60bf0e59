// SPDX-License-Identifier: MIT
// What a Jet cell becomes in the in-memory image, read back from an SQLite column of the type the
// image declares for it: the values whose text forms go wrong come out as Jet shows them.

#include "providers/jet/JetValue.h"
#include "support/Rows.h"

#include <QTest>
#include <QtEndian>

#include <bit>
#include <charconv>
#include <cmath>
#include <limits>

#include <mdbtools.h>
#include <sqlite3.h>

using namespace Brennvox10::data::jet;

namespace {

template <typename T> QByteArray stored(T value)
{
    QByteArray bytes(sizeof value, Qt::Uninitialized);
    qToLittleEndian(value, bytes.data());
    return bytes;
}
QByteArray single(float value)
{
    return stored(std::bit_cast<quint32>(value));
}
QByteArray real(double value)
{
    return stored(std::bit_cast<quint64>(value));
}
// A Decimal as Jet stores it: the sign byte, then four 32-bit words, most significant first.
QByteArray decimal(bool negative, quint32 w0, quint32 w1, quint32 w2, quint32 w3)
{
    return QByteArray(1, negative ? char(0x80) : char(0)) + stored(w0) + stored(w1) + stored(w2) + stored(w3);
}

// The value SQLite holds after value is bound into a column of the declared type: its storage
// class, then the value (a real in its shortest round-trip form).
QString readBack(const char *declared, const JetValue &value)
{
    sqlite3 *db = nullptr;
    sqlite3_open_v2(":memory:", &db, SQLITE_OPEN_READWRITE, nullptr);
    sqlite3_exec(db, QByteArray("create table t (v ").append(declared).append(")").constData(), nullptr,
        nullptr, nullptr);
    sqlite3_stmt *statement = nullptr;
    sqlite3_prepare_v2(db, "insert into t values (?)", -1, &statement, nullptr);
    bindJetValue(statement, 1, value);
    sqlite3_step(statement);
    sqlite3_finalize(statement);
    sqlite3_prepare_v2(db, "select v from t", -1, &statement, nullptr);
    QString out = QStringLiteral("none");
    if (sqlite3_step(statement) == SQLITE_ROW) {
        switch (sqlite3_column_type(statement, 0)) {
        case SQLITE_INTEGER:
            out = QStringLiteral("integer %1").arg(sqlite3_column_int64(statement, 0));
            break;
        case SQLITE_FLOAT: {
            // Fixed over the range the list shows so, scientific beyond.
            const double value = sqlite3_column_double(statement, 0);
            const bool fixed = value == 0 || (std::fabs(value) >= 1e-5 && std::fabs(value) < 1e15);
            char text[400];
            const auto end = std::to_chars(text, text + sizeof text, value,
                fixed ? std::chars_format::fixed : std::chars_format::scientific)
                                 .ptr;
            out = QStringLiteral("real ") + QLatin1String(text, end - text);
            break;
        }
        case SQLITE_TEXT:
            out = QStringLiteral("text ")
                + QString::fromUtf8(reinterpret_cast<const char *>(sqlite3_column_text(statement, 0)));
            break;
        case SQLITE_BLOB:
            out = QStringLiteral("blob ")
                + QString::fromLatin1(QByteArray(static_cast<const char *>(sqlite3_column_blob(statement, 0)),
                    sqlite3_column_bytes(statement, 0))
                                          .toHex());
            break;
        default:
            out = QStringLiteral("null");
        }
    }
    sqlite3_finalize(statement);
    sqlite3_close(db);
    return out;
}

} // namespace

class tst_JetValue : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void cellsAsJetShowsThem_data()
    {
        columns<int, QByteArray, int, QString>("type", "raw", "scale", "image");
        const auto row
            = [](const char *name, int type, const QByteArray &raw, const char *image, int scale = 0) {
                  QTest::newRow(name) << type << raw << scale << QString::fromUtf8(image);
              };
        row("Single 0.15", MDB_FLOAT, single(0.15f), "real 0.15");
        row("Single 1e-7", MDB_FLOAT, single(1e-7f), "real 1e-07");
        row("Single 16777217, which a float holds as 16777216", MDB_FLOAT, single(16777217.0f),
            "integer 16777216");
        row("Single -0", MDB_FLOAT, single(-0.0f), "integer 0");
        row("Single 123456.7", MDB_FLOAT, single(123456.7f), "real 123456.7");
        row("Double 444.555", MDB_DOUBLE, real(444.555), "real 444.555");
        row("Double 0.1 + 0.2 keeps its last digit", MDB_DOUBLE, real(0.1 + 0.2), "real 0.30000000000000004");
        row("Double -0", MDB_DOUBLE, real(-0.0), "real 0");
        row("Currency 3.5", MDB_MONEY, stored(qint64(35000)), "real 3.5");
        row("Currency 0.0001", MDB_MONEY, stored(qint64(1)), "real 0.0001");
        row("Currency whole", MDB_MONEY, stored(qint64(-1230000)), "integer -123");
        row("Currency of 15 digits, exact", MDB_MONEY, stored(qint64(123456789012345)),
            "real 12345678901.2345");
        row("Currency largest, the double nearest", MDB_MONEY, stored(std::numeric_limits<qint64>::max()),
            "real 922337203685477.6");
        row("Currency smallest, the double nearest", MDB_MONEY, stored(std::numeric_limits<qint64>::min()),
            "real -922337203685477.6");
        row("Currency largest whole", MDB_MONEY, stored(qint64(9223372036854770000)),
            "integer 922337203685477");
        row("DateTime a date alone", MDB_DATETIME, real(27293), "text 1974-09-21");
        row("DateTime with its time of day", MDB_DATETIME, real(27293.4375), "text 1974-09-21 10:30:00");
        row("DateTime 30 December 1899", MDB_DATETIME, real(0), "text 1899-12-30");
        row("DateTime a time alone is on day 0", MDB_DATETIME, real(0.75), "text 1899-12-30 18:00:00");
        row("DateTime before day 0, the fraction still the time", MDB_DATETIME, real(-1.25),
            "text 1899-12-29 06:00:00");
        row("DateTime a hair before midnight is the next day", MDB_DATETIME, real(27293.999999999),
            "text 1974-09-22");
        row("DateTime 1 January 100", MDB_DATETIME, real(-657434), "text 0100-01-01");
        row("DateTime past 9999 stays a number", MDB_DATETIME, real(3e6), "integer 3000000");
        row("Decimal 12.34", MDB_NUMERIC, decimal(false, 0, 0, 0, 1234), "real 12.34", 2);
        row("Decimal -12.34", MDB_NUMERIC, decimal(true, 0, 0, 0, 1234), "real -12.34", 2);
        row("Decimal whole", MDB_NUMERIC, decimal(true, 0, 0, 0, 500), "integer -5", 2);
        row("Decimal across words: 5 * 2^32 + 7", MDB_NUMERIC, decimal(false, 0, 0, 5, 7),
            "integer 21474836487");
        row("Decimal whole past 64 bits: the double nearest", MDB_NUMERIC, decimal(false, 0, 5, 0, 0),
            "real 9.223372036854776e+19");
        row("Byte 255", MDB_BYTE, QByteArray(1, char(0xff)), "integer 255");
        row("Integer -2", MDB_INT, stored(qint16(-2)), "integer -2");
        row("Long Integer -333333333", MDB_LONGINT, stored(qint32(-333333333)), "integer -333333333");
        row("Boolean true", MDB_BOOL, QByteArray(1, char(1)), "integer 1");
        row("Boolean false", MDB_BOOL, QByteArray(1, char(0)), "integer 0");
        row("Text", MDB_TEXT, QByteArray("año 3.50"), "text año 3.50");
        row("Text empty is Null", MDB_TEXT, QByteArray(), "null");
        row("Double Null", MDB_DOUBLE, QByteArray(), "null");
        row("Double cut short is Null", MDB_DOUBLE, stored(quint32(1)), "null");
        row("Binary with a zero byte", MDB_BINARY, QByteArray("a\0b", 3), "blob 610062");
    }
    void cellsAsJetShowsThem()
    {
        const auto [type, raw, scale] = fetch<int, QByteArray, int>("type", "raw", "scale");
        QTEST(readBack(declaredType(type), jetValue(type, raw, scale)), "image");
    }

    // A date's text is made inside the value: a copy of it still reads as that date.
    void madeTextSurvivesCopies()
    {
        JetValue value = jetValue(MDB_DATETIME, real(27293.5), 0);
        const JetValue copy = value;
        value = jetValue(MDB_DATETIME, real(0), 0);
        QCOMPARE(copy.bytes().toByteArray(), QByteArray("1974-09-21 12:00:00"));
    }
};

QTEST_GUILESS_MAIN(tst_JetValue)
#include "tst_jetvalue.moc"

// SPDX-License-Identifier: MIT
#include "providers/jet/JetValue.h"

#include <QDate>
#include <QtEndian>

#include <bit>
#include <charconv>
#include <cmath>
#include <cstring>
#include <limits>

#include <mdbtools.h>
#include <sqlite3.h>

namespace Brennvox10::data::jet {

namespace {

// A Decimal's four words, and the power of ten that scales it.
using Wide = unsigned __int128;

// 30 December 1899, Jet's day 0, and the first and last days a Jet date may hold.
constexpr qint64 jetEpoch = 2415019;
constexpr qint64 firstDay = -657434; // 1 January 100
constexpr qint64 lastDay = 2958465; // 31 December 9999
constexpr qint64 secondsPerDay = 86400;

// The bytes each fixed-size type stores; 0 for the types read as text or bytes.
qsizetype storedSize(int jetType)
{
    switch (jetType) {
    case MDB_BOOL:
    case MDB_BYTE:
        return 1;
    case MDB_INT:
        return 2;
    case MDB_LONGINT:
    case MDB_FLOAT:
        return 4;
    case MDB_DOUBLE:
    case MDB_DATETIME:
    case MDB_MONEY:
        return 8;
    case MDB_NUMERIC:
        return 17;
    default:
        return 0;
    }
}

template <typename T> T little(QByteArrayView raw)
{
    return qFromLittleEndian<T>(raw.data());
}

// Writes value with at least width digits; returns the end.
char *digits(char *out, Wide value, int width)
{
    char reversed[40];
    int n = 0;
    do {
        reversed[n++] = char('0' + int(value % 10));
        value /= 10;
    } while (value != 0);
    while (n < width)
        reversed[n++] = '0';
    while (n > 0)
        *out++ = reversed[--n];
    return out;
}

// The double nearest to the exact decimal sign·magnitude·10^-scale, read from its decimal text so
// that it is correctly rounded: every value of up to 15 significant digits reads back as itself.
double decimalToDouble(bool negative, Wide magnitude, int scale)
{
    char text[48];
    char *end = text;
    if (negative)
        *end++ = '-';
    end = digits(end, magnitude, scale + 1);
    if (scale > 0) {
        std::memmove(end - scale + 1, end - scale, size_t(scale));
        end[-scale] = '.';
        ++end;
    }
    double value = 0;
    std::from_chars(text, end, value);
    return value;
}

// A whole sign·magnitude when it fits in 64 bits.
bool wholeValue(bool negative, Wide magnitude, qint64 &value)
{
    constexpr auto top = Wide(std::numeric_limits<qint64>::max());
    if (magnitude <= top) {
        value = negative ? -qint64(magnitude) : qint64(magnitude);
        return true;
    }
    if (negative && magnitude == top + 1) {
        value = std::numeric_limits<qint64>::min();
        return true;
    }
    return false;
}

// An exact decimal: whole numbers as integers (exact to 64 bits), others as the nearest double.
JetValue decimal(bool negative, Wide magnitude, int scale)
{
    Wide unit = 1;
    for (int i = 0; i < scale; ++i)
        unit *= 10;
    qint64 whole = 0;
    if (magnitude % unit == 0 && wholeValue(negative, magnitude / unit, whole))
        return JetValue::ofInteger(whole);
    return JetValue::ofReal(decimalToDouble(negative, magnitude, scale));
}

JetValue currency(qint64 tenThousandths)
{
    const bool negative = tenThousandths < 0;
    // Through unsigned arithmetic: the smallest amount has no positive counterpart.
    const quint64 magnitude = negative ? quint64(0) - quint64(tenThousandths) : quint64(tenThousandths);
    return decimal(negative, magnitude, 4);
}

JetValue numeric(QByteArrayView raw, int scale)
{
    Wide magnitude = 0;
    for (int word = 0; word < 4; ++word)
        magnitude = (magnitude << 32) | little<quint32>(raw.sliced(1 + 4 * word));
    // Jet's Decimal holds at most 28 digits after the point; anything else is a damaged column.
    return decimal((raw[0] & 0x80) != 0, magnitude, scale >= 0 && scale <= 28 ? scale : 0);
}

// The shortest decimal that reads back as the same float, as Jet shows a Single, held as the
// double that decimal names.
JetValue single(float value)
{
    char text[32];
    const auto written = std::to_chars(text, text + sizeof text, value);
    double shown = value;
    std::from_chars(text, written.ptr, shown);
    return JetValue::ofReal(shown);
}

// Days since 30 December 1899: the whole number is the day (counted back before it), the fraction's
// magnitude the time of day, to the second as Jet shows it. A whole day is a date alone, as ISO
// text, the form every date of the image takes. A value past Jet's calendar stays a number.
JetValue dateTime(double days)
{
    if (!(days > double(firstDay) - 1 && days < double(lastDay) + 1))
        return JetValue::ofReal(days);
    const double whole = std::trunc(days);
    qint64 day = qint64(whole);
    qint64 seconds = std::llround(std::fabs(days - whole) * double(secondsPerDay));
    if (seconds >= secondsPerDay) {
        ++day;
        seconds -= secondsPerDay;
    }
    if (day < firstDay || day > lastDay)
        return JetValue::ofReal(days);
    int year = 0, month = 0, dayOfMonth = 0;
    QDate::fromJulianDay(jetEpoch + day).getDate(&year, &month, &dayOfMonth);
    char text[20];
    char *end = digits(text, unsigned(year), 4);
    *end++ = '-';
    end = digits(end, unsigned(month), 2);
    *end++ = '-';
    end = digits(end, unsigned(dayOfMonth), 2);
    if (seconds != 0) {
        *end++ = ' ';
        end = digits(end, unsigned(seconds / 3600), 2);
        *end++ = ':';
        end = digits(end, unsigned(seconds / 60 % 60), 2);
        *end++ = ':';
        end = digits(end, unsigned(seconds % 60), 2);
    }
    return JetValue::ofMadeText(text, end - text);
}

} // namespace

JetValue JetValue::ofInteger(qint64 value)
{
    JetValue v(Kind::Integer);
    v.integer = value;
    return v;
}

JetValue JetValue::ofReal(double value)
{
    JetValue v(Kind::Real);
    v.real = value;
    return v;
}

JetValue JetValue::ofBytes(Kind kind, QByteArrayView bytes)
{
    JetValue v(kind);
    v.m_view = bytes;
    return v;
}

JetValue JetValue::ofMadeText(const char *text, qsizetype size)
{
    JetValue v;
    v.kind = Kind::Text;
    v.m_madeSize = std::min(size, qsizetype(sizeof v.m_made));
    std::memcpy(v.m_made, text, size_t(v.m_madeSize));
    return v;
}

const char *declaredType(int jetType)
{
    switch (jetType) {
    case MDB_BOOL:
        return "BOOLEAN";
    case MDB_BYTE:
        return "BYTE";
    case MDB_INT:
        return "SMALLINT";
    case MDB_LONGINT:
        return "INTEGER";
    case MDB_MONEY:
        return "CURRENCY";
    case MDB_FLOAT:
        return "SINGLE";
    case MDB_DOUBLE:
        return "DOUBLE";
    case MDB_DATETIME:
        return "DATETIME";
    case MDB_NUMERIC:
        return "DECIMAL";
    case MDB_BINARY:
    case MDB_OLE:
        return "LONGBINARY";
    default: // Text, Memo, replication ids
        return "TEXT";
    }
}

bool readsText(int jetType)
{
    return storedSize(jetType) == 0 && jetType != MDB_BINARY && jetType != MDB_OLE;
}

JetValue jetValue(int jetType, QByteArrayView raw, int scale)
{
    if (raw.isEmpty() || raw.size() < storedSize(jetType))
        return JetValue::null();
    switch (jetType) {
    case MDB_BOOL:
        return JetValue::ofInteger(raw[0] != 0 ? 1 : 0);
    case MDB_BYTE:
        return JetValue::ofInteger(quint8(raw[0]));
    case MDB_INT:
        return JetValue::ofInteger(little<qint16>(raw));
    case MDB_LONGINT:
        return JetValue::ofInteger(little<qint32>(raw));
    case MDB_FLOAT:
        return single(std::bit_cast<float>(little<quint32>(raw)));
    case MDB_DOUBLE:
        return JetValue::ofReal(std::bit_cast<double>(little<quint64>(raw)));
    case MDB_DATETIME:
        return dateTime(std::bit_cast<double>(little<quint64>(raw)));
    case MDB_MONEY:
        return currency(little<qint64>(raw));
    case MDB_NUMERIC:
        return numeric(raw, scale);
    case MDB_BINARY:
    case MDB_OLE:
        return JetValue::ofBlob(raw);
    default:
        return JetValue::ofText(raw);
    }
}

int bindJetValue(sqlite3_stmt *statement, int at, const JetValue &value)
{
    switch (value.kind) {
    case JetValue::Kind::Integer:
        return sqlite3_bind_int64(statement, at, value.integer);
    case JetValue::Kind::Real:
        return sqlite3_bind_double(statement, at, value.real);
    case JetValue::Kind::Text: {
        const QByteArrayView text = value.bytes();
        return sqlite3_bind_text64(
            statement, at, text.data(), sqlite3_uint64(text.size()), SQLITE_TRANSIENT, SQLITE_UTF8);
    }
    case JetValue::Kind::Blob: {
        const QByteArrayView data = value.bytes();
        return sqlite3_bind_blob64(statement, at, data.data(), sqlite3_uint64(data.size()), SQLITE_TRANSIENT);
    }
    case JetValue::Kind::Null:
        break;
    }
    return sqlite3_bind_null(statement, at);
}

} // namespace Brennvox10::data::jet

// SPDX-License-Identifier: MIT
#include "sql/cursor/Cursor.h"

#include <QDate>

#include <charconv>
#include <cmath>

namespace Brennvox10::data {

namespace {

bool isBlank(char c)
{
    return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\f' || c == '\v';
}

QByteArrayView trimmed(QByteArrayView text)
{
    qsizetype begin = 0, end = text.size();
    while (begin < end && isBlank(text[begin]))
        ++begin;
    while (end > begin && isBlank(text[end - 1]))
        --end;
    return text.sliced(begin, end - begin);
}

bool isWordChar(char c)
{
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_';
}

struct TypeWord {
    const char *word;
    int type;
};

constexpr TypeWord typeWords[] = {
    { "CURRENCY", AdoType::Currency },
    { "MONEY", AdoType::Currency },
    { "DATE", AdoType::Date },
    { "DATETIME", AdoType::Date },
    { "TIMESTAMP", AdoType::Date },
    { "TIME", AdoType::Date },
    { "INTEGER", AdoType::Integer },
    { "INT", AdoType::Integer },
    { "LONG", AdoType::Integer },
    { "COUNTER", AdoType::Integer },
    { "AUTOINCREMENT", AdoType::Integer },
    { "SMALLINT", AdoType::SmallInt },
    { "SHORT", AdoType::SmallInt },
    { "BYTE", AdoType::SmallInt },
    { "REAL", AdoType::Double },
    { "DOUBLE", AdoType::Double },
    { "FLOAT", AdoType::Double },
    { "SINGLE", AdoType::Single },
    { "DECIMAL", AdoType::Decimal },
    { "NUMERIC", AdoType::Decimal },
    { "BIT", AdoType::Boolean },
    { "BOOLEAN", AdoType::Boolean },
    { "YESNO", AdoType::Boolean },
    { "LOGICAL", AdoType::Boolean },
    { "TEXT", AdoType::Text },
    { "CHAR", AdoType::Text },
    { "VARCHAR", AdoType::Text },
    { "MEMO", AdoType::Text },
    { "BLOB", AdoType::Binary },
    { "LONGBINARY", AdoType::Binary },
};

int typeOfWord(QByteArrayView word)
{
    for (const TypeWord &entry : typeWords) {
        if (qstrnicmp(word.data(), word.size(), entry.word, -1) == 0)
            return entry.type;
    }
    return 0;
}

int digitsAt(QByteArrayView text, qsizetype pos, int count)
{
    if (pos + count > text.size())
        return -1;
    int value = 0;
    for (int i = 0; i < count; ++i) {
        const char c = text[pos + i];
        if (c < '0' || c > '9')
            return -1;
        value = value * 10 + (c - '0');
    }
    return value;
}

} // namespace

int adoTypeForDeclared(QByteArrayView declared)
{
    if (declared.isEmpty())
        return 0;
    // The type name is read by its words, so "VARCHAR(40)" is VARCHAR and "UNSIGNED BIG INT" is INT;
    // the first word that names a known type decides, anything else is text.
    qsizetype i = 0;
    const qsizetype n = declared.size();
    while (i < n && declared[i] != '(') {
        if (!isWordChar(declared[i])) {
            ++i;
            continue;
        }
        const qsizetype start = i;
        while (i < n && isWordChar(declared[i]))
            ++i;
        if (const int type = typeOfWord(declared.sliced(start, i - start)))
            return type;
    }
    return AdoType::Text;
}

int adoTypeForInteger(qint64 value)
{
    return value >= std::numeric_limits<qint32>::min() && value <= std::numeric_limits<qint32>::max()
        ? AdoType::Integer
        : AdoType::BigInt;
}

namespace {

// "-123.4500" with at most 15 digits: the digits as a whole number, divided by the power of ten
// their point stands for. Both are exact in a double, and one division rounds correctly, as a full
// parse would. False for any other form.
bool parsePlainDecimal(QByteArrayView text, double &value)
{
    static constexpr double tens[] = { 1e0, 1e1, 1e2, 1e3, 1e4, 1e5, 1e6, 1e7, 1e8, 1e9, 1e10, 1e11, 1e12,
        1e13, 1e14, 1e15 };
    qsizetype i = text[0] == '-' ? 1 : 0;
    qint64 digits = 0;
    int count = 0, fraction = -1;
    for (; i < text.size(); ++i) {
        const char c = text[i];
        if (c >= '0' && c <= '9') {
            digits = digits * 10 + (c - '0');
            if (++count > 15)
                return false;
            if (fraction >= 0)
                ++fraction;
        } else if (c == '.' && fraction < 0) {
            fraction = 0;
        } else {
            return false;
        }
    }
    if (count == 0)
        return false;
    const double magnitude = fraction > 0 ? double(digits) / tens[fraction] : double(digits);
    value = text[0] == '-' ? -magnitude : magnitude;
    return true;
}

} // namespace

bool parseDouble(QByteArrayView text, double &value)
{
    text = trimmed(text);
    if (!text.isEmpty() && text[0] == '+')
        text = text.sliced(1);
    if (text.isEmpty())
        return false;
    if (parsePlainDecimal(text, value))
        return true;
    const char *end = text.data() + text.size();
    const auto [ptr, ec] = std::from_chars(text.data(), end, value);
    return ec == std::errc() && ptr == end && std::isfinite(value);
}

bool parseInt64(QByteArrayView text, qint64 &value)
{
    text = trimmed(text);
    QByteArrayView digits = text;
    if (!digits.isEmpty() && digits[0] == '+')
        digits = digits.sliced(1);
    if (!digits.isEmpty()) {
        const char *end = digits.data() + digits.size();
        const auto [ptr, ec] = std::from_chars(digits.data(), end, value);
        if (ec == std::errc() && ptr == end)
            return true;
    }
    // "12.0" or "1e3" still name a whole number.
    double real = 0;
    if (!parseDouble(text, real) || std::trunc(real) != real || real < -9.2e18 || real > 9.2e18)
        return false;
    value = qint64(real);
    return true;
}

bool parseBool(QByteArrayView text, bool &value)
{
    const QByteArrayView word = trimmed(text);
    if (qstrnicmp(word.data(), word.size(), "true", -1) == 0) {
        value = true;
        return true;
    }
    if (qstrnicmp(word.data(), word.size(), "false", -1) == 0) {
        value = false;
        return true;
    }
    double number = 0;
    if (!parseDouble(word, number))
        return false;
    value = number != 0;
    return true;
}

namespace {

// The proleptic Gregorian calendar's day number, as QDate counts it, for years 1 to 9999; false for
// a date that does not exist. A load reads millions of dates.
bool julianDayOf(int year, int month, int day, qint64 &julianDay)
{
    static constexpr int lengths[] = { 31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31 };
    if (year < 1 || month < 1 || month > 12 || day < 1)
        return false;
    const bool leap = (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
    if (day > lengths[month - 1] + (month == 2 && leap ? 1 : 0))
        return false;
    const qint64 a = (14 - month) / 12, y = year + 4800 - a, m = month + 12 * a - 3;
    julianDay = day + (153 * m + 2) / 5 + 365 * y + y / 4 - y / 100 + y / 400 - 32045;
    return true;
}

} // namespace

bool parseIsoDateTime(QByteArrayView text, DateTimeValue &value)
{
    // YYYY-MM-DD, then optionally ' ' or 'T', HH:MM, :SS and .fraction.
    const int year = digitsAt(text, 0, 4), month = digitsAt(text, 5, 2), day = digitsAt(text, 8, 2);
    if (year < 0 || month < 0 || day < 0 || text[4] != '-' || text[7] != '-')
        return false;
    DateTimeValue result;
    if (!julianDayOf(year, month, day, result.julianDay))
        return false;
    if (text.size() == 10) {
        value = result;
        return true;
    }
    if (text[10] != ' ' && text[10] != 'T')
        return false;
    const int hour = digitsAt(text, 11, 2), minute = digitsAt(text, 14, 2);
    if (hour < 0 || hour > 23 || minute < 0 || minute > 59 || text.size() < 16 || text[13] != ':')
        return false;
    int second = 0, msec = 0;
    if (text.size() > 16) {
        second = digitsAt(text, 17, 2);
        if (text[16] != ':' || second < 0 || second > 59)
            return false;
        if (text.size() > 19) {
            if (text[19] != '.' || text.size() == 20)
                return false;
            int scale = 100;
            for (qsizetype i = 20; i < text.size(); ++i) {
                const char c = text[i];
                if (c < '0' || c > '9')
                    return false;
                msec += (c - '0') * scale;
                scale /= 10;
            }
        }
    }
    result.hasTime = true;
    result.msecs = ((hour * 60 + minute) * 60 + second) * 1000 + msec;
    value = result;
    return true;
}

} // namespace Brennvox10::data

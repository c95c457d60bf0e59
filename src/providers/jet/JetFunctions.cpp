// SPDX-License-Identifier: MIT
#include "providers/jet/JetFunctions_p.h"
#include "providers/jet/JetSql.h"

#include <QDateTime>

#include <charconv>
#include <cmath>

namespace Brennvox10::data::jet {

namespace {

// The Jet name of the function being called, for its error messages.
QString nameOf(sqlite3_context *context)
{
    return QString::fromLatin1(static_cast<const char *>(sqlite3_user_data(context)));
}

QByteArrayView bytesOf(sqlite3_value *value)
{
    const auto *data = reinterpret_cast<const char *>(sqlite3_value_text(value));
    return { data, sqlite3_value_bytes(value) };
}

// A value as an error message names it, text in quotes and cut short.
QString shown(sqlite3_value *value)
{
    QString text = QString::fromUtf8(textOf(value));
    if (text.size() > 40)
        text = text.left(37) + QStringLiteral("...");
    return sqlite3_value_type(value) == SQLITE_TEXT ? u'\'' + text + u'\'' : text;
}

} // namespace

void fail(sqlite3_context *context, const QString &why)
{
    const QByteArray message = nameOf(context).toUtf8() + ": " + why.toUtf8();
    sqlite3_result_error(context, message.constData(), int(message.size()));
}

void resultText(sqlite3_context *context, const QByteArray &text)
{
    sqlite3_result_text(context, text.constData(), int(text.size()), SQLITE_TRANSIENT);
}

bool anyNull(int argc, sqlite3_value **argv)
{
    for (int i = 0; i < argc; ++i) {
        if (sqlite3_value_type(argv[i]) == SQLITE_NULL)
            return true;
    }
    return false;
}

QByteArray textOfDouble(double value)
{
    if (value == 0)
        return "0"; // not "-0"
    return QByteArray::number(value, 'g', 15).toUpper();
}

QByteArray textOf(sqlite3_value *value)
{
    switch (sqlite3_value_type(value)) {
    case SQLITE_INTEGER:
        return QByteArray::number(sqlite3_value_int64(value));
    case SQLITE_FLOAT:
        return textOfDouble(sqlite3_value_double(value));
    default:
        return bytesOf(value).toByteArray();
    }
}

bool numberOf(sqlite3_context *context, sqlite3_value *value, double &number)
{
    switch (sqlite3_value_type(value)) {
    case SQLITE_INTEGER:
        number = double(sqlite3_value_int64(value));
        return true;
    case SQLITE_FLOAT:
        number = sqlite3_value_double(value);
        if (std::isfinite(number))
            return true;
        break;
    case SQLITE_TEXT:
        if (parseDouble(bytesOf(value), number))
            return true;
        break;
    default:
        break;
    }
    fail(context, QStringLiteral("%1 is not a number").arg(shown(value)));
    return false;
}

bool dateOf(sqlite3_context *context, sqlite3_value *value, DateTimeValue &date)
{
    if (sqlite3_value_type(value) == SQLITE_TEXT && parseIsoDateTime(bytesOf(value), date))
        return true;
    fail(context, QStringLiteral("%1 is not a date (dates are ISO-8601 text, YYYY-MM-DD)").arg(shown(value)));
    return false;
}

namespace {

// Rounds half to even, as Jet's conversions to whole numbers do: 2.5 to 2, 3.5 to 4.
double roundHalfEven(double value)
{
    const double nearest = std::round(value);
    return std::fabs(value - std::trunc(value)) == 0.5 ? 2.0 * std::round(value / 2.0) : nearest;
}

// Character positions over UTF-8: the byte at which the character `index` (0-based) starts, the
// size when the text is shorter.
qsizetype byteOfCharacter(QByteArrayView text, qint64 index)
{
    qsizetype at = 0;
    for (; index > 0 && at < text.size(); --index) {
        ++at;
        while (at < text.size() && (uchar(text[at]) & 0xC0) == 0x80)
            ++at;
    }
    return at;
}

qint64 characterCount(QByteArrayView text)
{
    qint64 count = 0;
    for (const char c : text)
        count += (uchar(c) & 0xC0) != 0x80;
    return count;
}

// A count or position argument, rounded as Jet rounds; false after reporting a negative one.
bool countOf(sqlite3_context *context, sqlite3_value *value, const char *what, qint64 minimum, qint64 &count)
{
    double number = 0;
    if (!numberOf(context, value, number))
        return false;
    number = roundHalfEven(number);
    if (number < double(minimum)) {
        fail(context,
            QStringLiteral("the %1 must be %2 or more, not %3")
                .arg(QLatin1String(what))
                .arg(minimum)
                .arg(number));
        return false;
    }
    count = number > 1e15 ? qint64(1e15) : qint64(number);
    return true;
}

void jetYear(sqlite3_context *context, int, sqlite3_value **argv)
{
    DateTimeValue date;
    if (!anyNull(1, argv) && dateOf(context, argv[0], date))
        sqlite3_result_int(context, QDate::fromJulianDay(date.julianDay).year());
}

void jetMonth(sqlite3_context *context, int, sqlite3_value **argv)
{
    DateTimeValue date;
    if (!anyNull(1, argv) && dateOf(context, argv[0], date))
        sqlite3_result_int(context, QDate::fromJulianDay(date.julianDay).month());
}

void jetDay(sqlite3_context *context, int, sqlite3_value **argv)
{
    DateTimeValue date;
    if (!anyNull(1, argv) && dateOf(context, argv[0], date))
        sqlite3_result_int(context, QDate::fromJulianDay(date.julianDay).day());
}

// Today in local time; SQLite's own date() with no argument gives the UTC date.
void jetDate(sqlite3_context *context, int, sqlite3_value **)
{
    resultText(context, QDate::currentDate().toString(Qt::ISODate).toLatin1());
}

void jetNow(sqlite3_context *context, int, sqlite3_value **)
{
    resultText(
        context, QDateTime::currentDateTime().toString(QStringLiteral("yyyy-MM-dd HH:mm:ss")).toLatin1());
}

// Nz(v) gives the empty text for Null, as Jet does in a query; Nz(v, d) gives d.
void jetNz(sqlite3_context *context, int argc, sqlite3_value **argv)
{
    if (sqlite3_value_type(argv[0]) != SQLITE_NULL)
        sqlite3_result_value(context, argv[0]);
    else if (argc == 2)
        sqlite3_result_value(context, argv[1]);
    else
        sqlite3_result_text(context, "", 0, SQLITE_STATIC);
}

// Jet's &: the texts of the values that are not Null; Null when all are.
void jetJoin(sqlite3_context *context, int argc, sqlite3_value **argv)
{
    QByteArray joined;
    bool any = false;
    for (int i = 0; i < argc; ++i) {
        if (sqlite3_value_type(argv[i]) == SQLITE_NULL)
            continue;
        any = true;
        joined += textOf(argv[i]);
    }
    if (any)
        resultText(context, joined);
}

void jetUCase(sqlite3_context *context, int, sqlite3_value **argv)
{
    if (!anyNull(1, argv))
        resultText(context, QString::fromUtf8(textOf(argv[0])).toUpper().toUtf8());
}

void jetLCase(sqlite3_context *context, int, sqlite3_value **argv)
{
    if (!anyNull(1, argv))
        resultText(context, QString::fromUtf8(textOf(argv[0])).toLower().toUtf8());
}

void jetLeft(sqlite3_context *context, int argc, sqlite3_value **argv)
{
    qint64 count = 0;
    if (anyNull(argc, argv) || !countOf(context, argv[1], "length", 0, count))
        return;
    const QByteArray text = textOf(argv[0]);
    resultText(context, text.left(byteOfCharacter(text, count)));
}

void jetRight(sqlite3_context *context, int argc, sqlite3_value **argv)
{
    qint64 count = 0;
    if (anyNull(argc, argv) || !countOf(context, argv[1], "length", 0, count))
        return;
    const QByteArray text = textOf(argv[0]);
    const qint64 skip = std::max<qint64>(0, characterCount(text) - count);
    resultText(context, text.mid(byteOfCharacter(text, skip)));
}

void jetMid(sqlite3_context *context, int argc, sqlite3_value **argv)
{
    qint64 start = 0, count = 0;
    if (anyNull(argc, argv) || !countOf(context, argv[1], "start", 1, start)
        || (argc == 3 && !countOf(context, argv[2], "length", 0, count)))
        return;
    const QByteArray text = textOf(argv[0]);
    const QByteArrayView rest = QByteArrayView(text).sliced(byteOfCharacter(text, start - 1));
    resultText(context, (argc == 3 ? rest.first(byteOfCharacter(rest, count)) : rest).toByteArray());
}

void jetLen(sqlite3_context *context, int, sqlite3_value **argv)
{
    if (!anyNull(1, argv))
        sqlite3_result_int64(context, characterCount(textOf(argv[0])));
}

// The number the text starts with, blanks, tabs and line feeds anywhere ignored; 0 when none.
void jetVal(sqlite3_context *context, int, sqlite3_value **argv)
{
    if (anyNull(1, argv))
        return;
    QByteArray text = textOf(argv[0]);
    text.removeIf([](char c) { return c == ' ' || c == '\t' || c == '\n'; });
    qsizetype i = 0;
    const auto digits = [&] {
        const qsizetype from = i;
        while (i < text.size() && text[i] >= '0' && text[i] <= '9')
            ++i;
        return i > from;
    };
    if (i < text.size() && (text[i] == '+' || text[i] == '-'))
        ++i;
    bool any = digits();
    if (i < text.size() && text[i] == '.') {
        ++i;
        any = digits() || any;
    }
    double value = 0;
    if (any) {
        qsizetype end = i;
        // Jet takes D as well as E for the exponent.
        if (i < text.size() && (text[i] == 'e' || text[i] == 'E' || text[i] == 'd' || text[i] == 'D')) {
            text[i] = 'e';
            ++i;
            if (i < text.size() && (text[i] == '+' || text[i] == '-'))
                ++i;
            if (digits())
                end = i;
        }
        const qsizetype from = text[0] == '+' ? 1 : 0;
        std::from_chars(text.constData() + from, text.constData() + end, value);
    }
    sqlite3_result_double(context, std::isfinite(value) ? value : 0.0);
}

void jetCStr(sqlite3_context *context, int, sqlite3_value **argv)
{
    if (!anyNull(1, argv))
        resultText(context, textOf(argv[0]));
}

void jetCDbl(sqlite3_context *context, int, sqlite3_value **argv)
{
    double number = 0;
    if (!anyNull(1, argv) && numberOf(context, argv[0], number))
        sqlite3_result_double(context, number);
}

void jetCLng(sqlite3_context *context, int, sqlite3_value **argv)
{
    double number = 0;
    if (anyNull(1, argv) || !numberOf(context, argv[0], number))
        return;
    const double rounded = sqlite3_value_type(argv[0]) == SQLITE_INTEGER ? number : roundHalfEven(number);
    if (rounded < -2147483648.0 || rounded > 2147483647.0)
        fail(context, QStringLiteral("%1 overflows a Long").arg(shown(argv[0])));
    else
        sqlite3_result_int64(context, qint64(rounded));
}

struct JetFunction {
    const char *name; // as registered
    const char *jetName; // as its errors name it
    int arguments;
    bool deterministic;
    void (*call)(sqlite3_context *, int, sqlite3_value **);
};

// Only the arities Jet has, so that SQLite's own date(x, ...) keeps working. date() and format(v, p)
// are overridden: date() for today in local time, format for Jet's argument order and patterns.
constexpr JetFunction jetFunctions[] = {
    { "Year", "Year", 1, true, jetYear },
    { "Month", "Month", 1, true, jetMonth },
    { "Day", "Day", 1, true, jetDay },
    { "Date", "Date", 0, false, jetDate },
    { "Now", "Now", 0, false, jetNow },
    { "Nz", "Nz", 1, true, jetNz },
    { "Nz", "Nz", 2, true, jetNz },
    { "Format", "Format", 2, true, jetFormat },
    { "UCase", "UCase", 1, true, jetUCase },
    { "LCase", "LCase", 1, true, jetLCase },
    { "bv_left", "Left", 2, true, jetLeft },
    { "bv_right", "Right", 2, true, jetRight },
    { "Mid", "Mid", 2, true, jetMid },
    { "Mid", "Mid", 3, true, jetMid },
    { "Len", "Len", 1, true, jetLen },
    { "Val", "Val", 1, true, jetVal },
    { "CStr", "CStr", 1, true, jetCStr },
    { "CLng", "CLng", 1, true, jetCLng },
    { "CDbl", "CDbl", 1, true, jetCDbl },
    { "bv_join", "&", -1, true, jetJoin },
};

} // namespace

void registerJetFunctions(sqlite3 *db)
{
    for (const JetFunction &f : jetFunctions) {
        // Innocuous: a view in a file we open may call them, which SQLite allows only for functions
        // without side effects once the schema is untrusted. A failed registration (out of memory)
        // shows later as "no such function".
        const int flags = SQLITE_UTF8 | SQLITE_INNOCUOUS | (f.deterministic ? SQLITE_DETERMINISTIC : 0);
        sqlite3_create_function_v2(
            db, f.name, f.arguments, flags, const_cast<char *>(f.jetName), f.call, nullptr, nullptr, nullptr);
    }
}

} // namespace Brennvox10::data::jet

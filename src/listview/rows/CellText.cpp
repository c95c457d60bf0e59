// SPDX-License-Identifier: MIT
#include <Brennvox10/ListView.h>

#include <QDate>
#include <QTime>

#include <charconv>
#include <cmath>

namespace Brennvox10 {

// Members in declaration order: kind, style, hasTime, msecs, integer, real, text.
CellValue CellValue::fromText(QByteArrayView utf8, Style style)
{
    return { .kind = Kind::Text, .style = style, .text = utf8 };
}

CellValue CellValue::fromString(const QString &text)
{
    CellValue v { .kind = Kind::Text, .ownText = text.toUtf8() };
    // A copy of the value shares the same bytes, so the view stays good in every copy.
    v.text = v.ownText;
    return v;
}

CellValue CellValue::fromInteger(qint64 value, Style style)
{
    return { .kind = Kind::Integer, .style = style, .integer = value };
}

CellValue CellValue::fromReal(double value, Style style)
{
    return { .kind = Kind::Real, .style = style, .real = value };
}

CellValue CellValue::fromDate(qint64 julianDay, qint32 msecsOfDay, bool hasTime, Style style)
{
    return { .kind = Kind::DateTime,
        .style = style,
        .hasTime = hasTime,
        .msecs = hasTime ? msecsOfDay : 0,
        .integer = julianDay };
}

CellValue CellValue::fromBoolean(bool value)
{
    return { .kind = Kind::Boolean, .integer = value ? 1 : 0 };
}

namespace {

// The locale's own characters in place of the C ones to_chars writes.
QString localised(std::string_view digits, const QLocale &locale)
{
    QString out;
    out.reserve(qsizetype(digits.size()));
    for (char c : digits) {
        switch (c) {
        case '.':
            out += locale.decimalPoint();
            break;
        case '-':
            out += locale.negativeSign();
            break;
        case '+':
            out += locale.positiveSign();
            break;
        case 'e':
            out += QLatin1Char('E');
            break;
        default:
            out += QLatin1Char(c);
            break;
        }
    }
    return out;
}

QString plainReal(double value, const QLocale &locale)
{
    if (value == 0)
        return QStringLiteral("0");
    char buffer[400];
    const double magnitude = std::fabs(value);
    // Fixed notation over the range people read as amounts; very large or tiny values in scientific.
    const bool fixed = magnitude >= 1e-5 && magnitude < 1e15;
    const auto r = std::to_chars(buffer, buffer + sizeof buffer, value,
        fixed ? std::chars_format::fixed : std::chars_format::scientific);
    return localised(std::string_view(buffer, size_t(r.ptr - buffer)), locale);
}

// Whole digits grouped in threes, two decimals; digits hold the magnitude, rounded already.
QString groupedAmount(std::string_view whole, std::string_view cents, bool negative, const QLocale &locale)
{
    const QString group = locale.groupSeparator();
    QString out;
    out.reserve(qsizetype(whole.size() + whole.size() / 3 + 4));
    const bool zero = whole.find_first_not_of('0') == std::string_view::npos
        && cents.find_first_not_of('0') == std::string_view::npos;
    // A value that rounds to nothing carries no sign.
    if (negative && !zero)
        out += locale.negativeSign();
    for (size_t i = 0; i < whole.size(); ++i) {
        if (i > 0 && (whole.size() - i) % 3 == 0)
            out += group;
        out += QLatin1Char(whole[i]);
    }
    out += locale.decimalPoint();
    out += QLatin1Char(cents[0]);
    out += QLatin1Char(cents[1]);
    return out;
}

QString moneyInteger(qint64 value, const QLocale &locale)
{
    const quint64 magnitude = value < 0 ? quint64(0) - quint64(value) : quint64(value);
    char buffer[24];
    const auto r = std::to_chars(buffer, buffer + sizeof buffer, magnitude);
    return groupedAmount(std::string_view(buffer, size_t(r.ptr - buffer)), "00", value < 0, locale);
}

QString moneyReal(double value, const QLocale &locale)
{
    if (!std::isfinite(value))
        return plainReal(value, locale);
    // Round the shortest decimal form of the value, so 0.005 and 1.005 round up as written.
    char buffer[400];
    const auto r = std::to_chars(buffer, buffer + sizeof buffer, std::fabs(value), std::chars_format::fixed);
    std::string digits(buffer, r.ptr);
    const size_t point = digits.find('.');
    std::string whole = point == std::string::npos ? digits : digits.substr(0, point);
    std::string fraction = point == std::string::npos ? std::string() : digits.substr(point + 1);
    fraction.resize(std::max<size_t>(fraction.size(), 3), '0');
    std::string kept = whole + fraction.substr(0, 2);
    if (fraction[2] >= '5') {
        size_t i = kept.size();
        while (i > 0) {
            --i;
            if (kept[i] == '9') {
                kept[i] = '0';
            } else {
                ++kept[i];
                break;
            }
            if (i == 0)
                kept.insert(kept.begin(), '1');
        }
    }
    const std::string_view all(kept);
    return groupedAmount(all.substr(0, all.size() - 2), all.substr(all.size() - 2), value < 0, locale);
}

QString dateSeparator(const QLocale &locale)
{
    const QString format = locale.dateFormat(QLocale::ShortFormat);
    bool quoted = false;
    for (const QChar c : format) {
        if (c == QLatin1Char('\'')) {
            quoted = !quoted;
            continue;
        }
        // A blank is no date separator (the C locale writes "d MMM yyyy"): fall back to the slash.
        if (!quoted && !c.isLetter() && !c.isSpace())
            return QString(c);
    }
    return QStringLiteral("/");
}

// The locale's short date with the year widened to four digits.
QString shortDateFormat(const QLocale &locale)
{
    const QString format = locale.dateFormat(QLocale::ShortFormat);
    QString out;
    bool quoted = false;
    for (qsizetype i = 0; i < format.size();) {
        const QChar c = format.at(i);
        if (c == QLatin1Char('\''))
            quoted = !quoted;
        if (quoted || c != QLatin1Char('y')) {
            out += c;
            ++i;
            continue;
        }
        qsizetype run = 0;
        while (i + run < format.size() && format.at(i + run) == QLatin1Char('y'))
            ++run;
        out += run < 4 ? QStringLiteral("yyyy") : format.mid(i, run);
        i += run;
    }
    return out;
}

QString twoDigits(int v)
{
    return QString::number(v).rightJustified(2, QLatin1Char('0'));
}

QString dateText(const CellValue &cell, const QLocale &locale)
{
    const QDate date = QDate::fromJulianDay(cell.integer);
    if (!date.isValid())
        return QString();
    if (cell.style == CellValue::Style::Date) {
        const QString separator = dateSeparator(locale);
        return twoDigits(date.day()) + separator + twoDigits(date.month()) + separator
            + QString::number(date.year()).rightJustified(4, QLatin1Char('0'));
    }
    QString text = locale.toString(date, shortDateFormat(locale));
    if (cell.hasTime)
        text += QLatin1Char(' ')
            + QTime::fromMSecsSinceStartOfDay(cell.msecs).toString(QStringLiteral("HH:mm:ss"));
    return text;
}

} // namespace

QString cellText(const CellValue &cell, const QLocale &locale)
{
    switch (cell.kind) {
    case CellValue::Kind::Empty:
        return QString();
    case CellValue::Kind::Text:
        return QString::fromUtf8(cell.text);
    case CellValue::Kind::Integer:
        if (cell.style == CellValue::Style::Money)
            return moneyInteger(cell.integer, locale);
        return QString::number(cell.integer);
    case CellValue::Kind::Real:
        if (cell.style == CellValue::Style::Money)
            return moneyReal(cell.real, locale);
        return plainReal(cell.real, locale);
    case CellValue::Kind::DateTime:
        return dateText(cell, locale);
    case CellValue::Kind::Boolean:
        if (locale.language() == QLocale::Spanish)
            return cell.integer ? QStringLiteral("Verdadero") : QStringLiteral("Falso");
        return cell.integer ? QStringLiteral("True") : QStringLiteral("False");
    }
    return QString();
}

} // namespace Brennvox10

// SPDX-License-Identifier: MIT
#include "providers/jet/JetFunctions_p.h"

#include <QDateTime>

#include <cmath>
#include <cstdio>
#include <vector>

namespace Brennvox10::data::jet {

namespace {

// 0, 00, #,##0, each with .0... for decimals and % for a percentage.
struct NumberPattern {
    int wholeDigits = 0;
    int decimals = 0;
    bool grouped = false;
    bool percent = false;
};

bool readNumberPattern(QStringView pattern, NumberPattern &out)
{
    qsizetype i = 0;
    if (pattern.startsWith(u"#,##0")) {
        out.grouped = true;
        out.wholeDigits = 1;
        i = 5;
    } else {
        while (i < pattern.size() && pattern[i] == u'0')
            ++i;
        out.wholeDigits = int(i);
    }
    if (i < pattern.size() && pattern[i] == u'.') {
        const qsizetype first = ++i;
        while (i < pattern.size() && pattern[i] == u'0')
            ++i;
        out.decimals = int(i - first);
        if (!out.decimals)
            return false;
    }
    if (i < pattern.size() && pattern[i] == u'%') {
        out.percent = true;
        ++i;
    }
    return out.wholeDigits > 0 && i == pattern.size();
}

// The decimal digits of magnitude rounded half away from zero at `decimals` places, as Format
// rounds: read at 15 significant digits first, so 1.005 shows as 1.01. The first `point` digits are
// the whole part.
QByteArray roundedDigits(double magnitude, int decimals, qsizetype &point)
{
    char buffer[40];
    std::snprintf(
        buffer, sizeof buffer, "%.14e", magnitude); // d.dddddddddddddde+x, whatever the locale's point
    QByteArray digits = QByteArray(buffer, 1) + QByteArray(buffer + 2, 14);
    point = std::atoi(buffer + 17) + 1;
    if (point < 1) {
        digits.prepend(QByteArray(1 - point, '0'));
        point = 1;
    }
    const qsizetype keep = point + decimals;
    if (digits.size() <= keep)
        return digits + QByteArray(keep - digits.size(), '0');
    bool carry = digits[keep] >= '5';
    digits.truncate(keep);
    for (qsizetype i = keep - 1; carry && i >= 0; --i) {
        carry = digits[i] == '9';
        digits[i] = carry ? '0' : char(digits[i] + 1);
    }
    if (carry) {
        digits.prepend('1');
        ++point;
    }
    return digits;
}

QByteArray formatNumber(double value, const NumberPattern &pattern)
{
    if (pattern.percent)
        value *= 100;
    qsizetype point = 0;
    const QByteArray digits = roundedDigits(std::fabs(value), pattern.decimals, point);
    QByteArray whole = digits.left(point);
    while (whole.size() > pattern.wholeDigits && whole.startsWith('0'))
        whole.remove(0, 1);
    if (whole.size() < pattern.wholeDigits)
        whole.prepend(QByteArray(pattern.wholeDigits - whole.size(), '0'));
    for (qsizetype i = whole.size() - 3; pattern.grouped && i > 0; i -= 3)
        whole.insert(i, ',');
    QByteArray out;
    // A negative that rounds to nothing shows as 0, without a sign.
    if (value < 0 && digits.count('0') != digits.size())
        out += '-';
    out += whole;
    if (pattern.decimals)
        out += '.' + digits.mid(point);
    if (pattern.percent)
        out += '%';
    return out;
}

// A date pattern: runs of y (yy, yyyy), m, d, h, n, s (one or two letters, any case) between the
// separators / - . : , and blanks. m is the minute after h or before s, as Jet reads it.
struct DateRun {
    char16_t letter; // 0 for a separator
    qsizetype size;
    QChar separator;
};

bool readDatePattern(QStringView pattern, std::vector<DateRun> &runs)
{
    for (qsizetype i = 0; i < pattern.size();) {
        const char16_t c = pattern[i].toLower().unicode();
        qsizetype j = i + 1;
        while (j < pattern.size() && pattern[j].toLower() == c)
            ++j;
        const qsizetype size = j - i;
        if (QStringView(u"ymdhns").contains(c)) {
            if (c == u'y' ? size != 2 && size != 4 : size > 2)
                return false;
            runs.push_back({ c, size, {} });
        } else if (QStringView(u"/-.:, ").contains(c)) {
            for (qsizetype k = i; k < j; ++k)
                runs.push_back({ 0, 1, pattern[k] });
        } else {
            return false;
        }
        i = j;
    }
    return std::any_of(runs.begin(), runs.end(), [](const DateRun &run) { return run.letter != 0; });
}

QByteArray formatDate(const DateTimeValue &value, const std::vector<DateRun> &runs)
{
    const QDate date = QDate::fromJulianDay(value.julianDay);
    const QTime time = QTime::fromMSecsSinceStartOfDay(value.msecs);
    QString out;
    char16_t previous = 0;
    for (size_t r = 0; r < runs.size(); ++r) {
        const DateRun &run = runs[r];
        if (!run.letter) {
            out += run.separator;
            continue;
        }
        char16_t next = 0;
        for (size_t s = r + 1; s < runs.size() && !next; ++s)
            next = runs[s].letter;
        int number = 0;
        switch (run.letter) {
        case u'y':
            number = run.size == 2 ? date.year() % 100 : date.year();
            break;
        case u'm':
            number = previous == u'h' || next == u's' ? time.minute() : date.month();
            break;
        case u'd':
            number = date.day();
            break;
        case u'h':
            number = time.hour();
            break;
        case u'n':
            number = time.minute();
            break;
        default:
            number = time.second();
            break;
        }
        out += QStringLiteral("%1").arg(number, int(run.size), 10, QLatin1Char('0'));
        previous = run.letter;
    }
    return out.toLatin1();
}

} // namespace

// Format(v, pattern) for the number and date patterns above and the named Fixed, Standard, Percent,
// General Number, Yes/No, True/False and On/Off. The separators are always . , and /, whatever the
// regional settings; Currency and the named dates depend on those settings and are refused with
// everything else.
void jetFormat(sqlite3_context *context, int, sqlite3_value **argv)
{
    if (anyNull(2, argv))
        return;
    // The empty text has no number or date to show, and Jet shows it as it is.
    if (sqlite3_value_type(argv[0]) == SQLITE_TEXT && sqlite3_value_bytes(argv[0]) == 0) {
        sqlite3_result_text(context, "", 0, SQLITE_STATIC);
        return;
    }
    const QString given = QString::fromUtf8(textOf(argv[1]));
    const QString named = given.toLower();
    static const std::pair<const char16_t *, const char16_t *> aliases[]
        = { { u"fixed", u"0.00" }, { u"standard", u"#,##0.00" }, { u"percent", u"0.00%" } };
    QStringView pattern = given;
    for (const auto &[name, same] : aliases) {
        if (named == QStringView(name))
            pattern = same;
    }
    static const std::pair<const char16_t *, std::pair<const char *, const char *>> words[]
        = { { u"yes/no", { "Yes", "No" } }, { u"true/false", { "True", "False" } },
              { u"on/off", { "On", "Off" } } };
    double number = 0;
    for (const auto &[name, shown] : words) {
        if (named != QStringView(name))
            continue;
        if (numberOf(context, argv[0], number))
            resultText(context, number != 0 ? shown.first : shown.second);
        return;
    }
    NumberPattern numberPattern;
    std::vector<DateRun> dateRuns;
    DateTimeValue date;
    if (named == u"general number") {
        if (numberOf(context, argv[0], number))
            resultText(context, textOfDouble(number));
    } else if (readNumberPattern(pattern, numberPattern)) {
        if (numberOf(context, argv[0], number))
            resultText(context, formatNumber(number, numberPattern));
    } else if (readDatePattern(pattern, dateRuns)) {
        if (dateOf(context, argv[0], date))
            resultText(context, formatDate(date, dateRuns));
    } else {
        fail(context, QStringLiteral("unsupported pattern \"%1\"").arg(given));
    }
}

} // namespace Brennvox10::data::jet

#include "sql/jet/JetSql.h"

#include "sql/Cursor_p.h"

#include <QDateTime>
#include <QRegularExpression>

#include <sqlite3.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <map>
#include <vector>

namespace Brennvox10::data::sqlite {

namespace {

// ---- the text ---------------------------------------------------------------------------------------

enum class Kind { Word, Name, String, Number, Date, Punct };

struct Token {
    Kind kind;
    qsizetype begin, end;
};

bool isDigit(QChar c)
{
    return c >= u'0' && c <= u'9';
}

bool isWordStart(QChar c)
{
    return (c >= u'a' && c <= u'z') || (c >= u'A' && c <= u'Z') || c == u'_' || c.unicode() >= 0x80;
}

bool isWordChar(QChar c)
{
    return isWordStart(c) || isDigit(c) || c == u'$';
}

// The ISO text, quoted, of the date literal between the #s: m/d/y as Jet reads it in SQL whatever
// the regional settings, or y-m-d; a null string for anything else, a time alone included.
QString isoOfDateLiteral(QStringView body)
{
    static const QRegularExpression form(
        QStringLiteral(R"(^\s*(?:(\d{1,2})([/-])(\d{1,2})\2(\d{4}|\d{2})|(\d{4})([/-])(\d{1,2})\6(\d{1,2})))"
                       R"((?:\s+(\d{1,2}):(\d{2})(?::(\d{2}))?(?:\s*([AaPp][Mm]))?)?\s*$)"));
    const QRegularExpressionMatch m = form.match(body);
    if (!m.hasMatch())
        return {};
    const auto number = [&](int group) { return m.capturedView(group).toInt(); };
    const bool monthFirst = m.hasCaptured(1);
    int year = number(monthFirst ? 4 : 5);
    const int month = number(monthFirst ? 1 : 7), day = number(monthFirst ? 3 : 8);
    if (monthFirst && m.capturedView(4).size() == 2)
        year += year < 30 ? 2000 : 1900; // Jet's window for two-digit years
    if (!QDate::isValid(year, month, day) || year < 100)
        return {};
    QString iso = QDate(year, month, day).toString(Qt::ISODate);
    if (m.hasCaptured(9)) {
        int hour = number(9);
        const int minute = number(10), second = number(11);
        if (m.hasCaptured(12)) {
            if (hour < 1 || hour > 12)
                return {};
            hour = hour % 12 + (m.capturedView(12).startsWith(u'p', Qt::CaseInsensitive) ? 12 : 0);
        }
        if (hour > 23 || minute > 59 || second > 59)
            return {};
        // Midnight is the date alone: the same Jet value, and the text our date-only rows hold.
        if (hour || minute || second)
            iso += QStringLiteral(" %1:%2:%3")
                       .arg(hour, 2, 10, QLatin1Char('0'))
                       .arg(minute, 2, 10, QLatin1Char('0'))
                       .arg(second, 2, 10, QLatin1Char('0'));
    }
    return u'\'' + iso + u'\'';
}

// The lexical tokens of sql, blanks and comments left out. An unterminated literal or comment runs to
// the end, as SQLite reads it before refusing it.
std::vector<Token> tokenize(const QString &sql)
{
    std::vector<Token> tokens;
    const qsizetype n = sql.size();
    const auto at = [&](qsizetype i) { return i < n ? sql[i] : QChar(); };
    // Past the closing character; a doubled one stands for itself.
    const auto quoted = [&](qsizetype i, QChar close, bool doubled) {
        for (++i; i < n; ++i) {
            if (sql[i] != close)
                continue;
            if (!doubled || at(i + 1) != close)
                return i + 1;
            ++i;
        }
        return n;
    };
    qsizetype i = 0;
    while (i < n) {
        const QChar c = sql[i];
        const qsizetype start = i;
        if (c.isSpace()) {
            ++i;
            continue;
        }
        if (c == u'-' && at(i + 1) == u'-') {
            i = sql.indexOf(u'\n', i);
            i = i < 0 ? n : i;
            continue;
        }
        if (c == u'/' && at(i + 1) == u'*') {
            i = sql.indexOf(QStringLiteral("*/"), i + 2);
            i = i < 0 ? n : i + 2;
            continue;
        }
        Token token { Kind::Punct, start, 0 };
        if (c == u'\'') {
            token.kind = Kind::String;
            i = quoted(i, c, true);
        } else if (c == u'"' || c == u'`') {
            token.kind = Kind::Name;
            i = quoted(i, c, true);
        } else if (c == u'[') {
            token.kind = Kind::Name;
            i = quoted(i, u']', false);
        } else if (isDigit(c) || (c == u'.' && isDigit(at(i + 1)))) {
            token.kind = Kind::Number;
            const bool hex = c == u'0' && (at(i + 1) == u'x' || at(i + 1) == u'X');
            for (++i; i < n; ++i) {
                const QChar d = sql[i];
                const bool sign
                    = (d == u'+' || d == u'-') && !hex && (sql[i - 1] == u'e' || sql[i - 1] == u'E');
                if (!isWordChar(d) && d != u'.' && !sign)
                    break;
            }
        } else if (isWordStart(c)) {
            token.kind = Kind::Word;
            while (i < n && isWordChar(sql[i]))
                ++i;
        } else if (c == u'#') {
            // A date literal holds digits, separators, blanks and AM/PM only.
            const auto inLiteral = [](QChar d) {
                return d.isLetterOrNumber() || d == u' ' || QStringView(u"/-:.").contains(d);
            };
            qsizetype close = i + 1;
            while (close < n && inLiteral(sql[close]))
                ++close;
            const bool date = close < n && sql[close] == u'#'
                && !isoOfDateLiteral(QStringView(sql).sliced(i + 1, close - i - 1)).isNull();
            token.kind = date ? Kind::Date : Kind::Punct;
            i = date ? close + 1 : i + 1;
        } else {
            i += c == u'|' && at(i + 1) == u'|' ? 2 : 1;
        }
        token.end = i;
        tokens.push_back(token);
    }
    return tokens;
}

// Words that end an operand of &: clauses, joins, comparisons and the logical operators, all of
// which bind looser than & in Jet. Left and right followed by ( are calls all the same.
bool isKeyword(QStringView word)
{
    static constexpr const char16_t *keywords[] = { u"all", u"and", u"as", u"asc", u"between", u"by", u"case",
        u"collate", u"cross", u"desc", u"distinct", u"distinctrow", u"else", u"end", u"eqv", u"escape",
        u"except", u"exists", u"from", u"glob", u"group", u"having", u"imp", u"in", u"inner", u"intersect",
        u"into", u"is", u"join", u"left", u"like", u"limit", u"match", u"mod", u"natural", u"not", u"offset",
        u"on", u"or", u"order", u"outer", u"over", u"percent", u"regexp", u"right", u"select", u"set",
        u"then", u"top", u"union", u"using", u"values", u"when", u"where", u"with", u"xor" };
    for (const char16_t *keyword : keywords) {
        if (word.compare(QStringView(keyword), Qt::CaseInsensitive) == 0)
            return true;
    }
    return false;
}

// Nesting deeper than this is left as || (SQLite refuses far shallower expressions anyway); it keeps
// the recursion off the end of the stack.
constexpr int maxDepth = 200;

class Adapter {
public:
    explicit Adapter(const QString &sql)
        : m_sql(sql)
        , m_tokens(tokenize(sql))
    {
        // Each ( with its ), for the ranges below; an unmatched one is a plain token.
        m_closing.assign(m_tokens.size(), -1);
        std::vector<qsizetype> open;
        for (qsizetype t = 0; t < size(); ++t) {
            if (isPunct(t, u'('))
                open.push_back(t);
            else if (isPunct(t, u')') && !open.empty()) {
                m_closing[size_t(open.back())] = t;
                open.pop_back();
            }
        }
    }

    QString adapted()
    {
        for (qsizetype t = 0; t < size(); ++t) {
            if (m_tokens[size_t(t)].kind == Kind::Date)
                edit(t).replacement = isoOfDateLiteral(text(t).sliced(1, text(t).size() - 2));
            else if (isCallName(t) && isKeyword(text(t)))
                edit(t).replacement = QStringLiteral("bv_") + text(t).toString().toLower();
        }
        adaptJoins(0, size(), 0);
        if (m_edits.empty())
            return m_sql;
        QString out;
        out.reserve(m_sql.size() + m_sql.size() / 4);
        qsizetype from = 0;
        for (const auto &[t, e] : m_edits) {
            const Token &token = m_tokens[size_t(t)];
            qsizetype kept = token.begin;
            if (e.dropBlankGap && t > 0) {
                const qsizetype gap = m_tokens[size_t(t - 1)].end;
                if (QStringView(m_sql).sliced(gap, token.begin - gap).trimmed().isEmpty())
                    kept = gap;
            }
            out += QStringView(m_sql).sliced(from, kept - from);
            out += e.prefix;
            out += e.replacement.isNull() ? text(t) : QStringView(e.replacement);
            out += e.suffix;
            from = token.end;
        }
        out += QStringView(m_sql).sliced(from);
        return out;
    }

private:
    struct Edit {
        QString prefix, replacement, suffix;
        bool dropBlankGap = false;
    };
    // A token, or a parenthesised group from its ( to its ).
    struct Item {
        qsizetype first, last;
    };

    qsizetype size() const { return qsizetype(m_tokens.size()); }
    QStringView text(qsizetype t) const
    {
        const Token &token = m_tokens[size_t(t)];
        return QStringView(m_sql).sliced(token.begin, token.end - token.begin);
    }
    Edit &edit(qsizetype t) { return m_edits[t]; }
    bool isPunct(qsizetype t, QStringView punct) const
    {
        return m_tokens[size_t(t)].kind == Kind::Punct && text(t) == punct;
    }
    bool isPunct(qsizetype t, char16_t punct) const { return isPunct(t, QStringView(&punct, 1)); }
    bool isCallName(qsizetype t) const
    {
        return m_tokens[size_t(t)].kind == Kind::Word && t + 1 < size() && isPunct(t + 1, u'(')
            && (!isKeyword(text(t)) || text(t).compare(u"left", Qt::CaseInsensitive) == 0
                || text(t).compare(u"right", Qt::CaseInsensitive) == 0);
    }

    // Item predicates.
    bool isGroup(const Item &i) const { return i.first != i.last; }
    bool isPunct(const Item &i, QStringView punct) const { return !isGroup(i) && isPunct(i.first, punct); }
    bool isValue(const Item &i) const
    {
        if (isGroup(i))
            return false;
        const Kind kind = m_tokens[size_t(i.first)].kind;
        return kind == Kind::Name || kind == Kind::String || kind == Kind::Number || kind == Kind::Date
            || (kind == Kind::Word && !isKeyword(text(i.first)));
    }
    bool isName(const Item &i) const
    {
        return isValue(i)
            && (m_tokens[size_t(i.first)].kind == Kind::Word || m_tokens[size_t(i.first)].kind == Kind::Name);
    }
    bool endsOperand(const Item &i) const { return isGroup(i) || isValue(i); }
    bool isSign(const Item &i) const { return isPunct(i, u"-") || isPunct(i, u"+") || isPunct(i, u"~"); }
    bool isArithmetic(const Item &i) const
    {
        for (const char16_t *op : { u"+", u"-", u"*", u"/", u"\\", u"^", u"%", u"||" }) {
            if (isPunct(i, op))
                return true;
        }
        return !isGroup(i) && m_tokens[size_t(i.first)].kind == Kind::Word
            && text(i.first).compare(u"mod", Qt::CaseInsensitive) == 0;
    }

    std::vector<Item> itemsOf(qsizetype begin, qsizetype end) const
    {
        std::vector<Item> items;
        for (qsizetype t = begin; t < end;) {
            const qsizetype close = isPunct(t, u'(') ? m_closing[size_t(t)] : -1;
            const qsizetype last = close >= 0 && close < end ? close : t;
            items.push_back({ t, last });
            t = last + 1;
        }
        return items;
    }

    // The first item of the operand of & that ends at items[p], or -1 when none ends there. Jet's &
    // binds looser than arithmetic: an operand is values, groups and calls joined by arithmetic, with
    // their signs.
    qsizetype operandStart(const std::vector<Item> &items, qsizetype p, qsizetype low) const
    {
        for (;;) {
            if (p < low)
                return -1;
            if (isGroup(items[size_t(p)])) {
                --p;
                if (p >= low && !isGroup(items[size_t(p)]) && isCallName(items[size_t(p)].first))
                    --p;
            } else if (isValue(items[size_t(p)])) {
                for (--p; p - 1 >= low && isPunct(items[size_t(p)], u".") && isName(items[size_t(p - 1)]);)
                    p -= 2;
            } else {
                return -1;
            }
            const auto endsBefore
                = [&](qsizetype q) { return q - 1 >= low && endsOperand(items[size_t(q - 1)]); };
            while (p >= low && isSign(items[size_t(p)]) && !endsBefore(p))
                --p;
            if (p >= low && isArithmetic(items[size_t(p)]) && endsBefore(p)) {
                --p;
                continue;
            }
            return p + 1;
        }
    }

    // The last item of the operand of & that starts at items[p], or -1 when none starts there.
    qsizetype operandEnd(const std::vector<Item> &items, qsizetype p) const
    {
        const qsizetype high = qsizetype(items.size());
        for (;;) {
            while (p < high && isSign(items[size_t(p)]))
                ++p;
            if (p >= high)
                return -1;
            const Item &item = items[size_t(p)];
            if (isGroup(item)) {
                ++p;
            } else if (p + 1 < high && isCallName(item.first) && isGroup(items[size_t(p + 1)])) {
                p += 2;
            } else if (isValue(item)) {
                for (++p; p + 1 < high && isPunct(items[size_t(p)], u".") && isName(items[size_t(p + 1)]);)
                    p += 2;
            } else {
                return -1;
            }
            if (p < high && isArithmetic(items[size_t(p)])) {
                ++p;
                continue;
            }
            return p - 1;
        }
    }

    // Rewrites each chain a & b & c among the tokens [begin, end) as bv_join(a, b, c), groups first.
    // An & whose operands cannot be read becomes ||, the nearest SQLite has.
    void adaptJoins(qsizetype begin, qsizetype end, int depth)
    {
        if (depth > maxDepth) {
            for (qsizetype t = begin; t < end; ++t) {
                if (isPunct(t, u'&'))
                    edit(t).replacement = QStringLiteral("||");
            }
            return;
        }
        const std::vector<Item> items = itemsOf(begin, end);
        for (const Item &item : items) {
            if (isGroup(item))
                adaptJoins(item.first + 1, item.last, depth + 1);
        }
        const qsizetype count = qsizetype(items.size());
        qsizetype low = 0;
        for (qsizetype k = 0; k < count; ++k) {
            if (!isPunct(items[size_t(k)], u"&"))
                continue;
            const qsizetype start = operandStart(items, k - 1, low);
            std::vector<qsizetype> joins;
            qsizetype last = -1;
            for (qsizetype join = k; start >= 0;) {
                const qsizetype operandLast = operandEnd(items, join + 1);
                if (operandLast < 0)
                    break;
                joins.push_back(join);
                last = operandLast;
                if (last + 1 >= count || !isPunct(items[size_t(last + 1)], u"&"))
                    break;
                join = last + 1;
            }
            if (joins.empty()) {
                edit(items[size_t(k)].first).replacement = QStringLiteral("||");
                low = k + 1;
                continue;
            }
            edit(items[size_t(start)].first).prefix += QStringLiteral("bv_join(");
            for (const qsizetype join : joins) {
                Edit &e = edit(items[size_t(join)].first);
                e.replacement = QStringLiteral(",");
                e.dropBlankGap = true;
            }
            edit(items[size_t(last)].last).suffix += u')';
            low = last + 1;
            k = last;
        }
    }

    const QString &m_sql;
    std::vector<Token> m_tokens;
    std::map<qsizetype, Edit> m_edits; // by token, in order; most texts need none
    std::vector<qsizetype> m_closing;
};

// ---- the functions ----------------------------------------------------------------------------------

// The Jet name of the function being called, for its error messages.
QString nameOf(sqlite3_context *context)
{
    return QString::fromLatin1(static_cast<const char *>(sqlite3_user_data(context)));
}

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

QByteArrayView bytesOf(sqlite3_value *value)
{
    const auto *data = reinterpret_cast<const char *>(sqlite3_value_text(value));
    return { data, sqlite3_value_bytes(value) };
}

// A Double as CStr shows it: 15 significant digits, an exponent beyond them.
QByteArray textOfDouble(double value)
{
    if (value == 0)
        return "0"; // not "-0"
    return QByteArray::number(value, 'g', 15).toUpper();
}

// A value's text as Jet's string functions take it; whole Doubles without ".0".
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

// A value as an error message names it, text in quotes and cut short.
QString shown(sqlite3_value *value)
{
    QString text = QString::fromUtf8(textOf(value));
    if (text.size() > 40)
        text = text.left(37) + QStringLiteral("...");
    return sqlite3_value_type(value) == SQLITE_TEXT ? u'\'' + text + u'\'' : text;
}

// The number a value holds or its text reads as; false, after reporting it, for anything else.
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

// ---- Format -------------------------------------------------------------------------------------------

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

QString adaptJetSql(const QString &sql)
{
    return Adapter(sql).adapted();
}

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

} // namespace Brennvox10::data::sqlite

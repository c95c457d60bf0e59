// SPDX-License-Identifier: MIT
#include "sql/lexer/Lexer.h"

#include <QDate>
#include <QRegularExpression>

namespace Brennvox10::data::lexer {

namespace {

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

bool isSign(QChar c)
{
    return c == u'+' || c == u'-';
}

bool isExponent(QChar c)
{
    return c == u'e' || c == u'E';
}

} // namespace

bool Lexer::next(Token &token)
{
    if (m_at >= m_text.size())
        return false;
    token.begin = m_at;
    token.kind = scan();
    token.end = m_at;
    return true;
}

bool Lexer::isBlank(QChar c) const
{
    return c.isSpace() && (m_dialect != Dialect::Sqlite || c.unicode() < 0x80);
}

Kind Lexer::scan()
{
    const QChar c = m_text[m_at], d = at(m_at + 1);
    const bool postgres = m_dialect == Dialect::Postgres;
    if (isBlank(c)) {
        while (m_at < m_text.size() && isBlank(m_text[m_at]))
            ++m_at;
        return Kind::Space;
    }
    if (c == u'-' && d == u'-') {
        const qsizetype end = m_text.indexOf(u'\n', m_at);
        m_at = end < 0 ? m_text.size() : end;
        return Kind::Comment;
    }
    if (c == u'/' && d == u'*') {
        skipBlockComment();
        return Kind::Comment;
    }
    if (c == u'\'') {
        skipQuoted(m_at + 1, c, true, false);
        return Kind::String;
    }
    if (postgres && (c == u'e' || c == u'E') && d == u'\'') {
        skipQuoted(m_at + 2, u'\'', true, true);
        return Kind::String;
    }
    if (postgres && c == u'$' && skipDollarString())
        return Kind::String;
    if (c == u'"' || (!postgres && c == u'`')) {
        skipQuoted(m_at + 1, c, true, false);
        return Kind::Name;
    }
    if (!postgres && c == u'[') {
        skipQuoted(m_at + 1, u']', false, false);
        return Kind::Name;
    }
    if (m_dialect == Dialect::Jet && c == u'#' && skipDate())
        return Kind::Date;
    if (isDigit(c) || (c == u'.' && isDigit(d))) {
        skipNumber();
        return Kind::Number;
    }
    if (isWordStart(c)) {
        while (m_at < m_text.size() && isWordChar(m_text[m_at]))
            ++m_at;
        return Kind::Word;
    }
    m_at += (c == u'|' && d == u'|') || (c == u':' && d == u':') ? 2 : 1;
    return Kind::Punct;
}

// From `from` to past the closing character; a doubled one stands for itself, and with backslash
// a backslash escapes the character after it.
void Lexer::skipQuoted(qsizetype from, QChar close, bool doubled, bool backslash)
{
    const qsizetype n = m_text.size();
    for (m_at = from; m_at < n; ++m_at) {
        const QChar c = m_text[m_at];
        if (backslash && c == u'\\') {
            ++m_at;
            continue;
        }
        if (c != close)
            continue;
        if (!doubled || at(m_at + 1) != close) {
            ++m_at;
            return;
        }
        ++m_at;
    }
    m_at = n;
}

void Lexer::skipBlockComment()
{
    const qsizetype n = m_text.size();
    if (m_dialect != Dialect::Postgres) {
        const qsizetype end = m_text.indexOf(u"*/", m_at + 2);
        m_at = end < 0 ? n : end + 2;
        return;
    }
    // PostgreSQL's comments nest.
    int depth = 0;
    while (m_at < n) {
        if (m_text[m_at] == u'/' && at(m_at + 1) == u'*') {
            ++depth;
            m_at += 2;
        } else if (m_text[m_at] == u'*' && at(m_at + 1) == u'/') {
            m_at += 2;
            if (--depth == 0)
                return;
        } else {
            ++m_at;
        }
    }
}

// $tag$ ... $tag$, the tag empty or a word; false, having read nothing, for a $ that opens none.
bool Lexer::skipDollarString()
{
    const qsizetype n = m_text.size();
    if (at(m_at + 1) != u'$' && !isWordStart(at(m_at + 1)))
        return false;
    qsizetype j = m_at + 1;
    while (j < n && m_text[j] != u'$' && isWordChar(m_text[j]))
        ++j;
    if (j >= n || m_text[j] != u'$')
        return false;
    const QStringView tag = m_text.sliced(m_at, j - m_at + 1);
    const qsizetype close = m_text.indexOf(tag, j + 1);
    m_at = close < 0 ? n : close + tag.size();
    return true;
}

// A date literal holds digits, separators, blanks and AM/PM only, and must read as a real date.
bool Lexer::skipDate()
{
    const auto inLiteral
        = [](QChar d) { return d.isLetterOrNumber() || d == u' ' || QStringView(u"/-:.").contains(d); };
    qsizetype close = m_at + 1;
    while (close < m_text.size() && inLiteral(m_text[close]))
        ++close;
    if (close >= m_text.size() || m_text[close] != u'#'
        || isoOfJetDate(m_text.sliced(m_at + 1, close - m_at - 1)).isNull())
        return false;
    m_at = close + 1;
    return true;
}

// Digits and what a number may carry: a point, an exponent's sign, and letters (a hexadecimal
// number, or junk the server will refuse). PostgreSQL's reading stops at _ and $.
void Lexer::skipNumber()
{
    const qsizetype n = m_text.size();
    if (m_dialect == Dialect::Postgres) {
        for (++m_at; m_at < n; ++m_at) {
            const QChar d = m_text[m_at];
            if (!d.isLetterOrNumber() && d != u'.' && !(isSign(d) && isExponent(m_text[m_at - 1])))
                return;
        }
        return;
    }
    const bool hex = m_text[m_at] == u'0' && (at(m_at + 1) == u'x' || at(m_at + 1) == u'X');
    for (++m_at; m_at < n; ++m_at) {
        const QChar d = m_text[m_at];
        if (!isWordChar(d) && d != u'.' && !(isSign(d) && !hex && isExponent(m_text[m_at - 1])))
            return;
    }
}

std::vector<Token> tokenize(QStringView text, Dialect dialect)
{
    std::vector<Token> tokens;
    Lexer lexer(text, dialect);
    for (Token token; lexer.next(token);)
        tokens.push_back(token);
    return tokens;
}

std::vector<Token> significantTokens(QStringView text, Dialect dialect)
{
    std::vector<Token> tokens;
    Lexer lexer(text, dialect);
    for (Token token; lexer.next(token);) {
        if (!token.isTrivia())
            tokens.push_back(token);
    }
    return tokens;
}

std::vector<qsizetype> matchParentheses(QStringView text, const std::vector<Token> &tokens)
{
    std::vector<qsizetype> match(tokens.size(), -1);
    std::vector<qsizetype> open;
    const auto is = [&](size_t t, QChar c) {
        return tokens[t].kind == Kind::Punct && tokens[t].end - tokens[t].begin == 1
            && text[tokens[t].begin] == c;
    };
    for (size_t t = 0; t < tokens.size(); ++t) {
        if (is(t, u'(')) {
            open.push_back(qsizetype(t));
        } else if (is(t, u')') && !open.empty()) {
            match[t] = open.back();
            match[size_t(open.back())] = qsizetype(t);
            open.pop_back();
        }
    }
    return match;
}

QString isoOfJetDate(QStringView body)
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

} // namespace Brennvox10::data::lexer

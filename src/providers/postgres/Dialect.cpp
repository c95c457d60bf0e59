// SPDX-License-Identifier: MIT
#include "providers/postgres/Dialect.h"

#include "sql/lexer/Lexer.h"

#include <algorithm>
#include <vector>

namespace Brennvox10::data::postgres {

namespace {

using lexer::Kind;
using lexer::Token;

class Adapter {
public:
    explicit Adapter(const QString &sql)
        : m_sql(sql)
        , m_tokens(lexer::significantTokens(sql, lexer::Dialect::Postgres))
        , m_match(lexer::matchParentheses(sql, m_tokens))
    {
    }

    QString run()
    {
        for (qsizetype t = 0; t < count(); ++t) {
            if (isPunct(t, u'(') && opensUnnamedSubquery(t)) {
                // ")where" is one token to SQLite's taste, not to a name's.
                const qsizetype after = m_tokens[size_t(m_match[size_t(t)])].end;
                const bool glued = after < m_sql.size() && !m_sql[after].isSpace();
                insert(after, QStringLiteral(" AS bv_derived%1%2").arg(++m_derived).arg(glued ? QStringLiteral(" ") : QString()));
            }
            if (isWord(t, "like") || isWord(t, "ilike"))
                castLikeOperands(t);
        }
        if (m_inserts.empty())
            return m_sql;
        // One pass front to back; the inserts at one position keep the order they were made in.
        std::stable_sort(m_inserts.begin(), m_inserts.end(),
            [](const auto &a, const auto &b) { return a.first < b.first; });
        QString result;
        qsizetype copied = 0;
        for (const auto &[position, text] : m_inserts) {
            result += QStringView(m_sql).sliced(copied, position - copied);
            result += text;
            copied = position;
        }
        result += QStringView(m_sql).sliced(copied);
        return result;
    }

private:
    qsizetype count() const { return qsizetype(m_tokens.size()); }
    QStringView text(qsizetype t) const
    {
        const Token &token = m_tokens[size_t(t)];
        return QStringView(m_sql).sliced(token.begin, token.end - token.begin);
    }
    bool isPunct(qsizetype t, QChar c) const
    {
        return t >= 0 && t < count() && m_tokens[size_t(t)].kind == Kind::Punct && text(t) == c;
    }
    bool isWord(qsizetype t, const char *word) const
    {
        return t >= 0 && t < count() && m_tokens[size_t(t)].kind == Kind::Word
            && text(t).compare(QLatin1String(word), Qt::CaseInsensitive) == 0;
    }
    bool isAnyWord(qsizetype t, std::initializer_list<const char *> words) const
    {
        return std::any_of(words.begin(), words.end(), [&](const char *w) { return isWord(t, w); });
    }

    // "(" of a SELECT, WITH or VALUES right after FROM, JOIN or a FROM list's comma, whose ")" is not
    // followed by a name.
    bool opensUnnamedSubquery(qsizetype t) const
    {
        const qsizetype close = m_match[size_t(t)];
        if (close < 0 || !isAnyWord(t + 1, { "select", "with", "values" }))
            return false;
        if (!isAnyWord(t - 1, { "from", "join" }) && !(isPunct(t - 1, u',') && inFromList(t - 1)))
            return false;
        const qsizetype next = close + 1;
        if (next >= count())
            return true;
        if (m_tokens[size_t(next)].kind == Kind::Name)
            return false;
        if (m_tokens[size_t(next)].kind == Kind::Punct)
            return !isPunct(next, u'(') && !isPunct(next, u'.');
        return isAnyWord(next,
            { "where", "group", "having", "order", "limit", "offset", "union", "intersect", "except", "join",
                "inner", "left", "right", "full", "cross", "natural", "on", "using", "window", "fetch", "for" });
    }

    // Whether the comma at t separates the items of a FROM clause: the nearest clause word before it
    // at the same depth is FROM.
    bool inFromList(qsizetype t) const
    {
        int depth = 0;
        for (qsizetype k = t - 1; k >= 0; --k) {
            if (isPunct(k, u')'))
                ++depth;
            else if (isPunct(k, u'(') && depth-- == 0)
                return false;
            else if (depth == 0 && isWord(k, "from"))
                return true;
            else if (depth == 0 && isAnyWord(k, { "select", "where", "group", "order", "having", "set", "values" }))
                return false;
        }
        return false;
    }

    // Words that end or start an expression rather than name a value: casting them alone would break
    // the text, so an operand ending or starting with one is left as it is.
    bool isReservedOperand(qsizetype t) const
    {
        return isAnyWord(t,
            { "end", "null", "true", "false", "not", "and", "or", "when", "then", "else", "case", "select",
                "where", "escape", "like", "ilike", "distinct", "all", "any", "some", "array", "interval",
                "date", "timestamp", "time" });
    }

    // The first token of the operand that ends at token t, or -1 when it is not one we can name.
    qsizetype operandStart(qsizetype t) const
    {
        if (t < 0)
            return -1;
        qsizetype start = t;
        if (isPunct(t, u')')) {
            start = m_match[size_t(t)];
            if (start < 0)
                return -1;
            // A call: f(...), schema.f(...) or CAST(...).
            if (start > 0 && m_tokens[size_t(start - 1)].kind == Kind::Word && !isReservedOperand(start - 1)
                && !isAnyWord(start - 1, { "in", "exists", "from", "join", "on" }))
                --start;
        } else if (m_tokens[size_t(t)].kind == Kind::Word || m_tokens[size_t(t)].kind == Kind::Name) {
            if (isReservedOperand(t))
                return -1;
        } else if (m_tokens[size_t(t)].kind != Kind::Number) {
            return -1;
        }
        while (start >= 2 && isPunct(start - 1, u'.')
            && (m_tokens[size_t(start - 2)].kind == Kind::Word
                || m_tokens[size_t(start - 2)].kind == Kind::Name))
            start -= 2;
        // x::type, -x, a + x: the operand is only part of an expression we do not parse; leave it.
        if (start > 0 && m_tokens[size_t(start - 1)].kind == Kind::Punct && !isPunct(start - 1, u'(')
            && !isPunct(start - 1, u','))
            return -1;
        return start;
    }

    // The last token of the operand that starts at token t, or -1.
    qsizetype operandEnd(qsizetype t) const
    {
        if (t >= count())
            return -1;
        qsizetype end = t;
        const Kind kind = m_tokens[size_t(t)].kind;
        if (isPunct(t, u'(')) {
            end = m_match[size_t(t)];
        } else if (kind == Kind::Word || kind == Kind::Name) {
            if (isReservedOperand(t))
                return -1;
            while (isPunct(end + 1, u'.')
                && end + 2 < count()
                && (m_tokens[size_t(end + 2)].kind == Kind::Word
                    || m_tokens[size_t(end + 2)].kind == Kind::Name))
                end += 2;
            if (isPunct(end + 1, u'('))
                end = m_match[size_t(end + 1)];
        } else if (kind != Kind::Number) {
            return -1;
        }
        if (end < 0)
            return -1;
        // A longer expression (x || y, x::type, x + 1): leave it.
        if (end + 1 < count() && m_tokens[size_t(end + 1)].kind == Kind::Punct && !isPunct(end + 1, u')')
            && !isPunct(end + 1, u',') && !isPunct(end + 1, u';'))
            return -1;
        return end;
    }

    void castToText(qsizetype first, qsizetype last)
    {
        insert(m_tokens[size_t(first)].begin, QStringLiteral("CAST("));
        insert(m_tokens[size_t(last)].end, QStringLiteral(" AS text)"));
    }

    void castLikeOperands(qsizetype like)
    {
        const qsizetype leftEnd = isWord(like - 1, "not") ? like - 2 : like - 1;
        const qsizetype leftStart = operandStart(leftEnd);
        if (leftStart >= 0)
            castToText(leftStart, leftEnd);
        const qsizetype rightEnd = operandEnd(like + 1);
        if (rightEnd >= 0)
            castToText(like + 1, rightEnd);
    }

    void insert(qsizetype position, QString text) { m_inserts.emplace_back(position, std::move(text)); }

    const QString &m_sql;
    std::vector<Token> m_tokens;
    std::vector<qsizetype> m_match;
    std::vector<std::pair<qsizetype, QString>> m_inserts;
    int m_derived = 0;
};

} // namespace

QString adaptForPostgres(const QString &sql)
{
    return Adapter(sql).run();
}

} // namespace Brennvox10::data::postgres

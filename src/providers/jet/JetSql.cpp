// SPDX-License-Identifier: MIT
#include "providers/jet/JetSql.h"

#include "sql/lexer/Lexer.h"

#include <map>
#include <vector>

namespace Brennvox10::data::jet {

namespace {

using lexer::Kind;
using lexer::Token;

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
        , m_tokens(lexer::significantTokens(sql, lexer::Dialect::Jet))
        , m_closing(lexer::matchParentheses(sql, m_tokens))
    {
    }

    QString adapted()
    {
        for (qsizetype t = 0; t < size(); ++t) {
            if (m_tokens[size_t(t)].kind == Kind::Date)
                edit(t).replacement = lexer::isoOfJetDate(text(t).sliced(1, text(t).size() - 2));
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

} // namespace

QString adaptJetSql(const QString &sql)
{
    return Adapter(sql).adapted();
}

} // namespace Brennvox10::data::jet

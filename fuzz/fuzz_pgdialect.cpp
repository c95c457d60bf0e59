// SPDX-License-Identifier: MIT
// The text adapted for PostgreSQL from any text (UTF-8, invalid bytes included): it is the input with
// only the adapter's own pieces put in, casts come in pairs, and parentheses stay balanced.
#include "providers/postgres/Dialect.h"

#include <cstdint>
#include <cstdlib>
#include <unordered_set>
#include <vector>

namespace {

// Whether out is in with pieces put in between its tokens: " AS bv_derivedN" after a ")" (with a
// blank when glued to what follows), "CAST(" and " AS text)", never inside a word or number. A search
// over (read of in, read of out), since a piece may look like the input around it; each pair is
// tried once.
bool onlyInsertions(const QString &in, const QString &out)
{
    const qsizetype n = in.size(), m = out.size();
    std::vector<std::pair<qsizetype, qsizetype>> todo { { 0, 0 } };
    std::unordered_set<quint64> seen;
    while (!todo.empty()) {
        auto [i, j] = todo.back();
        todo.pop_back();
        // Where no piece can start there is nothing to choose: match the input as far as it goes.
        while (j < m && out[j] != u' ' && out[j] != u'C' && i < n && in[i] == out[j])
            ++i, ++j;
        if (!seen.insert(quint64(i) << 32 | quint64(j)).second)
            continue;
        const QStringView rest = QStringView(out).sliced(j);
        const bool between = i == 0 || i == n || !in[i - 1].isLetterOrNumber() || !in[i].isLetterOrNumber();
        if (between && rest.startsWith(u"CAST("))
            todo.emplace_back(i, j + 5);
        if (between && rest.startsWith(u" AS text)"))
            todo.emplace_back(i, j + 9);
        if (between && j > 0 && out[j - 1] == u')' && rest.startsWith(u" AS bv_derived")) {
            qsizetype k = j + 14;
            while (k < m && out[k] >= u'0' && out[k] <= u'9')
                ++k;
            if (k > j + 14) {
                todo.emplace_back(i, k);
                if (k < m && out[k] == u' ')
                    todo.emplace_back(i, k + 1);
            }
        }
        if (i == n && j == m)
            return true;
        if (i < n && j < m && in[i] == out[j])
            todo.emplace_back(i + 1, j + 1);
    }
    return false;
}

bool balanced(const QString &s)
{
    qsizetype depth = 0;
    for (QChar c : s) {
        depth += c == u'(' ? 1 : c == u')' ? -1 : 0;
        if (depth < 0)
            return false;
    }
    return depth == 0;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    using Brennvox10::data::postgres::adaptForPostgres;
    const QString in = QString::fromUtf8(reinterpret_cast<const char *>(data), qsizetype(size));
    const QString out = adaptForPostgres(in);
    if (adaptForPostgres(in) != out)
        std::abort(); // the same text adapts the same way
    if (!in.contains(u'(') && !in.contains(QLatin1String("like"), Qt::CaseInsensitive) && out != in)
        std::abort(); // nothing to name and nothing to cast
    if (!onlyInsertions(in, out))
        std::abort(); // a character of the input was lost or changed, or something else put in
    if (out.count(QLatin1String("CAST(")) - in.count(QLatin1String("CAST("))
        != out.count(QLatin1String(" AS text)")) - in.count(QLatin1String(" AS text)")))
        std::abort(); // a cast opened without its close, or the other way
    if (balanced(in) && !balanced(out))
        std::abort();
    return 0;
}

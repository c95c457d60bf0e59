// SPDX-License-Identifier: MIT
// Jet SQL adapted for SQLite from any text (UTF-8, invalid bytes included): text with nothing of Jet's
// own comes back as it is, a string literal is never touched, and what the rewrites put in pairs up.
//
// Input: the text. Where it holds a \x01, the part before it (without quotes, brackets and comment
// marks) is followed by the part after it as a string literal, then by the whole text again.
#include "providers/jet/JetSql.h"

#include <cstdint>
#include <cstdlib>

namespace {

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
    using Brennvox10::data::jet::adaptJetSql;
    const QByteArray bytes = QByteArray::fromRawData(reinterpret_cast<const char *>(data), qsizetype(size));
    const QString in = QString::fromUtf8(bytes);
    const QString out = adaptJetSql(in);
    if (adaptJetSql(in) != out)
        std::abort(); // the same text adapts the same way
    if (!in.contains(u'&') && !in.contains(u'#') && !in.contains(QLatin1String("left"), Qt::CaseInsensitive)
        && !in.contains(QLatin1String("right"), Qt::CaseInsensitive) && out != in)
        std::abort(); // nothing of Jet's own to rewrite
    // Each date literal drops its two #s for two quotes; nothing else adds or drops either.
    if (out.count(u'\'') - in.count(u'\'') != in.count(u'#') - out.count(u'#'))
        std::abort();
    // bv_join( ... ) wraps whole operands, whose parentheses pair up.
    if (out.count(u'(') - in.count(u'(') != out.count(u')') - in.count(u')')
        || (balanced(in) && !balanced(out)))
        std::abort();

    const qsizetype cut = bytes.indexOf('\x01');
    if (cut < 0)
        return 0;
    QString before = QString::fromUtf8(bytes.first(cut));
    before.removeIf([](QChar c) { return QStringView(u"'\"`[-*").contains(c); });
    const QString literal
        = u'\'' + QString::fromUtf8(bytes.sliced(cut + 1)).replace(u'\'', QLatin1String("''")) + u'\'';
    if (!adaptJetSql(before + u' ' + literal + u' ' + in).contains(literal))
        std::abort(); // the string literal was rewritten
    return 0;
}

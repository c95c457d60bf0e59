// SPDX-License-Identifier: MIT
#include "sql/cursor/ConnectionText.h"

namespace Brennvox10::data {

ConnectionText ConnectionText::parse(const QString &text)
{
    ConnectionText result;
    const qsizetype n = text.size();
    qsizetype i = 0;
    while (i < n) {
        qsizetype j = i;
        while (j < n && text[j] != u';' && text[j] != u'=')
            ++j;
        if (j >= n || text[j] == u';') {
            // A piece without '=' carries no pair.
            i = j + 1;
            continue;
        }
        const QString key = text.sliced(i, j - i).trimmed().toLower();
        i = j + 1;
        while (i < n && text[i] != u';' && text[i].isSpace())
            ++i;
        QString value;
        if (i < n && (text[i] == u'\'' || text[i] == u'"')) {
            const QChar quote = text[i++];
            while (i < n) {
                if (text[i] == quote) {
                    if (i + 1 < n && text[i + 1] == quote) {
                        value += quote;
                        i += 2;
                        continue;
                    }
                    ++i;
                    break;
                }
                value += text[i++];
            }
            // Whatever follows the closing quote up to the separator belongs to no value.
            while (i < n && text[i] != u';')
                ++i;
        } else {
            qsizetype end = i;
            while (end < n && text[end] != u';')
                ++end;
            value = text.sliced(i, end - i).trimmed();
            i = end;
        }
        ++i;
        if (!key.isEmpty())
            result.values.insert(key, value);
    }
    return result;
}

QString ConnectionText::value(const QString &key) const
{
    return values.value(key.trimmed().toLower());
}

QString ConnectionText::provider() const
{
    const QString name = value(QStringLiteral("provider")).trimmed().toLower();
    return name.isEmpty() ? QStringLiteral("sqlite") : name;
}

QString ConnectionText::dataSource() const
{
    return value(QStringLiteral("data source"));
}

QString ConnectionText::password() const
{
    return value(QStringLiteral("jet oledb:database password"));
}

} // namespace Brennvox10::data

// SPDX-License-Identifier: MIT
// The connection text as a host writes it: any text parses, and what it gives stays within it.
#include "recordset/Recordset.h"

#include <QString>

#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    using namespace Brennvox10::data;
    const QString text = QString::fromUtf8(reinterpret_cast<const char *>(data), qsizetype(size));
    const ConnectionText c = ConnectionText::parse(text);
    const qsizetype given = text.size();
    for (const QString &v : { c.dataSource(), c.password(), c.value(QStringLiteral("command timeout")) })
        if (v.size() > given)
            std::abort(); // a value longer than the text it came from
    if (c.provider().isEmpty() || c.provider() != c.provider().toLower())
        std::abort(); // no provider means SQLite, and names compare lower-cased
    for (auto it = c.values.cbegin(); it != c.values.cend(); ++it)
        if (it.key() != it.key().trimmed().toLower())
            std::abort(); // keys are kept lower-cased and trimmed
    return 0;
}

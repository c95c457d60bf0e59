// SPDX-License-Identifier: MIT
// A list definition file as it comes from disk: any bytes load or are refused with a reason, every
// node of what loads can be walked, and changing an attribute in place either refuses or leaves a
// file that loads again with the new value.
#include <Brennvox10/Failure.h>
#include <Brennvox10/XmlDocument.h>

#include <QCoreApplication>
#include <QDir>
#include <QFile>

#include <cstdlib>
#include <functional>
#include <unistd.h>

namespace {

QString scratch()
{
    static const QString path = QDir::temp().filePath(QStringLiteral("fuzz_definition_%1.conf").arg(::getpid()));
    return path;
}

void walk(const Brennvox10::xml::Node &node, int depth)
{
    if (depth > 64)
        return;
    (void)node.name();
    for (const char *a : { "Key", "ListSQLSource", "ListMaxLineas", "ColWidth", "tabSQLSource", "fltName" })
        (void)node.attribute(QLatin1String(a));
    for (const Brennvox10::xml::Node &child : node.childNodes())
        walk(child, depth + 1);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    using namespace Brennvox10;
    {
        QFile f(scratch());
        if (!f.open(QIODevice::WriteOnly | QIODevice::Truncate))
            return 0;
        f.write(reinterpret_cast<const char *>(data), qint64(size));
    }
    xml::Document doc;
    if (!doc.load(scratch())) {
        if (doc.errorText().isEmpty())
            std::abort(); // refused without a reason
        return 0;
    }
    const xml::Node root = doc.firstChild();
    if (root.isNull())
        return 0;
    walk(root, 0);
    (void)root.xml();
    if (!root.attribute(QStringLiteral("ListMaxLineas")))
        return 0;
    try {
        root.setAttribute(QStringLiteral("ListMaxLineas"), QStringLiteral("250"));
    } catch (const Failure &) {
        return 0; // refused: the file must be as it was, which the next load checks by parsing
    }
    xml::Document again;
    if (!again.load(scratch()) || again.firstChild().attribute(QStringLiteral("ListMaxLineas")) != QStringLiteral("250"))
        std::abort(); // the edit broke the file or lost the value
    return 0;
}

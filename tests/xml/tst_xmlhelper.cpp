// SPDX-License-Identifier: MIT
// The list definition's XML access: loading rules, node lookup, and writing one attribute back to
// the file without disturbing anything else in it; and the text-to-number conversions its values go
// through.

#include "core/Conversions.h"
#include "xml/XmlHelper.h"
#include "support/FailureOf.h"
#include "support/Fixtures.h"
#include "support/Rows.h"

#include <QStringEncoder>
#include <QTemporaryDir>
#include <QtTest>

using namespace Brennvox10;
using namespace Qt::StringLiterals;

namespace {
// Comments, spacing and both kinds of quotes, all of which an edit must leave alone.
const QByteArray Definition = "<?xml version=\"1.0\"?>\n<!-- facturas del mes -->\n"
                              "<lrfmt Caption='Facturas'   Key=\"id\" ListMaxLineas=\"1000\" "
                              "ListSQLSource=\"select * from f where a &lt; 3\">\n"
                              "  <Columns>\n    <!-- importe -->\n    <c ColWidth=\"25\"/>\n  </Columns>\n"
                              "  <Tabs/>\n</lrfmt>\n";

xml::Node firstColumn(const xml::Document &doc)
{
    return childNodesOf(xmlHelper().FindNode(u"Columns"_s, childNodesOf(doc.firstChild()))).front();
}
} // namespace

class tst_XmlHelper : public QObject {
    Q_OBJECT

    QTemporaryDir dir;

private Q_SLOTS:
    // A file that cannot be read as a definition (these bytes in d.conf, or the path given) is refused, and
    // errorText says why; the same document then loads a good one.
    void loadRefusals_data()
    {
        columns<QByteArray, QString>("bytes", "path");
        QTest::newRow("not well formed") << QByteArray("<lrfmt><Columns></lrfmt>") << "";
        QTest::newRow("repeated attribute") << QByteArray("<lrfmt Key=\"a\" Key=\"b\"/>") << "";
        QTest::newRow("repeated attribute deep")
            << QByteArray("<lrfmt><Columns><c w=\"1\" w=\"2\"/></Columns></lrfmt>") << "";
        QTest::newRow("invalid utf-8") << QByteArray("<lrfmt Caption=\"\xC3\x28\"/>") << "";
        QTest::newRow("empty") << QByteArray() << "";
        QTest::newRow("too big") << "<lrfmt Caption=\"" + QByteArray(xml::Document::MaxFileSize, 'x') + "\"/>" << "";
        QTest::newRow("missing") << QByteArray() << "none.conf";
        QTest::newRow("folder") << QByteArray() << ".";
    }
    void loadRefusals()
    {
        const auto [bytes, path] = fetch<QByteArray, QString>("bytes", "path");
        xml::Document doc;
        QVERIFY(!doc.load(path.isEmpty() ? writeBytes(dir.filePath(u"d.conf"_s), bytes) : dir.filePath(path)));
        QVERIFY(!doc.errorText().isEmpty());
        QVERIFY(doc.load(writeBytes(dir.filePath(u"d.conf"_s), Definition)) && doc.errorText().isEmpty());
    }

    void lookupsAndMissingNodes()
    {
        xml::Document doc;
        QVERIFY(doc.load(writeBytes(dir.filePath(u"d.conf"_s), Definition)));
        XmlHelper &h = xmlHelper();
        const xml::Node lrfmt = h.FindNode(u"lrfmt"_s, doc.childNodes());
        QCOMPARE((QStringList { h.GetAttribute(lrfmt, u"Caption"_s),
                     h.GetAttribute(lrfmt, u"ListSQLSource"_s), h.GetAttribute(lrfmt, u"Nothing"_s) }),
            (QStringList { "Facturas", "select * from f where a < 3", "" }));
        // Comments are not columns.
        QCOMPARE(childNodesOf(h.FindNode(u"Columns"_s, childNodesOf(lrfmt))).size(), size_t(1));
        QCOMPARE(xmlOf(h.FindNode(u"Tabs"_s, childNodesOf(lrfmt))), u"<Tabs/>"_s);
        // A missing element is an empty node; every use of it is Failure 91.
        const xml::Node filters = h.FindNode(u"Filters"_s, childNodesOf(lrfmt));
        QVERIFY(filters.isNull());
        const std::function<void()> uses[]
            = { [&] { h.GetAttribute(filters, u"x"_s); }, [&] { h.SetAttribute(u"x"_s, QString(), filters); },
                  [&] { childNodesOf(filters); }, [&] { parentOf(filters); }, [&] { xmlOf(filters); } };
        for (const auto &use : uses)
            QCOMPARE(failureOf(use).number(), FailureNumber::ObjectNotSet);
    }

    // An edit of the root, then one of the column after it, which the first moved: each writes through
    // to the file, changes only its value's bytes however the file quotes or encodes them, and keeps the
    // file's permissions.
    void setAttributeChangesOnlyThatValue_data()
    {
        // The file is Definition, in UTF-16 after a BOM FF FE, else UTF-8. The attribute is the root's; the
        // column's ColWidth becomes 30. Meanwhile: another writer's file after the load. Expected: in UTF-8.
        columns<QByteArray, QString, QString, QByteArray, QByteArray>(
            "bom", "attribute", "value", "meanwhile", "expected");
        const auto edited = [](const char *from, const char *to) {
            return QByteArray(Definition).replace(from, to).replace("ColWidth=\"25\"", "ColWidth=\"30\"");
        };
        const QByteArray none, utf8, pedidos = QByteArray(Definition).replace("Facturas", "Pedidos");
        // clang-format off
        QTest::newRow("double quoted") << utf8 << "ListMaxLineas" << "250" << none
            << edited("ListMaxLineas=\"1000\"", "ListMaxLineas=\"250\"");
        QTest::newRow("empty") << utf8 << "ListMaxLineas" << "" << none
            << edited("ListMaxLineas=\"1000\"", "ListMaxLineas=\"\"");
        QTest::newRow("single quoted with quote") << utf8 << "Caption" << "O'Brien & \"hijos\"" << none
            << edited("Caption='Facturas'", "Caption='O&apos;Brien &amp; \"hijos\"'");
        QTest::newRow("not ascii") << utf8 << "Caption" << "Facturas emitidas en el año" << none
            << edited("Caption='Facturas'", "Caption='Facturas emitidas en el a\xC3\xB1o'");
        QTest::newRow("missing attribute is added") << utf8 << "Extra" << "1" << none
            << edited("a &lt; 3\">", "a &lt; 3\" Extra=\"1\">");
        QTest::newRow("utf-8 with bom") << QByteArray("\xEF\xBB\xBF") << "Caption" << "Año" << none
            << edited("Caption='Facturas'", "Caption='A\xC3\xB1o'");
        QTest::newRow("utf-16") << QByteArray("\xFF\xFE") << "Caption" << "Año" << none
            << edited("Caption='Facturas'", "Caption='A\xC3\xB1o'");
        // Both edits are refused; the other writer's change survives and the loaded tree is as it was.
        QTest::newRow("changed since the load") << utf8 << "ListMaxLineas" << "5" << pedidos << pedidos;
        QTest::newRow("added after a change") << utf8 << "Extra" << "1" << pedidos << pedidos;
        // clang-format on
    }
    void setAttributeChangesOnlyThatValue()
    {
        QFETCH(QByteArray, bom);
        QFETCH(QString, attribute);
        QFETCH(QString, value);
        QFETCH(QByteArray, meanwhile);
        QFETCH(QByteArray, expected);
        const auto encoded = [&](const QByteArray &text) {
            return bom
                + (bom == "\xFF\xFE"
                        ? QByteArray(QStringEncoder(QStringEncoder::Utf16LE).encode(QString::fromUtf8(text)))
                        : text);
        };
        const QString path = writeBytes(dir.filePath(u"d.conf"_s), encoded(Definition));
        QFile::setPermissions(path, QFile::ReadOwner | QFile::WriteOwner | QFile::ReadGroup);
        const QFile::Permissions before = QFile::permissions(path);
        xml::Document doc;
        QVERIFY(doc.load(path) && doc.errorText().isEmpty());
        const QString loaded = doc.firstChild().xml();
        if (!meanwhile.isEmpty())
            writeBytes(path, encoded(meanwhile));
        const int refused = meanwhile.isEmpty() ? 0 : FailureNumber::PathFileAccessError;
        XmlHelper &h = xmlHelper();
        QCOMPARE((QList<int> { failureOf([&] { h.SetAttribute(attribute, value, doc.firstChild()); }).number(),
                     failureOf([&] { h.SetAttribute(u"ColWidth"_s, u"30"_s, firstColumn(doc)); }).number() }),
            QList<int>(2, refused));
        QCOMPARE(readBytes(path), encoded(expected));
        QCOMPARE(QFile::permissions(path), before);
        if (refused)
            QCOMPARE(doc.firstChild().xml(), loaded);
        xml::Document again;
        QVERIFY(again.load(path));
        if (!refused)
            QCOMPARE((QStringList { h.GetAttribute(again.firstChild(), attribute),
                         h.GetAttribute(firstColumn(again), u"ColWidth"_s) }),
                (QStringList { value, u"30"_s }));
    }

    void wholeNumbers_data()
    {
        using namespace FailureNumber;
        // Bits: 32 for toLong, 16 for toInteger; failure 0 for none.
        columns<QString, QString, int, qint64, int>("text", "locale", "bits", "expected", "failure");
        // clang-format off
        QTest::newRow("plain") << "1000" << "es_ES" << 32 << qint64(1000) << 0;
        QTest::newRow("blanks") << " 42 " << "en_US" << 32 << qint64(42) << 0;
        QTest::newRow("half to even down") << "2,5" << "es_ES" << 32 << qint64(2) << 0;
        QTest::newRow("half to even up") << "3,5" << "es_ES" << 16 << qint64(4) << 0;
        QTest::newRow("english fraction") << "2.6" << "en_US" << 32 << qint64(3) << 0;
        QTest::newRow("invariant form elsewhere") << "2.5" << "es_ES" << 32 << qint64(2) << 0;
        QTest::newRow("negative") << "-7" << "es_ES" << 16 << qint64(-7) << 0;
        QTest::newRow("largest long") << "2147483647" << "en_US" << 32 << qint64(2147483647) << 0;
        QTest::newRow("beyond a short") << "40000" << "en_US" << 32 << qint64(40000) << 0;
        QTest::newRow("not a number") << "abc" << "es_ES" << 32 << qint64(0) << TypeMismatch;
        QTest::newRow("empty") << "" << "es_ES" << 16 << qint64(0) << TypeMismatch;
        QTest::newRow("long overflow") << "3000000000" << "en_US" << 32 << qint64(0) << Overflow;
        QTest::newRow("short overflow") << "40000" << "en_US" << 16 << qint64(0) << Overflow;
        // clang-format on
    }
    void wholeNumbers()
    {
        QFETCH(QString, text);
        QFETCH(QString, locale);
        QFETCH(int, bits);
        qint64 value = 0;
        const Failure failure = failureOf(
            [&] { value = bits == 16 ? toInteger(text, QLocale(locale)) : toLong(text, QLocale(locale)); });
        QTEST(failure.number(), "failure");
        QTEST(value, "expected");
    }
};

QTEST_GUILESS_MAIN(tst_XmlHelper)
#include "tst_xmlhelper.moc"

// The list definition's XML access: loading rules, node lookup, and writing one attribute back to
// the file without disturbing anything else in it; and the text-to-number conversions its values go
// through.

#include "common/Conversions.h"
#include "common/XmlHelper.h"
#include "support/FailureOf.h"
#include "support/Fixtures.h"

#include <QStringEncoder>
#include <QTemporaryDir>
#include <QtTest>

using namespace Brennvox10;

namespace {
const QByteArray Definition = "<?xml version=\"1.0\"?>\n"
                              "<!-- facturas del mes -->\n"
                              "<lrfmt Caption='Facturas'   Key=\"id\" ListMaxLineas=\"1000\" "
                              "ListSQLSource=\"select * from f where a &lt; 3\">\n"
                              "  <Columns>\n"
                              "    <!-- importe -->\n"
                              "    <c ColWidth=\"25\"/>\n"
                              "  </Columns>\n"
                              "  <Tabs/>\n"
                              "</lrfmt>\n";

QByteArray utf16(const QString &text)
{
    QStringEncoder encoder(QStringEncoder::Utf16LE);
    return QByteArray("\xFF\xFE") + QByteArray(encoder.encode(text));
}
} // namespace

class tst_XmlHelper : public QObject {
    Q_OBJECT

    QTemporaryDir dir;

    QString definitionFile(const QByteArray &bytes = Definition)
    {
        return writeBytes(dir.filePath(QStringLiteral("d.conf")), bytes);
    }

private Q_SLOTS:
    void loadRules_data()
    {
        QTest::addColumn<QByteArray>("bytes"); // of d.conf
        QTest::addColumn<QString>("load"); // the name loaded from the folder
        QTest::addColumn<bool>("loads");
        const QString file = QStringLiteral("d.conf");
        QTest::newRow("well formed") << Definition << file << true;
        QTest::newRow("utf-8 bom") << QByteArray("\xEF\xBB\xBF<lrfmt Caption=\"A\xC3\xB1o\"/>") << file
                                   << true;
        QTest::newRow("not well formed") << QByteArray("<lrfmt><Columns></lrfmt>") << file << false;
        QTest::newRow("repeated attribute") << QByteArray("<lrfmt Key=\"a\" Key=\"b\"/>") << file << false;
        QTest::newRow("repeated attribute deep")
            << QByteArray("<lrfmt><Columns><c w=\"1\" w=\"2\"/></Columns></lrfmt>") << file << false;
        QTest::newRow("invalid utf-8") << QByteArray("<lrfmt Caption=\"\xC3\x28\"/>") << file << false;
        QTest::newRow("empty") << QByteArray() << file << false;
        QTest::newRow("too big") << "<lrfmt Caption=\"" + QByteArray(xml::Document::MaxFileSize, 'x') + "\"/>"
                                 << file << false;
        QTest::newRow("missing") << Definition << QStringLiteral("none.conf") << false;
        QTest::newRow("a folder") << Definition << QString() << false;
    }

    void loadRules()
    {
        QFETCH(QByteArray, bytes);
        QFETCH(QString, load);
        QFETCH(bool, loads);
        definitionFile(bytes);
        xml::Document doc;
        QCOMPARE(doc.load(load.isEmpty() ? dir.path() : dir.filePath(load)), loads);
        QCOMPARE(doc.errorText().isEmpty(), loads);
    }

    void lookupsAndMissingNodes()
    {
        xml::Document doc;
        QVERIFY(doc.load(definitionFile()));
        XmlHelper &h = xmlHelper();
        const xml::Node lrfmt = h.FindNode(QStringLiteral("lrfmt"), doc.childNodes());
        QCOMPARE(h.GetAttribute(lrfmt, QStringLiteral("Caption")), QStringLiteral("Facturas"));
        QCOMPARE(h.GetAttribute(lrfmt, QStringLiteral("ListSQLSource")),
            QStringLiteral("select * from f where a < 3"));
        QCOMPARE(h.GetAttribute(lrfmt, QStringLiteral("Nothing")), QString());
        // Comments are not columns.
        const xml::Node columns = h.FindNode(QStringLiteral("Columns"), childNodesOf(lrfmt));
        QCOMPARE(childNodesOf(columns).size(), size_t(1));
        QCOMPARE(xmlOf(h.FindNode(QStringLiteral("Tabs"), childNodesOf(lrfmt))), QStringLiteral("<Tabs/>"));
        // A missing element is an empty node; every use of it is Failure 91.
        const xml::Node filters = h.FindNode(QStringLiteral("Filters"), childNodesOf(lrfmt));
        QVERIFY(filters.isNull());
        const std::function<void()> uses[] = { [&] { h.GetAttribute(filters, QStringLiteral("x")); },
            [&] { h.SetAttribute(QStringLiteral("x"), QString(), filters); }, [&] { childNodesOf(filters); },
            [&] { parentOf(filters); }, [&] { xmlOf(filters); } };
        for (const auto &use : uses)
            QCOMPARE(failureOf(use).number(), FailureNumber::ObjectNotSet);
    }

    void setAttributeChangesOnlyThatValue_data()
    {
        QTest::addColumn<QString>("attribute");
        QTest::addColumn<QString>("value");
        QTest::addColumn<QByteArray>("expected");
        const auto edited
            = [](const char *from, const char *to) { return QByteArray(Definition).replace(from, to); };
        // clang-format off
        QTest::newRow("double quoted")
            << "ListMaxLineas" << "250" << edited("ListMaxLineas=\"1000\"", "ListMaxLineas=\"250\"");
        QTest::newRow("empty") << "ListMaxLineas" << "" << edited("ListMaxLineas=\"1000\"", "ListMaxLineas=\"\"");
        QTest::newRow("single quoted with quote") << "Caption" << "O'Brien & \"hijos\""
            << edited("Caption='Facturas'", "Caption='O&apos;Brien &amp; \"hijos\"'");
        QTest::newRow("missing attribute is added")
            << "Extra" << "1"
            << edited("ListSQLSource=\"select * from f where a &lt; 3\">",
                   "ListSQLSource=\"select * from f where a &lt; 3\" Extra=\"1\">");
        // clang-format on
    }

    void setAttributeChangesOnlyThatValue()
    {
        QFETCH(QString, attribute);
        QFETCH(QString, value);
        const QString path = definitionFile();
        QFile::setPermissions(path, QFile::ReadOwner | QFile::WriteOwner | QFile::ReadGroup);
        const QFile::Permissions before = QFile::permissions(path);
        xml::Document doc;
        QVERIFY(doc.load(path));
        xmlHelper().SetAttribute(attribute, value, doc.firstChild());
        QTEST(readBytes(path), "expected");
        QCOMPARE(QFile::permissions(path), before);
        xml::Document again;
        QVERIFY(again.load(path));
        QCOMPARE(xmlHelper().GetAttribute(again.firstChild(), attribute), value);
    }

    void secondEditOnTheSameDocumentLandsInPlace()
    {
        const QString path = definitionFile();
        xml::Document doc;
        QVERIFY(doc.load(path));
        const xml::Node lrfmt = doc.firstChild();
        const xml::Node column
            = childNodesOf(xmlHelper().FindNode(QStringLiteral("Columns"), childNodesOf(lrfmt))).front();
        xmlHelper().SetAttribute(
            QStringLiteral("Caption"), QStringLiteral("Facturas emitidas en el año"), lrfmt);
        xmlHelper().SetAttribute(QStringLiteral("ColWidth"), QStringLiteral("30"), column);
        QCOMPARE(readBytes(path),
            QByteArray(Definition)
                .replace("Caption='Facturas'", "Caption='Facturas emitidas en el a\xC3\xB1o'")
                .replace("ColWidth=\"25\"", "ColWidth=\"30\""));
    }

    void utf16FileStaysUtf16()
    {
        const QString path
            = definitionFile(utf16(QStringLiteral("<lrfmt Caption=\"Año\" ListMaxLineas=\"10\"/>")));
        xml::Document doc;
        QVERIFY(doc.load(path));
        QCOMPARE(
            xmlHelper().GetAttribute(doc.firstChild(), QStringLiteral("Caption")), QStringLiteral("Año"));
        xmlHelper().SetAttribute(QStringLiteral("ListMaxLineas"), QStringLiteral("7"), doc.firstChild());
        QCOMPARE(readBytes(path), utf16(QStringLiteral("<lrfmt Caption=\"Año\" ListMaxLineas=\"7\"/>")));
    }

    void fileChangedSinceLoadIsRefused()
    {
        const QString path = definitionFile();
        xml::Document doc;
        QVERIFY(doc.load(path));
        const QByteArray edited = QByteArray(Definition).replace("Facturas", "Pedidos");
        definitionFile(edited);
        const Failure failure = failureOf([&] {
            xmlHelper().SetAttribute(QStringLiteral("ListMaxLineas"), QStringLiteral("5"), doc.firstChild());
        });
        QCOMPARE(failure.number(), FailureNumber::PathFileAccessError);
        QCOMPARE(readBytes(path), edited); // the other writer's change survives
    }

    void wholeNumbers_data()
    {
        using namespace FailureNumber;
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("locale");
        QTest::addColumn<int>("bits"); // 32 toLong, 16 toInteger
        QTest::addColumn<qint64>("expected");
        QTest::addColumn<int>("failure"); // 0 for none
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

    void plainDigitsPattern()
    {
        const QStringList texts { formatPlainDigits(250), formatPlainDigits(0), formatPlainDigits(1234567) };
        QCOMPARE(texts, (QStringList { "250", "", "1234567" }));
    }
};

QTEST_GUILESS_MAIN(tst_XmlHelper)
#include "tst_xmlhelper.moc"

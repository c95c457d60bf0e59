// The list definition's XML access: loading rules, node lookup, and writing one attribute back to
// the file without disturbing anything else in it.

#include "common/Conversions.h"
#include "common/XmlHelper.h"

#include <Brennvox10/Failure.h>

#include <QFile>
#include <QStringEncoder>
#include <QTemporaryDir>
#include <QtTest>

using namespace Brennvox10;

namespace {
QString writeFile(const QTemporaryDir &dir, const QString &name, const QByteArray &bytes)
{
    const QString path = dir.filePath(name);
    QFile f(path);
    f.open(QIODevice::WriteOnly);
    f.write(bytes);
    return path;
}

QByteArray readFile(const QString &path)
{
    QFile f(path);
    f.open(QIODevice::ReadOnly);
    return f.readAll();
}

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
} // namespace

class tst_XmlHelper : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void loadRules_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<bool>("loads");
        QTest::newRow("well formed") << Definition << true;
        QTest::newRow("not well formed") << QByteArray("<lrfmt><Columns></lrfmt>") << false;
        QTest::newRow("repeated attribute") << QByteArray("<lrfmt Key=\"a\" Key=\"b\"/>") << false;
        QTest::newRow("repeated attribute deep")
            << QByteArray("<lrfmt><Columns><c w=\"1\" w=\"2\"/></Columns></lrfmt>") << false;
        QTest::newRow("invalid utf-8") << QByteArray("<lrfmt Caption=\"\xC3\x28\"/>") << false;
        QTest::newRow("empty") << QByteArray() << false;
        QTest::newRow("utf-8 bom") << QByteArray("\xEF\xBB\xBF<lrfmt Caption=\"A\xC3\xB1o\"/>") << true;
    }

    void loadRules()
    {
        QFETCH(QByteArray, bytes);
        QFETCH(bool, loads);
        QTemporaryDir dir;
        xml::Document doc;
        QCOMPARE(doc.load(writeFile(dir, QStringLiteral("d.conf"), bytes)), loads);
        if (!loads)
            QVERIFY(!doc.errorText().isEmpty());
    }

    void missingAndOversizedFilesDoNotLoad()
    {
        QTemporaryDir dir;
        xml::Document doc;
        QVERIFY(!doc.load(dir.filePath(QStringLiteral("none.conf"))));
        QVERIFY(!doc.load(dir.path())); // a folder
        QByteArray big = "<lrfmt Caption=\"";
        big += QByteArray(xml::Document::MaxFileSize, 'x');
        big += "\"/>";
        QVERIFY(!doc.load(writeFile(dir, QStringLiteral("big.conf"), big)));
    }

    void lookupsAndMissingNodes()
    {
        QTemporaryDir dir;
        xml::Document doc;
        QVERIFY(doc.load(writeFile(dir, QStringLiteral("d.conf"), Definition)));
        XmlHelper &h = xmlHelper();
        const xml::Node lrfmt = h.FindNode(QStringLiteral("lrfmt"), doc.childNodes());
        QCOMPARE(h.GetAttribute(lrfmt, QStringLiteral("Caption")), QStringLiteral("Facturas"));
        QCOMPARE(h.GetAttribute(lrfmt, QStringLiteral("ListSQLSource")),
            QStringLiteral("select * from f where a < 3"));
        QCOMPARE(h.GetAttribute(lrfmt, QStringLiteral("Nothing")), QString());
        // Comments are not columns.
        const xml::Node columns = h.FindNode(QStringLiteral("Columns"), childNodesOf(lrfmt));
        QCOMPARE(childNodesOf(columns).size(), size_t(1));
        // A missing element is an empty node; using it is Failure 91.
        const xml::Node filters = h.FindNode(QStringLiteral("Filters"), childNodesOf(lrfmt));
        QVERIFY(filters.isNull());
        for (auto use : { std::function<void()>([&] { h.GetAttribute(filters, QStringLiteral("x")); }),
                 std::function<void()>([&] { childNodesOf(filters); }),
                 std::function<void()>([&] { xmlOf(filters); }) }) {
            try {
                use();
                QFAIL("using a missing element must fail");
            } catch (const Failure &f) {
                QCOMPARE(f.number(), FailureNumber::ObjectNotSet);
            }
        }
        QCOMPARE(xmlOf(h.FindNode(QStringLiteral("Tabs"), childNodesOf(lrfmt))), QStringLiteral("<Tabs/>"));
    }

    void setAttributeChangesOnlyThatValue_data()
    {
        QTest::addColumn<QString>("attribute");
        QTest::addColumn<QString>("value");
        QTest::addColumn<QByteArray>("expected");
        QByteArray e = Definition;
        QTest::newRow("double quoted")
            << "ListMaxLineas"
            << "250" << QByteArray(e).replace("ListMaxLineas=\"1000\"", "ListMaxLineas=\"250\"");
        QTest::newRow("empty") << "ListMaxLineas"
                               << "" << QByteArray(e).replace("ListMaxLineas=\"1000\"", "ListMaxLineas=\"\"");
        QTest::newRow("single quoted with quote")
            << "Caption"
            << "O'Brien & \"hijos\""
            << QByteArray(e).replace("Caption='Facturas'", "Caption='O&apos;Brien &amp; \"hijos\"'");
        QTest::newRow("missing attribute is added")
            << "Extra"
            << "1"
            << QByteArray(e).replace("ListSQLSource=\"select * from f where a &lt; 3\">",
                   "ListSQLSource=\"select * from f where a &lt; 3\" Extra=\"1\">");
    }

    void setAttributeChangesOnlyThatValue()
    {
        QFETCH(QString, attribute);
        QFETCH(QString, value);
        QFETCH(QByteArray, expected);
        QTemporaryDir dir;
        const QString path = writeFile(dir, QStringLiteral("d.conf"), Definition);
        QFile::setPermissions(path, QFile::ReadOwner | QFile::WriteOwner | QFile::ReadGroup);
        const QFile::Permissions before = QFile::permissions(path);
        xml::Document doc;
        QVERIFY(doc.load(path));
        const xml::Node lrfmt = xmlHelper().FindNode(QStringLiteral("lrfmt"), doc.childNodes());
        xmlHelper().SetAttribute(attribute, value, lrfmt);
        QCOMPARE(readFile(path), expected);
        QCOMPARE(QFile::permissions(path), before);
        xml::Document again;
        QVERIFY(again.load(path));
        QCOMPARE(xmlHelper().GetAttribute(again.firstChild(), attribute), value);
    }

    void secondEditOnTheSameDocumentLandsInPlace()
    {
        QTemporaryDir dir;
        const QString path = writeFile(dir, QStringLiteral("d.conf"), Definition);
        xml::Document doc;
        QVERIFY(doc.load(path));
        const xml::Node lrfmt = doc.firstChild();
        const xml::Node column
            = childNodesOf(xmlHelper().FindNode(QStringLiteral("Columns"), childNodesOf(lrfmt))).front();
        xmlHelper().SetAttribute(
            QStringLiteral("Caption"), QStringLiteral("Facturas emitidas en el año"), lrfmt);
        xmlHelper().SetAttribute(QStringLiteral("ColWidth"), QStringLiteral("30"), column);
        QByteArray expected = Definition;
        expected.replace("Caption='Facturas'", "Caption='Facturas emitidas en el a\xC3\xB1o'")
            .replace("ColWidth=\"25\"", "ColWidth=\"30\"");
        QCOMPARE(readFile(path), expected);
    }

    void utf16FileStaysUtf16()
    {
        QTemporaryDir dir;
        QStringEncoder enc(QStringEncoder::Utf16LE);
        const QString text = QStringLiteral("<lrfmt Caption=\"Año\" ListMaxLineas=\"10\"/>");
        const QByteArray bytes = QByteArray("\xFF\xFE") + QByteArray(enc.encode(text));
        const QString path = writeFile(dir, QStringLiteral("d.conf"), bytes);
        xml::Document doc;
        QVERIFY(doc.load(path));
        QCOMPARE(
            xmlHelper().GetAttribute(doc.firstChild(), QStringLiteral("Caption")), QStringLiteral("Año"));
        xmlHelper().SetAttribute(QStringLiteral("ListMaxLineas"), QStringLiteral("7"), doc.firstChild());
        QStringEncoder enc2(QStringEncoder::Utf16LE);
        QCOMPARE(readFile(path),
            QByteArray("\xFF\xFE")
                + QByteArray(enc2.encode(QStringLiteral("<lrfmt Caption=\"Año\" ListMaxLineas=\"7\"/>"))));
    }

    void fileChangedSinceLoadIsRefused()
    {
        QTemporaryDir dir;
        const QString path = writeFile(dir, QStringLiteral("d.conf"), Definition);
        xml::Document doc;
        QVERIFY(doc.load(path));
        const QByteArray edited = QByteArray(Definition).replace("Facturas", "Pedidos");
        writeFile(dir, QStringLiteral("d.conf"), edited);
        QVERIFY_THROWS_EXCEPTION(Failure,
            xmlHelper().SetAttribute(QStringLiteral("ListMaxLineas"), QStringLiteral("5"), doc.firstChild()));
        QCOMPARE(readFile(path), edited); // the other writer's change survives
    }

    void wholeNumbers_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("locale");
        QTest::addColumn<qint64>("expected"); // -1: type mismatch, -2: overflow
        QTest::newRow("plain") << "1000"
                               << "es_ES" << qint64(1000);
        QTest::newRow("blanks") << " 42 "
                                << "en_US" << qint64(42);
        QTest::newRow("half to even down") << "2,5"
                                           << "es_ES" << qint64(2);
        QTest::newRow("half to even up") << "3,5"
                                         << "es_ES" << qint64(4);
        QTest::newRow("english fraction") << "2.6"
                                          << "en_US" << qint64(3);
        QTest::newRow("negative") << "-7"
                                  << "es_ES" << qint64(-7);
        QTest::newRow("not a number") << "abc"
                                      << "es_ES" << qint64(-1);
        QTest::newRow("empty") << ""
                               << "es_ES" << qint64(-1);
        QTest::newRow("overflow") << "3000000000"
                                  << "en_US" << qint64(-2);
    }

    void wholeNumbers()
    {
        QFETCH(QString, text);
        QFETCH(QString, locale);
        QFETCH(qint64, expected);
        try {
            const qint32 v = toLong(text, QLocale(locale));
            QCOMPARE(qint64(v), expected);
        } catch (const Failure &f) {
            QCOMPARE(f.number(), expected == -1 ? FailureNumber::TypeMismatch : 6);
        }
    }

    void plainDigitsPattern()
    {
        QCOMPARE(formatPlainDigits(250), QStringLiteral("250"));
        QCOMPARE(formatPlainDigits(0), QString());
        QCOMPARE(formatPlainDigits(1234567), QStringLiteral("1234567"));
    }
};

QTEST_GUILESS_MAIN(tst_XmlHelper)
#include "tst_xmlhelper.moc"

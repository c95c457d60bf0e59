// SPDX-License-Identifier: MIT
// Jet files as shops have them, written by the Jet engine itself: the lists they give, their
// passwords, the Jet SQL their definitions use, and brennvox10-import's copy giving the same rows.
// The files are copies, checked unchanged at the end.

#include "support/Fixtures.h"
#include "support/Rows.h"
#include "support/Scripted.h"

#include <Brennvox10/Brennvox10.h>

#include <QProcess>
#include <QTemporaryDir>
#include <QtTest>

using namespace Brennvox10;

namespace {

const QString Jet = QStringLiteral("Provider=Microsoft.Jet.OLEDB.4.0;Data Source=");

// A list over source with the given columns (the first is the key), no tabs of its own.
QString definition(const QString &source, const QStringList &columns)
{
    QString cols;
    for (const QString &c : columns)
        cols += QStringLiteral("<Column ColWidth=\"10\" ColCaption=\"%1\" ColAligment=\"0\" ColFieldname=\"%1\"/>").arg(c);
    const QString tab = QStringLiteral("tabSQLSource=\"select 1, 'x' where 1 = 0\" tabFieldname=\"1\" tabDefFunc=\"1\" "
                                       "tabDefValue=\"1\" tabDefCaption=\"Todos\"");
    return QStringLiteral("<lrfmt Caption=\"Jet\" Key=\"%1\" ListSQLSource=\"%2\" ListMaxLineas=\"100\"><Columns>%3</Columns>"
                          "<Tabs><Tab tabID=\"0\" %4/><Tab tabID=\"1\" %4/></Tabs><Filters/></lrfmt>")
        .arg(columns.first(), source.toHtmlEscaped(), cols, tab);
}

} // namespace

class tst_jet : public QObject {
    Q_OBJECT

    QTemporaryDir files; // the user's files: copies of the fixtures
    QTemporaryDir scratch;
    std::unique_ptr<UnchangedFiles> unchanged;
    std::shared_ptr<ReporterLog> reports;

    QStringList rows(const QString &file, const QString &password, const QString &def, const QString &connection = Jet)
    {
        ctlListRecord list;
        list.lrConnectionString(connection);
        list.lrDataSource(file);
        list.lrPassword(password);
        list.lrConfigFileName(writeBytes(scratch.filePath("list.conf"), def.toUtf8()));
        list.Showme();
        return rowTexts(*list.ActiveListView());
    }

private slots:
    void initTestCase()
    {
        reports = scriptReporter();
        scriptServices();
        for (const QString &name : QDir(JET_FIXTURES).entryList({ "*.mdb" }))
            QVERIFY(QFile::copy(JET_FIXTURES "/" + name, files.filePath(name)));
        unchanged = std::make_unique<UnchangedFiles>(files.path());
    }
    void cleanupTestCase() { QVERIFY2(unchanged->intact(), qPrintable(unchanged->changes())); }
    void init()
    {
        reports->reports.clear();
        QLocale::setDefault(QLocale::c());
    }

    void typesShowAsOnEveryProvider_data()
    {
        columns<QString, QString, QString, QStringList, QStringList>("file", "locale", "sql", "fields", "expected");
        const QString table1 = "select * from Table1 order by A desc";
        const QStringList fields = { "A", "H", "G", "I", "F", "C", "D", "E" };
        const QStringList c = { "Tabcdefg|abcdefg|3.50|21/09/1974|True|444.555|2|222|333333333",
            "Ta|a|0.00|12/12/1981|False|0|0|0|0" };
        const QStringList es = { "Tabcdefg|abcdefg|3,50|21/09/1974|Verdadero|444,555|2|222|333333333",
            "Ta|a|0,00|12/12/1981|Falso|0|0|0|0" };
        QTest::newRow("Jet 4") << "jet4-types.mdb" << "C" << table1 << fields << c;
        QTest::newRow("Jet 4, Spanish") << "jet4-types.mdb" << "es_ES" << table1 << fields << es;
        QTest::newRow("Jet 3") << "jet3-types.mdb" << "C" << table1 << fields << c;
        QTest::newRow("Decimal") << "jet4-numeric.mdb" << "C" << "select * from test"
                                 << QStringList { "col1", "col2", "col5", "col6" }
                                 << QStringList { "Tsome data|some data|1|4|-1" };
        // Jet's own arithmetic on the typed values: sums and halves of Currency and Double.
        QTest::newRow("arithmetic on the copy") << "jet4-types.mdb" << "C"
                                                << "select A, H * 3 as T, F / 2 as M from Table1 where H > 3"
                                                << QStringList { "A", "T", "M" }
                                                << QStringList { "Tabcdefg|abcdefg|10.5|222.2775" };
    }
    void typesShowAsOnEveryProvider()
    {
        const auto [file, locale, sql, fields] = fetch<QString, QString, QString, QStringList>("file", "locale", "sql", "fields");
        QLocale::setDefault(QLocale(locale));
        const QStringList shown = rows(files.filePath(file), QString(), definition(sql, fields));
        QCOMPARE(reports->described(), QStringList());
        QTEST(shown, "expected");
    }

    void passwords_data()
    {
        columns<QString, QString, int, QString>("file", "password", "rows", "reported");
        QTest::newRow("right") << "jet4-password.mdb" << "password" << 3 << "";
        QTest::newRow("wrong") << "jet4-password.mdb" << "Password" << 0 << "Not a valid password.";
        QTest::newRow("missing") << "jet4-password.mdb" << "" << 0 << "Not a valid password.";
        QTest::newRow("none needed, one given") << "jet4-no-password.mdb" << "password" << 3 << "";
        QTest::newRow("no table") << "jet4-empty.mdb" << "" << 0 << "no such table: Table1";
        QTest::newRow("not a Jet file") << "../list.conf" << "" << 0 << "Unrecognized database format";
    }
    void passwords()
    {
        const auto [file, password, reported] = fetch<QString, QString, QString>("file", "password", "reported");
        const QString path = file.startsWith("..") ? scratch.filePath("list.conf") : files.filePath(file);
        const QStringList shown = rows(path, password, definition("select * from Table1", { "ID", "Data" }));
        QTEST(int(shown.size()), "rows");
        // A failure meets the tab queries first, as they would an SQLite file that cannot be opened.
        QVERIFY2(reported.isEmpty() ? reports->reports.isEmpty() && shown.first() == "T1|1|One"
                                    : reports->reports.value(0).description.contains(reported),
            qPrintable(reports->described().join('\n')));
    }

    // Jet SQL (functions, & and #date# literals) on the Jet file and on its SQLite copy.
    void jetSqlSameOnTheFileAndItsCopy()
    {
        const QString copy = scratch.filePath("copia.db");
        QProcess import;
        import.start(IMPORT_TOOL, { files.filePath("jet4-types.mdb"), copy });
        QVERIFY(import.waitForFinished(30000));
        QCOMPARE(import.exitCode(), 0);
        QVERIFY(import.readAllStandardOutput().contains("Table1: 2 rows"));
        const QString def = definition("select A, Year(G) as Y, IIf(I, 'si', 'no') as S, Format(G, 'dd/mm/yyyy') "
                                       "& ' ' & UCase(B) as T from Table1 where G > #1/1/1975#",
            { "A", "Y", "S", "T" });
        const QStringList jet = rows(files.filePath("jet4-types.mdb"), QString(), def);
        QCOMPARE(rows(copy, QString(), def, "Provider=SQLite;Data Source="), jet);
        QCOMPARE(reports->described(), QStringList());
        QCOMPARE(jet, QStringList { "Ta|a|1981|no|12/12/1981 B" });
    }
};

QTEST_MAIN(tst_jet)
#include "tst_jet.moc"

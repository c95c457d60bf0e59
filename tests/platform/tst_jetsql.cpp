#include "platform/data/Recordset.h"
#include "platform/data/sqlite/JetSql.h"
#include "support/FailureOf.h"
#include "support/Fixtures.h"
#include "support/Rows.h"

#include <QTemporaryDir>
#include <QTest>

using namespace Brennvox10;
using namespace Brennvox10::data;
using Brennvox10::data::sqlite::adaptJetSql;

class tst_JetSql : public QObject {
    Q_OBJECT

    QTemporaryDir dir;
    QString connection;

private Q_SLOTS:
    void initTestCase()
    {
        const QString path = dir.filePath(QStringLiteral("jet.db"));
        makeDatabase(path,
            { QStringLiteral("create table t(d DATE, s TEXT, n REAL, z TEXT);"
                             "insert into t values ('2008-03-05 14:30:15', 'Añoñez', 2.5, NULL);") });
        connection = QStringLiteral("Provider=SQLite;Data Source=") + path;
    }

    void cleanup() { setQueryObserver({}); }

    void adapt_data()
    {
        columns<QString, QString>("jet", "sqlite");
        // clang-format off
        QTest::newRow("join, looser than arithmetic, chained")
            << "select n * 2 & \" kg\" & s from t" << "select bv_join(n * 2, \" kg\", s) from t";
        QTest::newRow("comparisons end the operands")
            << "where a & b = -c.x & 'y' and e" << "where bv_join(a, b) = bv_join(-c.x, 'y') and e";
        QTest::newRow("calls, groups and bracketed names as operands, joins inside")
            << "UCase([a b] & t.[c]) & (1 + 2) & Mid(s, 2)" << "bv_join(UCase(bv_join([a b], t.[c])), (1 + 2), Mid(s, 2))";
        QTest::newRow("a comment before & stays")
            << "a /* x */ & b" << "bv_join(a /* x */ , b)";
        QTest::newRow("Mod, signs and Not")
            << "not a Mod 2 & -b" << "not bv_join(a Mod 2, -b)";
        QTest::newRow("inside the controls' own composition")
            << "Select * from (select a & b as c from t)where c like 'x%'"
            << "Select * from (select bv_join(a, b) as c from t)where c like 'x%'";
        QTest::newRow("an operand it cannot read: ||")
            << "case when a then 'x' end & 'y'" << "case when a then 'x' end || 'y'";
        QTest::newRow("m/d/yyyy and y-m-d")
            << "d between #3/5/2008# and #2008-3-5#" << "d between '2008-03-05' and '2008-03-05'";
        QTest::newRow("two-digit years")
            << "#12/31/29#, #1/1/30#" << "'2029-12-31', '1930-01-01'";
        QTest::newRow("with time")
            << "#3/5/2008 10:30:05#, #3/5/2008 0:00#" << "'2008-03-05 10:30:05', '2008-03-05'";
        QTest::newRow("AM/PM")
            << "#3/5/2008 10:30 PM#, #3/5/2008 12:15am#" << "'2008-03-05 22:30:00', '2008-03-05 00:15:00'";
        QTest::newRow("Left and Right calls, not joins")
            << "select LEFT(s, 2), right (s, 1) from a left join b" << "select bv_left(s, 2), bv_right (s, 1) from a left join b";
        QTest::newRow("strings, quoted and bracketed names, comments untouched")
            << "select '#3/5/2008# & '' &', \"a&b\", [c&d], `e&f` -- & #3/5/2008#\n/* & */"
            << "select '#3/5/2008# & '' &', \"a&b\", [c&d], `e&f` -- & #3/5/2008#\n/* & */";
        QTest::newRow("impossible date, time alone, unterminated: untouched")
            << "#2/30/2008#, #13/1/2008#, #10:30#, #3/5/2008 25:00#, #3/5/2008" << "#2/30/2008#, #13/1/2008#, #10:30#, #3/5/2008 25:00#, #3/5/2008";
        // clang-format on
        // Nesting this deep must not exhaust the stack; SQLite refuses it later.
        const QString open(100000, u'('), close(100000, u')');
        QTest::newRow("deep nesting")
            << open + QStringLiteral("a & b") + close << open + QStringLiteral("a || b") + close;
    }

    void adapt()
    {
        QFETCH(QString, jet);
        QTEST(adaptJetSql(jet), "sqlite");
    }

    // select <expression> from t, through the read-only SQLite path: the value's text, "Null", or the
    // failure's description ("error: ..." holds a part of it).
    void functions_data()
    {
        columns<QString, QString>("expression", "expected");
        const auto row = [](const char *expression, const char *expected) {
            QTest::newRow(expression) << QString::fromUtf8(expression) << QString::fromUtf8(expected);
        };
        // clang-format off
        row("Year(d) & '-' & Month(d) & '-' & Day(d)", "2008-3-5");
        row("Year('2024-02-29T08:05')", "2024");
        row("Year('2008-03-05') + Month(z)", "Null");
        row("Day('5/3/2008')", "error: Day: '5/3/2008' is not a date");
        row("Month(39512)", "error: Month: 39512 is not a date");
        // Today in local time; SQLite's date(x, ...) and trim(x, y) are still there.
        row("Date() = date('now', 'localtime') and Now() like Date() || ' __:__:__'", "1");
        row("date('2008-03-05', '+1 day') || trim('--x--', '-') || ltrim(' y')", "2008-03-06xy");
        // Jet's argument order for format with two arguments; SQLite's printf stays.
        row("printf('%d', 3)", "3");
        row("format('%d', 3)", "error: Format: unsupported pattern \"3\"");
        row("IIf(n > 2, 'big', 'small')", "big");
        row("IIf(z, 1, 2)", "2");
        row("Nz(z) = '' and Nz(z, 7) = 7 and Nz(s, 7) = s", "1");
        // & joins texts, Null as empty, after the arithmetic.
        row("s & z & '!' & n", "Añoñez!2.5");
        row("z & z", "Null");
        row("'n=' & n * 2 & ';' & CDbl(24) & ';' & 7", "n=5;24;7");
        row("Format(d, 'yyyy-mm-dd')", "2008-03-05");
        row("Format(d, 'DD/MM/YYYY')", "05/03/2008");
        row("Format(d, 'mm/dd/yyyy')", "03/05/2008");
        row("Format(d, 'yyyy') & Format(d, 'mm') & Format(d, 'dd')", "20080305");
        row("Format(d, 'hh:nn:ss')", "14:30:15");
        row("Format(d, 'd/m/yy h:mm')", "5/3/08 14:30");
        row("Format(d, 'mm:ss')", "30:15");
        row("Format('2008-03-05', 'yyyy-mm-dd hh:nn')", "2008-03-05 00:00");
        row("Format(n, '0')", "3");
        row("Format(0.125, '0.00')", "0.13");
        row("Format(1.005, 'Fixed')", "1.01");
        row("Format(-0.001, '0.0')", "0.0");
        row("Format(1234567.891, '#,##0.00')", "1,234,567.89");
        row("Format(-999.996, 'Standard')", "-1,000.00");
        row("Format('7', '000')", "007");
        row("Format(0.256, 'Percent') & ' ' & Format(0.5, '0%')", "25.60% 50%");
        row("Format(3, 'Yes/No') & Format(0, 'on/off') & Format(-1, 'True/False')", "YesOffTrue");
        row("Format(1e20, 'General Number')", "1E+20");
        row("Format(z, '0') & Format('', '0')", "");
        row("Format(z, '0')", "Null");
        row("Format(n, 'Currency')", "error: Format: unsupported pattern \"Currency\"");
        row("Format(d, 'mmm')", "error: Format: unsupported pattern \"mmm\"");
        row("Format(s, '0.00')", "error: Format: 'Añoñez' is not a number");
        row("UCase(s) & LCase('ÁB') & UCase(n)", "AÑOÑEZáb2.5");
        // Characters, not bytes.
        row("Left(s, 2) & '|' & Right(s, 3) & '|' & Left(s, 0) & '|' & Right(s, 9)", "Añ|ñez||Añoñez");
        row("Mid(s, 2, 3) & '|' & Mid(s, 4) & '|' & Mid(s, 5, 9) & '|' & Mid(s, 9)", "ñoñ|ñez|ez|");
        row("Len(s) & ' ' & Len('a😀b') & ' ' & Len(n)", "6 3 3");
        row("Len(z) & Left(z, 1) & Mid(s, z)", "Null");
        row("Mid(s, 0)", "error: Mid: the start must be 1 or more");
        row("Left(s, -1)", "error: Left: the length must be 0 or more");
        row("Val(' 12 34.5kg')", "1234.5");
        row("Val('-1.5d2x') & ' ' & Val('.5') & ' ' & Val('1e')", "-150 0.5 1");
        row("Val('abc') & Val('')", "00");
        row("CStr(n) & ' ' & CStr(0.1 + 0.2) & ' ' & CStr(1e20) & ' ' & CStr(12)", "2.5 0.3 1E+20 12");
        // Half to even.
        row("CLng(2.5) & CLng(3.5) & CLng(-2.5) & CLng('7.5') & CLng(2.51)", "24-283");
        row("CLng(-2147483648.5)", "-2147483648");
        row("CLng(2147483647.5)", "error: CLng: 2147483647.5 overflows a Long");
        row("CDbl(' 1.5 ') + 1", "2.5");
        row("CDbl('x')", "error: CDbl: 'x' is not a number");
        row("#3/5/2008 2:30:15 PM# = d and #3/5/2008# = date(d)", "1");
        row("DateSerial(2008, 3, 5)", "error: no such function: DateSerial");
        // clang-format on
    }

    void functions()
    {
        QFETCH(QString, expression);
        QFETCH(QString, expected);
        QString got;
        const Failure failure = failureOf([&] {
            Recordset rs;
            rs.Open(QStringLiteral("select ") + expression + QStringLiteral(" from t"), connection);
            got = rs.Fields(0).isNull() ? QStringLiteral("Null") : rs.Fields(0).Value().toString();
        });
        if (failure.number())
            got = QStringLiteral("error: ") + failure.description();
        if (expected.startsWith(u"error: "))
            QVERIFY2(got.startsWith(expected), qPrintable(got));
        else
            QCOMPARE(got, expected);
    }

    void observerSeesAdaptedText()
    {
        QStringList seen;
        setQueryObserver([&](const QString &sql) { seen << sql; });
        const QString jet = QStringLiteral("select s & '!' from t where d > #1/1/2008#");
        Recordset rs;
        rs.Open(jet, connection);
        QCOMPARE(rs.Fields(0).Value().toString(), QStringLiteral("Añoñez!"));
        QCOMPARE(seen, QStringList({ jet, adaptJetSql(jet) }));
        QVERIFY(seen.last() != jet);
        rs.Close();
        seen.clear();
        rs.Open(QStringLiteral("select s from t"), connection);
        QCOMPARE(seen.size(), 1);
    }
};

QTEST_GUILESS_MAIN(tst_JetSql)
#include "tst_jetsql.moc"

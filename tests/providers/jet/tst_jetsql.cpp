// SPDX-License-Identifier: MIT
#include "core/BusyCursor.h"
#include "providers/jet/JetImage.h"
#include "providers/jet/JetSql.h"
#include "support/FailureOf.h"
#include "support/Rows.h"

#include <QCoreApplication>
#include <QDir>
#include <QKeyEvent>
#include <QTemporaryDir>
#include <QTest>

#include <optional>

#include <sqlite3.h>

#include <thread>

using namespace Brennvox10::data::jet;

namespace {

// A copy of a Jet file written by the Jet engine, in a folder of the run's own: the originals are
// never opened.
QString fixture(const QString &name)
{
    static QTemporaryDir folder;
    const QString copy = folder.filePath(name);
    if (!QFileInfo::exists(copy))
        QFile::copy(QDir(QStringLiteral(JET_FIXTURES)).absoluteFilePath(name), copy);
    return copy;
}

// The rows sql gives on an image, their columns joined by '|'.
QStringList rowsOf(const QByteArray &image, const char *sql)
{
    sqlite3 *db = nullptr;
    sqlite3_open_v2(":memory:", &db, SQLITE_OPEN_READWRITE, nullptr);
    QStringList out;
    if (!image.isEmpty()) {
        auto *data = reinterpret_cast<unsigned char *>(const_cast<char *>(image.constData()));
        sqlite3_deserialize(db, "main", data, image.size(), image.size(), SQLITE_DESERIALIZE_READONLY);
    }
    sqlite3_stmt *statement = nullptr;
    sqlite3_prepare_v2(db, sql, -1, &statement, nullptr);
    while (sqlite3_step(statement) == SQLITE_ROW) {
        QStringList cells;
        for (int c = 0; c < sqlite3_column_count(statement); ++c)
            cells << QString::fromUtf8(reinterpret_cast<const char *>(sqlite3_column_text(statement, c)));
        out << cells.join(u'|');
    }
    sqlite3_finalize(statement);
    sqlite3_close(db);
    return out;
}

// The tables an image holds.
QStringList tablesOf(const QByteArray &image)
{
    return rowsOf(image, "select name from sqlite_master where type = 'table' order by name");
}

// Esc pressed during the current busy scope, once it has run long enough to let events through.
void pressEsc()
{
    QTest::qSleep(150);
    QObject target;
    QCoreApplication::postEvent(&target, new QKeyEvent(QEvent::KeyPress, Qt::Key_Escape, Qt::NoModifier));
    for (int i = 0; i < 64 && !Brennvox10::busy::cancelRequested(); ++i)
        Brennvox10::busy::tick();
}

} // namespace

class tst_JetSql : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void jetSqlAdapted_data()
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
    void jetSqlAdapted()
    {
        QFETCH(QString, jet);
        QTEST(adaptJetSql(jet), "sqlite");
    }

    // Only the tables a text names are copied from the file, and a name in a string or a comment
    // names nothing. The cached image grows by the tables a later text names, and an unchanged file
    // is not read again for a text it already covers.
    void tablesCopied_data()
    {
        columns<QString, QStringList>("sql", "tables");
        QTest::newRow("named") << "select * from Table1, Table3" << QStringList { "Table1", "Table3" };
        QTest::newRow("bracketed, other case") << "select * from [table1]" << QStringList { "Table1" };
        QTest::newRow("quoted") << "select * from \"TABLE1\"" << QStringList { "Table1" };
        QTest::newRow("in a string") << "select 'Table1'" << QStringList();
        QTest::newRow("in comments") << "select 1 -- Table1\n/* [Table1] */" << QStringList();
        QTest::newRow("no such table") << "select * from Table9" << QStringList();
    }
    void tablesCopied()
    {
        const auto [sql, tables] = fetch<QString, QStringList>("sql", "tables");
        const QString file = fixture(QStringLiteral("jet4-types.mdb"));
        QVERIFY2(QFileInfo::exists(file), qPrintable(file));
        clearImageCache();
        QVERIFY(tablesOf(*imageFor(file, QString(), QStringLiteral("select 1"))).isEmpty());
        const auto image = imageFor(file, QString(), sql);
        QCOMPARE(tablesOf(*image), tables);
        // Another text naming the same tables.
        QCOMPARE(imageFor(file, QString(), "select 2" + QString(tables.isEmpty() ? "" : " from ") + tables.join(u',')), image);
    }

    // Each type as the image stores it: the column's storage class and SQLite's text of the value.
    void imageHoldsTypedValues_data()
    {
        columns<QString, QString, QString, QStringList>("file", "sql", "copy", "rows");
        const char *table1 = "select A, typeof(C), C, typeof(D), D, typeof(E), E, typeof(F), F, typeof(G), G, "
                             "typeof(H), H, typeof(I), I from Table1 order by A";
        const QStringList rows { "a|integer|0|integer|0|integer|0|real|0.0|text|1981-12-12|integer|0|integer|0",
            "abcdefg|integer|2|integer|222|integer|333333333|real|444.555|text|1974-09-21|real|3.5|integer|1" };
        QTest::newRow("Jet 4") << "jet4-types.mdb" << table1 << "select * from Table1" << rows;
        QTest::newRow("Jet 3") << "jet3-types.mdb" << table1 << "select * from Table1" << rows;
        QTest::newRow("Decimal") << "jet4-numeric.mdb"
                                 << "select col1, typeof(col2), col2, col3, col4, col5, col6, typeof(col7), col7 from test"
                                 << "select * from test" << QStringList { "some data|integer|1|0|0|4|-1|integer|1" };
    }
    void imageHoldsTypedValues()
    {
        const auto [file, sql, copy] = fetch<QString, QString, QString>("file", "sql", "copy");
        clearImageCache();
        QTEST(rowsOf(*imageFor(fixture(file), QString(), copy), sql.toUtf8().constData()), "rows");
    }

    // A copy stopped by its time limit or by Esc reports as every provider does and leaves nothing in
    // the cache: the same text stopped again is stopped again, and with time to run it is copied.
    void copyInterrupted_data()
    {
        columns<bool, QString>("escape", "reported");
        QTest::newRow("time limit") << false
                                    << "interrupted: the query ran past its time limit of 0.001 s (Command Timeout)";
        QTest::newRow("Esc") << true << "interrupted: the user cancelled the load";
    }
    void copyInterrupted()
    {
        const auto [escape, reported] = fetch<bool, QString>("escape", "reported");
        const QString file = fixture(QStringLiteral("jet4-types.mdb"));
        const QString sql = QStringLiteral("select * from Table1, Table2");
        clearImageCache();
        // Opened a second ago with a limit of a millisecond: spent before the copy starts.
        const CopyBudget spent { std::chrono::milliseconds(escape ? 0 : 1),
            std::chrono::steady_clock::now() - std::chrono::seconds(1) };
        {
            std::optional<Brennvox10::busy::Scope> scope;
            if (escape) {
                scope.emplace();
                pressEsc();
                QVERIFY(Brennvox10::busy::cancelRequested());
            }
            for (int attempt = 0; attempt < 2; ++attempt) {
                const Brennvox10::Failure failure = failureOf([&] { imageFor(file, QString(), sql, spent); });
                QCOMPARE(failure.description(), reported);
                QCOMPARE(failure.number(), Brennvox10::FailureNumber::CommandError);
            }
        }
        const auto image = imageFor(file, QString(), sql);
        QCOMPARE(tablesOf(*image), (QStringList { "Table1", "Table2" }));
        // Once copied, the image is served from the cache whatever the budget left.
        QCOMPARE(imageFor(file, QString(), sql, spent), image);
    }

    // Readers of one file at the same time, each naming other tables: each image holds its own
    // tables, whichever reading the cache keeps.
    void imagesReadTogether()
    {
        const QString file = fixture(QStringLiteral("jet4-types.mdb"));
        QVERIFY2(QFileInfo::exists(file), qPrintable(file));
        clearImageCache();
        const QStringList names { "Table1", "Table2", "Table3", "Table4" };
        std::vector<QStringList> found(size_t(names.size()));
        std::vector<std::thread> readers;
        for (qsizetype i = 0; i < names.size(); ++i) {
            readers.emplace_back([&, i] {
                found[size_t(i)] = tablesOf(*imageFor(file, QString(), "select * from " + names[i]));
            });
        }
        for (std::thread &reader : readers)
            reader.join();
        for (qsizetype i = 0; i < names.size(); ++i)
            QVERIFY2(found[size_t(i)].contains(names[i]), qPrintable(found[size_t(i)].join(u',')));
    }
};

QTEST_MAIN(tst_JetSql)
#include "tst_jetsql.moc"

// One definition, two providers: the demo's sample in an SQLite file and the same rows on a
// PostgreSQL server this suite starts itself. Rows, tabs, filters, row upkeep and error reports must
// agree; the server's own failures (login, shutdown, time limit) must reach the error reporter and
// never hang.

#include "support/Fixtures.h"
#include "support/Scripted.h"

#include "LocalServer.h"
#include "SampleData.h"
#include "platform/data/postgres/Dialect.h"

#include <Brennvox10/Brennvox10.h>
#include <Brennvox10/QueryObserver.h>

#include <QComboBox>
#include <QElapsedTimer>
#include <QTabBar>
#include <QTemporaryDir>
#include <QTimer>
#include <QToolButton>
#include <QtTest>

using namespace Brennvox10;

namespace {

const QString Providers[] = { QStringLiteral("sqlite"), QStringLiteral("postgres") };

TabStrip *strip(const ctlListRecord &c, int i)
{
    return c.findChild<TabStrip *>(QStringLiteral("ctlTabStrip(%1)").arg(i));
}

QStringList captions(const ctlListRecord &c)
{
    QStringList out;
    for (int s = 0; s < 2; ++s)
        for (int i = 1; i <= strip(c, s)->Tabs().Count(); ++i)
            out << strip(c, s)->Tabs().Item(i)->Caption();
    return out;
}

} // namespace

class tst_providers : public QObject {
    Q_OBJECT

    LocalServer server;
    QTemporaryDir dir; // what a user has: the database and the definitions
    QTemporaryDir scratch;
    QString sqliteDb, connectionFile;
    std::shared_ptr<ReporterLog> reports;
    std::shared_ptr<ServicesLog> services;
    std::unique_ptr<UnchangedFiles> definitions;

    QString conf(const QString &name) const { return dir.filePath(name); }

    template <typename Control> std::unique_ptr<Control> list(const QString &provider, const QString &definition,
        const QString &password = QLatin1String(LocalServer::password), const QString &extra = QString())
    {
        auto c = std::make_unique<Control>();
        const bool pg = provider == QLatin1String("postgres");
        c->lrConnectionString((pg ? QStringLiteral("Provider=PostgreSQL;") : QStringLiteral("Provider=SQLite;"))
            + extra + QStringLiteral("Data Source="));
        c->lrDataSource(pg ? connectionFile : sqliteDb);
        c->lrPassword(pg ? password : QString());
        c->lrConfigFileName(definition);
        c->resize(1000, 600);
        return c;
    }

    // Both sides must change alike; the tests write, never the library.
    void writeBoth(const QString &sql)
    {
        makeDatabase(sqliteDb, { sql });
        QVERIFY2(server.execute(QStringLiteral("tienda"), sql), qPrintable(server.error()));
    }

private slots:
    void initTestCase()
    {
        QVERIFY(dir.isValid());
        reports = scriptReporter();
        services = scriptServices();
        sqliteDb = dir.filePath(QStringLiteral("sample.db"));
        sample::writeDatabase(sqliteDb.toStdString());
        QVERIFY2(server.start(), qPrintable(server.error()));
        QVERIFY2(server.copySqlite(sqliteDb, QStringLiteral("tienda")), qPrintable(server.error()));
        connectionFile = server.writeConnectionFile(QStringLiteral("tienda"));
        QFile::copy(QStringLiteral(SAMPLE_CONF), conf(QStringLiteral("facturas.conf")));
        QFile::copy(QStringLiteral(CLIENTS_CONF), conf(QStringLiteral("clientes.conf")));
        definitions = std::make_unique<UnchangedFiles>(dir.path(), QStringList { QStringLiteral("sample.db") });
    }

    void cleanupTestCase()
    {
        if (definitions)
            QVERIFY2(definitions->intact(), qPrintable(definitions->changes()));
        QVERIFY(QFile::exists(connectionFile));
        server.stop();
    }

    void init() { reports->reports.clear(); }

    // PostgreSQL refuses what SQLite takes in these texts; nothing else may change.
    void adaptsTheTextsPostgresRefuses_data()
    {
        QTest::addColumn<QString>("sql");
        QTest::addColumn<QString>("adapted");
        // clang-format off
        QTest::newRow("list query") << "Select * from (select * from t)where  numero like '%' and  1 like 1"
            << "Select * from (select * from t) AS bv_derived1 where  CAST(numero AS text) like '%' and  CAST(1 AS text) like CAST(1 AS text)";
        QTest::newRow("row query") << "Select * from (select a.id from a order by 1) where id = '7'"
            << "Select * from (select a.id from a order by 1) AS bv_derived1 where id = '7'";
        QTest::newRow("named, join, nested") << "select * from (select 1) x join (select * from (values (1)) ) on true"
            << "select * from (select 1) x join (select * from (values (1)) AS bv_derived2 ) AS bv_derived1 on true";
        QTest::newRow("call and qualified name") << "select 1 where cast(substr(f.d, 6, 2) as integer) not like '3' and t.n ilike x.y"
            << "select 1 where CAST(cast(substr(f.d, 6, 2) as integer) AS text) not like '3' and CAST(t.n AS text) ilike CAST(x.y AS text)";
        QTest::newRow("literals and comments untouched") << "select 'from (select 1)' -- from (select 2)\n, \"a like\" from t"
            << "select 'from (select 1)' -- from (select 2)\n, \"a like\" from t";
        QTest::newRow("expressions left alone") << "select 1 where a || b like c::text and case when 1 then 2 end like '2'"
            << "select 1 where a || b like c::text and case when 1 then 2 end like '2'";
        // clang-format on
    }
    void adaptsTheTextsPostgresRefuses()
    {
        QFETCH(QString, sql);
        QTEST(data::postgres::adaptForPostgres(sql), "adapted");
    }

    void sameRowsAndTabs_data()
    {
        QTest::addColumn<QString>("definition");
        QTest::addColumn<int>("year"); // tab positions, 0 for the first
        QTest::addColumn<int>("month");
        QTest::newRow("all") << "facturas.conf" << 0 << 0;
        QTest::newRow("a year") << "facturas.conf" << 2 << 0;
        QTest::newRow("a year and a month") << "facturas.conf" << 3 << 3;
        QTest::newRow("a month of every year") << "facturas.conf" << 0 << 12;
        QTest::newRow("single list") << "clientes.conf" << -1 << -1;
    }
    void sameRowsAndTabs()
    {
        QFETCH(QString, definition);
        QFETCH(int, year);
        QFETCH(int, month);
        QStringList rows[2], tabs[2];
        for (int p = 0; p < 2; ++p) {
            if (year < 0) {
                auto c = list<ctlListSingle>(Providers[p], conf(definition));
                c->Showme();
                rows[p] = rowTexts(*c->findChild<ListView *>());
                continue;
            }
            auto c = list<ctlListRecord>(Providers[p], conf(definition));
            c->Showme();
            strip(*c, 0)->selectTab(year + 1);
            strip(*c, 1)->selectTab(month + 1);
            rows[p] = rowTexts(*c->ActiveListView());
            tabs[p] = captions(*c);
        }
        QCOMPARE(reports->described().join(QLatin1Char('\n')), QString());
        QVERIFY(!rows[0].isEmpty());
        QCOMPARE(rows[1], rows[0]);
        QCOMPARE(tabs[1], tabs[0]);
    }

    // The filter dialog on each provider: the value list comes from the database, the chosen value
    // filters the list.
    void sameFilterResults()
    {
        QStringList rows[2], items[2];
        for (int p = 0; p < 2; ++p) {
            auto c = list<ctlListRecord>(Providers[p], conf(QStringLiteral("facturas.conf")));
            c->Showme();
            // Answered once it is up and modal, however long its value lists took.
            QTimer answer;
            connect(&answer, &QTimer::timeout, this, [&] {
                frmdlgFilter *form = frmdlgFilter::loaded();
                if (!form || !form->isVisible() || QApplication::activeModalWidget() != form)
                    return;
                answer.stop();
                QWidget *f = form->ctlFilter1();
                // Page 1: the first field (Zona), "Igual", its second value; page 2: the same field,
                // "Diferente" from its first value.
                auto *values = f->findChild<QComboBox *>(QStringLiteral("cmb1"));
                QTest::keyClick(values, Qt::Key_Down);
                for (int i = 0; i < values->count(); ++i)
                    items[p] << values->itemText(i);
                auto *page = f->findChild<TabStrip *>(QStringLiteral("TabStrip1"));
                QTest::mouseClick(page->tabBar(), Qt::LeftButton, {}, page->tabBar()->tabRect(1).center());
                for (int i = 0; i < 5; ++i)
                    QTest::keyClick(f->findChild<QComboBox *>(QStringLiteral("Condicion3")), Qt::Key_Down);
                QTest::mouseClick(f->findChild<QToolButton *>(QStringLiteral("OKButton")), Qt::LeftButton);
            });
            answer.start(20);
            QTimer safety;
            safety.setSingleShot(true);
            connect(&safety, &QTimer::timeout, this, [] { frmdlgFilter::Unload(); });
            safety.start(20000);
            QTest::mouseClick(c->findChild<QWidget *>(QStringLiteral("Label2")), Qt::LeftButton, {}, QPoint(5, 5));
            QVERIFY(safety.isActive());
            rows[p] = rowTexts(*c->ActiveListView());
        }
        QCOMPARE(reports->described().join(QLatin1Char('\n')), QString());
        QCOMPARE(items[0].size(), 5);
        QCOMPARE(items[1], items[0]);
        QVERIFY(!rows[0].isEmpty());
        QCOMPARE(rows[1], rows[0]);
    }

    void sameRowUpkeep()
    {
        std::unique_ptr<ctlListRecord> lists[2];
        for (int p = 0; p < 2; ++p) {
            lists[p] = list<ctlListRecord>(Providers[p], conf(QStringLiteral("facturas.conf")));
            lists[p]->Showme();
        }
        auto same = [&] {
            QCOMPARE(rowTexts(*lists[1]->ActiveListView()), rowTexts(*lists[0]->ActiveListView()));
        };
        QString key = QStringLiteral("900001");
        writeBoth(QStringLiteral("insert into facturas values (900001, 'F2099-1', '2024-12-31', 1, 1, 1, "
                                 "1234.5, true, 0.25, 'Pendiente')"));
        for (auto &c : lists)
            c->lrAddListItem(key);
        same();
        QCOMPARE(rowTexts(*lists[0]->ActiveListView()).last().section(QLatin1Char('|'), 0, 1),
            QStringLiteral("T900001|900001"));
        writeBoth(QStringLiteral("update facturas set total = 99.99, pagada = false where id = 900001"));
        for (auto &c : lists)
            c->lrUpdateListItem(key);
        same();
        QVERIFY(rowTexts(*lists[1]->ActiveListView()).last().contains(QStringLiteral("|99.99|False|")));
        for (auto &c : lists)
            c->lrDelListItem(key);
        same();
        // A key with a quote is a reported failure on both, and the same one.
        key = QStringLiteral("1'");
        for (auto &c : lists)
            c->lrAddListItem(key);
        QCOMPARE(reports->numbers().size(), 2);
        QCOMPARE(reports->numbers()[1], reports->numbers()[0]);
        writeBoth(QStringLiteral("delete from facturas where id = 900001"));
    }

    void sameErrorReports_data()
    {
        QTest::addColumn<QString>("source");
        QTest::addColumn<qint32>("number");
        QTest::newRow("unknown table") << "select * from nowhere" << FailureNumber::CommandError;
        QTest::newRow("syntax") << "select from where" << FailureNumber::CommandError;
        QTest::newRow("two statements") << "select 1 as id; select 2" << FailureNumber::CommandError;
        QTest::newRow("a write") << "delete from facturas" << FailureNumber::CommandError;
    }
    void sameErrorReports()
    {
        QFETCH(QString, source);
        QFETCH(qint32, number);
        QString text = readBytes(conf(QStringLiteral("clientes.conf")));
        text.replace(QRegularExpression(QStringLiteral("ListSQLSource=\"[^\"]*\"")),
            QStringLiteral("ListSQLSource=\"%1\"").arg(source));
        const QString path = scratch.filePath(QStringLiteral("bad.conf"));
        writeText(path, text);
        QStringList seen;
        setQueryObserver([&](const QString &sql) { seen << sql; });
        for (const QString &provider : Providers)
            list<ctlListSingle>(provider, path)->Showme();
        setQueryObserver(nullptr);
        QCOMPARE(reports->numbers(), (QList<qint32> { number, number }));
        // The observer hears the composed text from both, and what PostgreSQL was given after it.
        const QString adapted = data::postgres::adaptForPostgres(seen.value(0));
        QCOMPARE(seen, (QStringList { seen[0], seen[0] } + (adapted == seen[0] ? QStringList() : QStringList { adapted })));
    }

    // What only a server can do wrong: each reaches the reporter, with a clear description, within
    // seconds.
    void serverFailuresAreReported_data()
    {
        QTest::addColumn<QString>("what");
        QTest::addColumn<qint32>("number");
        QTest::addColumn<QString>("described");
        QTest::newRow("wrong password") << "password" << FailureNumber::DatabaseError << "password authentication failed";
        QTest::newRow("no connection file") << "file" << 0 << "no existe origen de datos";
        QTest::newRow("server down") << "down" << FailureNumber::DatabaseError << "connection to server";
        QTest::newRow("server gone during a load") << "gone" << FailureNumber::DatabaseError << "connection";
        QTest::newRow("Esc") << "escape" << FailureNumber::CommandError << "interrupted: the user cancelled the load";
        QTest::newRow("past the time limit") << "slow" << FailureNumber::CommandError << "interrupted: the query ran past its time limit of 1 s";
    }
    void serverFailuresAreReported()
    {
        QFETCH(QString, what);
        QFETCH(qint32, number);
        QFETCH(QString, described);
        const QString slow = scratch.filePath(QStringLiteral("slow.conf"));
        QString text = readBytes(conf(QStringLiteral("clientes.conf")));
        text.replace(QRegularExpression(QStringLiteral("ListSQLSource=\"[^\"]*\"")),
            QStringLiteral("ListSQLSource=\"select g as id, g as Nombre, 'a' as Zona, 'b' as Ruta, g as Facturas, "
                           "pg_sleep(0.05) from generate_series(1, 100) g\""));
        writeText(slow, text);
        auto c = list<ctlListSingle>(QStringLiteral("postgres"),
            what == QLatin1String("slow") || what == QLatin1String("gone") || what == QLatin1String("escape") ? slow : conf(QStringLiteral("clientes.conf")),
            what == QLatin1String("password") ? QStringLiteral("ladron") : QLatin1String(LocalServer::password),
            what == QLatin1String("slow") ? QStringLiteral("Command Timeout=1;") : QString());
        if (what == QLatin1String("file"))
            c->lrDataSource(dir.filePath(QStringLiteral("missing.pgconn")));
        if (what == QLatin1String("down"))
            server.stop();
        QTimer killer;
        if (what == QLatin1String("gone")) {
            // Another session ends ours while its rows arrive, as a server shutdown would.
            connect(&killer, &QTimer::timeout, this, [&] {
                server.execute(QStringLiteral("postgres"),
                    QStringLiteral("select pg_terminate_backend(pid) from pg_stat_activity where "
                                   "application_name = 'Brennvox10'"));
            });
            killer.start(300);
        } else if (what == QLatin1String("escape")) {
            c->show();
            QTimer::singleShot(300, c.get(), [&] { QTest::keyClick(c.get(), Qt::Key_Escape); });
        }
        QElapsedTimer clock;
        clock.start();
        c->Showme();
        killer.stop();
        if (what == QLatin1String("down"))
            QVERIFY2(server.restart(), qPrintable(server.error()));
        QVERIFY(clock.elapsed() < 4000);
        if (number == 0) { // the data source checks come first, and their message
            QCOMPARE(services->messages.mid(services->messages.size() - 1), QStringList { described });
            QCOMPARE(reports->numbers(), QList<qint32>());
            return;
        }
        QCOMPARE(reports->numbers().value(0), number);
        QVERIFY2(reports->reports.value(0).description.contains(described), qPrintable(reports->described().join('\n')));
    }
};

QTEST_MAIN(tst_providers)
#include "tst_providers.moc"

// SPDX-License-Identifier: MIT
// One definition, two providers: the demo's sample in an SQLite file and the same rows on a
// PostgreSQL server this suite starts itself. Rows, tabs, filters, row upkeep and error reports must
// agree; the server's own failures (login, shutdown, time limit) must reach the error reporter and
// never hang.

#include "support/Fixtures.h"
#include "support/Lists.h"
#include "support/Rows.h"
#include "support/Scripted.h"

#include "LocalServer.h"
#include "SampleData.h"
#include "providers/postgres/Dialect.h"

#include <Brennvox10/Brennvox10.h>
#include <Brennvox10/QueryObserver.h>

#include <QComboBox>
#include <QElapsedTimer>
#include <QRegularExpression>
#include <QTabBar>
#include <QTemporaryDir>
#include <QTimer>
#include <QToolButton>
#include <QtTest>

#include <optional>

using namespace Brennvox10;

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

    // A list on the SQLite file, or (pg) on the server.
    template <typename Control> std::unique_ptr<Control> list(bool pg, const QString &definition,
        const QString &password = LocalServer::password, const QString &extra = QString())
    {
        auto c = std::make_unique<Control>();
        c->lrConnectionString(QString(pg ? "Provider=PostgreSQL;" : "Provider=SQLite;") + extra + "Data Source=");
        c->lrDataSource(pg ? connectionFile : sqliteDb);
        c->lrPassword(pg ? password : QString());
        c->lrConfigFileName(definition);
        c->resize(1000, 600);
        return c;
    }

    // clientes.conf with another list query, as a file of its own.
    QString clientsWith(const QString &source)
    {
        QString text = readBytes(conf("clientes.conf"));
        text.replace(QRegularExpression("ListSQLSource=\"[^\"]*\""), "ListSQLSource=\"" + source + '"');
        writeText(scratch.filePath("list.conf"), text);
        return scratch.filePath("list.conf");
    }

    // Both sides must change alike; the tests write, never the library.
    void writeBoth(const QString &sql)
    {
        makeDatabase(sqliteDb, { sql });
        QVERIFY2(server.execute("tienda", sql), qPrintable(server.error()));
    }

private slots:
    void initTestCase()
    {
        reports = scriptReporter();
        services = scriptServices();
        sqliteDb = dir.filePath("sample.db");
        sample::writeDatabase(sqliteDb.toStdString());
        QVERIFY2(server.start() && server.copySqlite(sqliteDb, "tienda"), qPrintable(server.error()));
        connectionFile = server.writeConnectionFile("tienda");
        QFile::copy(SAMPLE_CONF, conf("facturas.conf"));
        QFile::copy(CLIENTS_CONF, conf("clientes.conf"));
        definitions = std::make_unique<UnchangedFiles>(dir.path(), QStringList { "sample.db" });
    }

    void cleanupTestCase()
    {
        if (definitions)
            QVERIFY2(definitions->intact(), qPrintable(definitions->changes()));
        QVERIFY(QFile::exists(connectionFile));
        server.stop();
    }

    void init() { reports->reports.clear(); }

    void sameRowsAndTabs_data()
    {
        columns<QString, int, int>("definition", "year", "month"); // tab positions, 0 for the first
        QTest::newRow("all") << "facturas.conf" << 0 << 0;
        QTest::newRow("a year") << "facturas.conf" << 2 << 0;
        QTest::newRow("a year and a month") << "facturas.conf" << 3 << 3;
        QTest::newRow("a month of every year") << "facturas.conf" << 0 << 12;
        QTest::newRow("single list") << "clientes.conf" << -1 << -1;
    }
    void sameRowsAndTabs()
    {
        const auto [definition, year, month] = fetch<QString, int, int>("definition", "year", "month");
        QStringList rows[2], tabs[2];
        for (bool pg : { false, true }) {
            const std::unique_ptr<ListControl> c = year < 0
                ? std::unique_ptr<ListControl>(list<ctlListSingle>(pg, conf(definition)))
                : list<ctlListRecord>(pg, conf(definition));
            c->Showme();
            if (auto *r = qobject_cast<ctlListRecord *>(c.get())) {
                strip(*r, 0)->selectTab(year + 1);
                strip(*r, 1)->selectTab(month + 1);
                tabs[pg] = tabTexts(*r);
            }
            rows[pg] = rowTexts(*c->findChild<ListView *>());
        }
        QCOMPARE(reports->described(), QStringList());
        QVERIFY(!rows[0].isEmpty());
        QCOMPARE(rows[1], rows[0]);
        QCOMPARE(tabs[1], tabs[0]);
    }

    // The filter dialog on each provider: the value list comes from the database, the chosen value
    // filters the list.
    void sameFilterResults()
    {
        QStringList rows[2], items[2];
        for (bool pg : { false, true }) {
            auto c = list<ctlListRecord>(pg, conf("facturas.conf"));
            c->Showme();
            const bool closed = throughFilterDialog(*c, [&](frmdlgFilter &, QWidget *f) {
                // Page 1: the first field (Zona), "Igual", its second value; page 2: the same field,
                // "Diferente" from its first value.
                auto *values = f->findChild<QComboBox *>("cmb1");
                QTest::keyClick(values, Qt::Key_Down);
                for (int i = 0; i < values->count(); ++i)
                    items[pg] << values->itemText(i);
                auto *page = f->findChild<TabStrip *>("TabStrip1");
                QTest::mouseClick(page->tabBar(), Qt::LeftButton, {}, page->tabBar()->tabRect(1).center());
                for (int i = 0; i < 5; ++i)
                    QTest::keyClick(f->findChild<QComboBox *>("Condicion3"), Qt::Key_Down);
                QTest::mouseClick(f->findChild<QToolButton *>("OKButton"), Qt::LeftButton);
            }, 20000);
            QVERIFY(closed);
            rows[pg] = rowTexts(*c->ActiveListView());
        }
        QCOMPARE(reports->described(), QStringList());
        QCOMPARE(items[0].size(), 5);
        QCOMPARE(items[1], items[0]);
        QVERIFY(!rows[0].isEmpty());
        QCOMPARE(rows[1], rows[0]);
    }

    void sameRowUpkeep()
    {
        std::unique_ptr<ctlListRecord> lists[2];
        for (bool pg : { false, true }) {
            lists[pg] = list<ctlListRecord>(pg, conf("facturas.conf"));
            lists[pg]->Showme();
        }
        // A call on both lists, after which they show the same rows.
        const auto onBoth = [&](qint16 (ListControl::*call)(const QString &), const QString &key) {
            for (auto &c : lists)
                (c.get()->*call)(key);
            QCOMPARE(rowTexts(*lists[1]->ActiveListView()), rowTexts(*lists[0]->ActiveListView()));
        };
        const auto last = [&] { return rowTexts(*lists[0]->ActiveListView()).last(); };
        writeBoth("insert into facturas values (900001, 'F2099-1', '2024-12-31', 1, 1, 1, 1234.5, true, 0.25, "
                  "'Pendiente')");
        onBoth(&ListControl::lrAddListItem, "900001");
        QCOMPARE(last().section('|', 0, 1), "T900001|900001");
        writeBoth("update facturas set total = 99.99, pagada = false where id = 900001");
        onBoth(&ListControl::lrUpdateListItem, "900001");
        QVERIFY(last().contains("|99.99|False|"));
        onBoth(&ListControl::lrDelListItem, "900001");
        // A key with a quote is a reported failure on both, and the same one.
        onBoth(&ListControl::lrAddListItem, "1'");
        QCOMPARE(reports->numbers().size(), 2);
        QCOMPARE(reports->numbers()[1], reports->numbers()[0]);
        writeBoth("delete from facturas where id = 900001");
    }

    void sameErrorReports_data()
    {
        columns<QString>("source");
        QTest::newRow("unknown table") << "select * from nowhere";
        QTest::newRow("syntax") << "select from where";
        QTest::newRow("two statements") << "select 1 as id; select 2";
        QTest::newRow("a write") << "delete from facturas";
    }
    void sameErrorReports()
    {
        QFETCH(QString, source);
        const QString path = clientsWith(source);
        QStringList seen;
        setQueryObserver([&](const QString &sql) { seen << sql; });
        for (bool pg : { false, true })
            list<ctlListSingle>(pg, path)->Showme();
        setQueryObserver(nullptr);
        QCOMPARE(reports->numbers(), QList<qint32>(2, FailureNumber::CommandError));
        // The observer hears the composed text from both, and what PostgreSQL was given after it.
        const QString adapted = data::postgres::adaptForPostgres(seen.value(0));
        QCOMPARE(seen, (QStringList { seen[0], seen[0] } + (adapted == seen[0] ? QStringList() : QStringList { adapted })));
    }

    // Rows that fail deep in a long load, where each provider reads and packs rows ahead on a thread:
    // the same reports in the same order and, after each answer, the same rows kept.
    void sameRowsAfterRowFailures_data()
    {
        columns<QList<qint16>, qint16>("answers", "then");
        QTest::newRow("skipped") << QList<qint16> {} << qint16(1);
        QTest::newRow("retried, then skipped") << QList<qint16> { 0, 1, 0, 0, 1 } << qint16(1);
        QTest::newRow("left at the third") << QList<qint16> { 1, 1 } << qint16(2);
    }
    void sameRowsAfterRowFailures()
    {
        const auto [answers, then] = fetch<QList<qint16>, qint16>("answers", "then");
        // A key taken again every thousand rows, a Null in the second column every thousand.
        QString path = clientsWith("select case when id % 1000 = 7 then id - 1 else id end as id, case when id % "
                                   "1000 = 500 then null else numero end as Nombre, numero as Zona, estado as Ruta, "
                                   "total as Facturas from facturas order by id");
        writeText(path, readBytes(path).replace("ListMaxLineas=\"500\"", "ListMaxLineas=\"100000\""));
        QStringList rows[2];
        QList<qint32> numbers[2];
        for (bool pg : { false, true }) {
            reports->reports.clear();
            reports->answers.assign(answers.begin(), answers.end());
            reports->defaultAnswer = then;
            const auto c = list<ctlListSingle>(pg, path);
            c->Showme();
            rows[pg] = rowTexts(*c->findChild<ListView *>());
            numbers[pg] = reports->numbers();
        }
        reports->defaultAnswer = 2;
        const int failing = int(numbers[0].size()) - int(answers.count(qint16(0)));
        QVERIFY2(failing >= 3, qPrintable(QString::number(failing)));
        QCOMPARE(numbers[0].count(FailureNumber::KeyNotUnique) + numbers[0].count(FailureNumber::InvalidUseOfNull),
            numbers[0].size());
        QCOMPARE(numbers[1], numbers[0]);
        QCOMPARE(rows[1], rows[0]);
        // Skipped, a row with a taken key is not there and one with a Null shows an empty cell.
        if (then == 1) {
            QCOMPARE(rows[0].filter(QRegularExpression("^T1006\\|")).size(), 1);
            QCOMPARE(rows[0].filter(QRegularExpression("^T1500\\|1500\\|\\|")).size(), 1);
        }
    }

    // What only a server can do wrong: each reaches the reporter, with a clear description, within
    // seconds.
    void serverFailuresAreReported_data()
    {
        columns<QString, qint32, QString>("what", "number", "described");
        const qint32 db = FailureNumber::DatabaseError, ce = FailureNumber::CommandError;
        QTest::newRow("wrong password") << "password" << db << "password authentication failed";
        QTest::newRow("no connection file") << "file" << 0 << "no existe origen de datos";
        QTest::newRow("server down") << "down" << db << "connection to server";
        QTest::newRow("server gone during a load") << "gone" << db << "connection";
        QTest::newRow("Esc") << "escape" << ce << "interrupted: the user cancelled the load";
        QTest::newRow("past the time limit") << "slow" << ce << "interrupted: the query ran past its time limit of 1 s";
    }
    void serverFailuresAreReported()
    {
        QFETCH(QString, what);
        QFETCH(qint32, number);
        QFETCH(QString, described);
        const auto is = [&](const char *w) { return what == QLatin1String(w); };
        const QString definition = is("slow") || is("gone") || is("escape")
            // The first batch comes at once; the rest trickle in through the cursor's reader thread.
            ? clientsWith("select g as id, g as Nombre, 'a' as Zona, 'b' as Ruta, g as Facturas, "
                          "pg_sleep(case when g > 64 then 0.05 else 0 end) from generate_series(1, 200) g")
            : conf("clientes.conf");
        auto c = list<ctlListSingle>(true, definition, is("password") ? "ladron" : LocalServer::password,
            is("slow") ? "Command Timeout=1;" : "");
        if (is("file"))
            c->lrDataSource(dir.filePath("missing.pgconn"));
        if (is("down"))
            server.stop();
        QTimer killer;
        // Another session ends ours while its rows arrive, as a server shutdown would.
        killer.callOnTimeout([&] {
            server.execute("postgres", "select pg_terminate_backend(pid) from pg_stat_activity where "
                                       "application_name = 'Brennvox10'");
        });
        if (is("gone"))
            killer.start(300);
        if (is("escape")) {
            c->show();
            QTimer::singleShot(300, c.get(), [&] { QTest::keyClick(c.get(), Qt::Key_Escape); });
        }
        QElapsedTimer clock;
        clock.start();
        c->Showme();
        killer.stop();
        if (is("down"))
            QVERIFY2(server.restart(), qPrintable(server.error()));
        QVERIFY(clock.elapsed() < 4000);
        // The data source checks come first: their message, and no report.
        QCOMPARE(reports->numbers().value(0), number);
        const QString told
            = number ? reports->reports.value(0).description : services->messages.value(services->messages.size() - 1);
        QVERIFY2(number ? told.contains(described) : told == described, qPrintable(told));
    }

    // A server that stops answering (every process stopped, as on an overloaded host or behind a
    // pulled cable) holds the window no longer than the time limit, or Esc, or the connect time-out;
    // the rows read so far stay, and the next load works once the server runs again.
    void stalledServerIsLeftInTime_data()
    {
        columns<QString, QString, int, int, qint32, QString>("what", "extra", "pauseAtMs", "endsWithinMs", "number", "described");
        const qint32 db = FailureNumber::DatabaseError, ce = FailureNumber::CommandError;
        const QString late = "interrupted: the query ran past its time limit of 2 s (Command Timeout)";
        QTest::newRow("during the rows") << "rows" << "Command Timeout=2;" << 800 << 3000 << ce << late;
        QTest::newRow("while connecting") << "connect" << "Command Timeout=2;" << 0 << 3000 << ce << late;
        QTest::newRow("before the first batch") << "first" << "Command Timeout=2;" << 500 << 3000 << ce << late;
        QTest::newRow("Esc during the rows") << "escape" << "" << 800 << 2300 << ce
                                             << "interrupted: the user cancelled the load";
        QTest::newRow("connect_timeout of the file") << "connect_timeout=2" << "Command Timeout=0;" << 0 << 3000
                                                     << db << "timeout expired";
    }
    void stalledServerIsLeftInTime()
    {
        const auto [what, extra, pauseAtMs, endsWithinMs, number, described]
            = fetch<QString, QString, int, int, qint32, QString>("what", "extra", "pauseAtMs", "endsWithinMs", "number", "described");
        // Millions of rows that stream (a set-returning call in the select list is not gathered first);
        // for "first", the server sleeps before the first row, and stops while it does.
        QString text = readBytes(clientsWith("select g as id, 'c' || g as Nombre, 'a' as Zona, 'b' as Ruta, g as "
                                             "Facturas from (select generate_series(1, 5000000) as g) s"
            + QString(what == "first" ? " where g > 1 or (select count(*) from pg_sleep(1.5)) = 1" : "")));
        text.replace(QRegularExpression("ListMaxLineas=\"[^\"]*\""), "ListMaxLineas=\"9000000\"");
        writeText(scratch.filePath("list.conf"), text);
        auto c = list<ctlListSingle>(true, scratch.filePath("list.conf"), LocalServer::password, extra);
        if (what.startsWith("connect_timeout")) {
            writeText(scratch.filePath("slow.pgconn"), readBytes(connectionFile).trimmed() + ' ' + what + '\n');
            c->lrDataSource(scratch.filePath("slow.pgconn"));
        }
        std::optional<LocalServer::Paused> paused;
        if (pauseAtMs == 0)
            paused.emplace(server);
        else
            QTimer::singleShot(pauseAtMs, c.get(), [&] { paused.emplace(server); });
        if (what == "escape") {
            c->show();
            QTimer::singleShot(pauseAtMs + 600, c.get(), [&] { QTest::keyClick(c.get(), Qt::Key_Escape); });
        }
        QElapsedTimer clock;
        clock.start();
        c->Showme();
        const qint64 took = clock.elapsed();
        QVERIFY2(paused && paused->ok(), qPrintable(server.error()));
        paused.reset();
        QVERIFY2(took < endsWithinMs, qPrintable(QString::number(took)));
        QCOMPARE(reports->numbers(), QList<qint32> { number });
        QVERIFY2(reports->reports[0].description.contains(described), qPrintable(reports->reports[0].description));
        const int kept = c->findChild<ListView *>()->ListItems().Count();
        QVERIFY2(pauseAtMs == 0 || what == "first" ? kept == 0 : kept > 0, qPrintable(QString::number(kept)));

        reports->reports.clear();
        auto next = list<ctlListSingle>(true, conf("clientes.conf"));
        next->Showme();
        QCOMPARE(reports->described(), QStringList());
        QVERIFY(next->findChild<ListView *>()->ListItems().Count() > 0);
    }
};

QTEST_MAIN(tst_providers)
#include "tst_providers.moc"

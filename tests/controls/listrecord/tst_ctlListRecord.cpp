// SPDX-License-Identifier: MIT
// The record list as a host sees it: a real SQLite file, a real definition file, Showme, and what
// the list, the strips, the messages, the error reports and the SQL texts show afterwards.

#include "support/FailureOf.h"
#include "support/Fixtures.h"
#include "support/Lists.h"
#include "support/Rows.h"
#include "support/Scripted.h"

#include "xml/XmlHelper.h"

#include <Brennvox10/Brennvox10.h>

#include <QtTest>
#include <QtWidgets>

using namespace Brennvox10;

namespace {

const QStringList Schema = {
    "create table facturas (id INTEGER, numero TEXT, fecha DATE, cliente TEXT, total CURRENCY, "
    "pagada BOOLEAN, peso REAL, mes INTEGER)",
    "create table meses (mes INTEGER, nombre TEXT)",
    "insert into meses values (3, 'Marzo'), (4, 'Abril')",
    "insert into facturas values (1, 'A-1', '2008-03-05', 'Ana', 1234.5, 1, 12345.678, 3), (2, 'A-2', "
    "'2009-04-10', 'Luis', 200, 0, 2.5, 4), (17, 'A-17', '2009-03-01 10:30:00', 'Eva', -0.5, 1, 0.1, 3)",
};

const QString YearTab
    = "<t tabID=\"1\" tabName=\"anio\" tabSQLSource=\"select distinct substr(fecha, 1, 4), "
      "substr(fecha, 1, 4) from facturas order by 1\" tabDefFunc=\"numero\" tabDefValue=\"'%'\" "
      "tabDefCaption=\"Todos\" tabFieldname=\"substr(fecha, 1, 4)\"/>";
const QString MonthTab
    = "<t tabID=\"2\" tabName=\"mes\" tabSQLSource=\"select mes, nombre from meses order by mes\" "
      "tabDefFunc=\"1\" tabDefValue=\"1\" tabDefCaption=\"Todo el anio\" tabFieldname=\"mes\"/>";
// Two strips whose queries return no row: each keeps its first tab only.
const QString EmptyTabs
    = "<t tabSQLSource=\"select 1, 'x' where 0\" tabDefFunc=\"1\" tabDefValue=\"1\" tabDefCaption=\"A\"/>"
      "<t tabSQLSource=\"select 1, 'x' where 0\" tabDefFunc=\"2\" tabDefValue=\"2\" tabDefCaption=\"B\"/>";

const QStringList DefaultTabs = { "'%'=Todos,i2008=2008,i2009=2009", "1=Todo el anio,i3=Marzo,i4=Abril" };
const QString DefaultQuery = "Select * from (select * from facturas)where  numero like '%' and  1 like 1";
const QStringList DefaultRows = { "T1|A-1|05/03/2008|1.234,50|Verdadero|12345,678",
    "T2|A-2|10/04/2009|200,00|Falso|2,5", "T17|A-17|01/03/2009|-0,50|Verdadero|0,1" };

QString column(const QString &field, const QString &width = "50", const QString &caption = "X",
    const QString &align = "0")
{
    return QStringLiteral("<c ColWidth=\"%1\" ColCaption=\"%2\" ColAligment=\"%3\" ColFieldname=\"%4\"/>")
        .arg(width, caption, align, field);
}

// What a host gives a list: the definition file, the data source and definition file names in the
// test folder (none when empty), and its locale.
struct Setup {
    QString key = "id";
    QString source = "select * from facturas";
    QString maxLines = "1000";
    QString columns = column("numero", "10", "Numero") + column("fecha", "20", "Fecha")
        + column("total", "25", "Total", "1") + column("pagada", "10", "Pagada", "2")
        + column("peso", "10", "Peso", "1");
    QString tabs = YearTab + MonthTab;
    QString filters
        = "<Filters><F fltName=\"cliente\" fltType=\"1\" fltFieldtype=\"0\" fltSQL=\"select cliente, "
          "numero from facturas order by cliente\"/><F fltName=\"fecha\" fltType=\"0\" "
          "fltFieldtype=\"1\"/></Filters>";
    QString dataSource = "empresa.db";
    QString configFile = "facturas.conf";
    QString locale = "es_ES";

    QString text() const
    {
        return QStringLiteral(
            "<?xml version=\"1.0\"?>\n<lrfmt Caption=\"Facturas\" Key=\"%1\" ListSQLSource=\"%2\" "
            "ListMaxLineas=\"%3\">\n<Columns>%4</Columns>\n<Tabs>%5</Tabs>\n%6\n</lrfmt>\n")
            .arg(key, source, maxLines, columns, tabs, filters);
    }
};

// What Showme leaves for the host to see.
struct Shown {
    Setup setup;
    QList<qint16> answers {}; // played first; every later report is answered 1, skip
    QList<qint32> numbers {}; // reported, in order
    QStringList messages {};
    QStringList tabs = DefaultTabs;
    QStringList queries = { DefaultQuery };
    QStringList rows = DefaultRows;
    int limit = 1000;
};

// Another program replaces the definition while SaveConfig holds it loaded.
struct ReplacingXmlHelper : XmlHelper {
    ReplacingXmlHelper(const QString &path, const QByteArray &bytes) : path(path), bytes(bytes) { }
    const QString path;
    const QByteArray bytes;
    xml::Node FindNode(const QString &name, const std::vector<xml::Node> &nodes) override
    {
        writeBytes(path, bytes);
        return XmlHelper::FindNode(name, nodes);
    }
};

QStringList keys(const ListView &lv)
{
    return rowTexts(lv).replaceInStrings(QRegularExpression("\\|.*"), QString());
}

// Counts the paints a widget gets while a flag is up.
struct PaintCounter : QObject {
    PaintCounter(QWidget *widget, const bool &when) : when(when) { widget->installEventFilter(this); }
    bool eventFilter(QObject *, QEvent *event) override
    {
        count += event->type() == QEvent::Paint && when;
        return false;
    }
    const bool &when;
    int count = 0;
};

} // namespace

Q_DECLARE_METATYPE(Setup)
Q_DECLARE_METATYPE(Shown)

class tst_ctlListRecord : public QObject {
    Q_OBJECT

    QTemporaryDir dir;
    QString dbPath, confPath;
    std::shared_ptr<ReporterLog> reports;
    std::shared_ptr<ServicesLog> ui;
    QStringList sql;
    std::optional<UnchangedFiles> files; // the folder, from a test's last write of it on

    std::unique_ptr<ctlListRecord> makeList(const Setup &s = Setup())
    {
        QLocale::setDefault(QLocale(s.locale));
        writeText(confPath, s.text());
        files.emplace(dir.path());
        auto c = std::make_unique<ctlListRecord>();
        c->lrConnectionString(QStringLiteral("Provider=SQLite;Data Source="));
        c->lrDataSource(s.dataSource.isEmpty() ? QString() : dir.filePath(s.dataSource));
        if (!s.configFile.isEmpty())
            c->lrConfigFileName(dir.filePath(s.configFile));
        return c;
    }

    QStringList listQueries() const { return sql.filter(QRegularExpression("^Select \\* from \\(")); }

private Q_SLOTS:
    void initTestCase()
    {
        dbPath = dir.filePath(QStringLiteral("empresa.db"));
        confPath = dir.filePath(QStringLiteral("facturas.conf"));
        makeDatabase(dbPath, Schema);
        // A table f whose second row has a null text, or repeats the first key.
        const QString f = QStringLiteral("create table f (k INTEGER, t TEXT, n INTEGER)");
        makeDatabase(dir.filePath("nulls.db"), { f, "insert into f values (1,'a',1),(2,null,2),(3,'c',3)" });
        makeDatabase(dir.filePath("dups.db"), { f, "insert into f values (1,'a',1),(1,'b',2),(3,'c',3)" });
        QFile::copy(dbPath, dir.filePath(QStringLiteral(".hidden.db")));
        QDir(dir.path()).mkpath(QStringLiteral("conf"));
        writeText(dir.filePath(QStringLiteral("conf/lrfmt.conf")), Setup().text()); // the default path
        writeText(dir.filePath("bare.conf"),
            "<lrfmt Key=\"id\" ListMaxLineas=\"5\" ListSQLSource=\"select * from facturas\"/>");
    }

    void init()
    {
        reports = scriptReporter(2);
        ui = scriptServices(dir.path());
        sql.clear();
        setQueryObserver([this](const QString &s) { sql << s; });
        files.reset();
    }

    void cleanup()
    {
        setQueryObserver({});
        if (files)
            QVERIFY2(files->intact(), qPrintable(files->changes()));
    }

    void showme_data()
    {
        QTest::addColumn<Shown>("expected");
        const qint32 ce = FailureNumber::CommandError, closed = FailureNumber::ObjectClosed;
        const qint32 notSet = FailureNumber::ObjectNotSet, db = FailureNumber::DatabaseError;
        // clang-format off
        QTest::newRow("defaults") << Shown {};
        QTest::newRow("default definition path") << Shown { .setup = { .configFile = "" } };
        // One tab entry per strip, in order; a strip without one runs an empty query, and its empty
        // condition makes the list query fail too. A skipped failed query leaves the walk over its
        // rows on a closed recordset.
        QTest::newRow("third entry ignored") << Shown { .setup = { .tabs = YearTab + MonthTab + YearTab } };
        QTest::newRow("one tab entry") << Shown { .setup = { .tabs = YearTab }, .numbers = { ce, closed, ce, closed },
            .tabs = { DefaultTabs[0], "=" },
            .queries = { "Select * from (select * from facturas)where  numero like '%' and   like " }, .rows = {} };
        // The first column shows the value as it is, the others formatted.
        const auto first = [](const QString &field, const QString &locale, const QStringList &rows) {
            return Shown { .setup = { .columns = column(field), .locale = locale }, .rows = rows };
        };
        QTest::newRow("currency es") << first("total", "es_ES", { "T1|1234,5", "T2|200", "T17|-0,5" });
        QTest::newRow("currency en") << first("total", "en_US", { "T1|1234.5", "T2|200", "T17|-0.5" });
        QTest::newRow("date es") << first("fecha", "es_ES", { "T1|5/3/2008", "T2|10/4/2009", "T17|1/3/2009 10:30:00" });
        QTest::newRow("boolean en") << first("pagada", "en_US", { "T1|True", "T2|False", "T17|True" });
        QTest::newRow("integer") << first("id", "es_ES", { "T1|1", "T2|2", "T17|17" });
        // The data checks: a message each and no list query; without a data source, silently. Tab
        // queries on a database that cannot be opened fail.
        const auto unloaded = [](const Setup &setup, const QString &message, const QList<qint32> &numbers) {
            return Shown { .setup = setup, .numbers = numbers,
                .messages = message.isEmpty() ? QStringList() : QStringList { message },
                .tabs = numbers.isEmpty() ? DefaultTabs : QStringList { "'%'=Todos", "1=Todo el anio" },
                .queries = {}, .rows = {} };
        };
        const QList<qint32> tabsFail = { db, closed, db, closed };
        const QString noSource = "no existe origen de datos";
        QTest::newRow("no key field") << unloaded({ .key = "" }, "campo principal no definido", {});
        QTest::newRow("missing database") << unloaded({ .dataSource = "missing.db" }, noSource, tabsFail);
        QTest::newRow("database is a folder") << unloaded({ .dataSource = "conf" }, noSource, tabsFail);
        QTest::newRow("hidden database") << unloaded({ .dataSource = ".hidden.db" }, noSource, {});
        QTest::newRow("no data source") << unloaded({ .dataSource = "" }, "", tabsFail);
        // The strips keep the tabs a new control shows.
        Shown noDefinition = unloaded({ .configFile = "nowhere.conf" }, "no se puede cargar configuracion del listado", {});
        noDefinition.tabs = tabTexts(ctlListRecord());
        QTest::newRow("no definition") << noDefinition;
        // The line limit cuts silently.
        QTest::newRow("limit 2") << Shown { .setup = { .maxLines = "2" }, .rows = DefaultRows.mid(0, 2), .limit = 2 };
        QTest::newRow("limit 0") << Shown { .setup = { .maxLines = "0" }, .rows = {}, .limit = 0 };
        QTest::newRow("limit -5") << Shown { .setup = { .maxLines = "-5" }, .rows = {}, .limit = -5 };
        // Row failures and the answers to them: 1 skips the failing step, 0 retries it, any other
        // answer leaves the load.
        const auto f = [](const QString &db, const QString &source, QList<qint16> answers,
                           QList<qint32> numbers, QStringList rows) {
            return Shown { .setup = { .key = "k", .source = source, .columns = column("n") + column("t"),
                    .tabs = EmptyTabs, .dataSource = db },
                .answers = answers, .numbers = numbers, .tabs = { "1=A", "2=B" },
                .queries = { "Select * from (" + source + ")where  1 like 1 and  2 like 2" }, .rows = rows };
        };
        const QString all = QStringLiteral("select * from f");
        const qint32 null = FailureNumber::InvalidUseOfNull, dup = FailureNumber::KeyNotUnique;
        const qint32 missing = FailureNumber::ItemNotFoundInCollection;
        QTest::newRow("null skipped") << f("nulls.db", all, { 1 }, { null }, { "T1|1|a", "T2|2|", "T3|3|c" });
        QTest::newRow("null leaves") << f("nulls.db", all, { 2 }, { null }, { "T1|1|a", "T2|2|" });
        QTest::newRow("null, answer 5 leaves") << f("nulls.db", all, { 5 }, { null }, { "T1|1|a", "T2|2|" });
        QTest::newRow("null retried then skipped") << f("nulls.db", all, { 0, 0, 1 }, { null, null, null },
            { "T1|1|a", "T2|2|", "T3|3|c" });
        QTest::newRow("duplicate skipped") << f("dups.db", all, { 1 }, { dup }, { "T1|1|a", "T3|3|c" });
        QTest::newRow("duplicate leaves") << f("dups.db", all, { 2 }, { dup }, { "T1|1|a" });
        // The engine fails on the second row, read ahead of the list: the same report at the same
        // row, the rows before it kept, whatever the answer.
        const QString overflow = "select k, case when k = 2 then abs(-9223372036854775808) else n end as n, t from f";
        QTest::newRow("engine fails, skipped") << f("nulls.db", overflow, { 1 }, { ce }, { "T1|1|a" });
        QTest::newRow("engine fails, retried") << f("nulls.db", overflow, { 0 }, { ce, FailureNumber::NoCurrentRecord }, { "T1|1|a" });
        QTest::newRow("engine fails, leaves") << f("nulls.db", overflow, { 2 }, { ce }, { "T1|1|a" });
        // A row past the line limit is never read, so its failure never shows.
        Shown limited = f("nulls.db", overflow, {}, {}, { "T1|1|a" });
        limited.setup.maxLines = "1";
        limited.limit = 1;
        QTest::newRow("engine fails past the limit") << limited;
        QTest::newRow("bad sql") << f("nulls.db", "select * from nowhere", {}, { ce, closed }, {});
        QTest::newRow("missing column") << f("nulls.db", "select k, n from f", {}, QList<qint32>(3, missing),
            { "T1|1|", "T2|2|", "T3|3|" });
        // Definition faults, skipped: a limit or width that is not a number keeps the one before.
        const QStringList numeros = { "T1|A-1", "T2|A-2", "T17|A-17" };
        QTest::newRow("non numeric limit") << Shown { .setup = { .maxLines = "many" },
            .numbers = { FailureNumber::TypeMismatch }, .rows = {}, .limit = 0 };
        QTest::newRow("non numeric width") << Shown { .setup = { .columns = column("numero", "wide") },
            .numbers = { FailureNumber::TypeMismatch }, .rows = numeros };
        QTest::newRow("duplicate field") << Shown { .setup = { .columns = column("numero").repeated(2) },
            .numbers = { FailureNumber::KeyNotUnique }, .rows = numeros };
        // Without Columns, Tabs and Filters elements each reading fails, and so do the queries.
        QTest::newRow("missing elements") << Shown { .setup = { .configFile = "bare.conf" },
            .numbers = { notSet, notSet, ce, closed, ce, closed, notSet, ce, closed }, .tabs = { "=", "=" },
            .queries = { "Select * from (select * from facturas)where   like  and   like " }, .rows = {}, .limit = 5 };
        // clang-format on
    }
    void showme()
    {
        QFETCH(Shown, expected);
        auto c = makeList(expected.setup);
        reports->defaultAnswer = 1;
        reports->answers.assign(expected.answers.begin(), expected.answers.end());
        c->Showme();
        QCOMPARE(reports->numbers(), expected.numbers);
        for (const Report &r : reports->reports)
            QCOMPARE(r.control, QStringLiteral("ctlListRecord"));
        QCOMPARE(ui->messages, expected.messages);
        QCOMPARE(tabTexts(*c), expected.tabs);
        QCOMPARE(listQueries(), expected.queries);
        QCOMPARE(rowTexts(*c->ActiveListView()), expected.rows);
        QCOMPARE(c->findChild<QLabel *>(QStringLiteral("Label1"))->text(),
            QStringLiteral("Limitar lineas a %1").arg(expected.limit));
        // Every load checks again. A definition path once taken is kept: a library folder that
        // changes later does not move the default.
        ui->libraryFolder = dir.filePath(QStringLiteral("elsewhere"));
        c->Showme();
        QCOMPARE(ui->messages, expected.messages + expected.messages);
    }

    void tabChoiceRecordsReloadsAndIsRemembered_data()
    {
        columns<int, int, QString, QString, QStringList, QList<qint32>>(
            "strip", "position", "filter", "value", "keys", "numbers");
        // clang-format off
        QTest::newRow("year 2009") << 0 << 3 << "substr(fecha, 1, 4) like '2009'" << "2009"
            << QStringList { "T2", "T17" } << QList<qint32>();
        QTest::newRow("month 3") << 1 << 2 << "mes like '3'" << "3" << QStringList { "T1", "T17" }
            << QList<qint32>();
        // A quote in a tab's value goes into the query as it is: the query fails, the rows stay.
        QTest::newRow("quote in value") << 0 << 4 << "substr(fecha, 1, 4) like 'O'Mayo'" << "O'Mayo"
            << QStringList { "T1", "T2", "T17" } << QList<qint32> { FailureNumber::CommandError };
        // clang-format on
    }
    void tabChoiceRecordsReloadsAndIsRemembered()
    {
        const auto [strip, position, filter] = fetch<int, int, QString>("strip", "position", "filter");
        Setup setup; // with one more year, O'Mayo
        setup.tabs.replace("from facturas order by 1", "from facturas union all select 'O''Mayo', 'x' order by 1");
        auto c = makeList(setup);
        c->show();
        c->Showme();
        QVERIFY(QTest::qWaitForWindowExposed(c.get()));
        const qint16 other = qint16(1 - strip);
        const QString otherBefore = c->lrTabFilter(other);
        sql.clear();
        // A user's click on the selected tab loads nothing; a choice loads once.
        QTabBar *bar = ::strip(*c, strip)->tabBar();
        QTest::mouseClick(bar, Qt::LeftButton, {}, bar->tabRect(bar->currentIndex()).center());
        ::strip(*c, strip)->selectTab(position);
        QCOMPARE(listQueries().size(), 1);
        QCOMPARE(c->lrTabFilter(qint16(strip)), filter);
        QTEST(c->lrTabFieldValue(qint16(strip)), "value");
        QCOMPARE(c->lrTabFilter(other), otherBefore);
        QTEST(keys(*c->ActiveListView()), "keys");
        QTEST(reports->numbers(), "numbers");
        // Showme again selects the remembered tab.
        c->Showme();
        QCOMPARE(listQueries().filter(filter).size(), 2);
        // A reload with fewer tabs falls back to the first.
        writeText(confPath, Setup { .tabs = EmptyTabs }.text());
        files.emplace(dir.path());
        c->Showme();
        QCOMPARE(c->lrTabFieldValue(qint16(strip)), QString::number(strip + 1));
    }

    // The whole filter path as a user takes it: "Cambiar filtro", choices by keyboard in the modal
    // dialog, then a button or the close box; the list reloads once after "Aceptar" only.
    void filterDialogFromTheStatusStrip_data()
    {
        columns<QString, QStringList, int>("action", "queries", "rows"); // list queries after the dialog
        // clang-format off
        QTest::newRow("Aceptar") << "OKButton"
            << QStringList { DefaultQuery + " and (cliente<>'Eva'  and fecha<='2024-02-29' )" } << 2;
        QTest::newRow("Cerrar") << "CancelButton" << QStringList() << 3;
        QTest::newRow("close box") << "close" << QStringList() << 3;
        QTest::newRow("list closed meanwhile") << "destroy" << QStringList() << -1;
        QTest::newRow("no connection string") << "none" << QStringList() << 3;
        // clang-format on
    }
    void filterDialogFromTheStatusStrip()
    {
        QFETCH(QString, action);
        QFETCH(QStringList, queries);
        QPointer<ctlListRecord> list(makeList().release());
        list->Showme();
        if (action == QLatin1String("none"))
            list->lrConnectionString(QString());
        QStringList seen;
        // A dialog left open, or one that should not have opened, must not hang the test: unloaded, and
        // the test fails.
        const bool closed = throughFilterDialog(*list, [&](frmdlgFilter &form, QWidget *f) {
            seen << form.windowTitle();
            const auto box = [f](const char *name) { return f->findChild<QComboBox *>(QLatin1String(name)); };
            // Page 1: the client field, operator "Diferente", the second client Eva.
            QTest::keyClick(box("Filtro1"), Qt::Key_Down);
            QTest::keyClick(box("Filtro1"), Qt::Key_Up);
            for (int i = 0; i < 5; ++i)
                QTest::keyClick(box("Condicion1"), Qt::Key_Down);
            QTest::keyClick(box("cmb1"), Qt::Key_Down);
            // Page 2: the date field, up to today.
            auto *strip = f->findChild<TabStrip *>(QStringLiteral("TabStrip1"));
            QTest::mouseClick(strip->tabBar(), Qt::LeftButton, {}, strip->tabBar()->tabRect(1).center());
            QTest::keyClick(box("Filtro2"), Qt::Key_Down);
            QTest::keyClick(box("Condicion3"), Qt::Key_Down);
            QTest::keyClick(box("Condicion3"), Qt::Key_Down);
            seen << box("cmb1")->currentText();
            if (action == QLatin1String("close"))
                form.close();
            else if (action == QLatin1String("destroy"))
                delete list.data();
            else
                QTest::mouseClick(f->findChild<QToolButton *>(action), Qt::LeftButton);
        });
        QCOMPARE(seen, action == QLatin1String("none") ? QStringList() : (QStringList { "Filtro", "Eva||A-17" }));
        QVERIFY(closed);
        QVERIFY(!frmdlgFilter::loaded());
        QCOMPARE(reports->numbers(), QList<qint32>());
        QCOMPARE(listQueries(), QStringList { DefaultQuery } + queries);
        QTEST(list ? list->ActiveListView()->ListItems().Count() : -1, "rows");
        delete list.data();
    }

    void saveConfigWritesTheLimit_data()
    {
        // The answer typed, the label after "Limitar lineas a ", the rows then shown, the limit saved,
        // and another program's definition written during the save.
        columns<QString, QString, int, QString, QByteArray>("answer", "label", "rows", "saved", "meanwhile");
        const QByteArray none;
        // clang-format off
        QTest::newRow("250") << "250" << "250" << 3 << "250" << none;
        QTest::newRow("typed with zeros") << "0050" << "0050" << 3 << "50" << none;
        QTest::newRow("half to even") << "2,5" << "2,5" << 2 << "2" << none;
        QTest::newRow("not a number") << "abc" << "1000" << 3 << "1000" << none;
        // Saved as plain digits: no grouping, and nothing for 0.
        QTest::newRow("millions") << "1234567" << "1234567" << 3 << "1234567" << none;
        QTest::newRow("zero") << "0" << "0" << 0 << "" << none;
        // Refused and reported: the other program's file stays exactly as it wrote it.
        QTest::newRow("replaced during the save") << "250" << "250" << 3 << "" << Setup { .key = "k" }.text().toUtf8();
        // clang-format on
    }
    void saveConfigWritesTheLimit()
    {
        const auto [answer, label, saved, meanwhile]
            = fetch<QString, QString, QString, QByteArray>("answer", "label", "saved", "meanwhile");
        auto c = makeList();
        files.emplace(dir.path(), QStringList { "facturas.conf" }); // the database still may not change
        c->Showme();
        ui->inputs.push_back(answer);
        auto *label1 = c->findChild<QLabel *>(QStringLiteral("Label1"));
        QTest::mouseClick(label1, Qt::LeftButton);
        QCOMPARE(ui->prompts, QStringList { "Ingrese nueva configuracion: " });
        QCOMPARE(label1->text(), "Limitar lineas a " + label);
        QTEST(c->ActiveListView()->ListItems().Count(), "rows");
        const QByteArray before = readBytes(confPath);
        if (!meanwhile.isEmpty())
            installXmlHelper(std::make_unique<ReplacingXmlHelper>(confPath, meanwhile));
        c->SaveConfig();
        installXmlHelper(nullptr);
        QCOMPARE(readBytes(confPath), meanwhile.isEmpty()
            ? QByteArray(before).replace("ListMaxLineas=\"1000\"", "ListMaxLineas=\"" + saved.toUtf8() + "\"")
            : meanwhile);
        QCOMPARE(reports->described(), meanwhile.isEmpty() ? QStringList()
            : QStringList { "75 Path/File access error: the file changed since it was read" });
    }

    void layoutFollowsTheControlSize_data()
    {
        // The rects: the list, the upper and lower strips, the status strip, the command bar.
        columns<QSizeF, QList<QRectF>>("size", "rects");
        using R = QRectF;
        // clang-format off
        QTest::newRow("design") << QSizeF(8190, 5925) << QList<QRectF> { R(100, 335, 6605, 4225),
            R(100, 0, 6605, 435), R(100, 4660, 6605, 360), R(0, 5020, 8190, 405), R(6755, 315, 1335, 4620) };
        QTest::newRow("taller") << QSizeF(8190, 6925) << QList<QRectF> { R(100, 335, 6605, 5225),
            R(100, 0, 6605, 435), R(100, 5660, 6605, 360), R(0, 6020, 8190, 405), R(6755, 315, 1335, 4620) };
        QTest::newRow("wider") << QSizeF(9190, 5925) << QList<QRectF> { R(100, 335, 7605, 4225),
            R(100, 0, 7605, 435), R(100, 4660, 7605, 360), R(0, 5020, 9190, 405), R(7755, 315, 1335, 4620) };
        // clang-format on
    }
    void layoutFollowsTheControlSize()
    {
        const auto [size, rects] = fetch<QSizeF, QList<QRectF>>("size", "rects");
        auto c = makeList();
        setTwipsSize(c.get(), float(size.width()), float(size.height()));
        QList<QRectF> shown;
        for (const char *name :
            { "ListView1", "ctlTabStrip(0)", "ctlTabStrip(1)", "Picture1", "ctlMenu1", "Label1", "Label2" })
            shown << twipsGeometry(c->findChild<QWidget *>(QLatin1String(name)));
        const QList<QRectF> labels = { QRectF(60, 45, 1485, 195), QRectF(1965, 60, 990, 210) };
        QCOMPARE(shown, rects + labels);
        const QRectF list = rects[0];
        QCOMPARE(c->ActiveListView()->geometry(), QRect(7, 22, qRound(list.width() / 15), qRound(list.height() / 15)));
        // The columns take their share of the list's width at the load.
        c->Showme();
        ColumnHeaders &h = c->ActiveListView()->ColumnHeaders();
        QStringList headers;
        for (int i = 1; i <= h.Count(); ++i)
            headers << QStringLiteral("%1|%2|%3%|%4")
                           .arg(h.Item(i)->Key(), h.Item(i)->Text())
                           .arg(h.Item(i)->Width() * 100 / list.width())
                           .arg(h.Item(i)->Alignment());
        QCOMPARE(headers,
            (QStringList { "numero|Numero|10%|0", "fecha|Fecha|20%|0", "total|Total|25%|1",
                "pagada|Pagada|10%|2", "peso|Peso|10%|1" }));
        // Too low, then too narrow, to leave the list room: reported, and nothing before.
        reports->defaultAnswer = 1;
        setTwipsSize(c.get(), float(size.width()), 1600);
        setTwipsSize(c.get(), 1500, float(size.height()));
        QCOMPARE(reports->numbers(), QList<qint32>(2, FailureNumber::InvalidPropertyValue));
    }

    void hostCallsAroundShowme()
    {
        const QString db = dir.filePath(QStringLiteral("rows.db"));
        QFile::remove(db);
        QFile::copy(dbPath, db);
        auto c = makeList(Setup { .dataSource = "rows.db" });
        // Before the first Showme nothing is connected: a refresh runs nothing, silently.
        c->lrListRefresh();
        QCOMPARE(sql, QStringList());
        QCOMPARE(c->lrTabFilter(0), QString());
        for (qint16 bad : { 2, -1 })
            QCOMPARE((QList<int> { failureOf([&] { c->lrTabFieldValue(bad); }).number(),
                         failureOf([&] { c->lrTabFilter(bad); }).number() }),
                QList<int>(2, FailureNumber::SubscriptOutOfRange));
        c->Showme();
        // Single rows by key, after the host changed them.
        ListView *lv = c->ActiveListView();
        QCOMPARE(c->lrDelListItem("2"), qint16(0));
        QCOMPARE(rowTexts(*lv), (QStringList { DefaultRows[0], DefaultRows[2] }));
        QCOMPARE(c->lrAddListItem("2"), qint16(0));
        QCOMPARE(rowTexts(*lv), (QStringList { DefaultRows[0], DefaultRows[2], DefaultRows[1] }));
        c->lrAddListItem("2"); // already listed: reported
        makeDatabase(db, { "update facturas set numero = 'B-2', total = 999.99 where id = 2" });
        files.emplace(dir.path());
        QCOMPARE(c->lrUpdateListItem("2"), qint16(0));
        const QStringList updated = { DefaultRows[0], DefaultRows[2], "T2|B-2|10/04/2009|999,99|Falso|2,5" };
        QCOMPARE(rowTexts(*lv), updated);
        c->lrAddListItem("99"); // no such row
        QCOMPARE(rowTexts(*lv), updated);
        c->lrDelListItem("99");
        QCOMPARE(reports->numbers(),
            (QList<qint32> { FailureNumber::KeyNotUnique, FailureNumber::ElementNotFound }));
        // A failed check keeps the rows shown. A file removed after the checks, as the list query is
        // about to run, is reported and nothing is created in its place; put back, the rows show again.
        const QByteArray bytes = readBytes(db);
        QFile::remove(db);
        c->lrListRefresh();
        QCOMPARE(ui->messages, QStringList { "no existe origen de datos" });
        QCOMPARE(rowTexts(*lv), updated);
        writeBytes(db, bytes);
        reports->reports.clear();
        setQueryObserver([&](const QString &s) {
            if (s.startsWith("Select * from ("))
                QFile::remove(db);
        });
        c->lrListRefresh();
        QCOMPARE(files->changes(), QStringLiteral("removed rows.db"));
        QCOMPARE(rowTexts(*lv), updated);
        setQueryObserver({});
        writeBytes(db, bytes);
        c->lrListRefresh();
        QCOMPARE(rowTexts(*lv), (QStringList { updated[0], updated[2], updated[1] }));
        QCOMPARE(reports->described(),
            QStringList { QString::number(FailureNumber::DatabaseError) + " unable to open database file" });
    }

    void waitCursorOnlyForLongWork()
    {
        // The list query after a slow tab query runs under the wait cursor; a quick load never shows it.
        const QString slowTab = "<t tabSQLSource=\"with recursive n(i) as (select 1 union all select i + 1 "
                                "from n where i &lt; 3000000) select max(i), 'x' from n\" tabDefFunc=\"1\" "
                                "tabDefValue=\"1\" tabDefCaption=\"A\" tabFieldname=\"1\"/>";
        for (const QString &tabs : { YearTab + MonthTab, slowTab + MonthTab }) {
            auto c = makeList(Setup { .tabs = tabs });
            QList<bool> waiting;
            setQueryObserver([&](const QString &s) {
                if (s.startsWith("Select * from ("))
                    waiting << (QGuiApplication::overrideCursor()
                        && QGuiApplication::overrideCursor()->shape() == Qt::WaitCursor);
            });
            c->Showme();
            QCOMPARE(waiting, QList<bool> { tabs.startsWith(slowTab) });
            QVERIFY(!QGuiApplication::overrideCursor());
        }
    }

    void longLoadsRepaintAndStop_data()
    {
        columns<QString, bool, QString>("connection", "escape", "reported");
        QTest::newRow("Esc") << "Provider=SQLite;Data Source=" << true << "interrupted: the user cancelled the load";
        QTest::newRow("Command Timeout") << "Provider=SQLite;Command Timeout=0.6;Data Source=" << false
                                         << "interrupted: the query ran past its time limit of 0.6 s (Command Timeout)";
    }
    void longLoadsRepaintAndStop()
    {
        // Rows that trickle in, one every few dozen milliseconds: while they come the window repaints
        // and timers run; Esc or the time limit ends the load, which is reported, and the rows read
        // so far stay in the list.
        QFETCH(QString, connection);
        QFETCH(bool, escape);
        const QString source
            = "select 1000000 + i as id, 'N' || i as numero, '2009-01-01' as fecha, 1.5 as total, 1 as pagada, "
              "0.5 as peso from (with recursive n(i) as (select 1 union all select i + 1 from n where i &lt; "
              "100000000) select i from n) where i % 300000 = 0";
        auto c = makeList(Setup { .source = source, .tabs = EmptyTabs });
        c->lrConnectionString(connection);
        c->show();
        QVERIFY(QTest::qWaitForWindowExposed(c.get()));
        bool loading = false;
        PaintCounter painted(c->ActiveListView()->itemView()->viewport(), loading);
        QTimer::singleShot(400, c.get(), [&] {
            c->ActiveListView()->itemView()->viewport()->update();
            if (escape)
                QTest::keyClick(c.get(), Qt::Key_Escape);
        });
        loading = true;
        c->Showme();
        loading = false;
        QVERIFY(painted.count > 0);
        QCOMPARE(reports->reports.size(), 1);
        QTEST(reports->reports.first().description, "reported");
        const int kept = c->ActiveListView()->ListItems().Count();
        QVERIFY2(kept > 0 && kept < 300, qPrintable(QString::number(kept)));
        QVERIFY(!QGuiApplication::overrideCursor());
    }

    void headerClicksSortAndCommandsReachTheHost()
    {
        auto c = makeList();
        c->show();
        c->Showme();
        QVERIFY(QTest::qWaitForWindowExposed(c.get()));
        ListView *lv = c->ActiveListView();
        QHeaderView *header = lv->header();
        const auto clickHeader = [&](int column) {
            QTest::mouseClick(header->viewport(), Qt::LeftButton, {},
                QPoint(header->sectionViewportPosition(column) + 5, header->height() / 2));
        };
        clickHeader(2); // Total, shown as text: "1.234,50", "200,00", "-0,50"
        QCOMPARE(keys(*lv), (QStringList { "T2", "T1", "T17" }));
        clickHeader(2);
        QCOMPARE(keys(*lv), (QStringList { "T17", "T1", "T2" }));
        clickHeader(0); // another column continues from the list's last order
        QCOMPARE(keys(*lv), (QStringList { "T2", "T17", "T1" }));
        // A press raises its command's event with the selected key; the host may change the key.
        QStringList events;
        connect(c.get(), &ctlListRecord::cmdDel, this, [&](QString &item) { events << "Del:" + item; });
        connect(c.get(), &ctlListRecord::cmdAdd, this,
            [&](QString &item) { events << "Add:" + std::exchange(item, QStringLiteral("99")); });
        connect(c.get(), &ctlListRecord::cmdClose, this, [&] { events << QStringLiteral("Close"); });
        const auto press = [&](int i) {
            QTest::mouseClick(c->findChild<QAbstractButton *>(QString("cmdButtom(%1)").arg(i)), Qt::LeftButton);
        };
        press(2);
        Q_EMIT lv->ItemClick(lv->ListItems().Item(QStringLiteral("T17")));
        press(2);
        for (int i : { 0, 6 })
            press(i);
        QCOMPARE(events, (QStringList { "Del:", "Del:17", "Add:17", "Close" }));
        QCOMPARE(c->lrSelectedKey(), QStringLiteral("99"));
        QCOMPARE(reports->reports.size(), 0);
    }
};

QTEST_MAIN(tst_ctlListRecord)
#include "tst_ctlListRecord.moc"

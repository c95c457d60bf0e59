// The record list as a host sees it: a real SQLite file, a real definition file, Showme, and what
// the list, the strips, the messages, the error reports and the SQL texts show afterwards.

#include "support/Fixtures.h"
#include "support/Scripted.h"

#include <Brennvox10/Brennvox10.h>

#include <QAbstractButton>
#include <QComboBox>
#include <QHeaderView>
#include <QLabel>
#include <QSignalSpy>
#include <QTabBar>
#include <QTemporaryDir>
#include <QTimer>
#include <QToolButton>
#include <QTreeView>
#include <QtTest>

using namespace Brennvox10;

namespace {

const QStringList Schema = {
    QStringLiteral(
        "create table facturas (id INTEGER, numero TEXT, fecha DATE, cliente TEXT, total CURRENCY, "
        "pagada BOOLEAN, peso REAL, mes INTEGER)"),
    QStringLiteral("create table meses (mes INTEGER, nombre TEXT)"),
    QStringLiteral("insert into meses values (3, 'Marzo'), (4, 'Abril')"),
    QStringLiteral("insert into facturas values "
                   "(1, 'A-1', '2008-03-05', 'Ana', 1234.5, 1, 12345.678, 3),"
                   "(2, 'A-2', '2009-04-10', 'Luis', 200, 0, 2.5, 4),"
                   "(17, 'A-17', '2009-03-01 10:30:00', 'Eva', -0.5, 1, 0.1, 3)"),
};

struct Definition {
    QString key = QStringLiteral("id");
    QString source = QStringLiteral("select * from facturas");
    QString maxLines = QStringLiteral("1000");
    QString columns = QStringLiteral(
        "<c ColWidth=\"10\" ColCaption=\"Numero\" ColAligment=\"0\" ColFieldname=\"numero\"/>"
        "<c ColWidth=\"20\" ColCaption=\"Fecha\" ColAligment=\"0\" ColFieldname=\"fecha\"/>"
        "<c ColWidth=\"25\" ColCaption=\"Total\" ColAligment=\"1\" ColFieldname=\"total\"/>"
        "<c ColWidth=\"10\" ColCaption=\"Pagada\" ColAligment=\"2\" ColFieldname=\"pagada\"/>"
        "<c ColWidth=\"10\" ColCaption=\"Peso\" ColAligment=\"1\" ColFieldname=\"peso\"/>");
    QString tabs = QStringLiteral(
        "<t tabID=\"1\" tabName=\"anio\" tabSQLSource=\"select distinct substr(fecha, 1, 4), substr(fecha, "
        "1, 4) from facturas order by 1\" "
        "tabDefFunc=\"numero\" tabDefValue=\"'%'\" tabDefCaption=\"Todos\" tabFieldname=\"substr(fecha, 1, "
        "4)\"/>"
        "<t tabID=\"2\" tabName=\"mes\" tabSQLSource=\"select mes, nombre from meses order by mes\" "
        "tabDefFunc=\"1\" tabDefValue=\"1\" tabDefCaption=\"Todo el anio\" tabFieldname=\"mes\"/>");
    QString filters = QStringLiteral("<Filters><Filter fltName=\"x\"/></Filters>");

    QString text() const
    {
        return QStringLiteral(
            "<?xml version=\"1.0\"?>\n<lrfmt Caption=\"Facturas\" Key=\"%1\" ListSQLSource=\"%2\" "
            "ListMaxLineas=\"%3\">\n<Columns>%4</Columns>\n<Tabs>%5</Tabs>\n%6\n</lrfmt>\n")
            .arg(key, source, maxLines, columns, tabs, filters);
    }
};

} // namespace

class tst_ctlListRecord : public QObject {
    Q_OBJECT

    QTemporaryDir dir;
    QString dbPath, confPath;
    std::shared_ptr<ReporterLog> reports;
    std::shared_ptr<ServicesLog> ui;
    QStringList sql;

    std::unique_ptr<ctlListRecord> makeList(const Definition &def = Definition())
    {
        writeText(confPath, def.text());
        auto c = std::make_unique<ctlListRecord>();
        c->lrConnectionString(QStringLiteral("Provider=SQLite;Data Source="));
        c->lrDataSource(dbPath);
        c->lrConfigFileName(confPath);
        return c;
    }

    QStringList listQueries() const
    {
        QStringList out;
        for (const QString &s : sql)
            if (s.startsWith(QLatin1String("Select * from (")))
                out << s;
        return out;
    }

    static QStringList tabTexts(const ctlListRecord &c, int strip)
    {
        auto *ts = c.findChild<TabStrip *>(QStringLiteral("ctlTabStrip(%1)").arg(strip));
        QStringList out;
        for (int i = 1; i <= ts->Tabs().Count(); ++i)
            out << ts->Tabs().Item(i)->Key() + QLatin1Char('=') + ts->Tabs().Item(i)->Caption();
        return out;
    }

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(dir.isValid());
        dbPath = dir.filePath(QStringLiteral("empresa.db"));
        confPath = dir.filePath(QStringLiteral("facturas.conf"));
        makeDatabase(dbPath, Schema);
    }

    void init()
    {
        QLocale::setDefault(QLocale(QLocale::Spanish, QLocale::Spain));
        reports = scriptReporter(2);
        ui = scriptServices(dir.path());
        sql.clear();
        setQueryObserver([this](const QString &s) { sql << s; });
    }

    void cleanup() { setQueryObserver({}); }

    void showmeBuildsColumnsTabsAndRows()
    {
        auto c = makeList();
        c->Showme();
        QCOMPARE(reports->reports.size(), 0);
        QCOMPARE(ui->messages, QStringList());
        QCOMPARE(tabTexts(*c, 0), (QStringList { "'%'=Todos", "i2008=2008", "i2009=2009" }));
        QCOMPARE(tabTexts(*c, 1), (QStringList { "1=Todo el anio", "i3=Marzo", "i4=Abril" }));
        QCOMPARE(listQueries(),
            QStringList { "Select * from (select * from facturas)where  numero like '%' and  1 like 1" });
        QCOMPARE(rowTexts(*c->ActiveListView()),
            (QStringList {
                "T1|A-1|05/03/2008|1.234,50|Verdadero|12345,678",
                "T2|A-2|10/04/2009|200,00|Falso|2,5",
                "T17|A-17|01/03/2009|-0,50|Verdadero|0,1",
            }));
        QCOMPARE(c->findChild<QLabel *>(QStringLiteral("Label1"))->text(),
            QStringLiteral("Limitar lineas a 1000"));
        QCOMPARE(c->lrTabFilter(0), QStringLiteral("numero like '%'"));
        QCOMPARE(c->lrTabFieldValue(1), QStringLiteral("1"));
    }

    void tabEntries_data()
    {
        const QString year = Definition().tabs.section(QStringLiteral("/>"), 0, 0) + QStringLiteral("/>");
        const QString month = Definition().tabs.section(QStringLiteral("/>"), 1, 1) + QStringLiteral("/>");
        QTest::addColumn<QString>("tabs");
        QTest::addColumn<bool>("connected");
        QTest::addColumn<QStringList>("upper");
        QTest::addColumn<QStringList>("lower");
        QTest::addColumn<QList<qint32>>("numbers");
        QTest::addColumn<int>("rows");
        QTest::newRow("third entry ignored")
            << year + month + year << true << QStringList { "'%'=Todos", "i2008=2008", "i2009=2009" }
            << QStringList { "1=Todo el anio", "i3=Marzo", "i4=Abril" } << QList<qint32>() << 3;
        // The lower strip has no entry: its empty query fails, it keeps only its first tab, and its
        // empty condition makes the list query fail too.
        QTest::newRow("one entry") << year << true << QStringList { "'%'=Todos", "i2008=2008", "i2009=2009" }
                                   << QStringList { "=" }
                                   << QList<qint32> { FailureNumber::CommandError,
                                          FailureNumber::CommandError }
                                   << 0;
        QTest::newRow("no connection")
            << year + month << false << QStringList { "'%'=Todos" } << QStringList { "1=Todo el anio" }
            << QList<qint32> { FailureNumber::DatabaseError, FailureNumber::DatabaseError } << 0;
    }

    void tabEntries()
    {
        QFETCH(QString, tabs);
        QFETCH(bool, connected);
        QFETCH(QStringList, upper);
        QFETCH(QStringList, lower);
        QFETCH(QList<qint32>, numbers);
        QFETCH(int, rows);
        Definition def;
        def.tabs = tabs;
        auto c = makeList(def);
        if (!connected) {
            c->lrConnectionString(QString());
            c->lrDataSource(QString());
        }
        reports->defaultAnswer = 1;
        c->Showme();
        QCOMPARE(tabTexts(*c, 0), upper);
        QCOMPARE(tabTexts(*c, 1), lower);
        // Skipping past a failed tab query leaves the loop over its rows on a closed recordset.
        QList<qint32> reported = reports->numbers();
        reported.removeAll(3704);
        QCOMPARE(reported, numbers);
        QCOMPARE(ui->messages, QStringList()); // without a data source the rows stay empty, silently
        QCOMPARE(c->ActiveListView()->ListItems().Count(), rows);
    }

    void firstColumnIsUnformatted_data()
    {
        QTest::addColumn<QString>("field");
        QTest::addColumn<QString>("locale");
        QTest::addColumn<QStringList>("texts");
        QTest::newRow("currency es") << "total"
                                     << "es_ES" << QStringList { "1234,5", "200", "-0,5" };
        QTest::newRow("currency en") << "total"
                                     << "en_US" << QStringList { "1234.5", "200", "-0.5" };
        QTest::newRow("date es") << "fecha"
                                 << "es_ES" << QStringList { "5/3/2008", "10/4/2009", "1/3/2009 10:30:00" };
        QTest::newRow("boolean en") << "pagada"
                                    << "en_US" << QStringList { "True", "False", "True" };
        QTest::newRow("integer") << "id"
                                 << "es_ES" << QStringList { "1", "2", "17" };
    }

    void firstColumnIsUnformatted()
    {
        QFETCH(QString, field);
        QFETCH(QString, locale);
        QFETCH(QStringList, texts);
        QLocale::setDefault(QLocale(locale));
        Definition def;
        def.columns
            = QStringLiteral("<c ColWidth=\"50\" ColCaption=\"X\" ColAligment=\"0\" ColFieldname=\"%1\"/>")
                  .arg(field);
        auto c = makeList(def);
        c->Showme();
        QStringList shown;
        for (int i = 1; i <= c->ActiveListView()->ListItems().Count(); ++i)
            shown << c->ActiveListView()->ListItems().Item(i).Text();
        QCOMPARE(shown, texts);
    }

    void messagesAppearOnlyWhereTheyBelong_data()
    {
        QTest::addColumn<QString>("dataSource");
        QTest::addColumn<QString>("keyField");
        QTest::addColumn<bool>("definitionExists");
        QTest::addColumn<QStringList>("messages");
        QTest::addColumn<int>("listQueries");
        QTest::newRow("all well") << "db"
                                  << "id" << true << QStringList() << 1;
        QTest::newRow("no key field") << "db"
                                      << "" << true << QStringList { "campo principal no definido" } << 0;
        QTest::newRow("missing database") << "missing.db"
                                          << "id" << true << QStringList { "no existe origen de datos" } << 0;
        QTest::newRow("database is a folder")
            << "folder"
            << "id" << true << QStringList { "no existe origen de datos" } << 0;
        QTest::newRow("hidden database") << ".hidden.db"
                                         << "id" << true << QStringList { "no existe origen de datos" } << 0;
        QTest::newRow("no data source") << ""
                                        << "id" << true << QStringList() << 0;
        QTest::newRow("no definition")
            << "db"
            << "id" << false << QStringList { "no se puede cargar configuracion del listado" } << 0;
    }

    void messagesAppearOnlyWhereTheyBelong()
    {
        QFETCH(QString, dataSource);
        QFETCH(QString, keyField);
        QFETCH(bool, definitionExists);
        QFETCH(QStringList, messages);
        QFETCH(int, listQueries);
        QDir(dir.path()).mkpath(QStringLiteral("folder"));
        QFile::copy(dbPath, dir.filePath(QStringLiteral(".hidden.db")));
        Definition def;
        def.key = keyField;
        auto c = makeList(def);
        if (dataSource == QLatin1String("db"))
            c->lrDataSource(dbPath);
        else
            c->lrDataSource(dataSource.isEmpty() ? QString() : dir.filePath(dataSource));
        if (!definitionExists)
            c->lrConfigFileName(dir.filePath(QStringLiteral("nowhere.conf")));
        reports->defaultAnswer = 1; // tab queries on a missing database fail; go on to the list
        c->Showme();
        QCOMPARE(ui->messages, messages);
        QCOMPARE(this->listQueries().size(), listQueries);
        c->lrListRefresh();
        QCOMPARE(ui->messages.size(), messages.size() * (definitionExists ? 2 : 1));
    }

    void failedChecksKeepThePreviousRows()
    {
        auto c = makeList();
        c->Showme();
        QCOMPARE(c->ActiveListView()->ListItems().Count(), 3);
        c->lrDataSource(dir.filePath(QStringLiteral("gone.db")));
        c->lrListRefresh();
        QCOMPARE(ui->messages, QStringList { "no existe origen de datos" });
        QCOMPARE(c->ActiveListView()->ListItems().Count(), 3);
    }

    void loadFailuresAreReportedAndAnswered_data()
    {
        QTest::addColumn<QString>("setup");
        QTest::addColumn<QString>("source");
        QTest::addColumn<QList<qint16>>("answers");
        QTest::addColumn<QList<qint32>>("numbers");
        QTest::addColumn<QStringList>("rows");
        const QString nullRow = QStringLiteral("insert into f values (1,'a',1),(2,null,2),(3,'c',3)");
        const QString dupRow = QStringLiteral("insert into f values (1,'a',1),(1,'b',2),(3,'c',3)");
        QTest::newRow("null skipped") << nullRow << "select * from f" << QList<qint16> { 1 }
                                      << QList<qint32> { 94 } << QStringList { "T1|1|a", "T2|2|", "T3|3|c" };
        QTest::newRow("null leaves") << nullRow << "select * from f" << QList<qint16> { 2 }
                                     << QList<qint32> { 94 } << QStringList { "T1|1|a", "T2|2|" };
        QTest::newRow("null other answer leaves")
            << nullRow << "select * from f" << QList<qint16> { 5 } << QList<qint32> { 94 }
            << QStringList { "T1|1|a", "T2|2|" };
        QTest::newRow("null retried then skipped")
            << nullRow << "select * from f" << QList<qint16> { 0, 0, 1 } << QList<qint32> { 94, 94, 94 }
            << QStringList { "T1|1|a", "T2|2|", "T3|3|c" };
        QTest::newRow("duplicate key skipped")
            << dupRow << "select * from f" << QList<qint16> { 1 } << QList<qint32> { 35602 }
            << QStringList { "T1|1|a", "T3|3|c" };
        QTest::newRow("duplicate key leaves") << dupRow << "select * from f" << QList<qint16> { 2 }
                                              << QList<qint32> { 35602 } << QStringList { "T1|1|a" };
        QTest::newRow("bad sql") << nullRow << "select * from nowhere" << QList<qint16> { 1, 1, 1, 1 }
                                 << QList<qint32> { FailureNumber::CommandError, 3704 } << QStringList {};
        QTest::newRow("missing column")
            << nullRow << "select k, n from f" << QList<qint16> { 1, 1, 1 }
            << QList<qint32> { 3265, 3265, 3265 } << QStringList { "T1|1|", "T2|2|", "T3|3|" };
    }

    void loadFailuresAreReportedAndAnswered()
    {
        QFETCH(QString, setup);
        QFETCH(QString, source);
        QFETCH(QList<qint16>, answers);
        QFETCH(QList<qint32>, numbers);
        QFETCH(QStringList, rows);
        const QString db
            = dir.filePath(QStringLiteral("f%1.db").arg(QTest::currentDataTag()).remove(QLatin1Char(' ')));
        QFile::remove(db);
        makeDatabase(db, { QStringLiteral("create table f (k INTEGER, t TEXT, n INTEGER)"), setup });
        Definition def;
        def.key = QStringLiteral("k");
        def.source = source;
        def.columns
            = QStringLiteral("<c ColWidth=\"50\" ColCaption=\"N\" ColAligment=\"0\" ColFieldname=\"n\"/>"
                             "<c ColWidth=\"50\" ColCaption=\"T\" ColAligment=\"0\" ColFieldname=\"t\"/>");
        def.tabs = QStringLiteral("<t tabSQLSource=\"select 1, 'x' where 0\" tabDefFunc=\"1\" "
                                  "tabDefValue=\"1\" tabDefCaption=\"A\"/>"
                                  "<t tabSQLSource=\"select 1, 'x' where 0\" tabDefFunc=\"2\" "
                                  "tabDefValue=\"2\" tabDefCaption=\"B\"/>");
        auto c = makeList(def);
        c->lrDataSource(db);
        reports->answers.assign(answers.begin(), answers.end());
        c->Showme();
        QCOMPARE(reports->numbers(), numbers);
        for (const Report &r : reports->reports)
            QCOMPARE(r.control, QStringLiteral("ctlListRecord"));
        QCOMPARE(rowTexts(*c->ActiveListView()), rows);
    }

    void lineLimitCutsSilently_data()
    {
        QTest::addColumn<QString>("limit");
        QTest::addColumn<int>("rows");
        QTest::newRow("two") << "2" << 2;
        QTest::newRow("zero") << "0" << 0;
        QTest::newRow("negative") << "-5" << 0;
        QTest::newRow("more than rows") << "50" << 3;
    }

    void lineLimitCutsSilently()
    {
        QFETCH(QString, limit);
        QFETCH(int, rows);
        Definition def;
        def.maxLines = limit;
        auto c = makeList(def);
        c->Showme();
        QCOMPARE(c->ActiveListView()->ListItems().Count(), rows);
        QCOMPARE(c->findChild<QLabel *>(QStringLiteral("Label1"))->text(),
            QStringLiteral("Limitar lineas a ") + QString::number(limit.toInt()));
        QCOMPARE(ui->messages, QStringList());
        QCOMPARE(reports->reports.size(), 0);
    }

    void tabChoiceRecordsAndReloadsOnce_data()
    {
        QTest::addColumn<int>("strip");
        QTest::addColumn<int>("position");
        QTest::addColumn<QString>("filter");
        QTest::addColumn<QString>("value");
        QTest::addColumn<QStringList>("keys");
        QTest::newRow("year 2009") << 0 << 3 << "substr(fecha, 1, 4) like '2009'"
                                   << "2009" << QStringList { "T2", "T17" };
        QTest::newRow("month 3") << 1 << 2 << "mes like '3'"
                                 << "3" << QStringList { "T1", "T17" };
        QTest::newRow("first tab") << 1 << 1 << "1 like 1"
                                   << "1" << QStringList { "T1", "T2", "T17" };
    }

    void tabChoiceRecordsAndReloadsOnce()
    {
        QFETCH(int, strip);
        QFETCH(int, position);
        QFETCH(QString, filter);
        QFETCH(QString, value);
        QFETCH(QStringList, keys);
        auto c = makeList();
        c->Showme();
        const QString otherBefore = c->lrTabFilter(qint16(1 - strip));
        sql.clear();
        c->findChild<TabStrip *>(QStringLiteral("ctlTabStrip(%1)").arg(strip))->selectTab(position);
        QCOMPARE(listQueries().size(), 1);
        QCOMPARE(c->lrTabFilter(qint16(strip)), filter);
        QCOMPARE(c->lrTabFieldValue(qint16(strip)), value);
        QCOMPARE(c->lrTabFilter(qint16(1 - strip)), otherBefore);
        QStringList shown;
        for (int i = 1; i <= c->ActiveListView()->ListItems().Count(); ++i)
            shown << c->ActiveListView()->ListItems().Item(i).Key();
        QCOMPARE(shown, keys);
    }

    void showmeRestoresTheRememberedTab()
    {
        auto c = makeList();
        c->Showme();
        c->findChild<TabStrip *>(QStringLiteral("ctlTabStrip(1)"))->selectTab(3);
        sql.clear();
        c->Showme();
        QCOMPARE(c->findChild<TabStrip *>(QStringLiteral("ctlTabStrip(1)"))->SelectedItem()->Key(),
            QStringLiteral("i4"));
        QCOMPARE(listQueries(),
            QStringList { "Select * from (select * from facturas)where  numero like '%' and  mes like '4'" });

        // Fewer tabs after a reload: the remembered position falls back to the first tab.
        Definition def;
        def.tabs.replace(QStringLiteral("select mes, nombre from meses order by mes"),
            QStringLiteral("select mes, nombre from meses where mes = 3"));
        writeText(confPath, def.text());
        c->Showme();
        QCOMPARE(c->lrTabFieldValue(1), QStringLiteral("1"));
    }

    void userTabClickOnSelectedTabLoadsNothing()
    {
        auto c = makeList();
        c->show();
        c->Showme();
        QVERIFY(QTest::qWaitForWindowExposed(c.get()));
        sql.clear();
        auto *strip = c->findChild<TabStrip *>(QStringLiteral("ctlTabStrip(1)"));
        auto *bar = strip->findChild<QTabBar *>();
        QVERIFY(bar);
        QTest::mouseClick(bar, Qt::LeftButton, {}, bar->tabRect(0).center());
        QCOMPARE(listQueries().size(), 0);
        QTest::mouseClick(bar, Qt::LeftButton, {}, bar->tabRect(1).center());
        QCOMPARE(listQueries().size(), 1);
        QCOMPARE(c->lrTabFilter(1), QStringLiteral("mes like '3'"));
    }

    void quoteInTabValueIsReported()
    {
        makeDatabase(dbPath, { QStringLiteral("insert into meses values (5, 'O''Mayo')") });
        Definition def;
        def.tabs.replace(QStringLiteral("select mes, nombre from meses order by mes"),
            QStringLiteral("select nombre, nombre from meses order by mes"));
        auto c = makeList(def);
        c->Showme();
        c->findChild<TabStrip *>(QStringLiteral("ctlTabStrip(1)"))->selectTab(4);
        QCOMPARE(c->lrTabFilter(1), QStringLiteral("mes like 'O'Mayo'"));
        QCOMPARE(reports->numbers(), QList<qint32> { FailureNumber::CommandError });
        makeDatabase(dbPath, { QStringLiteral("delete from meses where mes = 5") });
    }

    void tabIndexOutOfRangeIsRefused()
    {
        ctlListRecord c;
        QCOMPARE(c.lrTabFilter(0), QString());
        for (qint16 bad : { qint16(2), qint16(-1) }) {
            try {
                c.lrTabFieldValue(bad);
                QFAIL("index must be refused");
            } catch (const Failure &f) {
                QCOMPARE(f.number(), FailureNumber::SubscriptOutOfRange);
            }
            QVERIFY_THROWS_EXCEPTION(Failure, c.lrTabFilter(bad));
        }
        QCOMPARE(reports->reports.size(), 0);
    }

    void refreshBeforeShowmeDoesNothing()
    {
        auto c = makeList();
        c->lrListRefresh();
        QCOMPARE(sql, QStringList());
        QCOMPARE(ui->messages, QStringList());
    }

    // The whole filter path as a user takes it: "Cambiar filtro", choices by keyboard in the modal
    // dialog, then a button or the close box; the list reloads once after "Aceptar" only.
    void filterDialogFromTheStatusStrip_data()
    {
        QTest::addColumn<QString>("action");
        QTest::addColumn<QStringList>("queries"); // list queries after the dialog
        QTest::addColumn<int>("rows");
        const QString base = QStringLiteral("Select * from (select * from facturas)where  numero like '%' and  1 like 1");
        QTest::newRow("Aceptar") << "OKButton"
                                 << QStringList { base + QStringLiteral(" and (cliente<>'Eva'  and fecha<='2024-02-29' )") }
                                 << 2;
        QTest::newRow("Cerrar") << "CancelButton" << QStringList() << 3;
        QTest::newRow("close box") << "close" << QStringList() << 3;
        QTest::newRow("list closed meanwhile") << "destroy" << QStringList() << -1;
        QTest::newRow("no connection string") << "none" << QStringList() << 3;
    }

    void filterDialogFromTheStatusStrip()
    {
        QFETCH(QString, action);
        QFETCH(QStringList, queries);
        QFETCH(int, rows);
        Definition def;
        def.filters = QStringLiteral(
            "<Filters><F fltName=\"cliente\" fltType=\"1\" fltFieldtype=\"0\" "
            "fltSQL=\"select cliente, numero from facturas order by cliente\"/>"
            "<F fltName=\"fecha\" fltType=\"0\" fltFieldtype=\"1\"/></Filters>");
        ctlListRecord *c = makeList(def).release();
        QPointer<ctlListRecord> list(c);
        c->Showme();
        if (action == QLatin1String("none"))
            c->lrConnectionString(QString());
        sql.clear();
        QStringList seen;
        QTimer::singleShot(0, this, [&] {
            frmdlgFilter *form = frmdlgFilter::loaded();
            if (!form || !form->isVisible() || !form->isModal())
                return;
            seen << form->windowTitle();
            QWidget *f = form->ctlFilter1();
            // Page 1: the client field, operator "Diferente", the second client Eva.
            auto *field = f->findChild<QComboBox *>(QStringLiteral("Filtro1"));
            QTest::keyClick(field, Qt::Key_Down);
            QTest::keyClick(field, Qt::Key_Up);
            for (int i = 0; i < 5; ++i)
                QTest::keyClick(f->findChild<QComboBox *>(QStringLiteral("Condicion1")), Qt::Key_Down);
            QTest::keyClick(f->findChild<QComboBox *>(QStringLiteral("cmb1")), Qt::Key_Down);
            // Page 2: the date field, up to today.
            auto *strip = f->findChild<TabStrip *>(QStringLiteral("TabStrip1"));
            QTest::mouseClick(strip->tabBar(), Qt::LeftButton, {}, strip->tabBar()->tabRect(1).center());
            QTest::keyClick(f->findChild<QComboBox *>(QStringLiteral("Filtro2")), Qt::Key_Down);
            auto *op = f->findChild<QComboBox *>(QStringLiteral("Condicion3"));
            QTest::keyClick(op, Qt::Key_Down);
            QTest::keyClick(op, Qt::Key_Down);
            seen << f->findChild<QComboBox *>(QStringLiteral("cmb1"))->currentText();
            if (action == QLatin1String("close"))
                form->close();
            else if (action == QLatin1String("destroy"))
                delete list.data();
            else
                QTest::mouseClick(f->findChild<QToolButton *>(action), Qt::LeftButton);
        });
        // A dialog that should not have opened must not hang the test.
        QTimer::singleShot(2000, this, [] { frmdlgFilter::Unload(); });
        QWidget *label = c->findChild<QWidget *>(QStringLiteral("Label2"));
        QMouseEvent press(QEvent::MouseButtonPress, QPointF(5, 5), label->mapToGlobal(QPointF(5, 5)), Qt::LeftButton,
            Qt::LeftButton, {});
        QMouseEvent release(QEvent::MouseButtonRelease, QPointF(5, 5), label->mapToGlobal(QPointF(5, 5)),
            Qt::LeftButton, {}, {});
        QApplication::sendEvent(label, &press);
        QApplication::sendEvent(label, &release);

        QCOMPARE(seen, action == QLatin1String("none") ? QStringList() : (QStringList { "Filtro", "Eva||A-17" }));
        QVERIFY(!frmdlgFilter::loaded());
        QCOMPARE(reports->numbers(), QList<qint32>());
        QCOMPARE(listQueries(), queries);
        QCOMPARE(list.isNull(), rows < 0);
        if (list)
            QCOMPARE(rowTexts(*list->ActiveListView()).size(), rows);
        delete list.data();
    }

    void defaultDefinitionPathIsUsedAndKept()
    {
        QDir(dir.path()).mkpath(QStringLiteral("conf"));
        writeText(dir.filePath(QStringLiteral("conf/lrfmt.conf")), Definition().text());
        ctlListRecord c;
        c.lrConnectionString(QStringLiteral("Provider=SQLite;Data Source="));
        c.lrDataSource(dbPath);
        c.Showme();
        QCOMPARE(c.ActiveListView()->ListItems().Count(), 3);
        // The default, once taken, is the list's path: a library folder that changes later does not
        // move it.
        ui->libraryFolder = dir.filePath(QStringLiteral("elsewhere"));
        c.Showme();
        QCOMPARE(c.ActiveListView()->ListItems().Count(), 3);
        QCOMPARE(ui->messages, QStringList());
    }

    void columnsTakeTheirShareOfTheListWidth()
    {
        auto c = makeList();
        c->Showme();
        ColumnHeaders &h = c->ActiveListView()->ColumnHeaders();
        const float listWidth = float(twipsGeometry(c->ActiveListView()).width());
        QCOMPARE(listWidth, 6605.0f);
        QCOMPARE(h.Count(), 5);
        QCOMPARE(h.Item(3)->Width(), listWidth * 25.0f / 100.0f);
        QCOMPARE(h.Item(3)->Key(), QStringLiteral("total"));
        QCOMPARE(h.Item(3)->Text(), QStringLiteral("Total"));
        QCOMPARE(h.Item(3)->Alignment(), qint16(1));
    }

    void definitionFaultsAreReported_data()
    {
        QTest::addColumn<QString>("maxLines");
        QTest::addColumn<QString>("columns");
        QTest::addColumn<QList<qint32>>("numbers");
        QTest::newRow("non numeric limit") << "many" << Definition().columns << QList<qint32> { 13 };
        QTest::newRow("non numeric width")
            << "10"
            << "<c ColWidth=\"wide\" ColCaption=\"N\" ColAligment=\"0\" ColFieldname=\"numero\"/>"
            << QList<qint32> { 13 };
        QTest::newRow("duplicate field") << "10"
                                         << "<c ColWidth=\"1\" ColAligment=\"0\" ColFieldname=\"numero\"/><c "
                                            "ColWidth=\"1\" ColAligment=\"0\" ColFieldname=\"numero\"/>"
                                         << QList<qint32> { 35602 };
    }

    void definitionFaultsAreReported()
    {
        QFETCH(QString, maxLines);
        QFETCH(QString, columns);
        QFETCH(QList<qint32>, numbers);
        Definition def;
        def.maxLines = maxLines;
        def.columns = columns;
        auto c = makeList(def);
        reports->defaultAnswer = 1;
        c->Showme();
        QCOMPARE(reports->numbers(), numbers);
    }

    void missingElementsAreObjectFailures()
    {
        auto c = makeList();
        writeText(confPath,
            QStringLiteral(
                "<lrfmt Key=\"id\" ListMaxLineas=\"5\" ListSQLSource=\"select * from facturas\"/>"));
        reports->defaultAnswer = 1;
        c->Showme();
        QVERIFY(reports->numbers().contains(FailureNumber::ObjectNotSet));
        QCOMPARE(ui->messages, QStringList());
    }

    void saveConfigWritesTheLimit_data()
    {
        QTest::addColumn<QString>("answer");
        QTest::addColumn<QString>("saved");
        QTest::addColumn<QString>("label");
        QTest::newRow("250") << "250"
                             << "250"
                             << "Limitar lineas a 250";
        QTest::newRow("typed with zeros") << "0050"
                                          << "50"
                                          << "Limitar lineas a 0050";
        QTest::newRow("half to even") << "2,5"
                                      << "2"
                                      << "Limitar lineas a 2,5";
        QTest::newRow("not a number") << "abc"
                                      << "1000"
                                      << "Limitar lineas a 1000";
    }

    void saveConfigWritesTheLimit()
    {
        QFETCH(QString, answer);
        QFETCH(QString, saved);
        QFETCH(QString, label);
        auto c = makeList();
        c->show();
        c->Showme();
        QVERIFY(QTest::qWaitForWindowExposed(c.get()));
        ui->inputs.push_back(answer);
        auto *label1 = c->findChild<QLabel *>(QStringLiteral("Label1"));
        QTest::mouseClick(label1, Qt::LeftButton);
        QCOMPARE(ui->prompts, QStringList { "Ingrese nueva configuracion: " });
        QCOMPARE(label1->text(), label);
        const QByteArray before = readBytes(confPath);
        c->SaveConfig();
        QCOMPARE(readBytes(confPath),
            QByteArray(before).replace("ListMaxLineas=\"1000\"", "ListMaxLineas=\"" + saved.toUtf8() + "\""));
        QCOMPARE(reports->reports.size(), 0);
    }

    void layoutFollowsTheControlSize_data()
    {
        QTest::addColumn<float>("width");
        QTest::addColumn<float>("height");
        QTest::addColumn<QRectF>("list");
        QTest::addColumn<QRectF>("lowerStrip");
        QTest::addColumn<QRectF>("status");
        QTest::addColumn<QRectF>("menu");
        QTest::newRow("design") << 8190.f << 5925.f << QRectF(100, 335, 6605, 4225)
                                << QRectF(100, 4660, 6605, 360) << QRectF(0, 5020, 8190, 405)
                                << QRectF(6755, 315, 1335, 4620);
        QTest::newRow("taller") << 8190.f << 6925.f << QRectF(100, 335, 6605, 5225)
                                << QRectF(100, 5660, 6605, 360) << QRectF(0, 6020, 8190, 405)
                                << QRectF(6755, 315, 1335, 4620);
        QTest::newRow("wider") << 9190.f << 5925.f << QRectF(100, 335, 7605, 4225)
                               << QRectF(100, 4660, 7605, 360) << QRectF(0, 5020, 9190, 405)
                               << QRectF(7755, 315, 1335, 4620);
    }

    void layoutFollowsTheControlSize()
    {
        QFETCH(float, width);
        QFETCH(float, height);
        QFETCH(QRectF, list);
        QFETCH(QRectF, lowerStrip);
        QFETCH(QRectF, status);
        QFETCH(QRectF, menu);
        ctlListRecord c;
        setTwipsSize(&c, width, height);
        QCOMPARE(twipsGeometry(c.findChild<QWidget *>(QStringLiteral("ListView1"))), list);
        QCOMPARE(twipsGeometry(c.findChild<QWidget *>(QStringLiteral("ctlTabStrip(1)"))), lowerStrip);
        QCOMPARE(twipsGeometry(c.findChild<QWidget *>(QStringLiteral("Picture1"))), status);
        QCOMPARE(twipsGeometry(c.findChild<QWidget *>(QStringLiteral("ctlMenu1"))), menu);
        QCOMPARE(twipsGeometry(c.findChild<QWidget *>(QStringLiteral("Label1"))), QRectF(60, 45, 1485, 195));
        QCOMPARE(twipsGeometry(c.findChild<QWidget *>(QStringLiteral("Label2"))), QRectF(1965, 60, 990, 210));
        QCOMPARE(twipsGeometry(c.findChild<QWidget *>(QStringLiteral("ctlTabStrip(0)"))),
            QRectF(100, 0, list.width(), 435));
        QCOMPARE(c.findChild<QWidget *>(QStringLiteral("ListView1"))->geometry(),
            QRect(7, 22, qRound(list.width() / 15), qRound(list.height() / 15)));
        QCOMPARE(reports->reports.size(), 0);
    }

    void tooSmallControlIsReported()
    {
        ctlListRecord c;
        reports->defaultAnswer = 1;
        setTwipsSize(&c, 8190, 1600);
        QCOMPARE(reports->numbers(), QList<qint32> { FailureNumber::InvalidPropertyValue });
        reports->reports.clear();
        setTwipsSize(&c, 1500, 5925);
        QCOMPARE(reports->numbers(), QList<qint32> { FailureNumber::InvalidPropertyValue });
    }

    void headerClicksToggleOneOrderForTheList()
    {
        auto c = makeList();
        c->show();
        c->Showme();
        QVERIFY(QTest::qWaitForWindowExposed(c.get()));
        ListView *lv = c->ActiveListView();
        QHeaderView *header = lv->treeView()->header();
        const auto clickHeader = [&](int column) {
            QTest::mouseClick(header->viewport(), Qt::LeftButton, {},
                QPoint(header->sectionViewportPosition(column) + 5, header->height() / 2));
        };
        const auto keys = [&] {
            QStringList out;
            for (int i = 1; i <= lv->ListItems().Count(); ++i)
                out << lv->ListItems().Item(i).Key();
            return out;
        };
        clickHeader(2); // Total, shown as text: "1.234,50", "200,00", "-0,50"
        QCOMPARE(lv->SortKey(), qint16(2));
        QCOMPARE(lv->SortOrder(), qint16(1));
        QCOMPARE(keys(), (QStringList { "T2", "T1", "T17" }));
        clickHeader(2);
        QCOMPARE(keys(), (QStringList { "T17", "T1", "T2" }));
        clickHeader(0); // another column continues from the list's last order
        QCOMPARE(lv->SortKey(), qint16(0));
        QCOMPARE(keys(), (QStringList { "T2", "T17", "T1" }));
        QCOMPARE(reports->reports.size(), 0);
    }

    void rowMaintenance()
    {
        auto c = makeList();
        c->Showme();
        ListView *lv = c->ActiveListView();
        QString key = QStringLiteral("2");
        QCOMPARE(c->lrDelListItem(key), qint16(0));
        QCOMPARE(lv->ListItems().Count(), 2);
        QCOMPARE(c->lrAddListItem(key), qint16(0));
        QCOMPARE(rowTexts(*lv).last(), QStringLiteral("T2|A-2|10/04/2009|200,00|Falso|2,5"));
        QCOMPARE(c->lrAddListItem(key), qint16(0)); // already listed
        QCOMPARE(reports->numbers(), QList<qint32> { 35602 });
        makeDatabase(dbPath, { QStringLiteral("update facturas set total = 999.99 where id = 2") });
        QCOMPARE(c->lrUpdateListItem(key), qint16(0));
        QCOMPARE(lv->ListItems().Item(QStringLiteral("T2")).SubItems(2), QStringLiteral("999,99"));
        makeDatabase(dbPath, { QStringLiteral("update facturas set total = 200 where id = 2") });
        QString unknown = QStringLiteral("99");
        c->lrAddListItem(unknown);
        QCOMPARE(lv->ListItems().Count(), 3);
        reports->reports.clear();
        c->lrDelListItem(unknown);
        QCOMPARE(reports->numbers(), QList<qint32> { FailureNumber::ElementNotFound });
    }

    void commandBarPressesReachTheHostWithTheSelectedKey()
    {
        auto c = makeList();
        c->show();
        c->Showme();
        QVERIFY(QTest::qWaitForWindowExposed(c.get()));
        QStringList events;
        connect(c.get(), &ctlListRecord::cmdDel, this,
            [&](QString &item) { events << QStringLiteral("Del:") + item; });
        connect(c.get(), &ctlListRecord::cmdAdd, this, [&](QString &item) {
            events << QStringLiteral("Add:") + item;
            item = QStringLiteral("99");
        });
        connect(c.get(), &ctlListRecord::cmdClose, this, [&] { events << QStringLiteral("Close"); });
        auto *del = c->findChild<QAbstractButton *>(QStringLiteral("cmdButtom(2)"));
        QVERIFY(del);
        QTest::mouseClick(del, Qt::LeftButton);
        Q_EMIT c->ActiveListView()->ItemClick(c->ActiveListView()->ListItems().Item(QStringLiteral("T17")));
        QTest::mouseClick(del, Qt::LeftButton);
        QTest::mouseClick(c->findChild<QAbstractButton *>(QStringLiteral("cmdButtom(0)")), Qt::LeftButton);
        QTest::mouseClick(c->findChild<QAbstractButton *>(QStringLiteral("cmdButtom(6)")), Qt::LeftButton);
        QCOMPARE(events, (QStringList { "Del:", "Del:17", "Add:17", "Close" }));
        QCOMPARE(c->lrSelectedKey(), QStringLiteral("99"));
    }
};

QTEST_MAIN(tst_ctlListRecord)
#include "tst_ctlListRecord.moc"

// The single list as a host sees it: one event for every command, a query without tabs, its own
// layout, and the filter dialog shared with the record list.

#include "support/FailureOf.h"
#include "support/Fixtures.h"
#include "support/Scripted.h"

#include <Brennvox10/Brennvox10.h>

#include <QAbstractButton>
#include <QTemporaryDir>
#include <QTimer>
#include <QTreeView>
#include <QtTest>

using namespace Brennvox10;

class tst_ctlListSingle : public QObject {
    Q_OBJECT

    QTemporaryDir dir;
    QString dbPath, confPath;
    std::shared_ptr<ReporterLog> reports;
    QStringList sql;

    std::unique_ptr<ctlListSingle> makeList()
    {
        auto c = std::make_unique<ctlListSingle>();
        c->lrConnectionString(QStringLiteral("Provider=SQLite;Data Source="));
        c->lrDataSource(dbPath);
        c->lrConfigFileName(confPath);
        return c;
    }

    static ListView *view(ctlListSingle &c) { return c.findChild<ListView *>(QStringLiteral("ListView1")); }

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(dir.isValid());
        dbPath = dir.filePath(QStringLiteral("clientes.db"));
        confPath = dir.filePath(QStringLiteral("clientes.conf"));
        makeDatabase(dbPath,
            { QStringLiteral("create table clientes (id INTEGER, nombre TEXT, zona TEXT)"),
                QStringLiteral("insert into clientes values (7, 'Ana', 'Norte'), (42, 'Luis', 'Sur')") });
        // A Tabs element is ignored: no tab query runs and the query has no condition.
        writeText(confPath,
            QStringLiteral("<lrfmt Key=\"id\" ListSQLSource=\"select * from clientes\" ListMaxLineas=\"100\">"
                           "<Columns><c ColWidth=\"50\" ColAligment=\"0\" ColFieldname=\"nombre\"/>"
                           "<c ColWidth=\"50\" ColAligment=\"0\" ColFieldname=\"zona\"/></Columns>"
                           "<Tabs><t tabSQLSource=\"select * from nowhere\"/></Tabs>"
                           "<Filters><F fltName=\"zona\" fltType=\"1\" fltFieldtype=\"0\" "
                           "fltSQL=\"select distinct zona, 'zona' from clientes order by 1 desc\"/></Filters>"
                           "</lrfmt>"));
    }

    void init()
    {
        reports = scriptReporter(2);
        scriptServices(dir.path());
        sql.clear();
        setQueryObserver([this](const QString &s) { sql << s; });
    }

    void cleanup() { setQueryObserver({}); }

    void showmeRunsOnlyTheListQuery()
    {
        auto c = makeList();
        c->Showme();
        QCOMPARE(sql, QStringList { "Select * from (select * from clientes)" });
        QCOMPARE(rowTexts(*view(*c)), (QStringList { "T7|Ana|Norte", "T42|Luis|Sur" }));
        QCOMPARE(c->lrTabFilter(0), QString());
        QCOMPARE(c->lrTabFilter(1), QString());
        QCOMPARE(failureOf([&] { c->lrTabFilter(2); }).number(), FailureNumber::SubscriptOutOfRange);
        QCOMPARE(reports->numbers(), QList<qint32>());
    }

    // Every press, whatever its key, is one cmdClick with the selected key; the host's change to the
    // key is lost, its change to the item kept.
    void commandsAndDoubleClicksRaiseCmdClick()
    {
        auto c = makeList();
        c->Showme();
        QStringList raised;
        connect(c.get(), &ctlListSingle::cmdClick, this, [&](QString &key, QString &item) {
            raised << key + QLatin1Char('|') + item;
            key = QStringLiteral("changed");
        });
        auto *bar = c->findChild<QWidget *>(QStringLiteral("ctlMenu1"));
        bar->findChild<QAbstractButton *>(QStringLiteral("cmdButtom(0)"))->click();
        bar->findChild<QAbstractButton *>(QStringLiteral("cmdButtom(6)"))->click();
        bar->findChild<QAbstractButton *>(QStringLiteral("cmdButtom(6)"))->click();

        c->resize(c->sizeHint());
        c->show();
        QVERIFY(QTest::qWaitForWindowExposed(c.get()));
        QTreeView *tree = view(*c)->treeView();
        // A double click as a mouse makes it: a click, then the double click.
        for (const QPoint at : { tree->visualRect(tree->model()->index(1, 0)).center(),
                 QPoint(5, tree->viewport()->height() - 5) }) {
            QTest::mouseClick(tree->viewport(), Qt::LeftButton, {}, at);
            QTest::mouseDClick(tree->viewport(), Qt::LeftButton, {}, at);
        }
        QCOMPARE(raised, (QStringList { "Add|", "Close|", "Close|", "Open|42" }));
        QCOMPARE(c->lrSelectedKey(), QStringLiteral("42"));

        connect(c.get(), &ctlListSingle::cmdClick, this,
            [](QString &, QString &item) { item = QStringLiteral("99"); });
        bar->findChild<QAbstractButton *>(QStringLiteral("cmdButtom(1)"))->click();
        QCOMPARE(c->lrSelectedKey(), QStringLiteral("99"));
    }

    void layoutFollowsTheControlSize_data()
    {
        QTest::addColumn<float>("height");
        QTest::addColumn<QRectF>("list");
        QTest::addColumn<float>("stripTop");
        QTest::newRow("design size") << 5235.0f << QRectF(100, 100, 6665, 4330) << 4430.0f;
        QTest::newRow("taller") << 6235.0f << QRectF(100, 100, 6665, 5330) << 5430.0f;
    }

    void layoutFollowsTheControlSize()
    {
        QFETCH(float, height);
        QFETCH(QRectF, list);
        QFETCH(float, stripTop);
        ctlListSingle c;
        setTwipsSize(&c, 8250, height);
        QCOMPARE(twipsGeometry(view(c)), list);
        QCOMPARE(float(twipsGeometry(c.findChild<QWidget *>(QStringLiteral("Picture1"))).top()), stripTop);
        QCOMPARE(
            twipsGeometry(c.findChild<QWidget *>(QStringLiteral("ctlMenu1"))), QRectF(6815, 195, 1335, 4620));
        QCOMPARE(reports->numbers(), QList<qint32>());
        // Less than the status strip and 500 twips high leaves the list no room: reported.
        setTwipsSize(&c, 8250, 800);
        QCOMPARE(reports->numbers(), QList<qint32> { FailureNumber::InvalidPropertyValue });
    }

    void filterJoinsTheQueryAsAWhereClause()
    {
        auto c = makeList();
        c->Showme();
        sql.clear();
        QTimer::singleShot(0, this, [] {
            if (frmdlgFilter *form = frmdlgFilter::loaded())
                form->findChild<QAbstractButton *>(QStringLiteral("OKButton"))->click();
        });
        // A dialog left open by a fault must not hang the test.
        QTimer::singleShot(2000, this, [] { frmdlgFilter::Unload(); });
        QTest::mouseClick(
            c->findChild<QWidget *>(QStringLiteral("Label2")), Qt::LeftButton, {}, QPoint(5, 5));
        QVERIFY(!frmdlgFilter::loaded());
        QCOMPARE(sql.last(),
            QStringLiteral("Select * from (select * from clientes) where (zona='Sur'  and zona='Sur' )"));
        QCOMPARE(rowTexts(*view(*c)), QStringList { "T42|Luis|Sur" });
    }
};

QTEST_MAIN(tst_ctlListSingle)
#include "tst_ctlListSingle.moc"

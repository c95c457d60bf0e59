// SPDX-License-Identifier: MIT
// The single list as a host sees it: one event for every command, a query without tabs, its own
// layout, and the filter dialog shared with the record list.

#include "support/FailureOf.h"
#include "support/Fixtures.h"
#include "support/Lists.h"
#include "support/Rows.h"
#include "support/Scripted.h"

#include <Brennvox10/Brennvox10.h>

#include <QAbstractButton>
#include <QAbstractItemView>
#include <QTemporaryDir>
#include <QtTest>

using namespace Brennvox10;

class tst_ctlListSingle : public QObject {
    Q_OBJECT

    QTemporaryDir dir;
    std::shared_ptr<ReporterLog> reports;
    QStringList sql;
    std::unique_ptr<ctlListSingle> list; // connected to the test data
    std::optional<UnchangedFiles> files; // the database and definition, which no test may change

private Q_SLOTS:
    void initTestCase()
    {
        makeDatabase(dir.filePath(QStringLiteral("clientes.db")),
            { "create table clientes (id INTEGER, nombre TEXT, zona TEXT)",
                "insert into clientes values (7, 'Ana', 'Norte'), (42, 'Luis', 'Sur')" });
        // A Tabs element is ignored: no tab query runs and the query has no condition.
        writeText(dir.filePath(QStringLiteral("clientes.conf")),
            QStringLiteral("<lrfmt Key=\"id\" ListSQLSource=\"select * from clientes\" ListMaxLineas=\"100\">"
                           "<Columns><c ColWidth=\"50\" ColAligment=\"0\" ColFieldname=\"nombre\"/>"
                           "<c ColWidth=\"50\" ColAligment=\"0\" ColFieldname=\"zona\"/></Columns>"
                           "<Tabs><t tabSQLSource=\"select * from nowhere\"/></Tabs>"
                           "<Filters><F fltName=\"zona\" fltType=\"1\" fltFieldtype=\"0\" "
                           "fltSQL=\"select distinct zona, 'zona' from clientes order by 1 desc\"/></Filters>"
                           "</lrfmt>"));
        files.emplace(dir.path());
    }

    void init()
    {
        reports = scriptReporter(2);
        scriptServices(dir.path());
        sql.clear();
        setQueryObserver([this](const QString &s) { sql << s; });
        list = std::make_unique<ctlListSingle>();
        list->lrConnectionString(QStringLiteral("Provider=SQLite;Data Source="));
        list->lrDataSource(dir.filePath(QStringLiteral("clientes.db")));
        list->lrConfigFileName(dir.filePath(QStringLiteral("clientes.conf")));
    }

    void cleanup()
    {
        setQueryObserver({});
        QVERIFY2(files->intact(), qPrintable(files->changes()));
    }

    // Showme runs the list query alone. Every press, whatever its key, is one cmdClick with the
    // selected key; the host's change to the key is lost, its change to the item kept. The filter
    // from the dialog is then the query's only condition.
    void queryCommandsAndFilter()
    {
        list->Showme();
        QCOMPARE(sql, QStringList { "Select * from (select * from clientes)" });
        QCOMPARE(rowTexts(*list->findChild<ListView *>()), (QStringList { "T7|Ana|Norte", "T42|Luis|Sur" }));
        QCOMPARE(list->lrTabFilter(0) + list->lrTabFilter(1), QString());
        QCOMPARE(failureOf([&] { list->lrTabFilter(2); }).number(), FailureNumber::SubscriptOutOfRange);

        QStringList raised;
        connect(list.get(), &ctlListSingle::cmdClick, this, [&](QString &key, QString &item) {
            raised << std::exchange(key, QStringLiteral("changed")) + QLatin1Char('|') + item;
        });
        for (int button : { 0, 6, 6 })
            list->findChild<QAbstractButton *>(QStringLiteral("cmdButtom(%1)").arg(button))->click();
        list->show();
        QVERIFY(QTest::qWaitForWindowExposed(list.get()));
        QAbstractItemView *tree = list->findChild<ListView *>()->itemView();
        // A double click as a mouse makes it: a click, then the double click.
        for (const QPoint at : { tree->visualRect(tree->model()->index(1, 0)).center(),
                 QPoint(5, tree->viewport()->height() - 5) }) {
            QTest::mouseClick(tree->viewport(), Qt::LeftButton, {}, at);
            QTest::mouseDClick(tree->viewport(), Qt::LeftButton, {}, at);
        }
        QCOMPARE(raised, (QStringList { "Add|", "Close|", "Close|", "Open|42" }));
        QCOMPARE(list->lrSelectedKey(), QStringLiteral("42"));
        connect(list.get(), &ctlListSingle::cmdClick, this,
            [](QString &, QString &item) { item = QStringLiteral("99"); });
        list->findChild<QAbstractButton *>(QStringLiteral("cmdButtom(1)"))->click();
        QCOMPARE(list->lrSelectedKey(), QStringLiteral("99"));

        QVERIFY(throughFilterDialog(*list, [](frmdlgFilter &form, QWidget *) {
            form.findChild<QAbstractButton *>(QStringLiteral("OKButton"))->click();
        }));
        QVERIFY(!frmdlgFilter::loaded());
        QCOMPARE(sql.last(),
            QStringLiteral("Select * from (select * from clientes) where (zona='Sur'  and zona='Sur' )"));
        QCOMPARE(rowTexts(*list->findChild<ListView *>()), QStringList { "T42|Luis|Sur" });
        QCOMPARE(reports->numbers(), QList<qint32>());
    }

    void layoutFollowsTheControlSize_data()
    {
        columns<float, QList<QRectF>>("height", "rects"); // the list, the status strip, the command bar
        // clang-format off
        QTest::newRow("design size") << 5235.0f << QList<QRectF> { QRectF(100, 100, 6665, 4330),
            QRectF(0, 4430, 8250, 405), QRectF(6815, 195, 1335, 4620) };
        QTest::newRow("taller") << 6235.0f << QList<QRectF> { QRectF(100, 100, 6665, 5330),
            QRectF(0, 5430, 8250, 405), QRectF(6815, 195, 1335, 4620) };
        // clang-format on
    }
    void layoutFollowsTheControlSize()
    {
        QFETCH(float, height);
        setTwipsSize(list.get(), 8250, height);
        QList<QRectF> shown;
        for (const char *name : { "ListView1", "Picture1", "ctlMenu1" })
            shown << twipsGeometry(list->findChild<QWidget *>(QLatin1String(name)));
        QTEST(shown, "rects");
        // Less than the status strip and 500 twips high leaves the list no room: reported, and only then.
        setTwipsSize(list.get(), 8250, 800);
        QCOMPARE(reports->numbers(), QList<qint32> { FailureNumber::InvalidPropertyValue });
    }
};

QTEST_MAIN(tst_ctlListSingle)
#include "tst_ctlListSingle.moc"

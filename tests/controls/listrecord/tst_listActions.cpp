// SPDX-License-Identifier: MIT
// A user action on the record list ends within the time limit as a whole, however many slow texts
// its definition holds: Showme with slow tab queries and a slow list query, and after it a refresh
// or a tab choice, each of which starts afresh.

#include "support/Fixtures.h"
#include "support/Lists.h"
#include "support/Rows.h"
#include "support/Scripted.h"

#include <Brennvox10/Brennvox10.h>

#include <QElapsedTimer>
#include <QtTest>

using namespace Brennvox10;

namespace {

const QString Count = "with recursive n(i) as (select 1 union all select i + 1 from n where i &lt; 1000000000) ";
const QString SlowTab = "<t tabSQLSource=\"" + Count + "select max(i), 'x' from n\" tabDefFunc=\"1\" tabDefValue=\"1\" "
                        "tabDefCaption=\"A\" tabFieldname=\"id\"/>";
const QString QuickTab = "<t tabSQLSource=\"select 1, 'x' where 0\" tabDefFunc=\"2\" tabDefValue=\"2\" "
                         "tabDefCaption=\"B\" tabFieldname=\"id\"/>";
// Its default tab and one from its row.
const QString TwoTabs = "<t tabSQLSource=\"select 1, 'x'\" tabDefFunc=\"1\" tabDefValue=\"1\" tabDefCaption=\"A\" "
                        "tabFieldname=\"id\"/>";
const QString SlowSource = Count + "select max(i) as id, 'x' as numero from n";
const QString Late = "interrupted: the query ran past its time limit of 1 s (Command Timeout)";

QString definition(const QString &source, const QString &tabs)
{
    return "<lrfmt Caption=\"F\" Key=\"id\" ListSQLSource=\"" + source
        + "\" ListMaxLineas=\"100\"><Columns><c ColWidth=\"50\" ColCaption=\"N\" ColAligment=\"0\" "
          "ColFieldname=\"numero\"/></Columns><Tabs>"
        + tabs + "</Tabs><Filters/></lrfmt>";
}

} // namespace

class tst_listActions : public QObject {
    Q_OBJECT

    QTemporaryDir dir;
    std::shared_ptr<ReporterLog> reports;

private Q_SLOTS:
    void initTestCase()
    {
        makeDatabase(dir.filePath("d.db"), { "create table t (id INTEGER, numero TEXT)", "insert into t values (1, 'a')" });
        scriptServices(dir.path());
    }

    // Every report is answered "go on", so that Showme reaches the list query after a stopped tab query.
    void init() { reports = scriptReporter(1); }

    // action: what is timed, after an untimed Showme for "refresh" and "tab". stopped: the
    // recordsets the limit stops, each reported as interrupted and then as closed where its rows
    // would be read; once the action's time is used up, a quick text is stopped too. The action
    // takes the limit (1 s) and not much more.
    void actionEndsWithinTheLimit_data()
    {
        columns<QString, QString, QString, int>("action", "tabs", "source", "stopped");
        QTest::newRow("Showme: a slow tab query, a quick one, a slow list") << "showme" << SlowTab + QuickTab << SlowSource << 3;
        QTest::newRow("Showme: two slow tab queries and a slow list") << "showme" << SlowTab + SlowTab << SlowSource << 3;
        QTest::newRow("Showme: quick tabs, a slow list") << "showme" << QuickTab + QuickTab << SlowSource << 1;
        QTest::newRow("refresh after a Showme that used up its time") << "refresh" << TwoTabs + QuickTab << SlowSource << 1;
        QTest::newRow("tab choice after a Showme that used up its time") << "tab" << TwoTabs + QuickTab << SlowSource << 1;
        QTest::newRow("quick texts") << "showme" << QuickTab + QuickTab << "select * from t" << 0;
    }
    void actionEndsWithinTheLimit()
    {
        const auto [action, tabs, source, stopped] = fetch<QString, QString, QString, int>("action", "tabs", "source", "stopped");
        writeText(dir.filePath("f.conf"), definition(source, tabs));
        ctlListRecord c;
        c.lrConnectionString("Provider=SQLite;Command Timeout=1;Data Source=");
        c.lrDataSource(dir.filePath("d.db"));
        c.lrConfigFileName(dir.filePath("f.conf"));
        if (action != "showme") {
            c.Showme();
            reports->reports.clear();
        }
        QElapsedTimer clock;
        clock.start();
        if (action == "showme")
            c.Showme();
        else if (action == "refresh")
            c.lrListRefresh();
        else
            strip(c, 0)->selectTab(2);
        const qint64 took = clock.elapsed();
        QStringList expected;
        for (int i = 0; i < stopped; ++i)
            expected << QString::number(FailureNumber::CommandError) + ' ' + Late
                     << QString::number(FailureNumber::ObjectClosed) + ' ' + failureFor(FailureNumber::ObjectClosed).description();
        QCOMPARE(reports->described(), expected);
        // A slow text runs to the limit, not short of it.
        QVERIFY2(took >= (stopped ? 950 : 0) && took < 1700, qPrintable(QString::number(took)));
    }
};

QTEST_MAIN(tst_listActions)
#include "tst_listActions.moc"

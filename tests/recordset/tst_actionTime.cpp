// SPDX-License-Identifier: MIT
// One user action, one time limit: recordsets opened inside an action share the limit counted from
// the action's start; outside one each has its own. Real SQLite recordsets, a runaway query that
// only the limit stops.

#include "sql/cursor/ActionTime.h"
#include "recordset/Recordset.h"
#include "support/Fixtures.h"
#include "support/Rows.h"

#include <QElapsedTimer>
#include <QTemporaryDir>
#include <QTest>
#include <QThread>

#include <optional>

using namespace Brennvox10;

namespace {

const QString Runaway = "with recursive n(i) as (select 1 union all select i + 1 from n where i < 1000000000) "
                        "select max(i) from n";
const QString LatePrefix = "interrupted: the query ran past its time limit of ";

} // namespace

class tst_actionTime : public QObject {
    Q_OBJECT

    QTemporaryDir dir;
    QString db;

    // "ok", "late" or the failure's text, for each query run in turn.
    QStringList run(const QString &limit, const QStringList &queries)
    {
        QStringList outcomes;
        for (const QString &query : queries) {
            data::Recordset rs;
            try {
                rs.Open(query == "slow" ? Runaway : "select 1", "Provider=SQLite;Command Timeout=" + limit
                        + ";Data Source=" + db);
                while (!rs.Eof())
                    rs.MoveNext();
                outcomes << "ok";
            } catch (const Failure &f) {
                outcomes << (f.description() == LatePrefix + limit + " s (Command Timeout)" ? "late" : f.description());
            }
        }
        return outcomes;
    }

private Q_SLOTS:
    void initTestCase()
    {
        db = dir.filePath("t.db");
        makeDatabase(db, { "create table t (i INTEGER)" });
    }

    // Scopes: 0 none, 1 one action, 2 an action inside another opened `sleepMs` later (the time is
    // counted from before the sleep).
    void recordsetsShareTheActionsLimit_data()
    {
        columns<QString, int, int, QStringList, QStringList, int, int>(
            "limit", "scopes", "sleepMs", "queries", "outcomes", "minMs", "maxMs");
        const QStringList two { "slow", "slow" };
        QTest::newRow("no action: each its own limit") << "0.6" << 0 << 0 << two << QStringList { "late", "late" } << 1200 << 1900;
        QTest::newRow("one action: one limit for both") << "0.6" << 1 << 0 << two << QStringList { "late", "late" } << 600 << 1000;
        QTest::newRow("time used up: a quick query fails at once")
            << "0.6" << 1 << 0 << QStringList { "slow", "fast" } << QStringList { "late", "late" } << 600 << 1000;
        QTest::newRow("a nested action keeps the outer start") << "1" << 2 << 700 << QStringList { "slow" } << QStringList { "late" } << 1000 << 1400;
        QTest::newRow("quick queries in an action") << "0.6" << 1 << 0 << QStringList { "fast", "fast" } << QStringList { "ok", "ok" } << 0 << 400;
        QTest::newRow("no limit in an action") << "0" << 1 << 50 << QStringList { "fast" } << QStringList { "ok" } << 50 << 450;
    }
    void recordsetsShareTheActionsLimit()
    {
        const auto [limit, scopes, sleepMs, queries, outcomes, minMs, maxMs]
            = fetch<QString, int, int, QStringList, QStringList, int, int>(
                "limit", "scopes", "sleepMs", "queries", "outcomes", "minMs", "maxMs");
        QElapsedTimer clock;
        clock.start();
        std::optional<data::ActionTime> outer, inner;
        if (scopes >= 1)
            outer.emplace();
        QThread::msleep(sleepMs);
        if (scopes >= 2)
            inner.emplace();
        QCOMPARE(run(limit, queries), outcomes);
        const qint64 took = clock.elapsed();
        QVERIFY2(took >= minMs && took < maxMs, qPrintable(QString::number(took)));
    }

    // An action ends with its scope: the next one, and a recordset outside any, start afresh.
    void theNextActionStartsAfresh()
    {
        {
            const data::ActionTime action;
            QCOMPARE(run("0.4", { "slow" }), QStringList { "late" });
        }
        QCOMPARE(run("0.4", { "fast" }), QStringList { "ok" });
        const data::ActionTime next;
        QCOMPARE(run("0.4", { "fast" }), QStringList { "ok" });
    }
};

QTEST_GUILESS_MAIN(tst_actionTime)
#include "tst_actionTime.moc"

// The failure convention: what a guarded procedure does with each answer of the reporter, and how
// the reporter itself is found.

#include "failure/Guard.h"
#include "support/Scripted.h"

#include <QObject>
#include <QThread>
#include <QtTest>

#include <atomic>

using namespace Brennvox10;

class tst_Guard : public QObject {
    Q_OBJECT

private:
    QObject control;

    // A procedure of three steps whose middle one fails `failures` times (or always, if -1).
    // Returns the trace of what ran.
    QStringList runProcedure(int failures)
    {
        QStringList trace;
        int failed = 0;
        guarded(control, [&](Guard &g) {
            g.step([&] { trace << QStringLiteral("first"); });
            g.step([&] {
                trace << QStringLiteral("middle");
                if (failures < 0 || failed < failures) {
                    ++failed;
                    throw Failure(5, QStringLiteral("Invalid procedure call"), QStringLiteral("Test"));
                }
            });
            g.step([&] { trace << QStringLiteral("last"); });
        });
        return trace;
    }

private Q_SLOTS:
    void init() { control.setObjectName(QStringLiteral("ctlUnderTest")); }

    void answers_data()
    {
        QTest::addColumn<QList<qint16>>("answers");
        QTest::addColumn<QStringList>("trace");
        const QString f = QStringLiteral("first"), m = QStringLiteral("middle"), l = QStringLiteral("last");
        QTest::newRow("leave 2") << QList<qint16> { 2 } << QStringList { f, m };
        QTest::newRow("leave 3") << QList<qint16> { 3 } << QStringList { f, m };
        QTest::newRow("leave -1") << QList<qint16> { -1 } << QStringList { f, m };
        QTest::newRow("leave 7") << QList<qint16> { 7 } << QStringList { f, m };
        QTest::newRow("skip") << QList<qint16> { 1 } << QStringList { f, m, l };
        QTest::newRow("retry twice then skip") << QList<qint16> { 0, 0, 1 } << QStringList { f, m, m, m, l };
        QTest::newRow("retry then leave") << QList<qint16> { 0, 2 } << QStringList { f, m, m };
    }

    void answers()
    {
        QFETCH(QList<qint16>, answers);
        QFETCH(QStringList, trace);
        auto log = scriptReporter();
        log->answers.assign(answers.begin(), answers.end());

        QCOMPARE(runProcedure(-1), trace);
        QCOMPARE(log->reports.size(), answers.size());
        for (const Report &r : log->reports) {
            QCOMPARE(r.number, 5);
            QCOMPARE(r.description, QStringLiteral("Invalid procedure call"));
            QCOMPARE(r.source, QStringLiteral("Test"));
            QCOMPARE(r.control, QStringLiteral("ctlUnderTest"));
        }
    }

    void retrySucceedsWhenTheStatementRecovers()
    {
        auto log = scriptReporter(0);
        QCOMPARE(runProcedure(2), (QStringList { "first", "middle", "middle", "middle", "last" }));
        QCOMPARE(log->reports.size(), 2);
    }

    void skipInsideALoopContinuesWithTheNextStatement()
    {
        auto log = scriptReporter(1);
        QStringList seen;
        guarded(control, [&](Guard &g) {
            for (int i = 0; i < 3; ++i) {
                g.step([&] {
                    if (i == 1)
                        throw failureFor(FailureNumber::InvalidUseOfNull);
                    seen << QString::number(i);
                });
                g.step([&] { seen << QStringLiteral("after%1").arg(i); });
            }
        });
        QCOMPARE(seen, (QStringList { "0", "after0", "after1", "2", "after2" }));
        QCOMPARE(log->numbers(), QList<qint32> { 94 });
    }

    void standardExceptionsAreReportedAsFailures()
    {
        auto log = scriptReporter(1);
        guarded(control, [&](Guard &g) { g.step([] { throw std::runtime_error("disk on fire"); }); });
        QCOMPARE(log->reports.size(), 1);
        QVERIFY(log->reports.first().description.contains(QStringLiteral("disk on fire")));
    }

    void nestedProcedureLeavesOnlyItself()
    {
        auto log = scriptReporter(2);
        QStringList trace;
        guarded(control, [&](Guard &g) {
            g.step([&] {
                guarded(control, [&](Guard &inner) {
                    inner.step([] { throw failureFor(FailureNumber::TypeMismatch); });
                    inner.step([&] { trace << QStringLiteral("inner after"); });
                });
            });
            g.step([&] { trace << QStringLiteral("outer after"); });
        });
        QCOMPARE(trace, QStringList { "outer after" });
        QCOMPARE(log->reports.size(), 1);
    }

    void reporterThatCannotBeCreatedReachesTheCaller()
    {
        installErrorReporter(nullptr);
        const QUuid id = errorReporterClassId();
        registerErrorReporterClass(id, []() -> std::unique_ptr<ErrorReporter> {
            throw failureFor(FailureNumber::CannotCreateObject, QStringLiteral("Registry"));
        });
        bool caught = false;
        try {
            runProcedure(-1);
        } catch (const Failure &f) {
            caught = true;
            QCOMPARE(
                f.number(), FailureNumber::CannotCreateObject); // the creation failure, not the original 5
        }
        registerErrorReporterClass(id, {});
        try {
            runProcedure(-1);
            QFAIL("an unregistered reporter must surface");
        } catch (const Failure &f) {
            QCOMPARE(f.number(), FailureNumber::CannotCreateObject);
        }
        QVERIFY(caught);
    }

    void reporterIsCreatedOncePerThread()
    {
        installErrorReporter(nullptr);
        auto created = std::make_shared<std::atomic_int>(0);
        auto log = std::make_shared<ReporterLog>();
        log->defaultAnswer = 1;
        registerErrorReporterClass(errorReporterClassId(), [created, log] {
            ++*created;
            return std::make_unique<ScriptedReporter>(log);
        });
        runProcedure(-1);
        runProcedure(-1);
        QCOMPARE(created->load(), 1);
        QCOMPARE(log->reports.size(), 2);

        // Another thread gets an instance of its own.
        QThread *t = QThread::create([&] { runProcedure(-1); });
        t->start();
        t->wait();
        delete t;
        QCOMPARE(created->load(), 2);
        QCOMPARE(log->reports.size(), 3);
    }

    void failingReporterReachesTheCaller()
    {
        class Throwing : public ErrorReporter {
            qint16 ReportError(qint32 &, QString &, QString &, QString &, qint16 &) override
            {
                throw Failure(-2147023174, QStringLiteral("The RPC server is unavailable."));
            }
        };
        installErrorReporter(std::make_unique<Throwing>());
        QVERIFY_THROWS_EXCEPTION(Failure, runProcedure(-1));
    }

    void cleanupTestCase() { installErrorReporter(nullptr); }
};

QTEST_GUILESS_MAIN(tst_Guard)
#include "tst_guard.moc"

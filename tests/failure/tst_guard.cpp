// The failure convention: what a guarded procedure does with each answer of the reporter, and how
// the reporter itself is found.

#include "failure/Guard.h"
#include "support/FailureOf.h"
#include "support/Scripted.h"

#include <QObject>
#include <QThread>
#include <QtTest>

#include <atomic>

using namespace Brennvox10;

using Setup = std::function<void()>;
// What a reporter on another machine may fail with: no number of ours.
constexpr qint32 RpcServerUnavailable = -2147023174;
Q_DECLARE_METATYPE(Setup)

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
                    throw failureFor(FailureNumber::TypeMismatch, QStringLiteral("Test"));
                }
            });
            g.step([&] { trace << QStringLiteral("last"); });
        });
        return trace;
    }

private Q_SLOTS:
    void init() { control.setObjectName(QStringLiteral("ctlUnderTest")); }
    void cleanupTestCase() { installErrorReporter(nullptr); }

    void answers_data()
    {
        QTest::addColumn<int>("failures"); // of the middle step; -1 always
        QTest::addColumn<QList<qint16>>("answers"); // then 2 (leave)
        QTest::addColumn<QStringList>("trace");
        const QString f = QStringLiteral("first"), m = QStringLiteral("middle"), l = QStringLiteral("last");
        QTest::newRow("leave 2") << -1 << QList<qint16> { 2 } << QStringList { f, m };
        QTest::newRow("leave 3") << -1 << QList<qint16> { 3 } << QStringList { f, m };
        QTest::newRow("leave -1") << -1 << QList<qint16> { -1 } << QStringList { f, m };
        QTest::newRow("skip") << -1 << QList<qint16> { 1 } << QStringList { f, m, l };
        QTest::newRow("retry twice then skip")
            << -1 << QList<qint16> { 0, 0, 1 } << QStringList { f, m, m, m, l };
        QTest::newRow("retry then leave") << -1 << QList<qint16> { 0, 2 } << QStringList { f, m, m };
        QTest::newRow("retry until it recovers")
            << 2 << QList<qint16> { 0, 0 } << QStringList { f, m, m, m, l };
    }

    void answers()
    {
        QFETCH(int, failures);
        QFETCH(QList<qint16>, answers);
        auto log = scriptReporter();
        log->answers.assign(answers.begin(), answers.end());

        QTEST(runProcedure(failures), "trace");
        QCOMPARE(log->reports.size(), answers.size());
        for (const Report &r : log->reports) {
            QCOMPARE(r.number, FailureNumber::TypeMismatch);
            QCOMPARE(r.description, QStringLiteral("Type mismatch"));
            QCOMPARE(r.source, QStringLiteral("Test"));
            QCOMPARE(r.control, QStringLiteral("ctlUnderTest"));
        }
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
        QCOMPARE(log->numbers(), QList<qint32> { FailureNumber::InvalidUseOfNull });
    }

    void standardExceptionsAreReportedAsFailures()
    {
        auto log = scriptReporter(1);
        guarded(control, [&](Guard &g) {
            g.step([] { throw std::runtime_error("disk on fire"); });
            g.step([] { throw std::bad_alloc(); });
        });
        QCOMPARE(
            log->numbers(), (QList<qint32> { FailureNumber::DatabaseError, FailureNumber::OutOfMemory }));
        QCOMPARE(log->reports.at(0).description, QStringLiteral("disk on fire"));
        QCOMPARE(log->reports.at(1).description, QStringLiteral("Out of memory"));
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

    // A reporter that cannot be had, or that fails itself, reaches the procedure's caller with its
    // own failure instead of the one it was to report.
    void reporterFailuresReachTheCaller_data()
    {
        QTest::addColumn<Setup>("setup");
        QTest::addColumn<int>("number");
        const auto factory = [](ErrorReporterFactory f) {
            return [f] {
                installErrorReporter(nullptr);
                registerErrorReporterClass(errorReporterClassId(), f);
            };
        };
        QTest::newRow("factory fails") << Setup(factory([]() -> std::unique_ptr<ErrorReporter> {
            throw failureFor(FailureNumber::CannotCreateObject, QStringLiteral("Registry"));
        })) << FailureNumber::CannotCreateObject;
        QTest::newRow("factory gives nothing")
            << Setup(factory([] { return std::unique_ptr<ErrorReporter>(); }))
            << FailureNumber::CannotCreateObject;
        QTest::newRow("no factory") << Setup(factory({})) << FailureNumber::CannotCreateObject;
        QTest::newRow("reporter throws") << Setup([] {
            class Throwing : public ErrorReporter {
                qint16 ReportError(qint32 &, QString &, QString &, QString &, qint16 &) override
                {
                    throw Failure(RpcServerUnavailable, QStringLiteral("The RPC server is unavailable."));
                }
            };
            installErrorReporter(std::make_unique<Throwing>());
        }) << RpcServerUnavailable;
    }

    void reporterFailuresReachTheCaller()
    {
        QFETCH(Setup, setup);
        setup();
        QTEST(failureOf([&] { runProcedure(-1); }).number(), "number");
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
};

QTEST_GUILESS_MAIN(tst_Guard)
#include "tst_guard.moc"

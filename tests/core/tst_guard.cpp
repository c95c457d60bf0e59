// SPDX-License-Identifier: MIT
// The failure convention: what a guarded procedure does with each answer of the reporter, and how
// the reporter itself is found.

#include "core/Guard.h"
#include "support/FailureOf.h"
#include "support/Rows.h"
#include "support/Scripted.h"

#include <QtTest>

#include <thread>

using namespace Brennvox10;

// What a step does on each attempt; it may add to the trace.
using Action = std::function<void(QStringList &trace)>;
Q_DECLARE_METATYPE(Action)
using Answers = QList<qint16>;
Q_DECLARE_METATYPE(ErrorReporterFactory)

namespace {
// Fails with Failure 13 `times` times, or always if -1.
Action mismatch(int times = -1)
{
    return [times](QStringList &) mutable {
        if (times < 0 || times-- > 0)
            throw failureFor(FailureNumber::TypeMismatch, QStringLiteral("Test"));
    };
}

// A reporter on another machine may fail with a number that is none of ours.
struct UnreachableReporter : ErrorReporter {
    qint16 ReportError(qint32 &, QString &, QString &, QString &, qint16 &) override
    {
        throw Failure(-2147023174, {});
    }
};
} // namespace

class tst_Guard : public QObject {
    Q_OBJECT

    QObject control;

    // Three steps a, b, c, run in a loop; b does `middle` after it is traced. Returns the trace.
    QString runProcedure(const Action &middle)
    {
        QStringList trace;
        guarded(control, [&](Guard &g) {
            for (const char *name : { "a", "b", "c" })
                g.step([&] {
                    trace << QLatin1String(name);
                    if (trace.last() == u"b")
                        middle(trace);
                });
        });
        return trace.join(QLatin1Char(' '));
    }

private Q_SLOTS:
    void init() { control.setObjectName(QStringLiteral("ctlUnderTest")); }
    void cleanupTestCase() { installErrorReporter(nullptr); }

    void answers_data()
    {
        // Answers, then 2 (leave), one report each: number, description, (source), control.
        columns<Action, Answers, QString, QString>("middle", "answers", "trace", "report");
        const QString mismatched = QStringLiteral("13 Type mismatch (Test) ctlUnderTest");
        for (const qint16 leave : { 2, 3, -1, 7 })
            QTest::addRow("leave %d", leave) << mismatch() << Answers { leave } << "a b" << mismatched;
        QTest::newRow("skip") << mismatch() << Answers { 1 } << "a b c" << mismatched;
        QTest::newRow("retry, retry, skip") << mismatch() << Answers { 0, 0, 1 } << "a b b b c" << mismatched;
        QTest::newRow("retry, leave") << mismatch() << Answers { 0, 2 } << "a b b" << mismatched;
        QTest::newRow("recovers on retry") << mismatch(2) << Answers { 0, 0 } << "a b b b c" << mismatched;
        QTest::newRow("standard exception")
            << Action([](QStringList &) { throw std::runtime_error("on fire"); }) << Answers { 1 } << "a b c"
            << QStringLiteral("-2147467259 on fire (Brennvox10) ctlUnderTest");
        QTest::newRow("out of memory")
            << Action([](QStringList &) { throw std::bad_alloc(); }) << Answers { 1 } << "a b c"
            << QStringLiteral("7 Out of memory (Brennvox10) ctlUnderTest");
        // Leaving a nested procedure (traced within b) leaves only that one.
        QTest::newRow("nested procedure left")
            << Action([this](QStringList &t) { t << runProcedure(mismatch()); }) << Answers { 2 }
            << "a b a b c" << mismatched;
    }
    void answers()
    {
        const auto [middle, answers, report] = fetch<Action, Answers, QString>("middle", "answers", "report");
        auto log = scriptReporter();
        log->answers.assign(answers.begin(), answers.end());
        QTEST(runProcedure(middle), "trace");
        QStringList reports;
        for (const Report &r : log->reports)
            reports << QStringLiteral("%1 %2 (%3) %4").arg(r.number).arg(r.description, r.source, r.control);
        QCOMPARE(reports, QStringList(answers.size(), report));
    }

    // A reporter that cannot be had, or that fails itself, reaches the procedure's caller with its
    // own failure instead of the one it was to report.
    void reporterFailuresReachTheCaller_data()
    {
        using namespace FailureNumber;
        columns<ErrorReporterFactory, int>("factory", "number");
        QTest::newRow("factory fails") << ErrorReporterFactory([]() -> std::unique_ptr<ErrorReporter> {
            throw failureFor(CannotCreateObject, QStringLiteral("Registry"));
        }) << CannotCreateObject;
        QTest::newRow("factory gives nothing")
            << ErrorReporterFactory([] { return std::unique_ptr<ErrorReporter>(); }) << CannotCreateObject;
        QTest::newRow("no factory") << ErrorReporterFactory() << CannotCreateObject;
        QTest::newRow("reporter throws")
            << ErrorReporterFactory([] { return std::make_unique<UnreachableReporter>(); }) << -2147023174;
    }
    void reporterFailuresReachTheCaller()
    {
        QFETCH(ErrorReporterFactory, factory);
        installErrorReporter(nullptr);
        registerErrorReporterClass(errorReporterClassId(), factory);
        QTEST(failureOf([&] { runProcedure(mismatch()); }).number(), "number");
    }

    void reporterIsCreatedOncePerThread()
    {
        installErrorReporter(nullptr);
        auto created = std::make_shared<qsizetype>(0);
        auto log = std::make_shared<ReporterLog>();
        registerErrorReporterClass(errorReporterClassId(), [created, log] {
            ++*created;
            return std::make_unique<ScriptedReporter>(log);
        });
        runProcedure(mismatch());
        runProcedure(mismatch());
        // Reporters created, reports made.
        QCOMPARE((QList<qsizetype> { *created, log->reports.size() }), (QList<qsizetype> { 1, 2 }));
        // Another thread gets an instance of its own.
        std::thread([&] { runProcedure(mismatch()); }).join();
        QCOMPARE((QList<qsizetype> { *created, log->reports.size() }), (QList<qsizetype> { 2, 3 }));
    }
};

QTEST_GUILESS_MAIN(tst_Guard)
#include "tst_guard.moc"

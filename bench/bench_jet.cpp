// SPDX-License-Identifier: MIT
// How long a Jet file's tables take to read through the Jet provider, cold (the file read through
// mdbtools and copied into the in-memory SQLite image) and warm (the image cached, the query alone),
// beside mdbtools' own mdb-export of the same table (a separate process, as a shop would run it).
//
//   bench_jet [--reps R] [FILE.mdb ...]      (default: every fixture in tests/fixtures/jet)

#include "recordset/Recordset.h"
#include "providers/jet/JetImage.h"

#include <Brennvox10/Failure.h>

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QProcess>
#include <QTemporaryDir>

#include <algorithm>
#include <cstdio>

namespace {

struct Read {
    double ms = 0;
    qint64 rows = 0;
};

Read readTable(const QString &file, const QString &table, const QString &password)
{
    QElapsedTimer clock;
    clock.start();
    Brennvox10::data::Recordset rs;
    rs.Open(QStringLiteral("select * from [%1]").arg(table),
        QStringLiteral("Provider=Microsoft.Jet.OLEDB.4.0;Data Source=") + file
            + QStringLiteral(";Jet Oledb:database password=") + password);
    qint64 rows = 0;
    std::size_t sink = 0;
    int fields = 0;
    for (;; ++fields) {
        try {
            rs.Fields(fields);
        } catch (const Brennvox10::Failure &) {
            break;
        }
    }
    for (; !rs.Eof(); rs.MoveNext(), ++rows)
        for (int f = 0; f < fields; ++f)
            sink += std::size_t(rs.Fields(f).isNull() ? 0 : rs.Fields(f).utf8().size());
    rs.Close();
    return { double(clock.nsecsElapsed()) / 1e6, rows + qint64(sink == std::size_t(-1)) };
}

double exportTable(const QString &file, const QString &table)
{
    QElapsedTimer clock;
    clock.start();
    QProcess process;
    process.start(QStringLiteral("mdb-export"), { file, table });
    process.waitForFinished(60000);
    process.readAllStandardOutput();
    return process.exitCode() == 0 ? double(clock.nsecsElapsed()) / 1e6 : -1;
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    QStringList args = app.arguments().mid(1);
    int reps = 3;
    if (const qsizetype at = args.indexOf(QStringLiteral("--reps")); at >= 0 && at + 1 < args.size()) {
        reps = std::max(1, args.at(at + 1).toInt());
        args.remove(at, 2);
    }
    QTemporaryDir copies;
    if (args.isEmpty()) {
        const QDir fixtures(QStringLiteral(JET_FIXTURES));
        for (const QString &name : fixtures.entryList({ QStringLiteral("*.mdb") }))
            if (QFile::copy(fixtures.filePath(name), copies.filePath(name)))
                args << copies.filePath(name);
    }
    std::printf("%-22s %-8s %6s %12s %12s %14s %9s\n", "file", "table", "rows", "cold ms", "warm ms",
        "mdb-export ms", "warm/exp");
    for (const QString &file : args) {
        const QString password = file.contains(QLatin1String("password")) && !file.contains(QLatin1String("no-password"))
            ? QStringLiteral("password")
            : QString();
        QProcess list;
        list.start(QStringLiteral("mdb-tables"), { QStringLiteral("-1"), file });
        list.waitForFinished(30000);
        for (const QString &table : QString::fromUtf8(list.readAllStandardOutput()).split(QLatin1Char('\n'), Qt::SkipEmptyParts)) {
            Read cold, warm { 1e12, 0 };
            double exported = 1e12;
            try {
                cold.ms = 1e12;
                for (int r = 0; r < reps; ++r) {
                    Brennvox10::data::jet::clearImageCache();
                    const Read once = readTable(file, table, password);
                    cold = once.ms < cold.ms ? once : cold;
                    const Read again = readTable(file, table, password);
                    warm = again.ms < warm.ms ? again : warm;
                    exported = std::min(exported, exportTable(file, table));
                }
            } catch (const Brennvox10::Failure &failure) {
                std::printf("%-22s %-8s %s\n", qPrintable(QFileInfo(file).fileName()), qPrintable(table),
                    qPrintable(failure.description()));
                continue;
            }
            std::printf("%-22s %-8s %6lld %12.2f %12.2f %14.2f %9.2f\n", qPrintable(QFileInfo(file).fileName()),
                qPrintable(table), static_cast<long long>(cold.rows), cold.ms, warm.ms, exported,
                exported > 0 ? warm.ms / exported : 0.0);
        }
    }
    return 0;
}

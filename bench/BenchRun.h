// SPDX-License-Identifier: MIT
#pragma once
// What every benchmark here shares: its options, the fastest of several runs, and the table of
// figures with ratios against the baselines it ran itself.

#include <QApplication>
#include <QCommandLineParser>
#include <QDir>
#include <QElapsedTimer>
#include <QEvent>
#include <QFile>
#include <QGuiApplication>
#include <QLocale>
#include <QPointer>
#include <QWidget>

#include <sqlite3.h>

#include <sys/resource.h>

#include <algorithm>
#include <cstdio>
#include <map>
#include <stdexcept>
#include <string>
#include <vector>

namespace bench {

[[noreturn]] inline void fail(const std::string &text)
{
    throw std::runtime_error(text);
}

// A database file the benchmark writes once and reads on every run.
class Db {
public:
    Db(const QString &path, int flags)
    {
        if (sqlite3_open_v2(QFile::encodeName(path).constData(), &m_db, flags, nullptr) != SQLITE_OK)
            bench::fail("cannot open " + path.toStdString() + ": " + sqlite3_errmsg(m_db));
    }
    ~Db() { sqlite3_close(m_db); }
    Db(const Db &) = delete;
    Db &operator=(const Db &) = delete;
    operator sqlite3 *() const { return m_db; }

    void exec(const char *sql)
    {
        if (sqlite3_exec(m_db, sql, nullptr, nullptr, nullptr) != SQLITE_OK)
            bench::fail(std::string(sqlite3_errmsg(m_db)) + " in: " + sql);
    }
    sqlite3_stmt *prepare(const std::string &sql)
    {
        sqlite3_stmt *stmt = nullptr;
        if (sqlite3_prepare_v2(m_db, sql.c_str(), -1, &stmt, nullptr) != SQLITE_OK)
            bench::fail(std::string(sqlite3_errmsg(m_db)) + " in: " + sql);
        return stmt;
    }
    // -1 when the file is not a finished bench database.
    // -1 when the table is missing (not a finished bench database).
    qint64 rowCount(const char *table)
    {
        sqlite3_stmt *stmt = nullptr;
        qint64 n = -1;
        const std::string sql = std::string("select count(*) from ") + table;
        if (sqlite3_prepare_v2(m_db, sql.c_str(), -1, &stmt, nullptr) == SQLITE_OK
            && sqlite3_step(stmt) == SQLITE_ROW)
            n = sqlite3_column_int64(stmt, 0);
        sqlite3_finalize(stmt);
        return n;
    }

private:
    sqlite3 *m_db = nullptr;
};

// A bench database made once per row count and reused while `table` still holds that many rows.
// `fill` writes it, inside one transaction, into a partial file that takes the name once complete.
template <typename Fill> QString cachedDatabase(const QString &path, const char *table, int rows, Fill &&fill)
{
    if (QFile::exists(path)) {
        Db db(path, SQLITE_OPEN_READONLY);
        if (db.rowCount(table) == rows)
            return path;
    }
    std::fprintf(stderr, "writing %s ...\n", qPrintable(path));
    const QString partial = path + QStringLiteral(".partial");
    QFile::remove(partial);
    {
        Db db(partial, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE);
        db.exec("pragma journal_mode = off");
        db.exec("pragma synchronous = off");
        db.exec("begin");
        fill(db);
        db.exec("commit");
    }
    QFile::remove(path);
    if (!QFile::rename(partial, path))
        fail("cannot move the bench database to " + path.toStdString());
    return path;
}

// Steps a query over a bench database and hands every row to a callback.
template <typename RowFn> void forEachRow(const QString &path, const std::string &sql, RowFn &&row)
{
    Db db(path, SQLITE_OPEN_READONLY);
    sqlite3_stmt *stmt = db.prepare(sql);
    int rc;
    while ((rc = sqlite3_step(stmt)) == SQLITE_ROW)
        row(stmt);
    sqlite3_finalize(stmt);
    if (rc != SQLITE_DONE)
        fail(sqlite3_errmsg(db));
}

// Notes a paint of a widget or of anything inside it. Qt paints all of a window's dirty widgets in
// one pass, so once processEvents returns after such a paint it is on screen.
class PaintWatch : public QObject {
public:
    explicit PaintWatch(QWidget *target)
        : m_target(target)
    {
        qApp->installEventFilter(this);
    }
    ~PaintWatch() override { qApp->removeEventFilter(this); }
    void reset() { m_painted = false; }
    // Lets the event loop run until the target has been painted.
    void wait()
    {
        QElapsedTimer timer;
        timer.start();
        while (!m_painted) {
            QCoreApplication::processEvents(QEventLoop::AllEvents);
            if (timer.elapsed() > 600000)
                fail("the view was never painted");
        }
    }

protected:
    bool eventFilter(QObject *watched, QEvent *event) override
    {
        if (event->type() == QEvent::Paint && m_target && watched->isWidgetType()) {
            auto *w = static_cast<QWidget *>(watched);
            if (w == m_target || m_target->isAncestorOf(w))
                m_painted = true;
        }
        return false;
    }

private:
    QPointer<QWidget> m_target;
    bool m_painted = false;
};

struct Measure {
    double ms = 0;
    double bytes = 0; // per row or value
    // Processor time of this process (every thread) and of a database server, where measured:
    // with two cores shared by both, their sum bounds the wall time from below.
    double cpuMs = -1;
    double serverMs = -1;
};

// User and system time of every thread of this process so far.
inline double processCpuMs()
{
    rusage usage {};
    getrusage(RUSAGE_SELF, &usage);
    const auto ms = [](const timeval &t) { return double(t.tv_sec) * 1e3 + double(t.tv_usec) / 1e3; };
    return ms(usage.ru_utime) + ms(usage.ru_stime);
}

struct Row {
    std::string path;
    int rows;
    Measure m;
};

// The faster run's times; the memory growth stays the first run's.
inline void keepFaster(Measure &kept, const Measure &next)
{
    if (next.ms < kept.ms) {
        kept.ms = next.ms;
        kept.cpuMs = next.cpuMs;
        kept.serverMs = next.serverMs;
    }
}

// The fastest of several runs and its processor times, with the memory growth of the first.
template <typename Run> Measure best(int reps, Run &&run)
{
    Measure result = run();
    for (int i = 1; i < reps; ++i)
        keepFaster(result, run());
    return result;
}

struct Options {
    std::vector<int> counts;
    QString paths;
    QString folder;
    int reps = 3;
};

// --rows, --paths, --reps and --dir, with this benchmark's defaults; the folder is created.
inline Options parseOptions(const QApplication &app, const QString &rows, const QString &letters)
{
    QCommandLineParser parser;
    parser.addHelpOption();
    QCommandLineOption rowsOption(
        QStringLiteral("rows"), QStringLiteral("Row counts, comma separated."), QStringLiteral("LIST"), rows);
    QCommandLineOption pathsOption(QStringLiteral("paths"), QStringLiteral("Paths to run, by letter."),
        QStringLiteral("LETTERS"), letters);
    QCommandLineOption repsOption(QStringLiteral("reps"),
        QStringLiteral("Runs per measurement; the fastest counts."), QStringLiteral("R"),
        QStringLiteral("3"));
    QCommandLineOption dirOption(QStringLiteral("dir"), QStringLiteral("Folder for the bench databases."),
        QStringLiteral("FOLDER"), QStringLiteral(BENCH_DATA_DIR));
    parser.addOptions({ rowsOption, pathsOption, repsOption, dirOption });
    parser.process(app);
    Options o;
    for (const QString &n : parser.value(rowsOption).split(QLatin1Char(','), Qt::SkipEmptyParts))
        o.counts.push_back(n.toInt());
    o.paths = parser.value(pathsOption);
    o.folder = parser.value(dirOption);
    o.reps = std::max(1, parser.value(repsOption).toInt());
    QDir().mkpath(o.folder);
    return o;
}

// Prints the table: each row's time against the rows of the same size whose path starts with each
// baseline prefix, e.g. "(a)".
inline void printTable(
    const std::vector<Row> &table, const char *bytesTitle, const std::vector<std::string> &baselines)
{
    std::printf("Qt %s, SQLite %s, locale %s, platform %s\n", qVersion(), sqlite3_libversion(),
        qPrintable(QLocale().name()), qPrintable(QGuiApplication::platformName()));
    const bool timed = std::any_of(table.begin(), table.end(), [](const Row &r) { return r.m.cpuMs >= 0; });
    std::printf("%-27s %9s %10s %12s", "path", "rows", "wall ms", bytesTitle);
    if (timed)
        std::printf(" %8s %9s", "cpu ms", "server ms");
    std::vector<std::map<int, double>> baseMs(baselines.size());
    for (size_t b = 0; b < baselines.size(); ++b) {
        std::printf(" %8s", ("vs " + baselines[b]).c_str());
        for (const Row &r : table)
            if (r.path.rfind(baselines[b], 0) == 0)
                baseMs[b][r.rows] = r.m.ms;
    }
    std::printf("\n");
    for (const Row &r : table) {
        std::printf("%-27s %9d %10.1f %12.1f", r.path.c_str(), r.rows, r.m.ms, r.m.bytes);
        if (timed) {
            char cpu[32] = "-", server[32] = "-";
            if (r.m.cpuMs >= 0)
                std::snprintf(cpu, sizeof cpu, "%.0f", r.m.cpuMs);
            if (r.m.serverMs >= 0)
                std::snprintf(server, sizeof server, "%.0f", r.m.serverMs);
            std::printf(" %8s %9s", cpu, server);
        }
        for (const auto &base : baseMs) {
            const auto it = base.find(r.rows);
            char ratio[32] = "-";
            if (it != base.end() && it->second > 0)
                std::snprintf(ratio, sizeof ratio, "%.2f", r.m.ms / it->second);
            std::printf(" %8s", ratio);
        }
        std::printf("\n");
    }
}

} // namespace bench

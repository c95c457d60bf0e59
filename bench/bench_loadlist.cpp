// SPDX-License-Identifier: MIT
// How long a list of N invoices takes from the query to the first painted screen, and how much heap
// it keeps per row, for the record list and for the obvious alternatives over the same SQLite file:
//
//   (a) sqlite3 raw       the query stepped with sqlite3_step, every column read as text, nothing kept
//   (b) QString naive     (a) plus every cell formatted to its QString (money, dates) and kept
//   (c) QSqlQueryModel    all rows fetched into a QSqlQueryModel shown in a QTableView
//   (d) QTreeWidget       a QTreeWidget filled with the texts of (b)
//   (e) ctlListRecord     the record list: Showme once, then lrListRefresh, timed
//   (f) libpq single-row  the same rows from a PostgreSQL server on a local socket, the text as the
//                         provider adapts it, stepped in libpq's single-row mode, every value read
//   (g) ctlListRecord pg  (e) over that server
//
// For (f) and (g) the benchmark starts a server of its own and copies each database into it first.
// Every view is created and shown empty first; the time runs from the start of the load until the
// view's viewport has received a paint event after it. Heap growth is glibc's mallinfo2 (in-use
// arena bytes plus mmapped bytes) measured before the load and after it, with the result alive.
//
//   QT_QPA_PLATFORM=offscreen bench_loadlist [--rows 10000,100000,1000000] [--paths abcdefg]
//                                            [--reps R] [--dir FOLDER]

#include <Brennvox10/Brennvox10.h>

#include <QApplication>
#include <QCommandLineParser>
#include <QDate>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QHeaderView>
#include <QLocale>
#include <QPointer>
#include <QSqlDatabase>
#include <QSqlError>
#include <QSqlQuery>
#include <QSqlQueryModel>
#include <QTableView>
#include <QAbstractItemView>
#include <QHeaderView>
#include <QTreeWidget>

#include <libpq-fe.h>
#include <malloc.h>
#include <sqlite3.h>

#include "BenchData.h"
#include "BenchRun.h"
#include "LocalServer.h"
#include "Unattended.h"
#include "providers/postgres/Dialect.h"
#include <algorithm>

#include <cstdio>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using bench::Db;
using bench::fail;
using bench::PaintWatch;

constexpr int Columns = 8;
// What the record list sends for a definition whose two first tabs match every row; the other paths
// run the same text with a LIMIT, since they have no line limit of their own.
const char *const ListQuery = "Select * from (select * from inv)where  1 like 1 and  1 like 1";

std::size_t heapInUse()
{
    const struct mallinfo2 mi = mallinfo2();
    return mi.uordblks + mi.hblkhd;
}

// ---- the data ----------------------------------------------------------------------------------

std::string limitedQuery(int rows)
{
    return std::string(ListQuery) + " limit " + std::to_string(rows);
}

// ---- cell texts as a host would make them ------------------------------------------------------

enum class Kind { Integer, Text, Date, Money, Real };
const Kind columnKinds[Columns]
    = { Kind::Integer, Kind::Text, Kind::Date, Kind::Text, Kind::Text, Kind::Money, Kind::Text, Kind::Real };

class Formatter {
public:
    Formatter()
    {
        // Money is always grouped, whatever the locale's own default.
        m_grouped.setNumberOptions(QLocale::DefaultNumberOptions);
        m_plain.setNumberOptions(QLocale::OmitGroupSeparator);
    }
    QString cell(sqlite3_stmt *stmt, int column) const
    {
        switch (columnKinds[column]) {
        case Kind::Integer:
            return m_plain.toString(sqlite3_column_int64(stmt, column));
        case Kind::Money:
            return m_grouped.toString(sqlite3_column_double(stmt, column), 'f', 2);
        case Kind::Real:
            return m_plain.toString(sqlite3_column_double(stmt, column), 'g', QLocale::FloatingPointShortest);
        case Kind::Date: {
            const auto *text = reinterpret_cast<const char *>(sqlite3_column_text(stmt, column));
            const QDate date = QDate::fromString(
                QString::fromLatin1(text, sqlite3_column_bytes(stmt, column)), Qt::ISODate);
            return m_plain.toString(date, m_datePattern);
        }
        case Kind::Text:
            break;
        }
        return QString::fromUtf8(reinterpret_cast<const char *>(sqlite3_column_text(stmt, column)),
            sqlite3_column_bytes(stmt, column));
    }

private:
    QLocale m_grouped, m_plain;
    const QString m_datePattern = QStringLiteral("dd/MM/yyyy");
};

void showEmpty(QWidget *window, QWidget *viewport)
{
    window->resize(800, 600);
    window->show();
    PaintWatch watch(viewport);
    watch.wait();
    QCoreApplication::processEvents();
}

// Processor times over a timed part: this process's and, when there is one, the server's.
class CpuWatch {
public:
    // The server's reading walks /proc, so it comes first, outside this process's count.
    explicit CpuWatch(const LocalServer *server = nullptr)
        : m_server(server)
        , m_serverCpu(server ? server->cpuMs() : -1)
        , m_cpu(bench::processCpuMs())
    {
    }
    void into(bench::Measure &m) const
    {
        m.cpuMs = bench::processCpuMs() - m_cpu;
        if (m_server && m_serverCpu >= 0)
            m.serverMs = m_server->cpuMs() - m_serverCpu;
    }

private:
    const LocalServer *m_server;
    double m_serverCpu, m_cpu;
};

// Runs a load between two heap readings; the returned keeper holds the result alive until the
// second reading and is then dropped outside the timing.
template <typename Load> bench::Measure measure(int rows, Load &&load, const LocalServer *server = nullptr)
{
    const std::size_t before = heapInUse();
    const CpuWatch cpu(server);
    QElapsedTimer timer;
    timer.start();
    auto keep = load();
    bench::Measure m { double(timer.nsecsElapsed()) / 1e6, 0 };
    cpu.into(m);
    const std::size_t after = heapInUse();
    (void)keep;
    m.bytes = (double(after) - double(before)) / rows;
    return m;
}

// ---- the paths --------------------------------------------------------------------------------

bench::Measure raw(const QString &path, int rows)
{
    return measure(rows, [&] {
        std::size_t sink = 0;
        int seen = 0;
        bench::forEachRow(path, limitedQuery(rows), [&](sqlite3_stmt *stmt) {
            for (int c = 0; c < Columns; ++c) {
                const unsigned char *text = sqlite3_column_text(stmt, c);
                sink += text ? text[0] : 0;
            }
            ++seen;
        });
        if (seen != rows)
            fail("raw read " + std::to_string(seen) + " rows");
        return sink;
    });
}

bench::Measure naive(const QString &path, int rows)
{
    const Formatter format;
    return measure(rows, [&] {
        auto cells = std::make_unique<std::vector<QString>>();
        cells->reserve(std::size_t(rows) * Columns);
        bench::forEachRow(path, limitedQuery(rows), [&](sqlite3_stmt *stmt) {
            for (int c = 0; c < Columns; ++c)
                cells->push_back(format.cell(stmt, c));
        });
        if (cells->size() != std::size_t(rows) * Columns)
            fail("naive kept too few cells");
        return cells;
    });
}

bench::Measure sqlModel(const QString &path, int rows)
{
    const QString name = QStringLiteral("bench");
    bench::Measure m;
    {
        QTableView view;
        showEmpty(&view, view.viewport());
        PaintWatch watch(view.viewport());
        std::unique_ptr<QSqlQueryModel> model;
        {
            QSqlDatabase db = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), name);
            db.setDatabaseName(path);
            db.setConnectOptions(QStringLiteral("QSQLITE_OPEN_READONLY"));
            m = measure(rows, [&] {
                watch.reset();
                if (!db.open())
                    fail(db.lastError().text().toStdString());
                model = std::make_unique<QSqlQueryModel>();
                model->setQuery(QString::fromStdString(limitedQuery(rows)), db);
                if (model->lastError().isValid())
                    fail(model->lastError().text().toStdString());
                while (model->canFetchMore())
                    model->fetchMore();
                view.setModel(model.get());
                watch.wait();
                return 0;
            });
            if (model->rowCount() != rows)
                fail("QSqlQueryModel holds " + std::to_string(model->rowCount()) + " rows");
            view.setModel(nullptr);
            model.reset();
            db.close();
        }
    }
    QSqlDatabase::removeDatabase(name);
    return m;
}

bench::Measure treeWidget(const QString &path, int rows)
{
    const Formatter format;
    QTreeWidget tree;
    tree.setColumnCount(Columns);
    tree.setHeaderLabels({ QStringLiteral("Id"), QStringLiteral("Número"), QStringLiteral("Fecha"),
        QStringLiteral("Cliente"), QStringLiteral("Zona"), QStringLiteral("Total"), QStringLiteral("Estado"),
        QStringLiteral("Peso") });
    tree.setRootIsDecorated(false);
    showEmpty(&tree, tree.viewport());
    PaintWatch watch(tree.viewport());
    const bench::Measure m = measure(rows, [&] {
        watch.reset();
        QList<QTreeWidgetItem *> items;
        items.reserve(rows);
        bench::forEachRow(path, limitedQuery(rows), [&](sqlite3_stmt *stmt) {
            QStringList texts;
            texts.reserve(Columns);
            for (int c = 0; c < Columns; ++c)
                texts.append(format.cell(stmt, c));
            items.append(new QTreeWidgetItem(texts));
        });
        tree.addTopLevelItems(items);
        watch.wait();
        return 0;
    });
    if (tree.topLevelItemCount() != rows)
        fail("QTreeWidget holds too few rows");
    tree.clear();
    return m;
}

// Two rows: the first load through Showme, and the timed reload.
std::pair<bench::Measure, bench::Measure> listRecord(const QString &path, const QString &folder, int rows,
    const QString &connection = QStringLiteral("Provider=SQLite;Data Source="), const QString &password = QString(),
    const LocalServer *server = nullptr)
{
    const QString definition = bench::writeDefinition(folder, rows, rows);
    QString sent;
    Brennvox10::setQueryObserver([&sent](const QString &sql) { sent = sql; });

    Brennvox10::ctlListRecord list;
    Brennvox10::setTwipsSize(&list, 12000, 9000);
    QWidget *viewport = list.ActiveListView()->itemView()->viewport();
    list.show();
    {
        PaintWatch first(viewport);
        first.wait();
    }
    list.lrConnectionString(connection);
    list.lrDataSource(path);
    list.lrPassword(password);
    list.lrConfigFileName(definition);

    PaintWatch watch(viewport);
    const std::size_t before = heapInUse();
    bench::Measure show, refresh;
    const CpuWatch showCpu(server);
    QElapsedTimer timer;
    timer.start();
    list.Showme();
    watch.wait();
    show.ms = double(timer.nsecsElapsed()) / 1e6;
    showCpu.into(show);
    show.bytes = (double(heapInUse()) - double(before)) / rows;

    watch.reset();
    const CpuWatch refreshCpu(server);
    timer.start();
    list.lrListRefresh();
    watch.wait();
    refresh.ms = double(timer.nsecsElapsed()) / 1e6;
    refreshCpu.into(refresh);
    refresh.bytes = (double(heapInUse()) - double(before)) / rows;

    Brennvox10::setQueryObserver({});
    const int shown = list.ActiveListView()->ListItems().Count();
    if (shown != rows)
        fail("ctlListRecord shows " + std::to_string(shown) + " rows");
    if (sent != QLatin1String(ListQuery) && sent != Brennvox10::data::postgres::adaptForPostgres(QLatin1String(ListQuery)))
        std::fprintf(stderr, "note: the list sent \"%s\", the other paths run \"%s limit N\"\n",
            qPrintable(sent), ListQuery);
    return { show, refresh };
}

// The floor of a PostgreSQL load: the adapted list text stepped row by row, each value touched.
bench::Measure libpqSingleRow(const LocalServer &server, const QString &database, int rows)
{
    const QByteArray conninfo = (server.connectionString(database) + QStringLiteral(" password=")
        + QLatin1String(LocalServer::password)).toUtf8();
    const QByteArray query
        = (Brennvox10::data::postgres::adaptForPostgres(QLatin1String(ListQuery)) + QStringLiteral(" limit %1").arg(rows))
              .toUtf8();
    return measure(rows, [&] {
        PGconn *db = PQconnectdb(conninfo.constData());
        if (PQstatus(db) != CONNECTION_OK)
            fail(PQerrorMessage(db));
        std::size_t sink = 0;
        int seen = 0;
        PQsendQueryParams(db, query.constData(), 0, nullptr, nullptr, nullptr, nullptr, 0);
        PQsetSingleRowMode(db);
        while (PGresult *r = PQgetResult(db)) {
            if (PQresultStatus(r) == PGRES_SINGLE_TUPLE) {
                for (int c = 0; c < Columns; ++c)
                    sink += std::size_t(PQgetvalue(r, 0, c)[0]) + std::size_t(PQgetlength(r, 0, c));
                ++seen;
            } else if (PQresultStatus(r) != PGRES_TUPLES_OK) {
                fail(PQresultErrorMessage(r));
            }
            PQclear(r);
        }
        PQfinish(db);
        if (seen != rows)
            fail("libpq read " + std::to_string(seen) + " rows");
        return sink;
    }, &server);
}

} // namespace

int main(int argc, char **argv)
{
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);

    const bench::Options opt
        = bench::parseOptions(app, QStringLiteral("10000,100000,1000000"), QStringLiteral("abcdefg"));

    unattended::install();

    std::vector<bench::Row> table;
    LocalServer server;
    const bool postgres = opt.paths.contains(QLatin1Char('f')) || opt.paths.contains(QLatin1Char('g'));
    if (postgres && !server.start()) {
        std::fprintf(stderr, "bench_loadlist: PostgreSQL: %s\n", qPrintable(server.error()));
        return 1;
    }
    try {
        for (const int rows : opt.counts) {
            const QString db = bench::benchDatabase(opt.folder, rows);
            raw(db, rows); // brings the file into the page cache, untimed
            if (opt.paths.contains(QLatin1Char('a')))
                table.push_back(
                    { "(a) sqlite3 raw", rows, bench::best(opt.reps, [&] { return raw(db, rows); }) });
            if (opt.paths.contains(QLatin1Char('b')))
                table.push_back(
                    { "(b) QString naive", rows, bench::best(opt.reps, [&] { return naive(db, rows); }) });
            if (opt.paths.contains(QLatin1Char('c')))
                table.push_back({ "(c) QSqlQueryModel", rows,
                    bench::best(opt.reps, [&] { return sqlModel(db, rows); }) });
            if (opt.paths.contains(QLatin1Char('d')))
                table.push_back(
                    { "(d) QTreeWidget", rows, bench::best(opt.reps, [&] { return treeWidget(db, rows); }) });
            if (opt.paths.contains(QLatin1Char('e'))) {
                // Each run is a new control, so each Showme is a first load.
                std::pair<bench::Measure, bench::Measure> runs = listRecord(db, opt.folder, rows);
                for (int i = 1; i < opt.reps; ++i) {
                    const std::pair<bench::Measure, bench::Measure> again = listRecord(db, opt.folder, rows);
                    keepFaster(runs.first, again.first);
                    keepFaster(runs.second, again.second);
                }
                table.push_back({ "(e) ctlListRecord Showme", rows, runs.first });
                table.push_back({ "(e) ctlListRecord refresh", rows, runs.second });
            }
            if (postgres) {
                const QString database = QStringLiteral("bench_%1").arg(rows);
                if (!server.copySqlite(db, database))
                    fail(server.error().toStdString());
                const QString file = server.writeConnectionFile(database);
                libpqSingleRow(server, database, rows); // warms the server's cache, untimed
                if (opt.paths.contains(QLatin1Char('f')))
                    table.push_back({ "(f) libpq single-row", rows,
                        bench::best(opt.reps, [&] { return libpqSingleRow(server, database, rows); }) });
                if (opt.paths.contains(QLatin1Char('g'))) {
                    const QString connection = QStringLiteral("Provider=PostgreSQL;Data Source=");
                    const QString password = QLatin1String(LocalServer::password);
                    auto runs = listRecord(file, opt.folder, rows, connection, password, &server);
                    for (int i = 1; i < opt.reps; ++i)
                        keepFaster(runs.second, listRecord(file, opt.folder, rows, connection, password, &server).second);
                    table.push_back({ "(g) ctlListRecord pg", rows, runs.second });
                }
            }
        }
    } catch (const std::exception &e) {
        std::fprintf(stderr, "bench_loadlist: %s\n", e.what());
        return 1;
    }

    bench::printTable(table, "bytes/row", { "(a)", "(b)", "(f)" });
    if (unattended::problems)
        std::printf("%d failures or messages were reported during the run\n", unattended::problems);
    return unattended::problems ? 1 : 0;
}

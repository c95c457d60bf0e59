// SPDX-License-Identifier: MIT
// What a host's working day costs on a long list: a header click that sorts it, and the row upkeep
// calls that follow the host's own writes, at 10,000 and at 1,000,000 rows.
//
//   (a) std::sort texts     the client texts of every row, case-folded, sorted by std::sort with the
//                           list's own comparison (QStringView::compare, descending): the baseline
//   (b) header click sort   a click on the "Cliente" header of a loaded ctlListRecord, until painted
//   (c) lrAddListItem       1000 calls, each followed by the repaint; the rows added are the last
//                           1000 of the table, which the line limit kept out of the list
//   (d) lrUpdateListItem    1000 calls on listed rows whose client the bench changed in the file
//                           first (untimed), so that each row moves in the sorted order
//   (e) lrDelListItem       1000 calls on other listed rows
//
// Upkeep runs on a list sorted by client. Its figure is the time per call, compared with the same
// call on the smallest list; the sort is compared with (a) at the same size. The bench writes only
// to its own copy of the bench database.
//
//   QT_QPA_PLATFORM=offscreen bench_interaction [--rows 10000,1000000] [--paths abcde] [--reps R]
//                                               [--dir FOLDER]

#include <Brennvox10/Brennvox10.h>

#include <QAbstractItemView>
#include <QApplication>
#include <QFile>
#include <QHeaderView>
#include <QTest>

#include "BenchData.h"
#include "BenchRun.h"
#include "Unattended.h"

#include <algorithm>
#include <cstdio>
#include <map>
#include <random>
#include <string>
#include <vector>

namespace {

using bench::Db;
using bench::fail;
using bench::PaintWatch;

constexpr int Calls = 1000;
constexpr int ClientColumn = 4; // 1-based, in the bench definition

double msSince(const QElapsedTimer &timer)
{
    return double(timer.nsecsElapsed()) / 1e6;
}

bench::Measure stdSort(const QString &path, int rows)
{
    std::vector<QString> texts;
    texts.reserve(size_t(rows));
    bench::forEachRow(path, "select cliente from inv limit " + std::to_string(rows), [&](sqlite3_stmt *s) {
        texts.push_back(QString::fromUtf8(reinterpret_cast<const char *>(sqlite3_column_text(s, 0)),
            sqlite3_column_bytes(s, 0))
                            .toCaseFolded());
    });
    QElapsedTimer timer;
    timer.start();
    std::sort(texts.begin(), texts.end(), [](const QString &a, const QString &b) {
        return QStringView(b).compare(QStringView(a)) < 0;
    });
    return { msSince(timer), 0 };
}

// A record list over the bench table, shown and painted, the line limit at `maxLines`.
struct ShownList {
    Brennvox10::ctlListRecord list;
    QWidget *viewport = nullptr;

    ShownList(const QString &path, const QString &folder, int rows, int maxLines)
    {
        Brennvox10::setTwipsSize(&list, 12000, 9000);
        viewport = list.ActiveListView()->itemView()->viewport();
        list.show();
        list.lrConnectionString(QStringLiteral("Provider=SQLite;Data Source="));
        list.lrDataSource(path);
        list.lrConfigFileName(bench::writeDefinition(folder, rows, maxLines));
        PaintWatch watch(viewport);
        list.Showme();
        watch.wait();
        if (list.ActiveListView()->ListItems().Count() != maxLines)
            fail("the list shows " + std::to_string(list.ActiveListView()->ListItems().Count()) + " rows");
    }

    // A real click on a column header, timed until the sorted list is painted.
    double clickHeader(int column)
    {
        QHeaderView *header = list.ActiveListView()->header();
        const QPoint at(header->sectionViewportPosition(column - 1) + 4, header->height() / 2);
        PaintWatch watch(viewport);
        QElapsedTimer timer;
        timer.start();
        QTest::mouseClick(header->viewport(), Qt::LeftButton, {}, at);
        watch.wait();
        return msSince(timer);
    }

    void repaint()
    {
        PaintWatch watch(viewport);
        viewport->update();
        watch.wait();
    }
};

bench::Measure headerSort(const QString &path, const QString &folder, int rows)
{
    ShownList shown(path, folder, rows, rows);
    const double ms = shown.clickHeader(ClientColumn);
    Brennvox10::ListView *view = shown.list.ActiveListView();
    if (!view->Sorted() || view->SortKey() != ClientColumn - 1)
        fail("the header click did not sort the list");
    return { ms, 0 };
}

struct Upkeep {
    double add = 0, update = 0, remove = 0; // ms per call
};

Upkeep upkeep(const QString &source, const QString &folder, int rows)
{
    // The bench changes rows of its own copy; the list reads that copy.
    const QString path = QDir(folder).filePath(QStringLiteral("bench_interaction_work.db"));
    QFile::remove(path);
    if (!QFile::copy(source, path))
        fail("cannot copy the bench database to " + path.toStdString());
    Upkeep result;
    {
        ShownList shown(path, folder, rows, rows - Calls);
        shown.clickHeader(ClientColumn);
        Brennvox10::ListItems &items = shown.list.ActiveListView()->ListItems();

        QElapsedTimer timer;
        double total = 0;
        for (int id = rows - Calls + 1; id <= rows; ++id) {
            QString key = QString::number(id);
            timer.start();
            shown.list.lrAddListItem(key);
            shown.repaint();
            total += msSince(timer);
        }
        result.add = total / Calls;

        // Distinct listed rows, drawn with a fixed seed: the first half updated, the second deleted.
        std::mt19937 random(20261123);
        std::vector<int> ids(size_t(rows - Calls));
        for (size_t i = 0; i < ids.size(); ++i)
            ids[i] = int(i) + 1;
        std::shuffle(ids.begin(), ids.end(), random);

        Db db(path, SQLITE_OPEN_READWRITE);
        sqlite3_stmt *change = db.prepare("update inv set cliente = ? where id = ?");
        static const char *const names[] = { "Almacenes Abad", "Muebles Pardo", "Zapatería Ugarte",
            "Ópticas Mena", "Librería Ibáñez", "Cristalería Vidal" };
        total = 0;
        for (int i = 0; i < Calls; ++i) {
            const int id = ids[size_t(i)];
            const std::string name = std::string(names[size_t(i) % 6]) + " " + std::to_string(id);
            sqlite3_bind_text(change, 1, name.c_str(), -1, SQLITE_TRANSIENT);
            sqlite3_bind_int64(change, 2, id);
            if (sqlite3_step(change) != SQLITE_DONE)
                fail(sqlite3_errmsg(db));
            sqlite3_reset(change);
            QString key = QString::number(id);
            timer.start();
            shown.list.lrUpdateListItem(key);
            shown.repaint();
            total += msSince(timer);
            if (items.Item(QLatin1Char('T') + key).SubItems(ClientColumn - 1) != QString::fromStdString(name))
                fail("row " + std::to_string(id) + " was not updated");
        }
        sqlite3_finalize(change);
        result.update = total / Calls;

        total = 0;
        for (int i = Calls; i < 2 * Calls; ++i) {
            QString key = QString::number(ids[size_t(i)]);
            timer.start();
            shown.list.lrDelListItem(key);
            shown.repaint();
            total += msSince(timer);
        }
        result.remove = total / Calls;
        if (items.Count() != rows - Calls)
            fail("the list ends with " + std::to_string(items.Count()) + " rows");
    }
    QFile::remove(path);
    return result;
}

} // namespace

int main(int argc, char **argv)
{
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    const bench::Options opt = bench::parseOptions(app, QStringLiteral("10000,1000000"), QStringLiteral("abcde"));
    unattended::install();

    std::vector<bench::Row> table;
    try {
        for (const int rows : opt.counts) {
            if (rows <= 2 * Calls)
                fail("every row count must exceed " + std::to_string(2 * Calls));
            const QString db = bench::benchDatabase(opt.folder, rows);
            if (opt.paths.contains(QLatin1Char('a')))
                table.push_back({ "(a) std::sort texts", rows,
                    bench::best(opt.reps, [&] { return stdSort(db, rows); }) });
            if (opt.paths.contains(QLatin1Char('b')))
                table.push_back({ "(b) header click sort", rows,
                    bench::best(opt.reps, [&] { return headerSort(db, opt.folder, rows); }) });
            if (opt.paths.contains(QLatin1Char('c')) || opt.paths.contains(QLatin1Char('d'))
                || opt.paths.contains(QLatin1Char('e'))) {
                Upkeep best = upkeep(db, opt.folder, rows);
                for (int i = 1; i < opt.reps; ++i) {
                    const Upkeep again = upkeep(db, opt.folder, rows);
                    best.add = std::min(best.add, again.add);
                    best.update = std::min(best.update, again.update);
                    best.remove = std::min(best.remove, again.remove);
                }
                if (opt.paths.contains(QLatin1Char('c')))
                    table.push_back({ "(c) lrAddListItem", rows, { best.add, 0 } });
                if (opt.paths.contains(QLatin1Char('d')))
                    table.push_back({ "(d) lrUpdateListItem", rows, { best.update, 0 } });
                if (opt.paths.contains(QLatin1Char('e')))
                    table.push_back({ "(e) lrDelListItem", rows, { best.remove, 0 } });
            }
        }
    } catch (const std::exception &e) {
        std::fprintf(stderr, "bench_interaction: %s\n", e.what());
        return 1;
    }

    // The sort against std::sort at the same size; each upkeep call against itself on the smallest list.
    std::printf("Qt %s, SQLite %s, platform %s; upkeep figures are per call, with its repaint\n", qVersion(),
        sqlite3_libversion(), qPrintable(QGuiApplication::platformName()));
    std::printf("%-24s %9s %10s %16s\n", "path", "rows", "wall ms", "ratio");
    std::map<std::string, std::pair<int, double>> smallest;
    for (const bench::Row &r : table) {
        auto &s = smallest[r.path];
        if (s.first == 0 || r.rows < s.first)
            s = { r.rows, r.m.ms };
    }
    for (const bench::Row &r : table) {
        char ratio[48] = "-";
        if (r.path.rfind("(b)", 0) == 0) {
            for (const bench::Row &base : table)
                if (base.rows == r.rows && base.path.rfind("(a)", 0) == 0 && base.m.ms > 0)
                    std::snprintf(ratio, sizeof ratio, "%.2f vs (a)", r.m.ms / base.m.ms);
        } else if (r.path.rfind("(a)", 0) != 0) {
            const auto &s = smallest[r.path];
            if (s.first != r.rows && s.second > 0)
                std::snprintf(ratio, sizeof ratio, "%.2f vs %d", r.m.ms / s.second, s.first);
        }
        std::printf("%-24s %9d %10.3f %16s\n", r.path.c_str(), r.rows, r.m.ms, ratio);
    }
    if (unattended::problems)
        std::printf("%d failures or messages were reported during the run\n", unattended::problems);
    return unattended::problems ? 1 : 0;
}

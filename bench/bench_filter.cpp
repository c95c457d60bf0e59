// SPDX-License-Identifier: MIT
// How long the filter dialog takes to show a value list of N clients once the user chooses its
// field, and how much memory the list keeps per value, against the plain ways of reading the same
// query from the same SQLite file:
//
//   (a) sqlite3 raw        the query stepped with sqlite3_step, both columns read as text, nothing kept
//   (b) QComboBox addItem  the page's two value boxes, stock QComboBoxes, each filled by addItem
//   (c) ctlFilter choice   the dialog's page 1 value list, read when the user chooses its field
//
// The dialog is shown with a free-value field chosen (so Showme reads nothing) and painted; the time
// runs from the key press that chooses the value-list field until the dialog has been painted after
// it. (b) is timed the same way from the start of its fill. Memory growth (glibc's in-use arena bytes
// plus all anonymous mappings) is measured before the choice or fill and after the paint, with the
// list alive.
//
//   QT_QPA_PLATFORM=offscreen bench_filter [--rows 10000,100000] [--paths abc] [--reps R] [--dir FOLDER]

#include <Brennvox10/Brennvox10.h>

#include <QApplication>
#include <QComboBox>
#include <QCommandLineParser>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QKeyEvent>
#include <QLocale>
#include <QPointer>
#include <QVBoxLayout>

#include <malloc.h>
#include <sqlite3.h>

#include "BenchRun.h"
#include "Unattended.h"
#include <algorithm>

#include <cstdio>
#include <map>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using bench::Db;
using bench::fail;
using bench::PaintWatch;

const char *const ValueQuery = "select id, nombre from clientes order by id";
const char *const Zones[] = { "Norte", "Sur", "Este", "Oeste", "Centro" };

// Memory the process uses for data: glibc's in-use bytes of its main arena, plus every anonymous
// mapping (malloc's own large blocks, and memory a library maps for itself, which mallinfo2 does
// not see).
std::size_t memoryInUse()
{
    std::size_t mapped = 0;
    QFile maps(QStringLiteral("/proc/self/maps"));
    if (maps.open(QIODevice::ReadOnly)) {
        for (const QByteArray &line : maps.readAll().split('\n')) {
            // "start-end perms offset dev inode [path]": anonymous mappings have inode 0 and no path.
            const QList<QByteArray> f = line.simplified().split(' ');
            if (f.size() != 5 || f[4] != "0")
                continue;
            const QList<QByteArray> range = f[0].split('-');
            mapped += range[1].toULongLong(nullptr, 16) - range[0].toULongLong(nullptr, 16);
        }
    }
    return mallinfo2().uordblks + mapped;
}

// ---- the data ----------------------------------------------------------------------------------

// "Cliente 000123 de Norte": the zone follows the id, so the first row's text is known in advance.
std::string clientName(int id)
{
    char text[64];
    std::snprintf(text, sizeof text, "Cliente %06d de %s", id, Zones[id % 5]);
    return text;
}

// The clients table, made once per row count.
QString benchDatabase(const QString &folder, int rows)
{
    const QString path = QDir(folder).filePath(QStringLiteral("bench_filter_%1.db").arg(rows));
    return bench::cachedDatabase(path, "clientes", rows, [rows](Db &db) {
        db.exec("create table clientes (id INTEGER PRIMARY KEY, nombre TEXT)");
        sqlite3_stmt *insert = db.prepare("insert into clientes values (?, ?)");
        for (int id = 1; id <= rows; ++id) {
            sqlite3_bind_int64(insert, 1, id);
            const std::string name = clientName(id);
            sqlite3_bind_text(insert, 2, name.c_str(), int(name.size()), SQLITE_TRANSIENT);
            if (sqlite3_step(insert) != SQLITE_DONE)
                fail(sqlite3_errmsg(db));
            sqlite3_reset(insert);
        }
        sqlite3_finalize(insert);
    });
}

// ---- paint ------------------------------------------------------------------------------------

// Shows a window and lets it settle: painted, with nothing left pending.
void showSettled(QWidget *window)
{
    PaintWatch watch(window);
    window->show();
    watch.wait();
    QCoreApplication::processEvents();
}

std::string expectedFirstItem()
{
    return "1||" + clientName(1);
}

// ---- the paths --------------------------------------------------------------------------------

bench::Measure raw(const QString &path, int rows)
{
    const std::size_t before = memoryInUse();
    QElapsedTimer timer;
    timer.start();
    std::size_t sink = 0;
    int seen = 0;
    bench::forEachRow(path, ValueQuery, [&](sqlite3_stmt *stmt) {
        for (int c = 0; c < 2; ++c) {
            const unsigned char *text = sqlite3_column_text(stmt, c);
            sink += text ? text[0] : 0;
        }
        ++seen;
    });
    const double ms = double(timer.nsecsElapsed()) / 1e6;
    const std::size_t after = memoryInUse();
    if (seen != rows || sink == 0)
        fail("raw read " + std::to_string(seen) + " rows");
    return { ms, (double(after) - double(before)) / rows };
}

// What a port without a shared model would do: both value boxes of the page get every item.
bench::Measure naiveBoxes(const QString &path, int rows)
{
    QWidget window;
    auto *layout = new QVBoxLayout(&window);
    QComboBox *boxes[2];
    for (QComboBox *&box : boxes) {
        box = new QComboBox(&window);
        box->setEditable(true);
        box->setInsertPolicy(QComboBox::NoInsert);
        layout->addWidget(box);
    }
    window.resize(400, 120);
    showSettled(&window);

    PaintWatch watch(&window);
    const std::size_t before = memoryInUse();
    QElapsedTimer timer;
    timer.start();
    bench::forEachRow(path, ValueQuery, [&](sqlite3_stmt *stmt) {
        const QString item = QString::fromUtf8(reinterpret_cast<const char *>(sqlite3_column_text(stmt, 0)))
            + QStringLiteral("||")
            + QString::fromUtf8(reinterpret_cast<const char *>(sqlite3_column_text(stmt, 1)));
        for (QComboBox *box : boxes)
            box->addItem(item);
    });
    watch.wait();
    const double ms = double(timer.nsecsElapsed()) / 1e6;
    const std::size_t after = memoryInUse();
    for (QComboBox *box : boxes)
        if (box->count() != rows || box->itemText(0).toStdString() != expectedFirstItem())
            fail("a QComboBox holds " + std::to_string(box->count()) + " items, the first \""
                + box->itemText(0).toStdString() + "\"");
    return { ms, (double(after) - double(before)) / rows };
}

QString filterEntries()
{
    return QStringLiteral(R"(<Filtros>
  <Filtro fltName="nombre" fltType="0" fltFieldtype="0" fltSQL=""/>
  <Filtro fltName="id" fltType="1" fltFieldtype="0" fltSQL="%1"/>
</Filtros>)")
        .arg(QLatin1String(ValueQuery));
}

template <typename T> T *child(QWidget *parent, const char *name)
{
    T *found = parent->findChild<T *>(QLatin1String(name));
    if (!found)
        fail(std::string("the dialog has no ") + name);
    return found;
}

// One fresh dialog per run, so every run starts from the free-value field with an empty list.
bench::Measure filterChoice(const QString &path, int rows)
{
    using Brennvox10::frmdlgFilter;
    frmdlgFilter *dialog = frmdlgFilter::Load();
    Brennvox10::ctlFilter *filter = dialog->ctlFilter1();
    filter->fltConnectionString(QStringLiteral("Provider=SQLite;Data Source="));
    filter->fltDataSource(path);

    Brennvox10::xml::Document doc;
    if (!doc.loadXml(filterEntries()))
        fail("filter entries: " + doc.errorText().toStdString());
    Brennvox10::xml::Node entries = doc.firstChild();

    const int problemsBefore = unattended::problems;
    showSettled(dialog);
    {
        PaintWatch shown(dialog);
        filter->Showme(entries);
        shown.wait();
        QCoreApplication::processEvents();
    }
    auto *fields = child<QComboBox>(dialog, "Filtro1");
    auto *cmb1 = child<QComboBox>(dialog, "cmb1");
    auto *cmb2 = child<QComboBox>(dialog, "cmb2");
    if (fields->count() != 2 || fields->currentIndex() != 0 || cmb1->count() != 0)
        fail("after Showme the dialog is not on the free-value field with an empty list");
    // The user tabs into the field list first; its repaint is not part of the choice.
    fields->setFocus(Qt::TabFocusReason);
    QCoreApplication::processEvents();

    // The choice is a real key press on the closed field list: a non-editable QComboBox moves to
    // the next item and emits activated, as for a user.
    PaintWatch watch(dialog);
    const std::size_t before = memoryInUse();
    QElapsedTimer timer;
    timer.start();
    QKeyEvent press(QEvent::KeyPress, Qt::Key_Down, Qt::NoModifier);
    QCoreApplication::sendEvent(fields, &press);
    watch.wait();
    const double ms = double(timer.nsecsElapsed()) / 1e6;
    const std::size_t after = memoryInUse();
    QKeyEvent release(QEvent::KeyRelease, Qt::Key_Down, Qt::NoModifier);
    QCoreApplication::sendEvent(fields, &release);

    if (fields->currentIndex() != 1)
        fail("the key press did not choose the value-list field");
    for (QComboBox *box : { cmb1, cmb2 })
        if (box->count() != rows || box->itemText(0).toStdString() != expectedFirstItem())
            fail(box->objectName().toStdString() + " holds " + std::to_string(box->count())
                + " items, the first \"" + box->itemText(0).toStdString() + "\"");
    if (cmb1->currentText().toStdString() != expectedFirstItem())
        fail("cmb1 shows \"" + cmb1->currentText().toStdString() + "\"");
    if (unattended::problems != problemsBefore)
        fail("the dialog reported failures or messages");
    frmdlgFilter::Unload();
    return { ms, (double(after) - double(before)) / rows };
}

} // namespace

int main(int argc, char **argv)
{
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);

    const bench::Options opt
        = bench::parseOptions(app, QStringLiteral("10000,100000"), QStringLiteral("abc"));

    unattended::install();

    std::vector<bench::Row> table;
    try {
        for (const int rows : opt.counts) {
            if (rows < 1)
                fail("row counts start at 1");
            const QString db = benchDatabase(opt.folder, rows);
            raw(db, rows); // brings the file into the page cache, untimed
            if (opt.paths.contains(QLatin1Char('a')))
                table.push_back(
                    { "(a) sqlite3 raw", rows, bench::best(opt.reps, [&] { return raw(db, rows); }) });
            if (opt.paths.contains(QLatin1Char('b')))
                table.push_back({ "(b) QComboBox addItem", rows,
                    bench::best(opt.reps, [&] { return naiveBoxes(db, rows); }) });
            if (opt.paths.contains(QLatin1Char('c')))
                table.push_back({ "(c) ctlFilter choice", rows,
                    bench::best(opt.reps, [&] { return filterChoice(db, rows); }) });
        }
    } catch (const std::exception &e) {
        std::fprintf(stderr, "bench_filter: %s\n", e.what());
        return 1;
    }

    bench::printTable(table, "bytes/value", { "(a)" });
    if (unattended::problems)
        std::printf("%d failures or messages were reported during the run\n", unattended::problems);
    return unattended::problems ? 1 : 0;
}

// SPDX-License-Identifier: MIT
// The report list as hosts and users meet it: keyed rows, sub-items, text sorting, hit testing and mouse
// notifications on a real, shown widget, a consistent item model, the memory a big load costs, and
// running out of it; cell texts as the user reads them, under several locales; and the tab strip's one
// promise: Click once per change of the selected tab by the user, always on selectTab, never while the
// strip is filled or emptied, with keyed tabs refused as hosts know.

#include "core/Prefault.h"
#include "listview/PackedRows.h"
#include "support/FailureOf.h"
#include "support/Fixtures.h"
#include "support/Rows.h"

#include <Brennvox10/ListView.h>
#include <Brennvox10/TabStrip.h>

#include <QAbstractItemModelTester>
#include <QAbstractItemView>
#include <QDate>
#include <QHeaderView>
#include <QRandomGenerator>
#include <QSignalSpy>
#include <QTabBar>
#include <QTest>

#include <malloc.h>

#include <functional>
#include <limits>
#include <optional>

using namespace Brennvox10;
using namespace Brennvox10::FailureNumber;

using Style = CellValue::Style;

using Action = std::function<void(ListView &)>;
Q_DECLARE_METATYPE(Action)
Q_DECLARE_METATYPE(Brennvox10::CellValue)

namespace {

// Columns f1…fN, then rows keyed T1, T2… from "text|sub-item 1|…" (an empty sub-item is left unset).
void fill(ListView &list, int columns, const QStringList &rows)
{
    for (int c = 1; c <= columns; ++c)
        list.ColumnHeaders().Add(QStringLiteral("f%1").arg(c), QStringLiteral("Field %1").arg(c), 1500);
    for (int r = 0; r < rows.size(); ++r) {
        const QStringList cells = rows[r].split(QLatin1Char('|'));
        const ListItem item = list.ListItems().Add(QStringLiteral("T%1").arg(r + 1), cells[0]);
        for (int c = 1; c < cells.size(); ++c)
            if (!cells[c].isEmpty())
                item.setSubItems(c, cells[c]);
    }
}

// The rows by position are exactly these "key|text|sub-items", and once the event loop has come round
// the view shows the same texts in the same order, each beside a key that leads back to its row.
void expectRows(ListView &list, const QStringList &expected)
{
    const QStringList stored = rowTexts(list);
    QCOMPARE(stored, expected);
    QCoreApplication::processEvents();
    const QAbstractItemModel *model = list.itemView()->model();
    QStringList shown;
    for (int r = 0; r < model->rowCount(); ++r) {
        const QString key = stored.value(r).section(QLatin1Char('|'), 0, 0);
        shown << (key.isEmpty() || list.ListItems().Item(key).Index() == r + 1 ? key : QStringLiteral("lost"));
        for (int c = 0; c < model->columnCount(); ++c)
            shown.last() += QLatin1Char('|') + model->index(r, c).data().toString();
    }
    QCOMPARE(shown, expected);
}

// Room right of the columns and below the rows; false when the window never came up.
bool shown(ListView &list)
{
    list.resize(400, 300);
    list.show();
    const bool exposed = QTest::qWaitForWindowExposed(&list);
    QCoreApplication::processEvents();
    return exposed;
}

void fill(TabStrip &strip, int count)
{
    for (int i = 1; i <= count; ++i)
        strip.Tabs().Add(QStringLiteral("i%1").arg(i), QStringLiteral("Tab %1").arg(i));
}

// glibc's in-use bytes, big blocks included.
qint64 heapInUse()
{
    const struct mallinfo2 info = mallinfo2();
    return qint64(info.uordblks) + qint64(info.hblkhd);
}

QString keyAt(const ListView &list, QWidget *from, QPoint point)
{
    point = from->mapTo(&list, point);
    const ListItem hit = list.HitTest(float(point.x()) * 15, float(point.y()) * 15);
    return hit ? hit.Key() : QString();
}

} // namespace

class tst_ListView : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void init() { QLocale::setDefault(QLocale(QStringLiteral("es_ES"))); }

    void keysAndCells()
    {
        ListView list;
        fill(list, 4, { "uno||skipped one", "dos|a|b" });
        const ListItem first = list.ListItems().Item(1), second = list.ListItems().Item(2);
        second.setSubItems(1, "a longer replacement"); // the newest row, rewritten
        // An older row changes after newer rows came.
        first.setSubItems(1, "filled later");
        first.setText(CellValue::fromText("UNO"));
        list.ListItems().Add("Tñ3", "tres");
        // Typed cells show their text under the locale.
        const ListItem fourth = list.ListItems().Add(QByteArrayView("T4"), CellValue::fromReal(12345.678));
        fourth.setSubItems(1, CellValue::fromReal(1234.5, CellValue::Style::Money));
        fourth.setSubItems(2, CellValue::fromDate(2454531, 0, false, CellValue::Style::Date)); // 5 March 2008
        fourth.setSubItems(3, CellValue::fromBoolean(false));
        // Rows without a key are reached by position only, and there may be many.
        list.ListItems().Add(QByteArrayView(), CellValue::fromDate(2454531, 52215000, true)); // at 14:30:15
        list.ListItems().Add(QString(), "b");
        QCOMPARE(failureOf([&] { list.ListItems().Item(QString()); }).number(), ElementNotFound);
        QCOMPARE(failureOf([&] { list.ListItems().Add("Tñ3", "again"); }).number(), KeyNotUnique);
        QStringList rows { "T1|UNO|filled later|skipped one|", "T2|dos|a longer replacement|b|",
            "Tñ3|tres|||", "T4|12345,678|1.234,50|05/03/2008|Falso", "|5/3/2008 14:30:15|||", "|b|||" };
        expectRows(list, rows);
        // A shown row's change reaches the view at that very cell.
        QSignalSpy changed(list.itemView()->model(), &QAbstractItemModel::dataChanged);
        second.setSubItems(3, CellValue::fromInteger(3));
        QCOMPARE(changed.value(0).value(0).value<QModelIndex>(), list.itemView()->model()->index(1, 3));

        list.ListItems().Remove("T2");
        rows.removeAt(1);
        expectRows(list, rows);
        list.ListItems().Clear();
        list.ListItems().Add("T1", "new");
        expectRows(list, { "T1|new|||" });
    }

    void failures_data()
    {
        columns<Action, int>("action", "number");
        const auto row = [](const char *name, int n, Action a) { QTest::newRow(name) << a << n; };
        row("keys are case-sensitive", ElementNotFound, [](auto &l) { l.ListItems().Item("t1"); });
        row("position 0", IndexOutOfBounds, [](auto &l) { l.ListItems().Item(0); });
        row("position past the end", IndexOutOfBounds, [](auto &l) { l.ListItems().Item(3); });
        row("remove with another case", ElementNotFound, [](auto &l) { l.ListItems().Remove("t2"); });
        row("sub-item 0", InvalidPropertyValue, [](auto &l) { l.ListItems().Item(1).SubItems(0); });
        row("sub-item 3", InvalidPropertyValue, [](auto &l) { l.ListItems().Item(1).SubItems(3); });
        row("set sub-item 3", InvalidPropertyValue,
            [](auto &l) { l.ListItems().Item(1).setSubItems(3, ""); });
        row("null item", ObjectNotSet, [](auto &) { ListItem().Text(); });
        row("duplicate column key", KeyNotUnique, [](auto &l) { l.ColumnHeaders().Add("f1", "again", 100); });
        row("alignment 3", InvalidPropertyValue, [](auto &l) { l.ColumnHeaders().Add("f9", "", 1, 3); });
        row("width -1", InvalidPropertyValue, [](auto &l) { l.ColumnHeaders().Add("f9", "", -1); });
        row("missing column key", ElementNotFound, [](auto &l) { l.ColumnHeaders().Item("f9"); });
        row("column 0", IndexOutOfBounds, [](auto &l) { l.ColumnHeaders().Item(0); });
        row("sort order 2", InvalidPropertyValue, [](auto &l) { l.setSortOrder(2); });
        row("negative sort key", InvalidPropertyValue, [](auto &l) { l.setSortKey(-1); });
        // A handle kept across a removal or a clear names no row, also once new rows took its id and key.
        const auto stale = [](bool clear, std::function<void(const ListItem &)> use) {
            return [=](ListView &l) {
                const ListItem old = l.ListItems().Item(2);
                clear ? l.ListItems().Clear() : l.ListItems().Remove("T2");
                clear ? fill(l, 0, { "uno|1", "dos" }) : void(l.ListItems().Add("T2", "dos"));
                use(old);
            };
        };
        row("removed: key", ElementNotFound, stale(false, [](auto &i) { i.Key(); }));
        row("removed: text", ElementNotFound, stale(false, [](auto &i) { i.Text(); }));
        row("cleared: text", ElementNotFound, stale(true, [](auto &i) { i.Text(); }));
        row("cleared: position", ElementNotFound, stale(true, [](auto &i) { i.Index(); }));
        row("cleared: sub-item", ElementNotFound, stale(true, [](auto &i) { i.SubItems(1); }));
        row("cleared: set text", ElementNotFound, stale(true, [](auto &i) { i.setText({}); }));
        row("cleared: set sub-item", ElementNotFound, stale(true, [](auto &i) { i.setSubItems(1, ""); }));
        static const QByteArray big(2 * 1024 * 1024, 'b');
        // A view past what a row can hold; its bytes are never read.
        const CellValue huge = CellValue::fromText(QByteArrayView(big.constData(), (qsizetype(1) << 32) + 16));
        const CellValue bigCell = CellValue::fromText(big);
        // The next block of a megabyte or more is refused.
        const auto starved = [](Action a) {
            return Action([a](ListView &l) {
                failNextBlockOf = 1024 * 1024;
                a(l);
            });
        };
        const auto oom = [&](const char *name, Action a) { row(name, OutOfMemory, a); };
        oom("new row", starved([=](auto &l) { l.ListItems().Add(QByteArrayView("T3"), bigCell); }));
        oom("newest row grows", starved([=](auto &l) { l.ListItems().Item(2).setSubItems(1, bigCell); }));
        oom("older row rewritten", starved([=](auto &l) { l.ListItems().Item(1).setSubItems(1, bigCell); }));
        oom("new row past 4 GiB", [=](auto &l) { l.ListItems().Add(QByteArrayView("T3"), huge); });
        oom("newest row past 4 GiB", [=](auto &l) { l.ListItems().Item(2).setSubItems(1, huge); });
        oom("older row past 4 GiB", [=](auto &l) { l.ListItems().Item(1).setText(huge); });
    }
    void failures()
    {
        QFETCH(Action, action);
        ListView list;
        fill(list, 3, { "uno|1", "dos" });
        const int number = failureOf([&] { action(list); }).number();
        failNextBlockOf = 0;
        QTEST(number, "number");
        // A refused call leaves rows and columns as they were, and the list goes on working.
        expectRows(list, { "T1|uno|1|", "T2|dos||" });
        const QByteArray big(3 * 1024 * 1024, 'c');
        list.ListItems().Add("T3", "tres").setSubItems(1, CellValue::fromText(big));
        QCOMPARE(list.ListItems().Item("T3").SubItems(1).size(), big.size());
        list.ListItems().Clear();
        fill(list, 0, { "new" });
        expectRows(list, { "T1|new||" });
    }

    void sortOrder_data()
    {
        // Rows "text|amount" keyed T1…T4, then T5 "delta|300,00" added once sorted; the order as row numbers.
        columns<QStringList, int, int, QString>("rows", "sortKey", "sortOrder", "order");
        const QStringList rows { "beta|200,00", "Alpha|1.000,00", "gamma|35,50", "alpha2|200,00" };
        QTest::newRow("amounts sort as text, ties keep their order") << rows << 1 << 0 << "21453";
        QTest::newRow("amounts descending, ties keep their order") << rows << 1 << 1 << "35142";
        QTest::newRow("case ignored, ties keep their order")
            << QStringList { "e|", "E|", "a|", "A|" } << 0 << 0 << "34512";
        QTest::newRow("sort key beyond the columns keeps the order") << rows << 5 << 0 << "12345";
    }
    void sortOrder()
    {
        auto [rows, sortKey, sortOrder, order]
            = fetch<QStringList, int, int, QString>("rows", "sortKey", "sortOrder", "order");
        ListView list;
        fill(list, 2, rows);
        list.setSorted(true);
        list.setSortOrder(qint16(sortOrder));
        list.setSortKey(qint16(sortKey));
        QCoreApplication::processEvents();
        // A row added to a sorted list takes its place at once.
        list.ListItems().Add("T5", "delta").setSubItems(1, "300,00");
        rows << "delta|300,00";
        QStringList expected;
        for (const QChar n : order)
            expected << QStringLiteral("T%1|").arg(n) + rows[n.digitValue() - 1];
        expectRows(list, expected);
        // Unsorting keeps the order; later rows go last.
        list.setSorted(false);
        list.ListItems().Add("T6", "0");
        expectRows(list, expected << "T6|0|");
    }

    void sortedUpkeepMatchesFullSort()
    {
        // Random adds, cell changes, removals and sort changes, flushed by the event loop at random. New
        // rows are placed when the list next shows or reads its order, each after the rows that sort
        // equal to it; a changed row keeps its side of the rows equal to it: the rows always stand where a
        // stable sort of the whole list puts them.
        ListView list;
        fill(list, 2, {});
        QAbstractItemModelTester tester(list.itemView()->model(), QAbstractItemModelTester::FailureReportingMode::QtTest);
        const QStringList words { "a", "A", "ab", "Ab", "b", "", "é", "É", "e", "ä", "z", "Straße", "STRASSE",
            QString::fromUtf8("\xF0\x9F\x98\x80"), "a\xC3\xA9", "10", "9", "1.000,00" };
        struct Row { QString key, cells[2]; };
        std::vector<Row> rows, pending; // placed in the expected order; added since
        bool sorted = false;
        int sortKey = 0, sortOrder = 0;
        const auto placePending = [&] {
            rows.insert(rows.end(), pending.begin(), pending.end());
            pending.clear();
            if (sorted)
                std::stable_sort(rows.begin(), rows.end(), [&](const Row &x, const Row &y) {
                    const QString a = x.cells[sortKey].toCaseFolded(), b = y.cells[sortKey].toCaseFolded();
                    return sortOrder ? b.compare(a) < 0 : a.compare(b) < 0;
                });
        };
        QRandomGenerator random(20261123);
        const auto word = [&] {
            return words[int(random.bounded(words.size()))] + words[int(random.bounded(words.size()))];
        };
        int nextKey = 0;
        for (int batch = 0; batch < 300; ++batch) {
            for (int n = int(random.bounded(batch % 10 == 0 ? 60 : 4)); n >= 0; --n) {
                const quint32 what = random.bounded(100);
                const size_t total = rows.size() + pending.size();
                const size_t at = random.bounded(quint32(std::max<size_t>(total, 1)));
                Row *row = at < rows.size() ? &rows[at] : at - rows.size() < pending.size() ? &pending[at - rows.size()] : nullptr;
                if (what < 40 || total < 5) {
                    pending.push_back({ QStringLiteral("K%1").arg(++nextKey), { word(), word() } });
                    const Row &added = pending.back();
                    list.ListItems().Add(added.key, added.cells[0]).setSubItems(1, added.cells[1]);
                } else if (what < 75) {
                    const int c = int(random.bounded(2));
                    const QString text = word();
                    const ListItem item = list.ListItems().Item(row->key);
                    c ? item.setSubItems(1, text) : item.setText(CellValue::fromString(text));
                    if (at < rows.size() && sorted && c == sortKey) {
                        const QString key = row->key;
                        placePending(); // the list places its new rows before it moves this one
                        std::find_if(rows.begin(), rows.end(), [&](const Row &r) { return r.key == key; })->cells[c] = text;
                        placePending();
                    } else {
                        row->cells[c] = text;
                    }
                } else if (what < 97) {
                    list.ListItems().Remove(row->key);
                    at < rows.size() ? void(rows.erase(rows.begin() + ptrdiff_t(at)))
                                     : void(pending.erase(pending.begin() + ptrdiff_t(at - rows.size())));
                } else {
                    list.setSorted(sorted = random.bounded(4) != 0);
                    list.setSortKey(qint16(sortKey = int(random.bounded(2))));
                    list.setSortOrder(qint16(sortOrder = int(random.bounded(2))));
                }
            }
            if (random.bounded(3) == 0)
                continue; // the next batch piles onto this one
            QCoreApplication::processEvents();
            placePending();
            QStringList expected, actual;
            for (size_t i = 0; i < rows.size(); ++i) {
                expected << rows[i].key;
                actual << list.ListItems().Item(int(i) + 1).Key();
            }
            QCOMPARE(actual, expected);
        }
        QStringList expected;
        for (const Row &row : rows)
            expected << row.key + QLatin1Char('|') + row.cells[0] + QLatin1Char('|') + row.cells[1];
        expectRows(list, expected);
    }

    void storeAndModelStayConsistent()
    {
        ListView list;
        QAbstractItemView *tree = list.itemView();
        const auto reporting = QAbstractItemModelTester::FailureReportingMode::QtTest;
        std::optional<QAbstractItemModelTester> tester(std::in_place, tree->model(), reporting);
        QSignalSpy inserted(tree->model(), &QAbstractItemModel::rowsInserted);
        QVERIFY(shown(list));
        QStringList rows;
        for (int i = 1; i <= 900; ++i)
            rows << QStringLiteral("n%1|%2|c2|c3|c4|c5|c6|c7").arg(i % 37).arg(i);
        fill(list, 8, rows);
        // A bulk load is announced once, when the event loop comes round.
        QCoreApplication::processEvents();
        QCOMPARE(inserted, (QList<QVariantList> { { QVariant::fromValue(QModelIndex()), 0, 899 } }));
        // Every third row removed, then enough rewrites of old rows that the store has to reclaim the space
        // they left.
        QStringList expected; // by position
        for (int i = 1; i <= 900; ++i)
            i % 3 == 1 ? list.ListItems().Remove(QStringLiteral("T%1").arg(i))
                       : void(expected << QStringLiteral("T%1|").arg(i) + rows[i - 1]);
        const auto keyOf = [&](int p) { return expected[p].section(QLatin1Char('|'), 0, 0); };
        tester.reset(); // it checks the whole model on every change: far too slow for this many
        QRandomGenerator random(7);
        const QString padding(150, QLatin1Char('x'));
        for (int n = 0; n < 20000; ++n) {
            const int p = int(random.bounded(expected.size())), j = int(random.bounded(8));
            const QString text = QStringLiteral("u%1.%2.").arg(n).arg(j) + padding.left(int(random.bounded(150)));
            const ListItem item = list.ListItems().Item(keyOf(p));
            j ? item.setSubItems(j, text) : item.setText(CellValue::fromString(text));
            QStringList cells = expected[p].split(QLatin1Char('|'));
            cells[j + 1] = text;
            expected[p] = cells.join(QLatin1Char('|'));
            if (n % 1000 == 999) { // the row leaves and comes back last, with its text only
                list.ListItems().Remove(cells[0]);
                list.ListItems().Add(cells[0], "back");
                expected.removeAt(p);
                expected << cells[0] + QStringLiteral("|back|||||||");
            }
        }
        tester.emplace(tree->model(), reporting);
        expectRows(list, expected);
        QCOMPARE(failureOf([&] { list.ListItems().Item("T1"); }).number(), ElementNotFound);
        // The current row follows its row through a sort; a changed text in the sort column moves its row.
        tree->setCurrentIndex(tree->model()->index(10, 0));
        list.setSorted(true);
        QCoreApplication::processEvents();
        QCOMPARE(list.ListItems().Item(tree->currentIndex().row() + 1).Key(), keyOf(10));
        list.ListItems().Item(keyOf(30)).setText(CellValue::fromText("0"));
        QCOMPARE(list.ListItems().Item(1).Key(), keyOf(30));
        list.ListItems().Remove(keyOf(20));
        list.ListItems().Add("late", "zzz");
        list.ListItems().Remove("late"); // gone before it was ever shown
        list.ColumnHeaders().Clear();
        fill(list, 2, {});
        QCoreApplication::processEvents();
        QCOMPARE(tree->model()->rowCount(), expected.size() - 1);
        list.ListItems().Clear(); // a reset the tester checks too
    }

    // Rows packed whole against the same rows added cell by cell, over loads that reuse the memory
    // of the rows before them: fewer, more, and wider than those.
    void packedRowsAndReloads_data()
    {
        columns<QList<int>>("loads"); // rows in each load; a negative count makes rows 200 bytes wider
        QTest::newRow("one load") << QList<int> { 3000 };
        QTest::newRow("fewer, then more") << QList<int> { 5000, 40, 9000 };
        QTest::newRow("wider rows") << QList<int> { 4000, -4000, 10 };
        QTest::newRow("empty between") << QList<int> { 2000, 0, 2000 };
    }
    void packedRowsAndReloads()
    {
        QFETCH(QList<int>, loads);
        ListView packed, plain;
        for (ListView *list : { &packed, &plain })
            fill(*list, 3, {});
        std::vector<char> bytes;
        for (int load = 0; load < loads.size(); ++load) {
            const int count = std::abs(loads[load]);
            const QByteArray pad(loads[load] < 0 ? 200 : 0, 'w');
            clearForLoad(packed.ListItems());
            plain.ListItems().Clear();
            for (int i = 0; i < count + (count > 0); ++i) {
                // The last row repeats a key: refused whole, and nothing of it kept.
                const QByteArray key = "T" + QByteArray::number(i < count ? i : 0);
                const QByteArray text = "r" + QByteArray::number(load) + "." + QByteArray::number(i) + pad;
                const CellValue cells[] = { CellValue::fromText(text), CellValue::fromInteger(i - 7),
                    CellValue::fromDate(2460000 + i, 0, false, CellValue::Style::Date) };
                bytes.clear();
                packRow(key, cells, 3, bytes);
                const bool added = bool(addPackedRow(packed.ListItems(), QByteArrayView(bytes.data(), qsizetype(bytes.size()))));
                QCOMPARE(added, i < count);
                if (i < count) {
                    const ListItem item = plain.ListItems().Add(key, cells[0]);
                    item.setSubItems(1, cells[1]);
                    item.setSubItems(2, cells[2]);
                }
            }
            loadDone(packed.ListItems());
            // Rows loaded whole take later edits as any other.
            if (count > 10) {
                for (ListView *list : { &packed, &plain }) {
                    list->ListItems().Item(QStringLiteral("T5")).setSubItems(1, QStringLiteral("grown ") + QString(300, 'g'));
                    list->ListItems().Remove(QStringLiteral("T3"));
                    list->ListItems().Add(QStringLiteral("T3"), QStringLiteral("back"));
                }
            }
            QCOMPARE(rowTexts(packed), rowTexts(plain));
            QCOMPARE(packed.ListItems().Count(), count);
        }
    }

    void columnsAndHeader()
    {
        ListView list;
        ColumnHeaders &headers = list.ColumnHeaders();
        ColumnHeader *name = headers.Add("Nombre", "Nombre", 1234.5f);
        ColumnHeader *amount = headers.Add("Importe", "Importe", 1500, 1);
        headers.Add("Id", "Id", 0, 2);
        fill(list, 0, { "x|z", "y", "w|a" });
        QVERIFY(shown(list));
        // Widths become pixels at 15 twips each; cells and headings take the column's alignment.
        QAbstractItemView *tree = list.itemView();
        QHeaderView *header = list.header();
        const auto align = [](const QVariant &v) { return v.toInt() & Qt::AlignHorizontal_Mask; };
        // For each column its pixels, then the alignment of a cell and of the heading (Qt::AlignLeft 1,
        // AlignRight 2, AlignHCenter 4).
        QList<int> seen;
        for (int c = 0; c < 3; ++c)
            seen << header->sectionSize(c) << align(tree->model()->index(0, c).data(Qt::TextAlignmentRole))
                 << align(tree->model()->headerData(c, Qt::Horizontal, Qt::TextAlignmentRole));
        QCOMPARE(seen, (QList<int> { 82, 1, 1, 100, 2, 2, 0, 4, 4 }));
        // Right of the last column still finds the row; the heading and the outside find none.
        QWidget *viewport = tree->viewport();
        QVERIFY(header->length() < viewport->width() - 3);
        const int lastY = tree->visualRect(tree->model()->index(2, 0)).center().y();
        QCOMPARE(keyAt(list, viewport, QPoint(viewport->width() - 3, lastY)), "T3");
        QCOMPARE(keyAt(list, header, QPoint(10, header->height() / 2)), QString());
        QCOMPARE(keyAt(list, viewport, QPoint(viewport->width() + 20, lastY)), QString());
        // A click on a heading reports its column and leaves the order alone.
        QSignalSpy columnClicks(&list, &ListView::ColumnClick);
        QTest::mouseClick(header->viewport(), Qt::LeftButton, {}, { header->sectionPosition(1) + 50, 10 });
        QCOMPARE(columnClicks, (QList<QVariantList> { { QVariant::fromValue(headers.Item(2)) } }));
        QCOMPARE(headers.Item("Importe"), amount);
        QCOMPARE(tree->model()->headerData(1, Qt::Horizontal).toString(), "Importe");
        expectRows(list, { "T1|x|z|", "T2|y||", "T3|w|a|" });
        // A width the user drags is reported in twips; the others keep theirs exactly.
        header->resizeSection(1, 150);
        QCOMPARE(amount->Width(), 2250.0f);
        QCOMPARE(name->Width(), 1234.5f);
    }

    void keyboardScrollsToTheCurrentRow()
    {
        ListView list;
        QStringList rows;
        for (int i = 1; i <= 500; ++i)
            rows << QString::number(i);
        fill(list, 1, rows);
        QVERIFY(shown(list));
        QAbstractItemView *view = list.itemView();
        view->setFocus();
        QWidget *viewport = view->viewport();
        const int page = viewport->height() / view->visualRect(view->model()->index(0, 0)).height();
        QStringList seen;
        for (const int key : { Qt::Key_Down, Qt::Key_Down, Qt::Key_End, Qt::Key_PageUp, Qt::Key_Home }) {
            QTest::keyClick(view, Qt::Key(key));
            const QRect at = view->visualRect(view->currentIndex());
            seen << list.ListItems().Item(view->currentIndex().row() + 1).Key()
                    + (viewport->rect().contains(at) ? "" : " hidden");
            QCOMPARE(keyAt(list, viewport, at.center()), seen.last().section(' ', 0, 0));
        }
        // Focus made the first row current.
        QCOMPARE(seen, (QStringList { "T2", "T3", "T500", QStringLiteral("T%1").arg(500 - page), "T1" }));
    }

    void mouse_data()
    {
        // The row (-1: the empty space below the rows), then as notices: ItemClick notices, the Button and
        // Shift codes MouseUp reports, then the DblClick notices a double click at the same place gives.
        columns<int, Qt::MouseButton, Qt::KeyboardModifiers, QList<int>>(
            "row", "button", "modifiers", "notices");
        const Qt::KeyboardModifiers none, shiftCtrl(Qt::ShiftModifier | Qt::ControlModifier),
            ctrlAlt(Qt::ControlModifier | Qt::AltModifier);
        QTest::newRow("left on a row") << 2 << Qt::LeftButton << none << QList<int> { 1, 1, 0, 1 };
        QTest::newRow("right on a row") << 2 << Qt::RightButton << none << QList<int> { 0, 2, 0, 0 };
        QTest::newRow("middle on a row") << 0 << Qt::MiddleButton << none << QList<int> { 0, 4, 0, 0 };
        QTest::newRow("shift control left") << 1 << Qt::LeftButton << shiftCtrl << QList<int> { 1, 1, 3, 1 };
        QTest::newRow("control alt left") << 3 << Qt::LeftButton << ctrlAlt << QList<int> { 1, 1, 6, 1 };
        QTest::newRow("left on empty space") << -1 << Qt::LeftButton << none << QList<int> { 0, 1, 0, 1 };
    }
    void mouse()
    {
        const auto [row, button, modifiers]
            = fetch<int, Qt::MouseButton, Qt::KeyboardModifiers>("row", "button", "modifiers");
        ListView list;
        fill(list, 2, QStringList(5, "row"));
        QVERIFY(shown(list));
        QAbstractItemView *tree = list.itemView();
        QWidget *viewport = tree->viewport();
        const QPoint at = row >= 0 ? tree->visualRect(tree->model()->index(row, 1)).center()
                                   : QPoint(20, viewport->height() - 5);
        QSignalSpy clicks(&list, &ListView::ItemClick), ups(&list, &ListView::MouseUp),
            doubles(&list, &ListView::DblClick);
        QTest::mouseClick(viewport, button, modifiers, at);

        const QString key = row >= 0 ? QStringLiteral("T%1").arg(row + 1) : QString();
        if (!clicks.isEmpty())
            QCOMPARE(clicks.at(0).at(0).value<ListItem>().Key(), key);
        QCOMPARE(ups.size(), 1);
        const QList<QVariant> up = ups.at(0);
        QCOMPARE(QPointF(up.at(2).toFloat(), up.at(3).toFloat()), QPointF(viewport->mapTo(&list, at) * 15));
        QCOMPARE(keyAt(list, viewport, at), key); // the reported point finds the same row again
        const qsizetype itemClicks = clicks.size();
        QTest::mouseDClick(viewport, button, modifiers, at);
        QTEST((QList<int> { int(itemClicks), up.at(0).toInt(), up.at(1).toInt(), int(doubles.size()) }),
            "notices");
    }

    void memoryCost()
    {
#ifdef __SANITIZE_ADDRESS__ // GCC and Clang both say so
        QSKIP("AddressSanitizer keeps its own heap, which mallinfo2 does not see: nothing to measure");
#endif
        const int rows = 200000;
        const qint64 before = heapInUse();
        {
            ListView list;
            fill(list, 8, {});
            QVERIFY(shown(list));
            const qint64 empty = heapInUse();
            // Rows like a list of invoices: about 80 bytes of text in eight cells.
            for (int i = 0; i < rows; ++i) {
                const QByteArray n = QByteArray::number(i), key = "T" + QByteArray::number(100000 + i);
                const QByteArray street = "Calle Mayor " + QByteArray::number(i % 977) + ", Madrid";
                const ListItem item
                    = list.ListItems().Add(key, CellValue::fromText("Cliente de prueba " + n + " S.L."));
                item.setSubItems(1, CellValue::fromText(street));
                item.setSubItems(2, CellValue::fromDate(2460000 + i % 700, 0, false, CellValue::Style::Date));
                item.setSubItems(3, CellValue::fromReal(i * 1.25, CellValue::Style::Money));
                item.setSubItems(4, CellValue::fromInteger(i));
                item.setSubItems(5, CellValue::fromText("Pendiente de cobro"));
                item.setSubItems(6, CellValue::fromBoolean(i % 2));
                item.setSubItems(7, CellValue::fromText(key));
            }
            // The view lays out every row it knows: that belongs to the cost as well.
            QCoreApplication::processEvents();
            list.itemView()->indexAt(QPoint(5, 5));
            QCOMPARE(list.itemView()->model()->rowCount(), rows);
            const double perRow = double(heapInUse() - empty) / rows;
            QVERIFY2(perRow < 300, qPrintable(QString::number(perRow)));
            QCOMPARE(list.ListItems().Item("T104321").SubItems(3), "5.401,25");
        }
        // Everything goes back when the list goes.
        QVERIFY2(heapInUse() < before + 1024 * 1024, qPrintable(QString::number(heapInUse() - before)));
        // One row of 40 cells of 256 KB: it outgrows its chunk again and again, and must leave no copies.
        ListView list;
        list.ColumnHeaders().Add("id", "id", 100);
        fill(list, 40, {});
        const QByteArray text(256 * 1024, 'x');
        const qint64 start = heapInUse();
        const ListItem item = list.ListItems().Add("K", "row");
        qint64 peak = 0;
        for (int c = 1; c <= 40; ++c) {
            item.setSubItems(c, CellValue::fromText(text));
            peak = std::max(peak, heapInUse() - start);
        }
        const qint64 payload = 40 * text.size();
        QVERIFY2(peak < 3 * payload, qPrintable(QStringLiteral("%1 for %2").arg(peak).arg(payload)));
        QCOMPARE(item.SubItems(40).size(), text.size());
    }

    void longTextIsCutWhereShown_data()
    {
        columns<QString, QString>("text", "cut");
        const QString ellipsis(QChar(0x2026)), y(4096, QLatin1Char('y')), emoji = QString::fromUtf8("\xF0\x9F\x98\x80");
        QTest::newRow("all a cell shows") << y << y;
        QTest::newRow("one more") << y + "z" << y + ellipsis;
        QTest::newRow("100,000 characters") << QString(100000, QLatin1Char('w')) << QString(4096, QLatin1Char('w')) + ellipsis;
        QTest::newRow("two-byte UTF-8") << QString(50000, QChar(0xe9)) << QString(4096, QChar(0xe9)) + ellipsis;
        // A pair of surrogates is never cut.
        QTest::newRow("pairs across the end") << "a" + emoji.repeated(30000) << "a" + emoji.repeated(2047) + ellipsis;
    }
    void longTextIsCutWhereShown()
    {
        QFETCH(QString, text);
        ListView list;
        fill(list, 2, { "uno|" + text });
        QVERIFY(shown(list));
        QTEST(list.itemView()->model()->index(0, 1).data().toString(), "cut");
        QCOMPARE(list.ListItems().Item(1).SubItems(1), text);
        list.itemView()->viewport()->repaint();
    }

    void cellTexts_data()
    {
        columns<QString, CellValue, QString>("locale", "cell", "expected");
        const auto money = [](double v) { return CellValue::fromReal(v, Style::Money); };
        const auto moneyInteger = [](qint64 v) { return CellValue::fromInteger(v, Style::Money); };
        // 5 March 2008, at 14:30:15 when it has a time.
        const auto march5 = [](bool hasTime, Style style) {
            return CellValue::fromDate(QDate(2008, 3, 5).toJulianDay(), hasTime ? 52215000 : 0, hasTime, style);
        };
        // Name, cell, text under es_ES, text under en_US.
        // clang-format off
        const std::tuple<const char *, CellValue, const char *, const char *> rows[] = {
            // "#,##0.00": always grouped, two decimals, rounded half away from zero as written.
            { "money four digits", money(1234.5), "1.234,50", "1,234.50" },
            { "money millions, third decimal 4", money(1234567.894), "1.234.567,89", "1,234,567.89" },
            { "money negative", money(-1234.565), "-1.234,57", "-1,234.57" },
            { "money 1.005 as written", money(1.005), "1,01", "1.01" },
            { "money carry into grouping", money(999.995), "1.000,00", "1,000.00" },
            { "money negative rounding to zero", money(-0.001), "0,00", "0.00" },
            { "money three digits", money(999), "999,00", "999.00" },
            { "money negative integer", moneyInteger(-1234567), "-1.234.567,00", "-1,234,567.00" },
            { "money largest integer", moneyInteger(std::numeric_limits<qint64>::max()),
                "9.223.372.036.854.775.807,00", "9,223,372,036,854,775,807.00" },
            { "money style on text", CellValue::fromText("12.5", Style::Money), "12.5", "12.5" },
            { "money style on boolean", { .kind = CellValue::Kind::Boolean, .style = Style::Money, .integer = 1 },
                "Verdadero", "True" },
            // A default date: the locale's short date with a four-digit year.
            { "money style on a date", march5(false, Style::Money), "5/3/2008", "3/5/2008" },
            // Plain numbers: no grouping, every digit the value needs.
            { "integer", CellValue::fromInteger(1234567), "1234567", "1234567" },
            { "negative integer", CellValue::fromInteger(-42), "-42", "-42" },
            { "real", CellValue::fromReal(12345.678), "12345,678", "12345.678" },
            { "negative fraction", CellValue::fromReal(-0.1), "-0,1", "-0.1" },
            { "whole real", CellValue::fromReal(1e6), "1000000", "1000000" },
            { "huge real", CellValue::fromReal(1e20), "1E+20", "1E+20" },
            { "zero real", CellValue::fromReal(0), "0", "0" },
            { "date style on integer", CellValue::fromInteger(39512, Style::Date), "39512", "39512" },
            // Dates.
            { "date pattern drops the time", march5(true, Style::Date), "05/03/2008", "05/03/2008" },
            { "date pattern early year", CellValue::fromDate(QDate(812, 12, 25).toJulianDay(), 0, false, Style::Date),
                "25/12/0812", "25/12/0812" },
            { "default date and time", march5(true, Style::Default), "5/3/2008 14:30:15", "3/5/2008 14:30:15" },
            { "default date at midnight with time", CellValue::fromDate(QDate(2024, 12, 31).toJulianDay(), 0, true),
                "31/12/2024 00:00:00", "12/31/2024 00:00:00" },
            // Booleans and text.
            { "true", CellValue::fromBoolean(true), "Verdadero", "True" },
            { "false", CellValue::fromBoolean(false), "Falso", "False" },
            { "utf-8 text", CellValue::fromText("Año próximo"), "Año próximo", "Año próximo" },
            { "empty", CellValue(), "", "" },
        };
        // clang-format on
        for (const auto &[name, cell, spanish, english] : rows) {
            QTest::addRow("es_ES %s", name) << QStringLiteral("es_ES") << cell << QString::fromUtf8(spanish);
            QTest::addRow("en_US %s", name) << QStringLiteral("en_US") << cell << QString::fromUtf8(english);
        }
        // The pattern's separator is the locale's own date separator.
        QTest::addRow("de_DE date pattern") << "de_DE" << march5(false, Style::Date) << "05.03.2008";
        QTest::addRow("es_MX boolean") << "es_MX" << CellValue::fromBoolean(true) << "Verdadero";
        // Without a locale the default one decides. A value made from a QString keeps its own bytes
        // through copies, after its source and the original are gone.
        CellValue original = CellValue::fromString(QStringLiteral("Señal %1").arg(42)), copy = original;
        original = CellValue::fromString(QStringLiteral("otro texto más largo que el primero"));
        for (const auto &[name, amount] : { std::pair { "es_ES", "1.234,50" }, std::pair { "en_US", "1,234.50" } }) {
            QTest::addRow("default %s money", name) << name << money(1234.5) << amount;
            QTest::addRow("default %s owned text", name) << name << copy << "Señal 42";
        }
    }
    void cellTexts()
    {
        const auto [locale, cell] = fetch<QString, CellValue>("locale", "cell");
        const bool byDefault = QByteArrayView(QTest::currentDataTag()).startsWith("default ");
        if (byDefault)
            QLocale::setDefault(QLocale(locale));
        QTEST(byDefault ? cellText(cell) : cellText(cell, QLocale(locale)), "expected");
    }

    void tabStripSteps_data()
    {
        // The strip gets tabs i1…i3 while shown. Steps: "c<n>" clicks tab n, "r"/"l" press an arrow key,
        // "s<n>" calls selectTab(n), "x" clears and refills the strip, "e" adds a tab without a key.
        // Steps that must fail: "o<n>" selectTab(n), "p<n>" Item(n), "k<key>" Item(key), "a<key>" Add(key).
        // Seen: the selected tab as each Click handler sees it.
        columns<QString, QString, int, int>("steps", "seen", "selected", "count");
        // clang-format off
        QTest::newRow("clicks on the selected tab are no change") << "c1 c2 c3 c3 c1" << "2 3 1" << 1 << 3;
        QTest::newRow("keyboard, also past the last tab") << "r r r l" << "2 3 2" << 2 << 3;
        QTest::newRow("selectTab notifies, also on the selected tab") << "s2 s2 o4 o0 c2 c3" << "2 2 3" << 3 << 3;
        QTest::newRow("clear and refill are silent") << "s3 x c2" << "3 2" << 2 << 3;
        QTest::newRow("lookups and a repeated key") << "p0 p4 ki9 ai2" << "" << 1 << 3;
        QTest::newRow("empty keys repeat and name no tab") << "e e k" << "" << 1 << 5;
        // clang-format on
    }
    void tabStripSteps()
    {
        QFETCH(QString, steps);
        TabStrip strip;
        strip.resize(500, 40);
        strip.show();
        QVERIFY(QTest::qWaitForWindowExposed(&strip));
        const auto selectedIndex = [&] { return strip.SelectedItem() ? strip.SelectedItem()->Index() : 0; };
        QStringList seen;
        connect(&strip, &TabStrip::Click, this, [&] { seen << QString::number(selectedIndex()); });
        fill(strip, 3);
        for (const QString &step : steps.split(QLatin1Char(' '))) {
            const int n = step.mid(1).toInt();
            if (step[0] == u'c')
                QTest::mouseClick(strip.tabBar(), Qt::LeftButton, {}, strip.tabBar()->tabRect(n - 1).center());
            else if (step[0] == u's')
                strip.selectTab(n);
            else if (step[0] == u'o')
                QCOMPARE(failureOf([&] { strip.selectTab(n); }).number(), IndexOutOfBounds);
            else if (step[0] == u'p')
                QCOMPARE(failureOf([&] { strip.Tabs().Item(n); }).number(), IndexOutOfBounds);
            else if (step[0] == u'k')
                QCOMPARE(failureOf([&] { strip.Tabs().Item(step.mid(1)); }).number(), ElementNotFound);
            else if (step[0] == u'a')
                QCOMPARE(failureOf([&] { strip.Tabs().Add(step.mid(1), "again"); }).number(), KeyNotUnique);
            else if (step[0] == u'e')
                QCOMPARE(failureOf([&] { strip.Tabs().Add(QString(), "no key"); }).number(), 0);
            else if (step[0] == u'x') {
                strip.Tabs().Clear();
                QCOMPARE(selectedIndex(), 0);
                fill(strip, 3);
            } else
                QTest::keyClick(strip.tabBar(), step[0] == u'r' ? Qt::Key_Right : Qt::Key_Left);
        }
        QCoreApplication::processEvents();
        QTEST(seen.join(QLatin1Char(' ')), "seen");
        QTEST(selectedIndex(), "selected");
        QTEST(strip.Tabs().Count(), "count");
        QTEST(strip.tabBar()->count(), "count");
        // The tab that has the key stays as it was, found by key and by position.
        QCOMPARE(strip.Tabs().Item("i2"), strip.Tabs().Item(2));
        QCOMPARE(strip.Tabs().Item(2)->Caption(), "Tab 2");
        QCOMPARE(strip.tabBar()->tabText(1), "Tab 2");
    }
};

QTEST_MAIN(tst_ListView)
#include "tst_listview.moc"

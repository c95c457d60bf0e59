// The report list as hosts and users meet it: keyed rows, sub-items, text sorting, hit testing and mouse
// notifications on a real, shown widget, a consistent item model, and the memory a big load costs.

#include "support/FailureOf.h"
#include "support/Fixtures.h"

#include <Brennvox10/ListView.h>

#include <QAbstractItemModelTester>
#include <QHeaderView>
#include <QRandomGenerator>
#include <QSignalSpy>
#include <QTest>
#include <QTreeView>

#include <malloc.h>

#include <functional>
#include <optional>

// GCC says so with a macro, Clang through __has_feature.
#if defined(__SANITIZE_ADDRESS__)
#define UNDER_ASAN
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define UNDER_ASAN
#endif
#endif

using namespace Brennvox10;

using Action = std::function<void(ListView &)>;
Q_DECLARE_METATYPE(Action)

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

// The rows by position are exactly these "key|text|sub-items", every key leads back to its row, and once
// the event loop has come round the view shows the same texts in the same order.
void expectRows(ListView &list, const QStringList &expected)
{
    QStringList stored = rowTexts(list), shown;
    for (int i = 1; i <= list.ListItems().Count(); ++i) {
        const QString key = list.ListItems().Item(i).Key();
        if (!key.isEmpty() && list.ListItems().Item(key).Index() != i)
            stored[i - 1] += QStringLiteral(" (lost)");
    }
    QCOMPARE(stored, expected);
    QCoreApplication::processEvents();
    const QAbstractItemModel *model = list.treeView()->model();
    for (int r = 0; r < model->rowCount(); ++r) {
        QStringList cells { expected.value(r).section(QLatin1Char('|'), 0, 0) }; // keys are not shown
        for (int c = 0; c < model->columnCount(); ++c)
            cells << model->index(r, c).data().toString();
        shown << cells.join(QLatin1Char('|'));
    }
    QCOMPARE(shown, expected);
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
    void keysAndCells();
    void failures_data();
    void failures();
    void sortOrder_data();
    void sortOrder();
    void storeAndModelStayConsistent();
    void columnsAndHeader();
    void mouse_data();
    void mouse();
    void memoryPerRow();
};

void tst_ListView::keysAndCells()
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
    list.ListItems().Add(QString(), "a");
    list.ListItems().Add(QString(), "b");
    QCOMPARE(failureOf([&] { list.ListItems().Add("Tñ3", "again"); }).number(), FailureNumber::KeyNotUnique);
    QStringList rows { "T1|UNO|filled later|skipped one|", "T2|dos|a longer replacement|b|", "Tñ3|tres|||",
        "T4|12345,678|1.234,50|05/03/2008|Falso", "|a|||", "|b|||" };
    expectRows(list, rows);
    // Shown rows follow later changes too.
    second.setSubItems(3, CellValue::fromInteger(3));
    QCoreApplication::processEvents();
    QCOMPARE(list.treeView()->model()->index(1, 3).data().toString(), "3");

    list.ListItems().Remove("T2");
    QCOMPARE(fourth.Index(), 3);
    rows.removeAt(1);
    expectRows(list, rows);
    list.ListItems().Clear();
    expectRows(list, {});
    list.ListItems().Add("T1", "new");
    expectRows(list, { "T1|new|||" });
}

void tst_ListView::failures_data()
{
    using namespace FailureNumber;
    QTest::addColumn<Action>("action");
    QTest::addColumn<int>("number");
    const auto row = [](const char *name, int n, Action a) { QTest::newRow(name) << a << n; };

    row("duplicate key", KeyNotUnique, [](auto &l) { l.ListItems().Add(QByteArrayView("T1"), {}); });
    row("missing key", ElementNotFound, [](auto &l) { l.ListItems().Item("T9"); });
    row("keys are case-sensitive", ElementNotFound, [](auto &l) { l.ListItems().Item("t1"); });
    row("empty key names no row", ElementNotFound, [](auto &l) { l.ListItems().Item(QString()); });
    row("position 0", IndexOutOfBounds, [](auto &l) { l.ListItems().Item(0); });
    row("position past the end", IndexOutOfBounds, [](auto &l) { l.ListItems().Item(3); });
    row("remove missing key", ElementNotFound, [](auto &l) { l.ListItems().Remove("T9"); });
    row("sub-item 0", InvalidPropertyValue, [](auto &l) { l.ListItems().Item(1).SubItems(0); });
    row("sub-item past columns", InvalidPropertyValue, [](auto &l) { l.ListItems().Item(1).SubItems(3); });
    row("set past columns", InvalidPropertyValue, [](auto &l) { l.ListItems().Item(1).setSubItems(3, ""); });
    row("null item", ObjectNotSet, [](auto &) { ListItem().Text(); });
    row("duplicate column key", KeyNotUnique, [](auto &l) { l.ColumnHeaders().Add("f1", "again", 100); });
    row("column alignment 3", InvalidPropertyValue, [](auto &l) { l.ColumnHeaders().Add("f9", "", 100, 3); });
    row("negative column width", InvalidPropertyValue, [](auto &l) { l.ColumnHeaders().Add("f9", "", -1); });
    row("missing column key", ElementNotFound, [](auto &l) { l.ColumnHeaders().Item("f9"); });
    row("column 0", IndexOutOfBounds, [](auto &l) { l.ColumnHeaders().Item(0); });
    row("sort order 2", InvalidPropertyValue, [](auto &l) { l.setSortOrder(2); });
    row("negative sort key", InvalidPropertyValue, [](auto &l) { l.setSortKey(-1); });
    // A handle kept across a removal or a clear names no row, also once new rows took its id and key.
    const auto stale = [](bool clear, std::function<void(const ListItem &)> use) {
        return [=](ListView &l) {
            const ListItem old = l.ListItems().Item(2);
            clear ? l.ListItems().Clear() : l.ListItems().Remove("T2");
            clear ? fill(l, 0, { "uno", "dos" }) : void(l.ListItems().Add("T2", "dos"));
            use(old);
        };
    };
    row("removed row's key", ElementNotFound, stale(false, [](auto &i) { i.Key(); }));
    row("removed row's text", ElementNotFound, stale(false, [](auto &i) { i.Text(); }));
    row("cleared row's text", ElementNotFound, stale(true, [](auto &i) { i.Text(); }));
    row("cleared row's position", ElementNotFound, stale(true, [](auto &i) { i.Index(); }));
    row("cleared row's sub-item", ElementNotFound, stale(true, [](auto &i) { i.SubItems(1); }));
    row("cleared row's new text", ElementNotFound, stale(true, [](auto &i) { i.setText({}); }));
    row("cleared row's new sub-item", ElementNotFound, stale(true, [](auto &i) { i.setSubItems(1, "x"); }));
}

void tst_ListView::failures()
{
    QFETCH(Action, action);
    QFETCH(int, number);

    ListView list;
    fill(list, 3, { "uno", "dos" });
    QCOMPARE(failureOf([&] { action(list); }).number(), number);
    // A refused call leaves rows and columns as they were.
    expectRows(list, { "T1|uno||", "T2|dos||" });
}

void tst_ListView::sortOrder_data()
{
    QTest::addColumn<QStringList>("rows"); // "text|amount", keyed T1…T4; T5 "delta|300,00" comes once sorted
    QTest::addColumn<int>("sortKey");
    QTest::addColumn<int>("sortOrder");
    QTest::addColumn<QString>("order"); // row numbers

    const QStringList rows { "beta|200,00", "Alpha|1.000,00", "gamma|35,50", "alpha2|200,00" };
    QTest::newRow("item text ascending, case ignored") << rows << 0 << 0 << "24153";
    QTest::newRow("item text descending") << rows << 0 << 1 << "35142";
    QTest::newRow("amounts sort as text, ties keep their order") << rows << 1 << 0 << "21453";
    QTest::newRow("amounts descending, ties keep their order") << rows << 1 << 1 << "35142";
    QTest::newRow("upper and lower case tie") << QStringList { "b|", "B|", "a|", "A|" } << 0 << 0 << "34125";
    QTest::newRow("sort key beyond the columns keeps the order") << rows << 5 << 0 << "12345";
}

void tst_ListView::sortOrder()
{
    QFETCH(QStringList, rows);
    QFETCH(int, sortKey);
    QFETCH(int, sortOrder);
    QFETCH(QString, order);

    ListView list;
    fill(list, 2, rows);
    list.setSorted(true);
    list.setSortOrder(qint16(sortOrder));
    list.setSortKey(qint16(sortKey));
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

void tst_ListView::storeAndModelStayConsistent()
{
    ListView list;
    QTreeView *tree = list.treeView();
    const auto reporting = QAbstractItemModelTester::FailureReportingMode::QtTest;
    std::optional<QAbstractItemModelTester> tester(std::in_place, tree->model(), reporting);
    QSignalSpy inserted(tree->model(), &QAbstractItemModel::rowsInserted);
    list.resize(300, 200);
    list.show();
    QStringList rows;
    for (int i = 1; i <= 900; ++i)
        rows << QStringLiteral("n%1|%2|c2|c3|c4|c5|c6|c7").arg(i % 37).arg(i);
    fill(list, 8, rows);
    // A bulk load is announced once, when the event loop comes round; reading by position needs no wait.
    QCOMPARE(inserted.size(), 0);
    QCOMPARE(list.ListItems().Item(900).Key(), "T900");
    QCoreApplication::processEvents();
    QCOMPARE(inserted.size(), 1);
    QCOMPARE(inserted.at(0).mid(1), (QVariantList { 0, 899 }));

    // Removals, then enough rewrites of old rows that the store has to reclaim the space they left.
    QList<QStringList> expected; // key, text and sub-items, by position
    for (int i = 1; i <= 900; ++i)
        expected << (QStringLiteral("T%1|").arg(i) + rows[i - 1]).split(QLatin1Char('|'));
    for (int i = 1; i <= 900; i += 3)
        list.ListItems().Remove(QStringLiteral("T%1").arg(i));
    expected.removeIf([](const QStringList &row) { return row[0].mid(1).toInt() % 3 == 1; });
    tester.reset(); // it checks the whole model on every change: far too slow for this many
    QRandomGenerator random(7);
    const QString padding(150, QLatin1Char('x'));
    for (int n = 0; n < 20000; ++n) {
        const int p = int(random.bounded(expected.size()));
        const int j = int(random.bounded(8));
        const QString text = QStringLiteral("u%1.%2.").arg(n).arg(j) + padding.left(int(random.bounded(150)));
        const ListItem item = list.ListItems().Item(expected[p][0]);
        j ? item.setSubItems(j, text) : item.setText(CellValue::fromString(text));
        expected[p][j + 1] = text;
        if (n % 1000 == 999) { // the row leaves and comes back last, with its text only
            const QString key = expected.takeAt(p).first();
            list.ListItems().Remove(key);
            list.ListItems().Add(key, "back");
            expected << QStringList { key, "back" } + QStringList(7, QString());
        }
    }
    tester.emplace(tree->model(), reporting);
    rows.clear();
    for (const QStringList &row : expected)
        rows << row.join(QLatin1Char('|'));
    expectRows(list, rows);
    QCOMPARE(failureOf([&] { list.ListItems().Item("T1"); }).number(), FailureNumber::ElementNotFound);

    // The current row follows its row through a sort; a changed text in the sort column moves its row.
    tree->setCurrentIndex(tree->model()->index(10, 0));
    list.setSorted(true);
    QCoreApplication::processEvents();
    QCOMPARE(list.ListItems().Item(tree->currentIndex().row() + 1).Key(), expected[10][0]);
    list.ListItems().Item(expected[30][0]).setText(CellValue::fromText("0"));
    QCOMPARE(list.ListItems().Item(1).Key(), expected[30][0]);
    list.ListItems().Remove(expected[20][0]);
    list.ListItems().Add("late", "zzz");
    list.ListItems().Remove("late"); // gone before it was ever shown
    QCoreApplication::processEvents();
    list.ColumnHeaders().Clear();
    fill(list, 2, {});
    QCoreApplication::processEvents();
    QCOMPARE(tree->model()->rowCount(), expected.size() - 1);
    list.ListItems().Clear();
    QCOMPARE(tree->model()->rowCount(), 0);
}

void tst_ListView::columnsAndHeader()
{
    ListView list;
    list.resize(400, 300);
    ColumnHeaders &headers = list.ColumnHeaders();
    ColumnHeader *name = headers.Add("Nombre", "Nombre", 1234.5f);
    ColumnHeader *amount = headers.Add("Importe", "Importe", 1500, 1);
    headers.Add("Id", "Id", 0, 2);
    fill(list, 0, { "x|z", "y", "w|a" });
    list.show();
    QVERIFY(QTest::qWaitForWindowExposed(&list));
    QCoreApplication::processEvents();

    // Widths become pixels at 15 twips each; cells and headings take the column's alignment.
    QTreeView *tree = list.treeView();
    QHeaderView *header = tree->header();
    const auto align = [](const QVariant &v) { return Qt::Alignment(v.toInt()) & Qt::AlignHorizontal_Mask; };
    const QList<int> pixels { 82, 100, 0 };
    const QList<Qt::Alignment> alignments { Qt::AlignLeft, Qt::AlignRight, Qt::AlignHCenter };
    for (int c = 0; c < 3; ++c) {
        QCOMPARE(header->sectionSize(c), pixels[c]);
        QCOMPARE(align(tree->model()->index(0, c).data(Qt::TextAlignmentRole)), alignments[c]);
        QCOMPARE(align(tree->model()->headerData(c, Qt::Horizontal, Qt::TextAlignmentRole)), alignments[c]);
    }

    // Right of the last column still finds the row; the heading and the outside find none.
    QWidget *viewport = tree->viewport();
    QVERIFY(header->length() < viewport->width() - 3);
    const int lastY = tree->visualRect(tree->model()->index(2, 0)).center().y();
    QCOMPARE(keyAt(list, viewport, QPoint(viewport->width() - 3, lastY)), "T3");
    QCOMPARE(keyAt(list, header, QPoint(10, header->height() / 2)), QString());
    QCOMPARE(keyAt(list, &list, QPoint(list.width() + 20, 10)), QString());

    // A click on a heading reports its column and leaves the order alone.
    QSignalSpy columnClicks(&list, &ListView::ColumnClick);
    QTest::mouseClick(header->viewport(), Qt::LeftButton, {}, QPoint(header->sectionPosition(1) + 50, 10));
    QCOMPARE(columnClicks.size(), 1);
    QCOMPARE(columnClicks.at(0).at(0).value<ColumnHeader *>(), headers.Item(2));
    QCOMPARE(headers.Item("Importe"), amount);
    QCOMPARE(tree->model()->headerData(1, Qt::Horizontal).toString(), "Importe");
    QVERIFY(!list.Sorted());
    expectRows(list, { "T1|x|z|", "T2|y||", "T3|w|a|" });

    // A width the user drags is reported in twips; the others keep theirs exactly.
    header->resizeSection(1, 150);
    QCOMPARE(amount->Width(), 2250.0f);
    QCOMPARE(name->Width(), 1234.5f);
    headers.Clear();
    QCOMPARE(tree->model()->columnCount(), 0);
    QCOMPARE(list.ListItems().Item(1).Text(), "x");
}

void tst_ListView::mouse_data()
{
    QTest::addColumn<int>("row"); // -1: the empty space below the rows
    QTest::addColumn<Qt::MouseButton>("button");
    QTest::addColumn<Qt::KeyboardModifiers>("modifiers");
    QTest::addColumn<int>("itemClicks");
    QTest::addColumn<int>("buttonCode");
    QTest::addColumn<int>("shiftCode");
    // -1: a single click; else a double click, and how many DblClick it notifies (the columns before unused)
    QTest::addColumn<int>("doubleClicks");

    Qt::KeyboardModifiers none, shift(Qt::ShiftModifier), ctrlAlt(Qt::ControlModifier | Qt::AltModifier);
    QTest::newRow("left on a row") << 2 << Qt::LeftButton << none << 1 << 1 << 0 << -1;
    QTest::newRow("right on a row") << 2 << Qt::RightButton << none << 0 << 2 << 0 << -1;
    QTest::newRow("middle on a row") << 0 << Qt::MiddleButton << none << 0 << 4 << 0 << -1;
    QTest::newRow("shift left") << 1 << Qt::LeftButton << shift << 1 << 1 << 1 << -1;
    QTest::newRow("control alt left") << 3 << Qt::LeftButton << ctrlAlt << 1 << 1 << 6 << -1;
    QTest::newRow("left on empty space") << -1 << Qt::LeftButton << none << 0 << 1 << 0 << -1;
    QTest::newRow("right on empty space") << -1 << Qt::RightButton << none << 0 << 2 << 0 << -1;
    QTest::newRow("double click on a row") << 1 << Qt::LeftButton << none << 0 << 0 << 0 << 1;
    QTest::newRow("double click on empty space") << -1 << Qt::LeftButton << none << 0 << 0 << 0 << 1;
    QTest::newRow("double click, right button") << 1 << Qt::RightButton << none << 0 << 0 << 0 << 0;
}

void tst_ListView::mouse()
{
    QFETCH(int, row);
    QFETCH(Qt::MouseButton, button);
    QFETCH(Qt::KeyboardModifiers, modifiers);
    QFETCH(int, itemClicks);
    QFETCH(int, buttonCode);
    QFETCH(int, shiftCode);
    QFETCH(int, doubleClicks);

    ListView list;
    list.resize(400, 300);
    fill(list, 2, QStringList(5, "row"));
    list.show();
    QVERIFY(QTest::qWaitForWindowExposed(&list));
    QCoreApplication::processEvents();
    QTreeView *tree = list.treeView();
    QWidget *viewport = tree->viewport();
    const QPoint at = row >= 0 ? tree->visualRect(tree->model()->index(row, 1)).center()
                               : QPoint(20, viewport->height() - 5);
    QSignalSpy clicks(&list, &ListView::ItemClick);
    QSignalSpy ups(&list, &ListView::MouseUp);
    QSignalSpy doubles(&list, &ListView::DblClick);
    if (doubleClicks >= 0) {
        QTest::mouseDClick(viewport, button, modifiers, at);
        QCOMPARE(doubles.size(), doubleClicks);
        return;
    }
    QTest::mouseClick(viewport, button, modifiers, at);

    QCOMPARE(clicks.size(), itemClicks);
    const QString key = row >= 0 ? QStringLiteral("T%1").arg(row + 1) : QString();
    if (itemClicks)
        QCOMPARE(clicks.at(0).at(0).value<ListItem>().Key(), key);
    QCOMPARE(ups.size(), 1);
    const QList<QVariant> up = ups.at(0);
    QCOMPARE(up.at(0).toInt(), buttonCode);
    QCOMPARE(up.at(1).toInt(), shiftCode);
    QCOMPARE(QPointF(up.at(2).toFloat(), up.at(3).toFloat()), QPointF(viewport->mapTo(&list, at) * 15));
    // The reported point finds the same row again.
    const ListItem hit = list.HitTest(up.at(2).toFloat(), up.at(3).toFloat());
    QCOMPARE(hit ? hit.Key() : QString(), key);
}

void tst_ListView::memoryPerRow()
{
#ifdef UNDER_ASAN
    QSKIP("AddressSanitizer keeps its own heap, which mallinfo2 does not see: nothing to measure");
#endif
    // Rows like a list of invoices: about 80 bytes of text in eight cells.
    const auto heapInUse = [] {
        const struct mallinfo2 info = mallinfo2();
        return quint64(info.uordblks) + quint64(info.hblkhd);
    };
    const int rows = 200000;
    const quint64 before = heapInUse();
    {
        ListView list;
        fill(list, 8, {});
        list.show();
        QVERIFY(QTest::qWaitForWindowExposed(&list));
        const quint64 empty = heapInUse();
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
        list.treeView()->indexAt(QPoint(5, 5));
        QCOMPARE(list.treeView()->model()->rowCount(), rows);
        const double perRow = double(heapInUse() - empty) / rows;
        qInfo("%.1f bytes per row", perRow);
        QVERIFY2(perRow < 300, qPrintable(QString::number(perRow)));
        QCOMPARE(list.ListItems().Item("T104321").SubItems(3), "5.401,25");
    }
    // Everything goes back when the list goes.
    QVERIFY2(heapInUse() < before + 1024 * 1024, qPrintable(QString::number(heapInUse() - before)));
}

QTEST_MAIN(tst_ListView)
#include "tst_listview.moc"

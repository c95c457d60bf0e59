// The report list as hosts and users meet it: keyed rows, sub-items, text sorting, hit testing and mouse
// notifications on a real, shown widget, a consistent item model, and the memory a big load costs.

#include <Brennvox10/Failure.h>
#include <Brennvox10/ListView.h>

#include <QAbstractItemModelTester>
#include <QHeaderView>
#include <QRandomGenerator>
#include <QSignalSpy>
#include <QTest>
#include <QTreeView>

#include <malloc.h>

#include <cstdio>
#include <functional>
#include <map>

using namespace Brennvox10;

namespace {

template <typename F> int failureOf(F &&f)
{
    try {
        f();
    } catch (const Failure &e) {
        return e.number();
    }
    return 0;
}

// Every shown row, as the view's model hands it out: texts joined by '|'.
QStringList shownRows(ListView &list)
{
    QCoreApplication::processEvents();
    const QAbstractItemModel *model = list.treeView()->model();
    QStringList rows;
    for (int r = 0; r < model->rowCount(); ++r) {
        QStringList cells;
        for (int c = 0; c < model->columnCount(); ++c)
            cells << model->index(r, c).data().toString();
        rows << cells.join(QLatin1Char('|'));
    }
    return rows;
}

// Keys in the order ListItems hands out by position.
QStringList keysByPosition(ListView &list)
{
    QStringList keys;
    for (int i = 1; i <= list.ListItems().Count(); ++i)
        keys << list.ListItems().Item(i).Key();
    return keys;
}

void addColumns(ListView &list, int count)
{
    for (int c = 1; c <= count; ++c)
        list.ColumnHeaders().Add(QStringLiteral("f%1").arg(c), QStringLiteral("Field %1").arg(c), 1500);
}

quint64 heapInUse()
{
    const struct mallinfo2 info = mallinfo2();
    return quint64(info.uordblks) + quint64(info.hblkhd);
}

} // namespace

class tst_ListView : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void init();

    void keysFindTheirRows();
    void failures_data();
    void failures();
    void duplicateKeyAddsNothing();
    void removeKeepsEveryOtherKey();
    void clearEmptiesAndAllowsTheSameKeys();
    void subItems();
    void rewritesKeepEveryRow();
    void typedCellsShowTheirText();

    void sortOrder_data();
    void sortOrder();
    void rowsAddedWhileSortedTakeTheirPlace();
    void unsortingKeepsTheOrder();

    void columns();
    void rowsAreAnnouncedOnce();
    void modelStaysConsistent();

    void mouseRelease_data();
    void mouseRelease();
    void doubleClick_data();
    void doubleClick();
    void hitTest_data();
    void hitTest();
    void headerClickOnlyReports();

    void memoryPerRow();

private:
    std::unique_ptr<ListView> shownList(int rows);
};

void tst_ListView::init()
{
    QLocale::setDefault(QLocale(QStringLiteral("es_ES")));
}

std::unique_ptr<ListView> tst_ListView::shownList(int rows)
{
    auto list = std::make_unique<ListView>();
    list->resize(400, 300);
    list->ColumnHeaders().Add(QStringLiteral("a"), QStringLiteral("A"), 1500);
    list->ColumnHeaders().Add(QStringLiteral("b"), QStringLiteral("B"), 1500);
    for (int i = 1; i <= rows; ++i)
        list->ListItems().Add(QStringLiteral("T%1").arg(i), QStringLiteral("row %1").arg(i));
    list->show();
    if (!QTest::qWaitForWindowExposed(list.get()))
        return nullptr;
    QCoreApplication::processEvents();
    return list;
}

void tst_ListView::keysFindTheirRows()
{
    ListView list;
    addColumns(list, 2);
    list.ListItems().Add(QStringLiteral("T1"), QStringLiteral("uno"));
    list.ListItems().Add(QStringLiteral("Tñ2"), QStringLiteral("dos"));
    list.ListItems().Add(QByteArrayView("T3"), CellValue::fromText("tres"));

    QCOMPARE(list.ListItems().Count(), 3);
    QCOMPARE(list.ListItems().Item(QStringLiteral("Tñ2")).Text(), QStringLiteral("dos"));
    QCOMPARE(list.ListItems().Item(QStringLiteral("T3"))->Text(), QStringLiteral("tres"));
    QCOMPARE(list.ListItems().Item(2).Key(), QStringLiteral("Tñ2"));
    QCOMPARE(list.ListItems().Item(QStringLiteral("T3")).Index(), 3);
    QVERIFY(list.ListItems().contains(QStringLiteral("T1")));
    QVERIFY(!list.ListItems().contains(QStringLiteral("t1")));
    QCOMPARE(shownRows(list),
        (QStringList { QStringLiteral("uno|"), QStringLiteral("dos|"), QStringLiteral("tres|") }));
}

void tst_ListView::failures_data()
{
    QTest::addColumn<QString>("action");
    QTest::addColumn<int>("number");

    QTest::newRow("duplicate key") << "duplicate" << FailureNumber::KeyNotUnique;
    QTest::newRow("missing key") << "missingKey" << FailureNumber::ElementNotFound;
    QTest::newRow("empty key names no row") << "emptyKey" << FailureNumber::ElementNotFound;
    QTest::newRow("position 0") << "position0" << FailureNumber::IndexOutOfBounds;
    QTest::newRow("position past the end") << "positionPast" << FailureNumber::IndexOutOfBounds;
    QTest::newRow("remove missing key") << "removeMissing" << FailureNumber::ElementNotFound;
    QTest::newRow("sub-item 0") << "subItem0" << FailureNumber::InvalidPropertyValue;
    QTest::newRow("sub-item beyond the columns") << "subItemBeyond" << FailureNumber::InvalidPropertyValue;
    QTest::newRow("setting a sub-item beyond the columns")
        << "setSubItemBeyond" << FailureNumber::InvalidPropertyValue;
    QTest::newRow("null item") << "nullItem" << FailureNumber::ObjectNotSet;
    QTest::newRow("removed item") << "removedItem" << FailureNumber::ElementNotFound;
    QTest::newRow("duplicate column key") << "columnDuplicate" << FailureNumber::KeyNotUnique;
    QTest::newRow("column alignment 3") << "columnAlignment" << FailureNumber::InvalidPropertyValue;
    QTest::newRow("negative column width") << "columnWidth" << FailureNumber::InvalidPropertyValue;
    QTest::newRow("missing column key") << "columnMissing" << FailureNumber::ElementNotFound;
    QTest::newRow("column 0") << "column0" << FailureNumber::IndexOutOfBounds;
    QTest::newRow("sort order 2") << "sortOrder" << FailureNumber::InvalidPropertyValue;
    QTest::newRow("negative sort key") << "sortKey" << FailureNumber::InvalidPropertyValue;
}

void tst_ListView::failures()
{
    QFETCH(QString, action);
    QFETCH(int, number);

    ListView list;
    addColumns(list, 3);
    ListItems &items = list.ListItems();
    items.Add(QStringLiteral("T1"), QStringLiteral("uno"));
    items.Add(QStringLiteral("T2"), QStringLiteral("dos"));

    const std::map<QString, std::function<void()>> actions = {
        { QStringLiteral("duplicate"), [&] { items.Add(QStringLiteral("T1"), QStringLiteral("otro")); } },
        { QStringLiteral("missingKey"), [&] { items.Item(QStringLiteral("T9")); } },
        { QStringLiteral("emptyKey"), [&] { items.Item(QString()); } },
        { QStringLiteral("position0"), [&] { items.Item(0); } },
        { QStringLiteral("positionPast"), [&] { items.Item(3); } },
        { QStringLiteral("removeMissing"), [&] { items.Remove(QStringLiteral("T9")); } },
        { QStringLiteral("subItem0"), [&] { items.Item(1).SubItems(0); } },
        { QStringLiteral("subItemBeyond"), [&] { items.Item(1).SubItems(3); } },
        { QStringLiteral("setSubItemBeyond"), [&] { items.Item(1).setSubItems(3, QStringLiteral("x")); } },
        { QStringLiteral("nullItem"), [&] { ListItem().Text(); } },
        { QStringLiteral("removedItem"),
            [&] {
                const ListItem gone = items.Item(QStringLiteral("T2"));
                items.Remove(QStringLiteral("T2"));
                gone.Text();
            } },
        { QStringLiteral("columnDuplicate"),
            [&] { list.ColumnHeaders().Add(QStringLiteral("f1"), QStringLiteral("again"), 100); } },
        { QStringLiteral("columnAlignment"),
            [&] { list.ColumnHeaders().Add(QStringLiteral("f9"), QStringLiteral("x"), 100, 3); } },
        { QStringLiteral("columnWidth"),
            [&] { list.ColumnHeaders().Add(QStringLiteral("f9"), QStringLiteral("x"), -1); } },
        { QStringLiteral("columnMissing"), [&] { list.ColumnHeaders().Item(QStringLiteral("f9")); } },
        { QStringLiteral("column0"), [&] { list.ColumnHeaders().Item(0); } },
        { QStringLiteral("sortOrder"), [&] { list.setSortOrder(2); } },
        { QStringLiteral("sortKey"), [&] { list.setSortKey(-1); } },
    };
    const QStringList before = shownRows(list);
    const int columnsBefore = list.ColumnHeaders().Count();
    QCOMPARE(failureOf(actions.at(action)), number);
    if (action != QLatin1String("removedItem"))
        QCOMPARE(shownRows(list), before);
    QCOMPARE(list.ColumnHeaders().Count(), columnsBefore);
}

void tst_ListView::duplicateKeyAddsNothing()
{
    ListView list;
    addColumns(list, 2);
    list.ListItems().Add(QStringLiteral("T7"), QStringLiteral("first"));
    QCOMPARE(failureOf([&] { list.ListItems().Add(QByteArrayView("T7"), CellValue::fromText("second")); }),
        FailureNumber::KeyNotUnique);
    QCOMPARE(list.ListItems().Count(), 1);
    QCOMPARE(list.ListItems().Item(QStringLiteral("T7")).Text(), QStringLiteral("first"));
    // Rows without a key are reached by position only, and there may be many.
    list.ListItems().Add(QString(), QStringLiteral("a"));
    list.ListItems().Add(QString(), QStringLiteral("b"));
    QCOMPARE(shownRows(list),
        (QStringList { QStringLiteral("first|"), QStringLiteral("a|"), QStringLiteral("b|") }));
}

void tst_ListView::removeKeepsEveryOtherKey()
{
    ListView list;
    addColumns(list, 2);
    const int rows = 3000;
    for (int i = 0; i < rows; ++i) {
        const ListItem item
            = list.ListItems().Add(QStringLiteral("T%1").arg(i), QStringLiteral("text %1").arg(i));
        item.setSubItems(1, QStringLiteral("sub %1").arg(i));
    }
    QCoreApplication::processEvents();
    for (int i = 0; i < rows; i += 3)
        list.ListItems().Remove(QStringLiteral("T%1").arg(i));

    QCOMPARE(list.ListItems().Count(), rows - rows / 3);
    int position = 0;
    for (int i = 0; i < rows; ++i) {
        const QString key = QStringLiteral("T%1").arg(i);
        if (i % 3 == 0) {
            QVERIFY2(!list.ListItems().contains(key), qPrintable(key));
            continue;
        }
        ++position;
        const ListItem item = list.ListItems().Item(key);
        QCOMPARE(item.Text(), QStringLiteral("text %1").arg(i));
        QCOMPARE(item.SubItems(1), QStringLiteral("sub %1").arg(i));
        QCOMPARE(item.Index(), position);
    }
    QCOMPARE(shownRows(list).first(), QStringLiteral("text 1|sub 1"));
    QCOMPARE(shownRows(list).size(), rows - rows / 3);
}

void tst_ListView::clearEmptiesAndAllowsTheSameKeys()
{
    ListView list;
    addColumns(list, 1);
    for (int i = 0; i < 100; ++i)
        list.ListItems().Add(QStringLiteral("T%1").arg(i), QStringLiteral("old %1").arg(i));
    list.ListItems().Clear();
    QCOMPARE(list.ListItems().Count(), 0);
    QCOMPARE(failureOf([&] { list.ListItems().Item(QStringLiteral("T5")); }), FailureNumber::ElementNotFound);
    QVERIFY(shownRows(list).isEmpty());

    list.ListItems().Add(QStringLiteral("T5"), QStringLiteral("new"));
    QCOMPARE(list.ListItems().Item(QStringLiteral("T5")).Text(), QStringLiteral("new"));
    QCOMPARE(shownRows(list), QStringList { QStringLiteral("new") });
}

void tst_ListView::subItems()
{
    ListView list;
    addColumns(list, 4);
    ListItems &items = list.ListItems();
    const ListItem first = items.Add(QStringLiteral("T1"), QStringLiteral("uno"));
    first.setSubItems(2, QStringLiteral("skipped one")); // sub-item 1 stays empty
    const ListItem second = items.Add(QStringLiteral("T2"), QStringLiteral("dos"));
    second.setSubItems(1, QStringLiteral("a"));
    second.setSubItems(2, QStringLiteral("b"));
    second.setSubItems(1, QStringLiteral("a longer replacement")); // the newest row, rewritten
    // An older row changes after newer rows came.
    first.setSubItems(1, QStringLiteral("filled later"));
    first.setText(CellValue::fromText("UNO"));
    const ListItem third = items.Add(QStringLiteral("T3"), QStringLiteral("tres"));
    third.setSubItems(3, CellValue::fromInteger(3));

    QCOMPARE(first.SubItems(3), QString());
    QCOMPARE(second.SubItems(3), QString());
    QCOMPARE(shownRows(list),
        (QStringList { QStringLiteral("UNO|filled later|skipped one|"),
            QStringLiteral("dos|a longer replacement|b|"), QStringLiteral("tres|||3") }));
    // Shown rows follow later changes too.
    second.setSubItems(2, QStringLiteral("changed while shown"));
    QCOMPARE(shownRows(list).at(1), QStringLiteral("dos|a longer replacement|changed while shown|"));
}

void tst_ListView::rewritesKeepEveryRow()
{
    // Enough rewrites of old rows that the store has to reclaim the space they left behind.
    ListView list;
    addColumns(list, 8);
    const int rows = 2000;
    QList<QStringList> expected;
    for (int i = 0; i < rows; ++i) {
        const ListItem item
            = list.ListItems().Add(QStringLiteral("T%1").arg(i), QStringLiteral("row %1").arg(i));
        QStringList cells { QStringLiteral("row %1").arg(i) };
        for (int j = 1; j < 8; ++j) {
            cells << QStringLiteral("c%1.%2").arg(i).arg(j);
            item.setSubItems(j, cells.last());
        }
        expected << cells;
    }
    QRandomGenerator random(7);
    const QString padding(150, QLatin1Char('x'));
    for (int n = 0; n < 20000; ++n) {
        const int i = int(random.bounded(rows));
        const int j = int(random.bounded(8));
        const QString text = QStringLiteral("u%1.%2.").arg(n).arg(j) + padding.left(int(random.bounded(150)));
        const ListItem item = list.ListItems().Item(QStringLiteral("T%1").arg(i));
        if (j == 0)
            item.setText(CellValue::fromString(text));
        else
            item.setSubItems(j, text);
        expected[i][j] = text;
        if (n % 5000 == 0 && (n / 5000) % 2 == 1) {
            list.ListItems().Remove(QStringLiteral("T%1").arg(i));
            list.ListItems().Add(QStringLiteral("T%1").arg(i), QStringLiteral("back %1").arg(i));
            expected[i] = QStringList { QStringLiteral("back %1").arg(i), {}, {}, {}, {}, {}, {}, {} };
        }
    }
    for (int i = 0; i < rows; ++i) {
        const ListItem item = list.ListItems().Item(QStringLiteral("T%1").arg(i));
        QStringList cells { item.Text() };
        for (int j = 1; j < 8; ++j)
            cells << item.SubItems(j);
        QCOMPARE(cells, expected[i]);
    }
}

void tst_ListView::typedCellsShowTheirText()
{
    ListView list;
    addColumns(list, 4);
    const ListItem item = list.ListItems().Add(QByteArrayView("T1"), CellValue::fromReal(12345.678));
    item.setSubItems(1, CellValue::fromReal(1234.5, CellValue::Style::Money));
    item.setSubItems(
        2, CellValue::fromDate(QDate(2008, 3, 5).toJulianDay(), 0, false, CellValue::Style::Date));
    item.setSubItems(3, CellValue::fromBoolean(false));
    QCOMPARE(shownRows(list), QStringList { QStringLiteral("12345,678|1.234,50|05/03/2008|Falso") });
    QCOMPARE(item.SubItems(1), QStringLiteral("1.234,50"));
}

void tst_ListView::sortOrder_data()
{
    QTest::addColumn<QStringList>("firstColumn");
    QTest::addColumn<QStringList>("secondColumn");
    QTest::addColumn<int>("sortKey");
    QTest::addColumn<int>("sortOrder");
    QTest::addColumn<QStringList>("expectedKeys");

    const QStringList names { QStringLiteral("beta"), QStringLiteral("Alpha"), QStringLiteral("gamma"),
        QStringLiteral("alpha2") };
    const QStringList amounts { QStringLiteral("200,00"), QStringLiteral("1.000,00"), QStringLiteral("35,50"),
        QStringLiteral("200,00") };
    QTest::newRow("item text ascending, case ignored")
        << names << amounts << 0 << 0 << QStringList { "T2", "T4", "T1", "T3" };
    QTest::newRow("item text descending")
        << names << amounts << 0 << 1 << QStringList { "T3", "T1", "T4", "T2" };
    QTest::newRow("amounts sort as text, ties keep their order")
        << names << amounts << 1 << 0 << QStringList { "T2", "T1", "T4", "T3" };
    QTest::newRow("amounts descending, ties keep their order")
        << names << amounts << 1 << 1 << QStringList { "T3", "T1", "T4", "T2" };
    QTest::newRow("upper and lower case tie")
        << QStringList { "b", "B", "a", "A" } << amounts << 0 << 0 << QStringList { "T3", "T4", "T1", "T2" };
    QTest::newRow("sort key beyond the columns keeps the order")
        << names << amounts << 5 << 0 << QStringList { "T1", "T2", "T3", "T4" };
}

void tst_ListView::sortOrder()
{
    QFETCH(QStringList, firstColumn);
    QFETCH(QStringList, secondColumn);
    QFETCH(int, sortKey);
    QFETCH(int, sortOrder);
    QFETCH(QStringList, expectedKeys);

    ListView list;
    addColumns(list, 2);
    for (qsizetype i = 0; i < firstColumn.size(); ++i) {
        const ListItem item = list.ListItems().Add(QStringLiteral("T%1").arg(i + 1), firstColumn[i]);
        item.setSubItems(1, secondColumn[i]);
    }
    QCoreApplication::processEvents();
    list.setSorted(true);
    list.setSortOrder(qint16(sortOrder));
    list.setSortKey(qint16(sortKey));

    QCOMPARE(keysByPosition(list), expectedKeys);
    QStringList expectedRows;
    for (const QString &key : expectedKeys) {
        const ListItem item = list.ListItems().Item(key);
        expectedRows << item.Text() + QLatin1Char('|') + item.SubItems(1);
        QCOMPARE(item.Index(), expectedRows.size());
    }
    QCOMPARE(shownRows(list), expectedRows);
}

void tst_ListView::rowsAddedWhileSortedTakeTheirPlace()
{
    ListView list;
    addColumns(list, 1);
    list.setSorted(true);
    for (const char *name : { "pera", "Manzana", "uva" })
        list.ListItems().Add(QByteArrayView(name), CellValue::fromText(name));
    QCOMPARE(shownRows(list), (QStringList { "Manzana", "pera", "uva" }));
    list.ListItems().Add(QStringLiteral("n"), QStringLiteral("naranja"));
    QCOMPARE(list.ListItems().Item(QStringLiteral("n")).Index(), 2);
    QCOMPARE(shownRows(list), (QStringList { "Manzana", "naranja", "pera", "uva" }));
    // A changed text in the sort column moves its row.
    list.ListItems().Item(QStringLiteral("uva")).setText(CellValue::fromText("aguacate"));
    QCOMPARE(shownRows(list), (QStringList { "aguacate", "Manzana", "naranja", "pera" }));
}

void tst_ListView::unsortingKeepsTheOrder()
{
    ListView list;
    addColumns(list, 1);
    for (const char *name : { "c", "a", "b" })
        list.ListItems().Add(QByteArrayView(name), CellValue::fromText(name));
    list.setSorted(true);
    list.setSortOrder(1);
    QCOMPARE(shownRows(list), (QStringList { "c", "b", "a" }));
    list.setSorted(false);
    list.ListItems().Add(QStringLiteral("d"), QStringLiteral("d"));
    list.ListItems().Add(QStringLiteral("0"), QStringLiteral("0"));
    QCOMPARE(shownRows(list), (QStringList { "c", "b", "a", "d", "0" }));
    QCOMPARE(keysByPosition(list), (QStringList { "c", "b", "a", "d", "0" }));
}

void tst_ListView::columns()
{
    ListView list;
    ColumnHeaders &headers = list.ColumnHeaders();
    ColumnHeader *name = headers.Add(QStringLiteral("Nombre"), QStringLiteral("Nombre"), 1234.5f);
    ColumnHeader *amount = headers.Add(QStringLiteral("Importe"), QStringLiteral("Importe"), 1500, 1);
    ColumnHeader *hidden = headers.Add(QStringLiteral("Id"), QStringLiteral("Id"), 0, 2);
    list.ListItems().Add(QStringLiteral("T1"), QStringLiteral("x"));
    QCoreApplication::processEvents();

    QCOMPARE(headers.Count(), 3);
    QCOMPARE(headers.Item(2), amount);
    QCOMPARE(headers.Item(QStringLiteral("Id")), hidden);
    QCOMPARE(name->Width(), 1234.5f);
    QCOMPARE(amount->Position(), qint16(2));
    QCOMPARE(hidden->Index(), qint16(3));

    const QHeaderView *header = list.treeView()->header();
    QCOMPARE(header->sectionSize(0), 82);
    QCOMPARE(header->sectionSize(1), 100);
    QCOMPARE(header->sectionSize(2), 0);

    const QAbstractItemModel *model = list.treeView()->model();
    QCOMPARE(model->headerData(1, Qt::Horizontal).toString(), QStringLiteral("Importe"));
    const auto alignment = [&](int column) {
        return Qt::Alignment(model->index(0, column).data(Qt::TextAlignmentRole).toInt())
            & Qt::AlignHorizontal_Mask;
    };
    QCOMPARE(alignment(0), Qt::Alignment(Qt::AlignLeft));
    QCOMPARE(alignment(1), Qt::Alignment(Qt::AlignRight));
    QCOMPARE(alignment(2), Qt::Alignment(Qt::AlignHCenter));
    QCOMPARE(Qt::Alignment(model->headerData(1, Qt::Horizontal, Qt::TextAlignmentRole).toInt())
            & Qt::AlignHorizontal_Mask,
        Qt::Alignment(Qt::AlignRight));

    // A width the user drags is reported in twips; the others keep theirs exactly.
    list.treeView()->header()->resizeSection(1, 150);
    QCOMPARE(amount->Width(), 2250.0f);
    QCOMPARE(name->Width(), 1234.5f);

    headers.Clear();
    QCOMPARE(headers.Count(), 0);
    QCOMPARE(model->columnCount(), 0);
    QCOMPARE(list.ListItems().Item(1).Text(), QStringLiteral("x"));
}

void tst_ListView::rowsAreAnnouncedOnce()
{
    ListView list;
    addColumns(list, 2);
    QSignalSpy inserted(list.treeView()->model(), &QAbstractItemModel::rowsInserted);
    for (int i = 0; i < 1000; ++i)
        list.ListItems()
            .Add(QStringLiteral("T%1").arg(i), QStringLiteral("r"))
            .setSubItems(1, QStringLiteral("s"));
    QCOMPARE(inserted.size(), 0);
    QCoreApplication::processEvents();
    QCOMPARE(inserted.size(), 1);
    QCOMPARE(inserted.at(0).at(1).toInt(), 0);
    QCOMPARE(inserted.at(0).at(2).toInt(), 999);

    // Reading by position does not wait for the event loop.
    for (int i = 0; i < 10; ++i)
        list.ListItems().Add(QStringLiteral("U%1").arg(i), QStringLiteral("u"));
    QCOMPARE(list.ListItems().Item(1005).Key(), QStringLiteral("U4"));
    QCOMPARE(inserted.size(), 2);
    QCOMPARE(list.treeView()->model()->rowCount(), 1010);
}

void tst_ListView::modelStaysConsistent()
{
    ListView list;
    QAbstractItemModelTester tester(
        list.treeView()->model(), QAbstractItemModelTester::FailureReportingMode::QtTest);
    addColumns(list, 3);
    list.resize(300, 200);
    list.show();
    for (int i = 0; i < 500; ++i) {
        const ListItem item
            = list.ListItems().Add(QStringLiteral("T%1").arg(i), QStringLiteral("n%1").arg(i % 37));
        item.setSubItems(1, CellValue::fromInteger(i));
        item.setSubItems(2, CellValue::fromReal(i * 1.5, CellValue::Style::Money));
    }
    QCoreApplication::processEvents();
    list.treeView()->setCurrentIndex(list.treeView()->model()->index(10, 0));
    list.setSorted(true);
    list.setSortKey(0);
    QCoreApplication::processEvents();
    // The current row follows its row through the sort.
    QVERIFY(list.treeView()->currentIndex().row() != 10);
    QCOMPARE(list.treeView()->currentIndex().siblingAtColumn(1).data().toString(), QStringLiteral("10"));
    list.ListItems().Remove(QStringLiteral("T3"));
    list.ListItems().Item(QStringLiteral("T4")).setSubItems(1, QStringLiteral("changed"));
    list.ListItems().Add(QStringLiteral("late"), QStringLiteral("zzz"));
    list.ListItems().Remove(QStringLiteral("late")); // gone before it was ever shown
    QCoreApplication::processEvents();
    QCOMPARE(list.treeView()->model()->rowCount(), 499);
    list.ListItems().Clear();
    QCOMPARE(list.treeView()->model()->rowCount(), 0);
    for (int i = 0; i < 50; ++i)
        list.ListItems().Add(QStringLiteral("T%1").arg(i), QStringLiteral("again"));
    QCoreApplication::processEvents();
    list.ColumnHeaders().Clear();
    addColumns(list, 2);
    QCoreApplication::processEvents();
    QCOMPARE(list.treeView()->model()->rowCount(), 50);
}

void tst_ListView::mouseRelease_data()
{
    QTest::addColumn<int>("row"); // -1: the empty space below the rows
    QTest::addColumn<Qt::MouseButton>("button");
    QTest::addColumn<Qt::KeyboardModifiers>("modifiers");
    QTest::addColumn<int>("itemClicks");
    QTest::addColumn<int>("buttonCode");
    QTest::addColumn<int>("shiftCode");

    QTest::newRow("left on a row") << 2 << Qt::LeftButton << Qt::KeyboardModifiers() << 1 << 1 << 0;
    QTest::newRow("right on a row") << 2 << Qt::RightButton << Qt::KeyboardModifiers() << 0 << 2 << 0;
    QTest::newRow("middle on a row") << 0 << Qt::MiddleButton << Qt::KeyboardModifiers() << 0 << 4 << 0;
    QTest::newRow("shift left") << 1 << Qt::LeftButton << Qt::KeyboardModifiers(Qt::ShiftModifier) << 1 << 1
                                << 1;
    QTest::newRow("control alt left")
        << 3 << Qt::LeftButton << Qt::KeyboardModifiers(Qt::ControlModifier | Qt::AltModifier) << 1 << 1 << 6;
    QTest::newRow("left on empty space") << -1 << Qt::LeftButton << Qt::KeyboardModifiers() << 0 << 1 << 0;
    QTest::newRow("right on empty space") << -1 << Qt::RightButton << Qt::KeyboardModifiers() << 0 << 2 << 0;
}

void tst_ListView::mouseRelease()
{
    QFETCH(int, row);
    QFETCH(Qt::MouseButton, button);
    QFETCH(Qt::KeyboardModifiers, modifiers);
    QFETCH(int, itemClicks);
    QFETCH(int, buttonCode);
    QFETCH(int, shiftCode);

    const auto list = shownList(5);
    QVERIFY(list);
    QTreeView *tree = list->treeView();
    QWidget *viewport = tree->viewport();
    const QPoint at = row >= 0 ? tree->visualRect(tree->model()->index(row, 1)).center()
                               : QPoint(20, viewport->height() - 5);
    QSignalSpy clicks(list.get(), &ListView::ItemClick);
    QSignalSpy ups(list.get(), &ListView::MouseUp);

    QTest::mouseClick(viewport, button, modifiers, at);

    QCOMPARE(clicks.size(), itemClicks);
    if (itemClicks)
        QCOMPARE(clicks.at(0).at(0).value<ListItem>().Key(), QStringLiteral("T%1").arg(row + 1));
    QCOMPARE(ups.size(), 1);
    const QList<QVariant> up = ups.at(0);
    QCOMPARE(up.at(0).toInt(), buttonCode);
    QCOMPARE(up.at(1).toInt(), shiftCode);
    const QPoint inList = viewport->mapTo(list.get(), at);
    QCOMPARE(up.at(2).toFloat(), float(inList.x() * 15));
    QCOMPARE(up.at(3).toFloat(), float(inList.y() * 15));
    // The reported point finds the same row again.
    const ListItem hit = list->HitTest(up.at(2).toFloat(), up.at(3).toFloat());
    QCOMPARE(hit.isNull(), row < 0);
    if (row >= 0)
        QCOMPARE(hit.Key(), QStringLiteral("T%1").arg(row + 1));
}

void tst_ListView::doubleClick_data()
{
    QTest::addColumn<int>("row");
    QTest::addColumn<Qt::MouseButton>("button");
    QTest::addColumn<int>("doubleClicks");

    QTest::newRow("on a row") << 1 << Qt::LeftButton << 1;
    QTest::newRow("on empty space") << -1 << Qt::LeftButton << 1;
    QTest::newRow("right button") << 1 << Qt::RightButton << 0;
}

void tst_ListView::doubleClick()
{
    QFETCH(int, row);
    QFETCH(Qt::MouseButton, button);
    QFETCH(int, doubleClicks);

    const auto list = shownList(3);
    QVERIFY(list);
    QTreeView *tree = list->treeView();
    const QPoint at = row >= 0 ? tree->visualRect(tree->model()->index(row, 0)).center()
                               : QPoint(20, tree->viewport()->height() - 5);
    QSignalSpy doubles(list.get(), &ListView::DblClick);
    QTest::mouseDClick(tree->viewport(), button, {}, at);
    QCOMPARE(doubles.size(), doubleClicks);
}

void tst_ListView::hitTest_data()
{
    QTest::addColumn<QString>("where");
    QTest::addColumn<QString>("expectedKey"); // empty: no row

    QTest::newRow("first row") << "row0"
                               << "T1";
    QTest::newRow("last row") << "row3"
                              << "T4";
    QTest::newRow("right of the last column") << "rightOfColumns"
                                              << "T2";
    QTest::newRow("below the rows") << "below"
                                    << "";
    QTest::newRow("on the header") << "header"
                                   << "";
    QTest::newRow("outside the list") << "outside"
                                      << "";
}

void tst_ListView::hitTest()
{
    QFETCH(QString, where);
    QFETCH(QString, expectedKey);

    const auto list = shownList(4);
    QVERIFY(list);
    QTreeView *tree = list->treeView();
    QWidget *viewport = tree->viewport();
    const auto inViewport = [&](int row) { return tree->visualRect(tree->model()->index(row, 0)).center(); };
    QPoint point;
    if (where == QLatin1String("row0"))
        point = viewport->mapTo(list.get(), inViewport(0));
    else if (where == QLatin1String("row3"))
        point = viewport->mapTo(list.get(), inViewport(3));
    else if (where == QLatin1String("rightOfColumns"))
        point = viewport->mapTo(list.get(), QPoint(viewport->width() - 3, inViewport(1).y()));
    else if (where == QLatin1String("below"))
        point = viewport->mapTo(list.get(), QPoint(10, viewport->height() - 3));
    else if (where == QLatin1String("header"))
        point = tree->header()->mapTo(list.get(), QPoint(10, tree->header()->height() / 2));
    else
        point = QPoint(list->width() + 20, 10);
    QVERIFY(tree->header()->length() < viewport->width() - 3);

    const ListItem hit = list->HitTest(float(point.x()) * 15, float(point.y()) * 15);
    QCOMPARE(hit.isNull(), expectedKey.isEmpty());
    if (!expectedKey.isEmpty())
        QCOMPARE(hit.Key(), expectedKey);
}

void tst_ListView::headerClickOnlyReports()
{
    const auto list = shownList(3);
    QVERIFY(list);
    list->ListItems().Item(1).setSubItems(1, QStringLiteral("z"));
    list->ListItems().Item(3).setSubItems(1, QStringLiteral("a"));
    const QStringList before = shownRows(*list);
    QSignalSpy columnClicks(list.get(), &ListView::ColumnClick);
    QHeaderView *header = list->treeView()->header();
    const QPoint second(
        header->sectionViewportPosition(1) + header->sectionSize(1) / 2, header->height() / 2);

    QTest::mouseClick(header->viewport(), Qt::LeftButton, {}, second);

    QCOMPARE(columnClicks.size(), 1);
    QCOMPARE(columnClicks.at(0).at(0).value<ColumnHeader *>(), list->ColumnHeaders().Item(2));
    QCOMPARE(shownRows(*list), before);
    QVERIFY(!list->Sorted());
}

void tst_ListView::memoryPerRow()
{
    // Rows like a list of invoices: about 80 bytes of text in eight cells.
    const int rows = 200000;
    const quint64 before = heapInUse();
    {
        auto list = std::make_unique<ListView>();
        addColumns(*list, 8);
        list->resize(600, 400);
        list->show();
        QVERIFY(QTest::qWaitForWindowExposed(list.get()));
        const quint64 empty = heapInUse();
        char key[32], name[64], street[64];
        for (int i = 0; i < rows; ++i) {
            const int keyLength = std::snprintf(key, sizeof key, "T%d", 100000 + i);
            const int nameLength = std::snprintf(name, sizeof name, "Cliente de prueba %d S.L.", i);
            const int streetLength = std::snprintf(street, sizeof street, "Calle Mayor %d, Madrid", i % 977);
            const ListItem item = list->ListItems().Add(
                QByteArrayView(key, keyLength), CellValue::fromText(QByteArrayView(name, nameLength)));
            item.setSubItems(1, CellValue::fromText(QByteArrayView(street, streetLength)));
            item.setSubItems(2, CellValue::fromDate(2460000 + i % 700, 0, false, CellValue::Style::Date));
            item.setSubItems(3, CellValue::fromReal(i * 1.25, CellValue::Style::Money));
            item.setSubItems(4, CellValue::fromInteger(i));
            item.setSubItems(5, CellValue::fromText("Pendiente de cobro"));
            item.setSubItems(6, CellValue::fromBoolean(i % 2));
            item.setSubItems(7, CellValue::fromText(QByteArrayView(key, keyLength)));
        }
        // The view lays out every row it knows: that belongs to the cost as well.
        QCoreApplication::processEvents();
        list->treeView()->indexAt(QPoint(5, 5));
        QCOMPARE(list->treeView()->model()->rowCount(), rows);
        const double perRow = double(heapInUse() - empty) / rows;
        qInfo("%.1f bytes per row", perRow);
        QVERIFY2(perRow < 300, qPrintable(QString::number(perRow)));
        QCOMPARE(list->ListItems().Item(QStringLiteral("T%1").arg(100000 + 4321)).SubItems(3),
            QStringLiteral("5.401,25"));
    }
    // Everything goes back when the list goes.
    QVERIFY2(heapInUse() < before + 1024 * 1024, qPrintable(QString::number(heapInUse() - before)));
}

QTEST_MAIN(tst_ListView)
#include "tst_listview.moc"

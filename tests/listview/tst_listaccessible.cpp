// SPDX-License-Identifier: MIT
// The list as a screen reader asks for it through Qt's accessibility: a table with the list's rows in
// their shown order, the visible columns, header names, each cell's text as painted, the selected and
// focused row, and the notices of rows added and removed. Cells asked for before a change must still
// read what is shown at their place after it.

#include "support/Rows.h"

#include <Brennvox10/ListView.h>

#include <QAbstractItemView>
#include <QAccessible>
#include <QHeaderView>
#include <QSignalSpy>
#include <QTest>
#include <QtTest/qtestaccessible.h>

#include <functional>

using namespace Brennvox10;

using Action = std::function<void(ListView &)>;
Q_DECLARE_METATYPE(Action)

namespace {

QAccessibleTableInterface *tableOf(ListView &list)
{
    QAccessibleInterface *iface = QAccessible::queryAccessibleInterface(&list);
    return iface ? iface->tableInterface() : nullptr;
}

// Every row as the table reads it, "cell|cell|...", and as the view paints it.
QStringList tableRows(QAccessibleTableInterface *table)
{
    QStringList out;
    for (int r = 0; r < table->rowCount(); ++r) {
        QStringList cells;
        for (int c = 0; c < table->columnCount(); ++c)
            cells << table->cellAt(r, c)->text(QAccessible::Name);
        out << cells.join(QLatin1Char('|'));
    }
    return out;
}

QStringList paintedRows(ListView &list)
{
    const QAbstractItemModel *model = list.itemView()->model();
    QStringList out;
    for (int r = 0; r < model->rowCount(); ++r) {
        QStringList cells;
        for (int c = 0; c < model->columnCount(); ++c)
            if (list.header()->sectionSize(c) > 0)
                cells << model->index(r, c).data().toString();
        out << cells.join(QLatin1Char('|'));
    }
    return out;
}

// Columns Código, Nombre, Importe, a hidden key column of width 0; rows T1..T4.
void fill(ListView &list)
{
    list.ColumnHeaders().Add(QStringLiteral("cod"), QStringLiteral("Código"), 900);
    list.ColumnHeaders().Add(QStringLiteral("nom"), QStringLiteral("Nombre"), 1800);
    list.ColumnHeaders().Add(QStringLiteral("imp"), QStringLiteral("Importe"), 1200, 1);
    list.ColumnHeaders().Add(QStringLiteral("key"), QStringLiteral("Clave"), 0);
    const char *rows[][3]
        = { { "3", "Pera", "" }, { "1", "manzana", "12.5" }, { "4", "Uva", "7" }, { "2", "Kiwi", "0.25" } };
    for (int r = 0; r < 4; ++r) {
        const ListItem item
            = list.ListItems().Add(QStringLiteral("T%1").arg(r + 1), QString::fromUtf8(rows[r][0]));
        item.setSubItems(1, QString::fromUtf8(rows[r][1]));
        if (*rows[r][2])
            item.setSubItems(
                2, CellValue::fromReal(QByteArray(rows[r][2]).toDouble(), CellValue::Style::Money));
        item.setSubItems(3, QStringLiteral("k%1").arg(r + 1));
    }
}

// QtTest keeps copies of the notices and, clearing them, forgets to free them.
void forgetEvents()
{
    qDeleteAll(QTestAccessibility::events());
    QTestAccessibility::clearEvents();
}

// The notices about the list itself (Qt's own about its inner view left aside).
QList<QAccessibleEvent *> eventsOf(const ListView *list)
{
    QList<QAccessibleEvent *> out;
    for (QAccessibleEvent *e : QTestAccessibility::events())
        if (e->object() == list)
            out << e;
    return out;
}

bool focusedList(ListView &list)
{
    list.resize(400, 200);
    list.show();
    if (!QTest::qWaitForWindowExposed(&list))
        return false;
    list.activateWindow();
    list.setFocus();
    return QTest::qWaitFor([&] { return list.itemView()->hasFocus(); });
}

} // namespace

class tst_ListAccessible : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        QTestAccessibility::initialize();
        // On a desktop's accessibility bus the platform starts listening once it has connected.
        if (qEnvironmentVariableIsSet("QT_LINUX_ACCESSIBILITY_ALWAYS_ON"))
            QVERIFY2(QTest::qWaitFor([] { return QAccessible::isActive(); }, 10000),
                "Qt's accessibility did not come up on the accessibility bus");
    }
    void init() { QLocale::setDefault(QLocale(QStringLiteral("es_ES"))); }
    void cleanup() { forgetEvents(); }
    void cleanupTestCase()
    {
        QTestAccessibility::cleanup();
        forgetEvents();
    }

    void table_data()
    {
        columns<Action, QStringList>("action", "expected");
        const auto none = [](ListView &) {};
        QTest::newRow("as loaded") << Action(
            none) << QStringList { "3|Pera|", "1|manzana|12,50", "4|Uva|7,00", "2|Kiwi|0,25" };
        QTest::newRow("header sort, descending") << Action([](ListView &l) {
            l.setSortKey(1);
            l.setSortOrder(1);
            l.setSorted(true);
        }) << QStringList { "4|Uva|7,00", "3|Pera|", "1|manzana|12,50", "2|Kiwi|0,25" };
        QTest::newRow("row added") << Action([](ListView &l) {
            l.ListItems().Add(QStringLiteral("T9"), QStringLiteral("9"));
        }) << QStringList { "3|Pera|", "1|manzana|12,50", "4|Uva|7,00", "2|Kiwi|0,25", "9||" };
        QTest::newRow("row removed") << Action([](ListView &l) {
            l.ListItems().Remove(QStringLiteral("T2"));
        }) << QStringList { "3|Pera|", "4|Uva|7,00", "2|Kiwi|0,25" };
        QTest::newRow("cell updated") << Action([](ListView &l) {
            l.ListItems()
                .Item(QStringLiteral("T3"))
                .setSubItems(2, CellValue::fromReal(1234.5, CellValue::Style::Money));
        }) << QStringList { "3|Pera|", "1|manzana|12,50", "4|Uva|1.234,50", "2|Kiwi|0,25" };
        QTest::newRow("sorted, updated row moves") << Action([](ListView &l) {
            l.setSortKey(0);
            l.setSorted(true);
            QCoreApplication::processEvents();
            l.ListItems().Item(QStringLiteral("T2")).setText(CellValue::fromString(QStringLiteral("5")));
        }) << QStringList { "2|Kiwi|0,25", "3|Pera|", "4|Uva|7,00", "5|manzana|12,50" };
        QTest::newRow("cleared") << Action([](ListView &l) { l.ListItems().Clear(); }) << QStringList {};
    }

    // Given a list whose cells were all read once, when rows are sorted, added, removed or changed, then
    // the table has the list's rows and every cell, new or asked for before, reads what is painted there.
    void table()
    {
        QFETCH(Action, action);
        QFETCH(QStringList, expected);
        ListView list;
        fill(list);
        QCoreApplication::processEvents();
        QAccessibleTableInterface *table = tableOf(list);
        QVERIFY(table);
        QCOMPARE(QAccessible::queryAccessibleInterface(&list)->role(), QAccessible::Table);
        tableRows(table); // every cell asked for once, so that all of them are cached

        action(list);
        QCoreApplication::processEvents();
        QCOMPARE(table->rowCount(), list.ListItems().Count());
        QCOMPARE(tableRows(table), expected);
        QCOMPARE(tableRows(table), paintedRows(list));
        // The hidden key column is no column, and the header cells carry the captions.
        QCOMPARE(table->columnCount(), 3);
        QAccessibleInterface *iface = QAccessible::queryAccessibleInterface(&list);
        QStringList headers;
        for (int c = 0; c < table->columnCount(); ++c) {
            QCOMPARE(iface->child(c)->role(), QAccessible::ColumnHeader);
            QCOMPARE(iface->child(c)->text(QAccessible::Name), table->columnDescription(c));
            headers << table->columnDescription(c);
        }
        QCOMPARE(headers, (QStringList { "Código", "Nombre", "Importe" }));
        // A cell and its number lead to each other, and to its header.
        if (table->rowCount() > 0) {
            QAccessibleInterface *cell = table->cellAt(table->rowCount() - 1, 2);
            QCOMPARE(iface->indexOfChild(cell), table->rowCount() * 3 + 2);
            QCOMPARE(cell->tableCellInterface()->rowIndex(), table->rowCount() - 1);
            QCOMPARE(cell->tableCellInterface()->columnHeaderCells().value(0)->text(QAccessible::Name),
                QStringLiteral("Importe"));
        }
    }

    // The selected row and the focused cell follow the user's keys, and selecting a row from assistive
    // technology is a click on it.
    void selectionAndFocus()
    {
        ListView list;
        fill(list);
        QAccessibleInterface *iface = QAccessible::queryAccessibleInterface(&list);
        QAccessibleTableInterface *table = iface->tableInterface();
        QVERIFY(focusedList(list));
        QTest::keyClick(list.itemView(), Qt::Key_Down);
        QTest::keyClick(list.itemView(), Qt::Key_Down);
        const int row = list.itemView()->currentIndex().row();
        QVERIFY(row > 0);
        QCOMPARE(table->selectedRows(), QList<int> { row });
        QVERIFY(table->isRowSelected(row) && !table->isRowSelected(row - 1));
        QCOMPARE(table->selectedCellCount(), 3);
        QAccessibleInterface *focused = iface->focusChild();
        QCOMPARE(focused, table->cellAt(row, 0));
        QVERIFY(focused->state().focused && focused->state().selected);
        QCOMPARE(focused->text(QAccessible::Name), list.ListItems().Item(row + 1).Text());

        QSignalSpy clicks(&list, &ListView::ItemClick);
        QVERIFY(table->selectRow(3));
        QCOMPARE(list.itemView()->currentIndex().row(), 3);
        QCOMPARE(table->selectedRows(), QList<int> { 3 });
        QCOMPARE(clicks.size(), 1);
        QCOMPARE(clicks[0][0].value<ListItem>().Key(), QStringLiteral("T4"));
    }

    // Notices of a batch of rows added (one, whatever its length), of a row removed, and of the user's
    // move: focus and selection on the row's first cell. None from the list while nothing listens.
    // Qt sends notices only while its platform listens: on the accessibility bus, not offscreen.
    void notices()
    {
        if (!QAccessible::isActive())
            QSKIP("no assistive technology platform here; the accessibility-bus run covers this");
        ListView list;
        fill(list);
        QVERIFY(focusedList(list));
        QAccessibleInterface *iface = QAccessible::queryAccessibleInterface(&list);

        QAccessible::setActive(false);
        forgetEvents();
        for (int i = 0; i < 50; ++i)
            list.ListItems().Add(QStringLiteral("N%1").arg(i), QStringLiteral("n"));
        QCoreApplication::processEvents();
        list.ListItems().Remove(QStringLiteral("T2"));
        QTest::keyClick(list.itemView(), Qt::Key_Down);
        QCOMPARE(eventsOf(&list).size(), 0);

        QAccessible::setActive(true);
        for (int i = 0; i < 1000; ++i)
            list.ListItems().Add(QStringLiteral("M%1").arg(i), QStringLiteral("m"));
        QCoreApplication::processEvents();
        list.ListItems().Remove(QStringLiteral("T4")); // below the current row, T3
        const QList<QAccessibleEvent *> changes = eventsOf(&list);
        QCOMPARE(changes.size(), 2);
        QCOMPARE(changes[0]->type(), QAccessible::TableModelChanged);
        auto *added = static_cast<QAccessibleTableModelChangeEvent *>(changes[0]);
        QCOMPARE(added->modelChangeType(), QAccessibleTableModelChangeEvent::RowsInserted);
        QCOMPARE(added->firstRow(), 53);
        QCOMPARE(added->lastRow(), 1052);
        auto *removed = static_cast<QAccessibleTableModelChangeEvent *>(changes[1]);
        QCOMPARE(removed->modelChangeType(), QAccessibleTableModelChangeEvent::RowsRemoved);
        QCOMPARE(removed->firstRow(), 2);
        QCOMPARE(removed->lastRow(), 2);

        forgetEvents();
        QTest::keyClick(list.itemView(), Qt::Key_Down);
        const int child = iface->indexOfChild(iface->focusChild());
        QVERIFY(child > 0);
        QStringList seen;
        for (QAccessibleEvent *e : eventsOf(&list))
            seen << QStringLiteral("%1:%2").arg(int(e->type()), 0, 16).arg(e->child());
        const auto notice = [](QAccessible::Event type, int child) {
            return QStringLiteral("%1:%2").arg(int(type), 0, 16).arg(child);
        };
        QCOMPARE(seen,
            (QStringList { notice(QAccessible::SelectionRemove, child - 3),
                notice(QAccessible::SelectionAdd, child), notice(QAccessible::Focus, child) }));
    }

    // Pressing a header cell is a click on that column's header.
    void headerPress()
    {
        ListView list;
        fill(list);
        QSignalSpy clicks(&list, &ListView::ColumnClick);
        QAccessibleInterface *header = QAccessible::queryAccessibleInterface(&list)->child(1);
        QCOMPARE(header->actionInterface()->actionNames(),
            QStringList { QAccessibleActionInterface::pressAction() });
        header->actionInterface()->doAction(QAccessibleActionInterface::pressAction());
        QTRY_COMPARE(clicks.size(), 1);
        QCOMPARE(clicks[0][0].value<ColumnHeader *>()->Key(), QStringLiteral("nom"));
    }
};

QTEST_MAIN(tst_ListAccessible)
#include "tst_listaccessible.moc"

// SPDX-License-Identifier: MIT
#pragma once
// The list view's private side is its item model. One object answers both Qt's view (the overrides)
// and the keyed collections (ListItems, ColumnHeaders), so that every edit of rows or columns and the
// view's notice of it are made in one place and cannot drift apart.
//
// Rows live in a RowStore; the model shows them in the order kept here. Rows added are announced to
// the view in one batch, when control returns to the event loop or before anything reads rows by
// position, so a bulk load costs no notification per row. A sorted list stays sorted one row at a
// time: a row added or changed moves to its place by binary search, and the view hears of exactly
// that row.

#include "listview/rows/RowOrder_p.h"
#include "listview/rows/RowStore_p.h"
#include "listview/RowsView_p.h"

#include <Brennvox10/Failure.h>
#include <Brennvox10/ListView.h>

#include <QAbstractItemModel>

#include <memory>
#include <vector>

namespace Brennvox10 {

class ListViewPrivate : public QAbstractItemModel {
    Q_OBJECT
public:
    explicit ListViewPrivate(ListView *q);
    ~ListViewPrivate() override;

    QModelIndex index(int row, int column, const QModelIndex &parent = QModelIndex()) const override;
    QModelIndex parent(const QModelIndex &child) const override;
    int rowCount(const QModelIndex &parent = QModelIndex()) const override;
    int columnCount(const QModelIndex &parent = QModelIndex()) const override;
    bool hasChildren(const QModelIndex &parent = QModelIndex()) const override;
    QVariant data(const QModelIndex &index, int role = Qt::DisplayRole) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role = Qt::DisplayRole) const override;
    Qt::ItemFlags flags(const QModelIndex &index) const override;

    // Announces pending rows and applies a pending sort.
    void flush();
    void scheduleFlush();

    quint32 addRow(QByteArrayView key, const CellValue &text);
    // None, and nothing changed, when the key is taken or memory runs out.
    quint32 addPackedRow(QByteArrayView packed);
    void setCell(quint32 id, int index, const CellValue &value);
    void removeRow(quint32 id);
    void clearRows(bool keepRoom = false);
    // Shown position of a live row, pending rows included.
    int positionOf(quint32 id) const { return int(order.positionOf(id)); }
    // Throws unless the handle names a live row.
    void checkRow(quint32 id, quint32 generation) const
    {
        if (generation != store.generation() || !store.isAlive(id))
            throwFailure(FailureNumber::ElementNotFound);
    }
    void checkSubItem(int index) const
    {
        if (index < 1 || index >= int(columns.size()))
            throwFailure(FailureNumber::InvalidPropertyValue);
    }
    [[noreturn]] static void throwFailure(qint32 number);
    static const RowStore &storeOf(const ListItems &items) { return items.d->store; }
    static ListViewPrivate *of(ListItems &items) { return items.d; }
    ListItem item(quint32 id) { return ListItem(this, id, store.generation()); }

    void addColumn(std::unique_ptr<ColumnHeader> column);
    void clearColumns();
    ColumnHeader *column(int index) const { return columns[size_t(index)].get(); }
    int columnPosition(const ColumnHeader *column) const;
    void columnResized(int logical, int oldPixels, int pixels);

    // The row under a point of the viewport, or None.
    quint32 rowAt(const QPoint &viewportPos);
    bool eventFilter(QObject *watched, QEvent *event) override;

    ListView *q;
    RowsView *view = nullptr;
    Brennvox10::ColumnHeaders columnHeaders;
    Brennvox10::ListItems listItems;
    std::vector<std::unique_ptr<ColumnHeader>> columns;

    RowStore store;
    RowOrder order; // ids in shown order; the first `shown` are known to the view
    int shown = 0;
    quint32 announcedIds = 0; // rows with a lower id are known to the view

    bool sorted = false;
    bool sortPending = false;
    qint16 sortKey = 0;
    qint16 sortOrder = 0;
    bool flushScheduled = false;
    quint32 pressedRow = RowStore::None;

private:
    void sortRows();
    // The text a row is sorted by, and the sort's comparison of two such texts.
    QString sortText(quint32 id) const;
    bool before(const QString &a, const QString &b) const;
    // The first shown position in [first, last) whose row sorts after `text` (or, with `orEqual`, not
    // before it), with the row at `skip` left out of both the range and the count.
    int search(const QString &text, bool orEqual, int first, int last, int skip) const;
    void placeAfterEdit(quint32 id);
};

} // namespace Brennvox10

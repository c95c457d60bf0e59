// SPDX-License-Identifier: MIT
#include "listview/ListView_p.h"
#include "core/BusyCursor.h"
#include "listview/rows/TextSort_p.h"
#include "widgets/Twips.h"

#include <Brennvox10/Failure.h>

#include <QHeaderView>
#include <QMetaObject>
#include <QMouseEvent>
#include <QPointer>
#include <QAbstractItemView>

#include <algorithm>
#include <new>

namespace Brennvox10 {

namespace {

int alignmentFlags(qint16 alignment)
{
    switch (alignment) {
    case 1:
        return int(Qt::AlignRight | Qt::AlignVCenter);
    case 2:
        return int(Qt::AlignHCenter | Qt::AlignVCenter);
    default:
        return int(Qt::AlignLeft | Qt::AlignVCenter);
    }
}

qint16 buttonCode(Qt::MouseButton button)
{
    switch (button) {
    case Qt::LeftButton:
        return 1;
    case Qt::RightButton:
        return 2;
    case Qt::MiddleButton:
        return 4;
    default:
        return 0;
    }
}

qint16 shiftCode(Qt::KeyboardModifiers modifiers)
{
    return qint16((modifiers & Qt::ShiftModifier ? 1 : 0) | (modifiers & Qt::ControlModifier ? 2 : 0)
        | (modifiers & Qt::AltModifier ? 4 : 0));
}

// No column shows more of a text than this, and laying out a text of megabytes would stall the view.
constexpr qsizetype ShownLength = 4096;

QString shownText(CellValue cell)
{
    // UTF-8 takes at most three bytes for each UTF-16 unit: this many bytes still decode past the
    // length shown, and a sequence they cut lies beyond it.
    constexpr qsizetype enough = 3 * (ShownLength + 2);
    if (cell.kind == CellValue::Kind::Text && cell.text.size() > enough)
        cell.text = cell.text.first(enough);
    QString text = cellText(cell, QLocale());
    if (text.size() <= ShownLength)
        return text;
    text.truncate(text.at(ShownLength - 1).isHighSurrogate() ? ShownLength - 1 : ShownLength);
    return text + QChar(0x2026);
}

} // namespace

ListViewPrivate::ListViewPrivate(ListView *q)
    : q(q)
    , columnHeaders(this)
    , listItems(this)
{
}

ListViewPrivate::~ListViewPrivate() = default;

QModelIndex ListViewPrivate::index(int row, int column, const QModelIndex &parent) const
{
    if (parent.isValid() || row < 0 || column < 0 || row >= shown || column >= int(columns.size()))
        return QModelIndex();
    return createIndex(row, column);
}

QModelIndex ListViewPrivate::parent(const QModelIndex &) const
{
    return QModelIndex();
}

int ListViewPrivate::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : shown;
}

int ListViewPrivate::columnCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : int(columns.size());
}

bool ListViewPrivate::hasChildren(const QModelIndex &parent) const
{
    return !parent.isValid() && shown > 0 && !columns.empty();
}

QVariant ListViewPrivate::data(const QModelIndex &index, int role) const
{
    if (!index.isValid() || index.row() >= shown || index.column() >= int(columns.size()))
        return QVariant();
    switch (role) {
    case Qt::DisplayRole:
        return shownText(store.cell(order.at(size_t(index.row())), index.column()));
    case Qt::TextAlignmentRole:
        return alignmentFlags(columns[size_t(index.column())]->m_alignment);
    default:
        return QVariant();
    }
}

QVariant ListViewPrivate::headerData(int section, Qt::Orientation orientation, int role) const
{
    if (orientation != Qt::Horizontal || section < 0 || section >= int(columns.size()))
        return QVariant();
    switch (role) {
    case Qt::DisplayRole:
        return columns[size_t(section)]->m_text;
    case Qt::TextAlignmentRole:
        return alignmentFlags(columns[size_t(section)]->m_alignment);
    default:
        return QVariant();
    }
}

Qt::ItemFlags ListViewPrivate::flags(const QModelIndex &index) const
{
    if (!index.isValid())
        return Qt::NoItemFlags;
    return Qt::ItemIsEnabled | Qt::ItemIsSelectable | Qt::ItemNeverHasChildren;
}

void ListViewPrivate::scheduleFlush()
{
    if (flushScheduled)
        return;
    flushScheduled = true;
    QMetaObject::invokeMethod(
        this,
        [this] {
            flushScheduled = false;
            if (busy::pumping()) {
                // A long load is letting the window repaint: its rows are announced once it is done.
                flushScheduled = true;
                busy::whenDone([alive = QPointer<ListViewPrivate>(this)] {
                    if (alive) {
                        alive->flushScheduled = false;
                        alive->scheduleFlush();
                    }
                });
                return;
            }
            flush();
        },
        Qt::QueuedConnection);
}

void ListViewPrivate::flush()
{
    const size_t pending = order.size() - size_t(shown);
    if (pending > 0 && sorted && !sortPending && pending * 16 <= size_t(shown)) {
        // A few rows into a long sorted list: each to its place, in the order they came, so that a
        // new row goes after the rows that sort equal to it, as a full sort would put it.
        for (size_t i = 0; i < pending; ++i) {
            const quint32 id = order.at(size_t(shown));
            order.erase(size_t(shown));
            const int at = search(sortText(id), false, 0, shown, -1);
            beginInsertRows(QModelIndex(), at, at);
            order.insert(size_t(at), id);
            ++shown;
            endInsertRows();
        }
    } else if (pending > 0) {
        beginInsertRows(QModelIndex(), shown, int(order.size()) - 1);
        shown = int(order.size());
        announcedIds = store.idLimit();
        endInsertRows();
        if (sorted)
            sortPending = true;
    }
    announcedIds = store.idLimit();
    if (sorted && sortPending)
        sortRows();
}

QString ListViewPrivate::sortText(quint32 id) const
{
    return cellText(store.cell(id, sortKey), QLocale()).toCaseFolded();
}

bool ListViewPrivate::before(const QString &a, const QString &b) const
{
    return sortOrder == 1 ? QStringView(b).compare(a) < 0 : QStringView(a).compare(b) < 0;
}

int ListViewPrivate::search(const QString &text, bool orEqual, int first, int last, int skip) const
{
    // Positions here count as if the row at `skip` were not there.
    const auto at = [&](int p) { return order.at(size_t(skip >= 0 && p >= skip ? p + 1 : p)); };
    while (first < last) {
        const int middle = first + (last - first) / 2;
        const QString other = sortText(at(middle));
        if (orEqual ? before(other, text) : !before(text, other))
            first = middle + 1;
        else
            last = middle;
    }
    return first;
}

void ListViewPrivate::placeAfterEdit(quint32 id)
{
    // Where a full sort would put the row: among the rows that sort equal to it, the ones above it
    // stay above and the ones below stay below.
    const int from = positionOf(id);
    const QString text = sortText(id);
    const int low = search(text, true, 0, shown - 1, from);
    const int high = search(text, false, low, shown - 1, from);
    const int to = std::clamp(from, low, high);
    if (to == from)
        return;
    beginMoveRows(QModelIndex(), from, from, QModelIndex(), to > from ? to + 1 : to);
    order.erase(size_t(from));
    order.insert(size_t(to), id);
    endMoveRows();
}

void ListViewPrivate::sortRows()
{
    sortPending = false;
    if (order.size() < 2)
        return;
    const busy::Scope busy;
    Q_EMIT layoutAboutToBeChanged({}, QAbstractItemModel::VerticalSortHint);
    const QModelIndexList before = persistentIndexList();
    std::vector<quint32> beforeRows;
    beforeRows.reserve(size_t(before.size()));
    for (const QModelIndex &i : before)
        beforeRows.push_back(i.row() < shown ? order.at(size_t(i.row())) : RowStore::None);

    const BulkVector<quint32> current = order.toVector();
    RowSort rows(current.size());
    const QLocale locale;
    for (quint32 id : current)
        rows.add(store.cell(id, sortKey), locale);
    BulkVector<quint32> sortedOrder = rows.sortedPositions(sortOrder == 1);
    for (quint32 &at : sortedOrder)
        at = current[at];
    order.assign(sortedOrder);

    QModelIndexList after;
    after.reserve(before.size());
    for (qsizetype i = 0; i < before.size(); ++i) {
        const quint32 id = beforeRows[size_t(i)];
        after.push_back(
            id == RowStore::None ? QModelIndex() : createIndex(positionOf(id), before[i].column()));
    }
    changePersistentIndexList(before, after);
    Q_EMIT layoutChanged({}, QAbstractItemModel::VerticalSortHint);
}

void ListViewPrivate::throwFailure(qint32 number)
{
    throw failureFor(number);
}

quint32 ListViewPrivate::addRow(QByteArrayView key, const CellValue &text)
{
    const quint32 id = store.append(key, text);
    if (id == RowStore::None)
        throw failureFor(FailureNumber::KeyNotUnique);
    try {
        order.pushBack(id);
    } catch (const std::bad_alloc &) {
        store.remove(id); // a row the order cannot hold is no row at all
        throw failureFor(FailureNumber::OutOfMemory);
    }
    scheduleFlush();
    return id;
}

quint32 ListViewPrivate::addPackedRow(QByteArrayView packed)
{
    quint32 id = RowStore::None;
    try {
        id = store.appendPacked(packed);
    } catch (const Failure &) {
        return RowStore::None;
    }
    if (id == RowStore::None)
        return id;
    try {
        order.pushBack(id);
    } catch (const std::bad_alloc &) {
        store.remove(id);
        return RowStore::None;
    }
    scheduleFlush();
    return id;
}

void ListViewPrivate::setCell(quint32 id, int index, const CellValue &value)
{
    // A shown row that moves meets a list in order: rows still to be placed, or a pending sort, first.
    const bool moves = sorted && index == sortKey && id < announcedIds;
    if (moves)
        flush();
    store.setCell(id, index, value);
    if (id >= announcedIds)
        return; // placed and announced with the other new rows
    if (moves)
        placeAfterEdit(id);
    if (index < int(columns.size())) {
        const QModelIndex at = this->index(positionOf(id), index);
        Q_EMIT dataChanged(at, at, { Qt::DisplayRole });
    }
}

void ListViewPrivate::removeRow(quint32 id)
{
    const int position = positionOf(id);
    const bool known = position < shown;
    if (known)
        beginRemoveRows(QModelIndex(), position, position);
    store.remove(id);
    order.erase(size_t(position));
    if (pressedRow == id)
        pressedRow = RowStore::None;
    if (known) {
        --shown;
        endRemoveRows();
    }
}

void ListViewPrivate::clearRows(bool keepRoom)
{
    beginResetModel();
    store.clear(keepRoom);
    order.clear(keepRoom);
    shown = 0;
    announcedIds = 0;
    sortPending = false;
    pressedRow = RowStore::None;
    endResetModel();
}

void ListViewPrivate::addColumn(std::unique_ptr<ColumnHeader> column)
{
    const int at = int(columns.size());
    beginInsertColumns(QModelIndex(), at, at);
    columns.push_back(std::move(column));
    endInsertColumns();
}

void ListViewPrivate::clearColumns()
{
    if (columns.empty())
        return;
    beginRemoveColumns(QModelIndex(), 0, int(columns.size()) - 1);
    columns.clear();
    endRemoveColumns();
}

int ListViewPrivate::columnPosition(const ColumnHeader *column) const
{
    return view->header()->visualIndex(column->m_index - 1) + 1;
}

void ListViewPrivate::columnResized(int logical, int, int pixels)
{
    // A width the user dragged; a width set in twips keeps its exact value while its pixels hold.
    if (logical < 0 || logical >= int(columns.size()))
        return;
    ColumnHeader *c = column(logical);
    if (twips::toPixels(c->m_width) != pixels)
        c->m_width = float(pixels) * TwipsPerPixel;
}

quint32 ListViewPrivate::rowAt(const QPoint &viewportPos)
{
    flush();
    if (!view->viewport()->rect().contains(viewportPos))
        return RowStore::None;
    // A row is hit across its whole width, also right of the last column.
    const QHeaderView *header = view->header();
    QPoint at = viewportPos;
    if (header->logicalIndexAt(at.x()) < 0)
        at.setX(0);
    const QModelIndex index = view->indexAt(at);
    if (!index.isValid() || index.row() >= shown)
        return RowStore::None;
    return order.at(size_t(index.row()));
}

bool ListViewPrivate::eventFilter(QObject *watched, QEvent *event)
{
    if (watched != view->viewport())
        return false;
    switch (event->type()) {
    case QEvent::MouseButtonPress: {
        const auto *e = static_cast<QMouseEvent *>(event);
        pressedRow = e->button() == Qt::LeftButton ? rowAt(e->position().toPoint()) : RowStore::None;
        break;
    }
    case QEvent::MouseButtonRelease: {
        const auto *e = static_cast<QMouseEvent *>(event);
        const QPointF at = view->viewport()->mapTo(q, e->position());
        const qint16 button = buttonCode(e->button());
        const qint16 shift = shiftCode(e->modifiers());
        // A handler may destroy the list: nothing of it may be touched after that.
        QPointer<ListView> alive(q);
        if (e->button() == Qt::LeftButton && pressedRow != RowStore::None) {
            const quint32 id = pressedRow;
            pressedRow = RowStore::None;
            if (store.isAlive(id) && rowAt(e->position().toPoint()) == id)
                Q_EMIT q->ItemClick(item(id));
            if (!alive)
                return true;
        }
        Q_EMIT q->MouseUp(button, shift, float(at.x() * TwipsPerPixel), float(at.y() * TwipsPerPixel));
        return !alive;
    }
    case QEvent::MouseButtonDblClick: {
        const auto *e = static_cast<QMouseEvent *>(event);
        pressedRow = RowStore::None;
        if (e->button() == Qt::LeftButton) {
            QPointer<ListView> alive(q);
            Q_EMIT q->DblClick();
            return !alive;
        }
        break;
    }
    default:
        break;
    }
    return false;
}

} // namespace Brennvox10

#include "platform/widgets/ListView_p.h"
#include "platform/widgets/Twips.h"

#include <Brennvox10/Failure.h>

#include <QHeaderView>
#include <QMetaObject>
#include <QMouseEvent>
#include <QPointer>
#include <QTreeView>

#include <algorithm>

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
        return cellText(store.cell(order[size_t(index.row())], index.column()), QLocale());
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
            flush();
        },
        Qt::QueuedConnection);
}

void ListViewPrivate::flush()
{
    if (size_t(shown) < order.size()) {
        beginInsertRows(QModelIndex(), shown, int(order.size()) - 1);
        shown = int(order.size());
        announcedIds = store.idLimit();
        endInsertRows();
    }
    announcedIds = store.idLimit();
    if (sorted && sortPending)
        sortRows();
}

void ListViewPrivate::sortRows()
{
    sortPending = false;
    if (order.size() < 2)
        return;
    Q_EMIT layoutAboutToBeChanged({}, QAbstractItemModel::VerticalSortHint);
    const QModelIndexList before = persistentIndexList();
    std::vector<quint32> beforeRows;
    beforeRows.reserve(size_t(before.size()));
    for (const QModelIndex &i : before)
        beforeRows.push_back(i.row() < shown ? order[size_t(i.row())] : RowStore::None);

    // The folded texts side by side in one block: no allocation per row, and plain comparisons that
    // ignore case. Ties keep the current order.
    struct Entry {
        quint64 offset;
        quint32 length;
        quint32 position;
    };
    BulkVector<Entry> entries(order.size());
    BulkVector<char16_t> texts;
    texts.reserve(order.size() * 16);
    const QLocale locale;
    for (size_t i = 0; i < order.size(); ++i) {
        const QString folded = cellText(store.cell(order[i], sortKey), locale).toCaseFolded();
        entries[i] = { texts.size(), quint32(folded.size()), quint32(i) };
        texts.insert(texts.end(), folded.utf16(), folded.utf16() + folded.size());
    }
    const auto text = [&texts](const Entry &e) { return QStringView(texts.data() + e.offset, e.length); };
    const bool descending = sortOrder == 1;
    std::sort(entries.begin(), entries.end(), [&](const Entry &a, const Entry &b) {
        const int c = descending ? text(b).compare(text(a)) : text(a).compare(text(b));
        return c != 0 ? c < 0 : a.position < b.position;
    });
    BulkVector<quint32> sortedOrder(order.size());
    for (size_t i = 0; i < entries.size(); ++i)
        sortedOrder[i] = order[entries[i].position];
    order.swap(sortedOrder);
    positionsBuilt = 0;

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

int ListViewPrivate::positionOf(quint32 id)
{
    if (positions.size() < store.idLimit())
        positions.resize(store.idLimit());
    for (; positionsBuilt < order.size(); ++positionsBuilt)
        positions[order[positionsBuilt]] = quint32(positionsBuilt);
    return int(positions[id]);
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
    order.push_back(id);
    if (sorted)
        sortPending = true;
    scheduleFlush();
    return id;
}

void ListViewPrivate::setCell(quint32 id, int index, const CellValue &value)
{
    store.setCell(id, index, value);
    if (id < announcedIds && index < int(columns.size())) {
        const QModelIndex at = this->index(positionOf(id), index);
        Q_EMIT dataChanged(at, at, { Qt::DisplayRole });
    }
    if (sorted && index == sortKey) {
        sortPending = true;
        scheduleFlush();
    }
}

void ListViewPrivate::removeRow(quint32 id)
{
    const int position = positionOf(id);
    const bool known = position < shown;
    if (known)
        beginRemoveRows(QModelIndex(), position, position);
    store.remove(id);
    order.erase(order.begin() + position);
    positionsBuilt = std::min(positionsBuilt, size_t(position));
    if (pressedRow == id)
        pressedRow = RowStore::None;
    if (known) {
        --shown;
        endRemoveRows();
    }
}

void ListViewPrivate::clearRows()
{
    beginResetModel();
    store.clear();
    BulkVector<quint32>().swap(order);
    BulkVector<quint32>().swap(positions);
    shown = 0;
    announcedIds = 0;
    positionsBuilt = 0;
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
    return tree->header()->visualIndex(column->m_index - 1) + 1;
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
    if (!tree->viewport()->rect().contains(viewportPos))
        return RowStore::None;
    // A row is hit across its whole width, also right of the last column.
    const QHeaderView *header = tree->header();
    QPoint at = viewportPos;
    if (header->logicalIndexAt(at.x()) < 0)
        at.setX(0);
    const QModelIndex index = tree->indexAt(at);
    if (!index.isValid() || index.row() >= shown)
        return RowStore::None;
    return order[size_t(index.row())];
}

bool ListViewPrivate::eventFilter(QObject *watched, QEvent *event)
{
    if (watched != tree->viewport())
        return false;
    switch (event->type()) {
    case QEvent::MouseButtonPress: {
        const auto *e = static_cast<QMouseEvent *>(event);
        pressedRow = e->button() == Qt::LeftButton ? rowAt(e->position().toPoint()) : RowStore::None;
        break;
    }
    case QEvent::MouseButtonRelease: {
        const auto *e = static_cast<QMouseEvent *>(event);
        const QPointF at = tree->viewport()->mapTo(q, e->position());
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

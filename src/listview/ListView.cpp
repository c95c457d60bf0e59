// SPDX-License-Identifier: MIT
#include "widgets/Keyed_p.h"
#include "listview/ListAccessible_p.h"
#include "listview/ListView_p.h"
#include "listview/PackedRows.h"
#include "widgets/Twips.h"

#include <Brennvox10/Failure.h>

#include <QHeaderView>
#include <QAbstractItemView>
#include <QVBoxLayout>

#include <cmath>

namespace Brennvox10 {

namespace {

ListViewPrivate *liveRow(ListViewPrivate *d, quint32 id, quint32 generation)
{
    if (!d)
        throw failureFor(FailureNumber::ObjectNotSet);
    d->checkRow(id, generation);
    return d;
}

} // namespace

// ColumnHeader

QString ColumnHeader::Key() const
{
    return m_key;
}

QString ColumnHeader::Text() const
{
    return m_text;
}

float ColumnHeader::Width() const
{
    return m_width;
}

qint16 ColumnHeader::Alignment() const
{
    return m_alignment;
}

qint16 ColumnHeader::Position() const
{
    return d ? qint16(d->columnPosition(this)) : m_index;
}

// ColumnHeaders

int ColumnHeaders::Count() const
{
    return int(d->columns.size());
}

ColumnHeader *ColumnHeaders::Item(int index) const
{
    return keyed::at(d->columns, index);
}

ColumnHeader *ColumnHeaders::Item(const QString &key) const
{
    return keyed::byKey(d->columns, key);
}

ColumnHeader *ColumnHeaders::Add(const QString &key, const QString &text, float widthTwips, qint16 alignment)
{
    if (alignment < 0 || alignment > 2 || !(widthTwips >= 0) || std::isinf(widthTwips))
        throw failureFor(FailureNumber::InvalidPropertyValue);
    keyed::checkUnique(d->columns, key);
    std::unique_ptr<ColumnHeader> column(new ColumnHeader);
    column->d = d;
    column->m_key = key;
    column->m_text = text;
    column->m_alignment = alignment;
    column->m_index = qint16(Count() + 1);
    ColumnHeader *added = column.get();
    d->addColumn(std::move(column));
    d->view->header()->resizeSection(added->m_index - 1, twips::toPixels(widthTwips));
    // Set after the header has sized the section, which reports its pixels back.
    added->m_width = widthTwips;
    return added;
}

void ColumnHeaders::Clear()
{
    d->clearColumns();
}

// ListItem

QString ListItem::Key() const
{
    return QString::fromUtf8(liveRow(d, id, generation)->store.key(id));
}

QString ListItem::Text() const
{
    return cellText(liveRow(d, id, generation)->store.cell(id, 0));
}

qint32 ListItem::Index() const
{
    ListViewPrivate *p = liveRow(d, id, generation);
    p->flush();
    return p->positionOf(id) + 1;
}

QString ListItem::SubItems(int index) const
{
    ListViewPrivate *p = liveRow(d, id, generation);
    p->checkSubItem(index);
    return cellText(p->store.cell(id, index));
}

void ListItem::setText(const CellValue &value) const
{
    liveRow(d, id, generation)->setCell(id, 0, value);
}

void ListItem::setSubItems(int index, const CellValue &value) const
{
    ListViewPrivate *p = liveRow(d, id, generation);
    p->checkSubItem(index);
    p->setCell(id, index, value);
}

void ListItem::setSubItems(int index, const QString &text) const
{
    setSubItems(index, CellValue::fromString(text));
}

// ListItems

int ListItems::Count() const
{
    return d->store.count();
}

ListItem ListItems::Item(int index) const
{
    if (index < 1 || index > Count())
        throw failureFor(FailureNumber::IndexOutOfBounds);
    d->flush();
    return d->item(d->order.at(size_t(index - 1)));
}

ListItem ListItems::Item(const QString &key) const
{
    const quint32 id = d->store.find(key.toUtf8());
    if (id == RowStore::None)
        throw failureFor(FailureNumber::ElementNotFound);
    return d->item(id);
}

ListItem ListItems::Add(const QString &key, const QString &text)
{
    const QByteArray utf8 = key.toUtf8();
    return Add(QByteArrayView(utf8), CellValue::fromString(text));
}

ListItem ListItems::Add(QByteArrayView keyUtf8, const CellValue &text)
{
    return d->item(d->addRow(keyUtf8, text));
}

void clearForLoad(ListItems &items)
{
    ListViewPrivate::of(items)->clearRows(true);
}

void loadDone(ListItems &items)
{
    ListViewPrivate::of(items)->store.releaseRoom();
}

void packRow(QByteArrayView keyUtf8, const CellValue *cells, int count, std::vector<char> &out)
{
    RowStore::pack(keyUtf8, cells, count, out);
}

ListItem addPackedRow(ListItems &items, QByteArrayView packed)
{
    ListViewPrivate *d = ListViewPrivate::of(items);
    const quint32 id = d->addPackedRow(packed);
    return id == RowStore::None ? ListItem() : d->item(id);
}

void unpackRow(QByteArrayView packed, QByteArrayView &keyUtf8, std::vector<CellValue> &cells)
{
    RowStore::unpack(packed, keyUtf8, cells);
}

void prefetchPackedRow(const ListItems &items, QByteArrayView packed)
{
    if (!packed.isEmpty())
        ListViewPrivate::storeOf(items).prefetchPacked(packed);
}

void ListItems::Remove(const QString &key)
{
    const quint32 id = d->store.find(key.toUtf8());
    if (id == RowStore::None)
        throw failureFor(FailureNumber::ElementNotFound);
    d->removeRow(id);
}

void ListItems::Clear()
{
    d->clearRows();
}

// ListView

ListView::ListView(QWidget *parent)
    : QWidget(parent)
    , d(std::make_unique<ListViewPrivate>(this))
{
    qRegisterMetaType<Brennvox10::ListItem>();
    d->view = new RowsView(this);
    RowsView *view = d->view;
    view->setSelectionMode(QAbstractItemView::SingleSelection);
    view->setSelectionBehavior(QAbstractItemView::SelectRows);
    view->setEditTriggers(QAbstractItemView::NoEditTriggers);
    view->setModel(d.get());

    QHeaderView *header = view->header();
    header->setSectionsClickable(true);
    header->setSectionsMovable(false);
    header->setStretchLastSection(false);
    // Columns of width 0 are the usual way to keep a field out of sight.
    header->setMinimumSectionSize(0);
    connect(header, &QHeaderView::sectionClicked, this, [this](int logical) {
        if (logical >= 0 && logical < int(d->columns.size()))
            Q_EMIT ColumnClick(d->column(logical));
    });
    connect(header, &QHeaderView::sectionResized, d.get(), &ListViewPrivate::columnResized);
    // A row reached with the keyboard is picked as a click picks it.
    connect(view, &RowsView::rowPicked, this, [this](int row) {
        if (row >= 0 && row < d->shown)
            Q_EMIT ItemClick(d->item(d->order.at(size_t(row))));
    });

    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);
    layout->addWidget(view);
    setFocusProxy(view);
    view->viewport()->installEventFilter(d.get());
    accessible::attach(this);
}

ListView::~ListView()
{
    // The view goes first, while the model it shows is still whole; its viewport must not reach our
    // filter while it is being torn down.
    d->view->viewport()->removeEventFilter(d.get());
    delete d->view;
    d->view = nullptr;
}

Brennvox10::ColumnHeaders &ListView::ColumnHeaders()
{
    return d->columnHeaders;
}

Brennvox10::ListItems &ListView::ListItems()
{
    return d->listItems;
}

bool ListView::Sorted() const
{
    return d->sorted;
}

void ListView::setSorted(bool sorted)
{
    d->sorted = sorted;
    if (sorted) {
        d->sortPending = true;
        d->scheduleFlush();
    }
}

qint16 ListView::SortKey() const
{
    return d->sortKey;
}

void ListView::setSortKey(qint16 key)
{
    if (key < 0)
        throw failureFor(FailureNumber::InvalidPropertyValue);
    d->sortKey = key;
    if (d->sorted) {
        d->sortPending = true;
        d->scheduleFlush();
    }
}

qint16 ListView::SortOrder() const
{
    return d->sortOrder;
}

void ListView::setSortOrder(qint16 order)
{
    if (order != 0 && order != 1)
        throw failureFor(FailureNumber::InvalidPropertyValue);
    d->sortOrder = order;
    if (d->sorted) {
        d->sortPending = true;
        d->scheduleFlush();
    }
}

ListItem ListView::HitTest(float x, float y) const
{
    const QPoint at = d->view->viewport()->mapFrom(this, QPoint(twips::toPixels(x), twips::toPixels(y)));
    const quint32 id = d->rowAt(at);
    return id == RowStore::None ? ListItem() : d->item(id);
}

QAbstractItemView *ListView::itemView() const
{
    return d->view;
}

QHeaderView *ListView::header() const
{
    return d->view->header();
}

} // namespace Brennvox10

#include "Brennvox10/moc_ListView.cpp"

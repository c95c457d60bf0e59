// SPDX-License-Identifier: MIT
#include "listview/RowsView_p.h"

#include <QEvent>
#include <QHeaderView>
#include <QKeyEvent>
#include <QPaintEvent>
#include <QPainter>
#include <QScrollBar>
#include <QStyle>
#include <QStyleOptionFocusRect>
#include <QStyleOptionViewItem>

#include <algorithm>
#include <climits>

namespace Brennvox10 {

RowsView::RowsView(QWidget *parent)
    : QAbstractItemView(parent)
    , m_header(new QHeaderView(Qt::Horizontal, this))
{
    m_header->setHighlightSections(false);
    m_header->setDefaultAlignment(Qt::AlignLeft | Qt::AlignVCenter);
    setHorizontalScrollMode(ScrollPerPixel);
    setVerticalScrollMode(ScrollPerPixel);
    const auto changed = [this] { contentsChanged(); };
    connect(m_header, &QHeaderView::sectionResized, this, changed);
    connect(m_header, &QHeaderView::sectionMoved, this, changed);
    connect(m_header, &QHeaderView::sectionCountChanged, this, changed);
    connect(m_header, &QHeaderView::geometriesChanged, this, changed);
}

int RowsView::rowHeight() const
{
    if (m_rowHeight <= 0) {
        QStyleOptionViewItem option;
        initViewItemOption(&option);
        option.features |= QStyleOptionViewItem::HasDisplay;
        option.text = QStringLiteral("Xg");
        m_rowHeight = std::max(1, style()->sizeFromContents(QStyle::CT_ItemViewItem, &option, QSize(), this).height());
    }
    return m_rowHeight;
}

void RowsView::setModel(QAbstractItemModel *model)
{
    if (QAbstractItemModel *old = this->model())
        disconnect(old, nullptr, this, nullptr);
    QAbstractItemView::setModel(model);
    m_header->setModel(model);
    if (model) {
        const auto changed = [this] { contentsChanged(); };
        connect(model, &QAbstractItemModel::rowsRemoved, this, changed);
        connect(model, &QAbstractItemModel::rowsMoved, this, changed);
        connect(model, &QAbstractItemModel::modelReset, this, changed);
    }
    contentsChanged();
}

int RowsView::rowCount() const
{
    return model() ? model()->rowCount(rootIndex()) : 0;
}

int RowsView::rowsPerPage() const
{
    return std::max(1, viewport()->height() / rowHeight());
}

QRect RowsView::visualRect(const QModelIndex &index) const
{
    if (!index.isValid() || index.parent() != rootIndex() || m_header->isSectionHidden(index.column()))
        return QRect();
    const qint64 y = qint64(index.row()) * rowHeight() - verticalOffset();
    if (y < INT_MIN / 2 || y > INT_MAX / 2)
        return QRect();
    return QRect(m_header->sectionViewportPosition(index.column()), int(y),
        m_header->sectionSize(index.column()), rowHeight());
}

void RowsView::scrollTo(const QModelIndex &index, ScrollHint hint)
{
    if (!index.isValid() || index.parent() != rootIndex())
        return;
    const qint64 top = qint64(index.row()) * rowHeight();
    const int height = viewport()->height();
    const qint64 offset = verticalOffset();
    qint64 value = offset;
    switch (hint) {
    case EnsureVisible:
        if (top < offset)
            value = top;
        else if (top + rowHeight() > offset + height)
            value = top + rowHeight() - height;
        break;
    case PositionAtTop:
        value = top;
        break;
    case PositionAtBottom:
        value = top + rowHeight() - height;
        break;
    case PositionAtCenter:
        value = top - (height - rowHeight()) / 2;
        break;
    }
    verticalScrollBar()->setValue(int(std::clamp<qint64>(value, 0, INT_MAX)));

    // Whole rows are selected, so only a column that is wholly out of sight brings the view across.
    const int left = m_header->sectionPosition(index.column());
    const int right = left + m_header->sectionSize(index.column());
    const int x = horizontalOffset();
    if (right <= x || left >= x + viewport()->width())
        horizontalScrollBar()->setValue(left);
}

QModelIndex RowsView::indexAt(const QPoint &point) const
{
    if (point.y() < 0 || !model())
        return QModelIndex();
    const qint64 row = (qint64(point.y()) + verticalOffset()) / rowHeight();
    const int column = m_header->logicalIndexAt(point.x());
    if (row >= rowCount() || column < 0)
        return QModelIndex();
    return model()->index(int(row), column, rootIndex());
}

QModelIndex RowsView::moveCursor(CursorAction action, Qt::KeyboardModifiers)
{
    const int rows = rowCount();
    if (rows == 0 || m_header->count() == 0)
        return QModelIndex();
    const QModelIndex current = currentIndex();
    const int column = current.isValid() ? current.column() : m_header->logicalIndex(0);
    if (!current.isValid())
        return model()->index(0, column, rootIndex());
    int row = current.row();
    switch (action) {
    case MoveUp:
    case MovePrevious:
        --row;
        break;
    case MoveDown:
    case MoveNext:
        ++row;
        break;
    case MovePageUp:
        row -= rowsPerPage();
        break;
    case MovePageDown:
        row += rowsPerPage();
        break;
    case MoveHome:
        row = 0;
        break;
    case MoveEnd:
        row = rows - 1;
        break;
    case MoveLeft:
    case MoveRight:
        horizontalScrollBar()->triggerAction(
            action == MoveLeft ? QAbstractSlider::SliderSingleStepSub : QAbstractSlider::SliderSingleStepAdd);
        return current;
    }
    return model()->index(std::clamp(row, 0, rows - 1), column, rootIndex());
}

int RowsView::horizontalOffset() const
{
    return horizontalScrollBar()->value();
}

int RowsView::verticalOffset() const
{
    return verticalScrollBar()->value();
}

bool RowsView::isIndexHidden(const QModelIndex &index) const
{
    return m_header->isSectionHidden(index.column());
}

void RowsView::setSelection(const QRect &rect, QItemSelectionModel::SelectionFlags command)
{
    const int rows = rowCount();
    const int columns = m_header->count();
    if (!selectionModel() || rows == 0 || columns == 0)
        return;
    const QRect r = rect.normalized();
    const qint64 offset = verticalOffset();
    const int first = int(std::clamp<qint64>((r.top() + offset) / rowHeight(), 0, rows - 1));
    const int last = int(std::clamp<qint64>((r.bottom() + offset) / rowHeight(), 0, rows - 1));
    const QItemSelection selection(
        model()->index(first, 0, rootIndex()), model()->index(last, columns - 1, rootIndex()));
    selectionModel()->select(selection, command);
}

QRegion RowsView::visualRegionForSelection(const QItemSelection &selection) const
{
    // Only what is on screen: a selection of a million rows is still a few rectangles.
    QRegion region;
    const qint64 offset = verticalOffset();
    const int firstShown = int(offset / rowHeight());
    const int lastShown = int((offset + viewport()->height()) / rowHeight());
    for (const QItemSelectionRange &range : selection) {
        if (range.parent() != rootIndex())
            continue;
        const int top = std::max(range.top(), firstShown);
        const int bottom = std::min(range.bottom(), lastShown);
        if (top > bottom)
            continue;
        region += QRect(0, int(qint64(top) * rowHeight() - offset), viewport()->width(),
            (bottom - top + 1) * rowHeight());
    }
    return region;
}

void RowsView::paintEvent(QPaintEvent *event)
{
    const int rows = rowCount();
    const int columns = m_header->count();
    if (rows == 0 || columns == 0) {
        // No row to carry the focus frame: the empty list wears it.
        if (hasFocus()) {
            QPainter painter(viewport());
            QStyleOptionFocusRect frame;
            frame.initFrom(this);
            frame.rect = viewport()->rect();
            frame.backgroundColor = palette().color(QPalette::Base);
            style()->drawPrimitive(QStyle::PE_FrameFocusRect, &frame, &painter, this);
        }
        return;
    }
    QPainter painter(viewport());
    const QRect area = event->rect();
    const int height = rowHeight();
    const qint64 offset = verticalOffset();
    const int first = int(std::clamp<qint64>((area.top() + offset) / height, 0, rows - 1));
    const int last = int(std::clamp<qint64>((area.bottom() + offset) / height, 0, rows - 1));
    const int firstColumn = std::max(0, m_header->visualIndexAt(area.left()));
    int lastColumn = m_header->visualIndexAt(area.right());
    if (lastColumn < 0)
        lastColumn = columns - 1;

    QStyleOptionViewItem base;
    initViewItemOption(&base);
    const bool focused = hasFocus() || viewport()->hasFocus();
    const bool active = isActiveWindow();
    const QModelIndex current = currentIndex();
    const int rowWidth = std::min(viewport()->width(), m_header->length() - horizontalOffset());

    for (int row = first; row <= last; ++row) {
        const int y = int(qint64(row) * height - offset);
        const QModelIndex rowIndex = model()->index(row, 0, rootIndex());
        const bool selected = selectionModel() && selectionModel()->isSelected(rowIndex);
        QStyleOptionViewItem option = base;
        option.state &= ~QStyle::State_HasFocus;
        if (selected)
            option.state |= QStyle::State_Selected;
        if (active)
            option.state |= QStyle::State_Active;
        option.rect = QRect(0, y, rowWidth, height);
        style()->drawPrimitive(QStyle::PE_PanelItemViewRow, &option, &painter, this);
        for (int v = firstColumn; v <= lastColumn; ++v) {
            const int logical = m_header->logicalIndex(v);
            if (m_header->isSectionHidden(logical) || m_header->sectionSize(logical) == 0)
                continue;
            const QModelIndex index = model()->index(row, logical, rootIndex());
            option.rect = QRect(m_header->sectionViewportPosition(logical), y, m_header->sectionSize(logical), height);
            itemDelegateForIndex(index)->paint(&painter, option, index);
        }
        if (focused && current.row() == row) {
            option.rect = QRect(0, y, rowWidth, height);
            paintFocus(painter, option, selected);
        }
    }
}

void RowsView::paintFocus(QPainter &painter, const QStyleOptionViewItem &row, bool selected) const
{
    QStyleOptionFocusRect frame;
    frame.QStyleOption::operator=(row);
    frame.state |= QStyle::State_KeyboardFocusChange;
    frame.backgroundColor = palette().color(selected ? QPalette::Highlight : QPalette::Base);
    style()->drawPrimitive(QStyle::PE_FrameFocusRect, &frame, &painter, this);
}

void RowsView::updateGeometries()
{
    if (m_inGeometries)
        return;
    m_inGeometries = true;
    const int headerHeight = m_header->isHidden() ? 0 : m_header->sizeHint().height();
    setViewportMargins(0, headerHeight, 0, 0);
    const QRect port = viewport()->geometry();
    m_header->setGeometry(port.left(), port.top() - headerHeight, port.width(), headerHeight);

    const qint64 content = qint64(rowCount()) * rowHeight();
    QScrollBar *vertical = verticalScrollBar();
    vertical->setSingleStep(rowHeight());
    vertical->setPageStep(std::max(1, port.height()));
    vertical->setRange(0, int(std::clamp<qint64>(content - port.height(), 0, INT_MAX)));
    QScrollBar *horizontal = horizontalScrollBar();
    horizontal->setSingleStep(20);
    horizontal->setPageStep(std::max(1, port.width()));
    horizontal->setRange(0, std::max(0, m_header->length() - port.width()));
    m_header->setOffset(horizontal->value());
    QAbstractItemView::updateGeometries();
    m_inGeometries = false;
}

void RowsView::scrollContentsBy(int dx, int dy)
{
    QAbstractItemView::scrollContentsBy(dx, dy);
    if (dx)
        m_header->setOffset(horizontalScrollBar()->value());
}

void RowsView::rowsInserted(const QModelIndex &parent, int start, int end)
{
    QAbstractItemView::rowsInserted(parent, start, end);
    contentsChanged();
}

void RowsView::changeEvent(QEvent *event)
{
    if (event->type() == QEvent::FontChange || event->type() == QEvent::StyleChange)
        m_rowHeight = 0;
    QAbstractItemView::changeEvent(event);
}

QSize RowsView::viewportSizeHint() const
{
    return QSize(m_header->length(), int(std::min<qint64>(qint64(rowCount()) * rowHeight(), 10000)));
}

void RowsView::keyPressEvent(QKeyEvent *event)
{
    const int before = currentIndex().row();
    QAbstractItemView::keyPressEvent(event);
    const QModelIndex now = currentIndex();
    if (now.isValid() && (now.row() != before || event->key() == Qt::Key_Space))
        Q_EMIT rowPicked(now.row());
}

void RowsView::contentsChanged()
{
    updateGeometries();
    viewport()->update();
}

} // namespace Brennvox10

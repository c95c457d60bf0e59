// SPDX-License-Identifier: MIT
#include "listview/ListAccessible_p.h"

#include <Brennvox10/ListView.h>

#include <QAbstractItemView>
#include <QAccessible>
#include <QAccessibleWidget>
#include <QEvent>
#include <QHash>
#include <QHeaderView>
#include <QItemSelectionModel>
#include <QPersistentModelIndex>
#include <QPointer>
#include <QTimer>

#include <climits>

namespace Brennvox10 {

namespace {

// Qt's platform tells its observers when a screen reader comes or goes; QAccessible::isActive() asks
// the platform each time, this flag is one load.
bool s_listening = false;

class Activation : public QAccessible::ActivationObserver {
public:
    void accessibilityActiveChanged(bool active) override { s_listening = active; }
};

// The logical columns the user sees, in the order shown: a column of width 0 keeps a field out of
// sight, so it is no column of the table either.
QList<int> shownColumns(const ListView *list)
{
    const QHeaderView *header = list->header();
    QList<int> out;
    for (int v = 0; v < header->count(); ++v) {
        const int logical = header->logicalIndex(v);
        if (!header->isSectionHidden(logical) && header->sectionSize(logical) > 0)
            out.push_back(logical);
    }
    return out;
}

QRect globalRect(const QWidget *widget, const QRect &local)
{
    if (local.isEmpty())
        return QRect();
    return QRect(widget->mapToGlobal(local.topLeft()), local.size());
}

// A part of the table with no children of its own: a header cell or a cell.
class Leaf : public QAccessibleInterface {
public:
    explicit Leaf(ListView *list)
        : m_list(list)
    {
    }

    QObject *object() const override { return nullptr; }
    QWindow *window() const override { return m_list ? m_list->window()->windowHandle() : nullptr; }
    QAccessibleInterface *parent() const override { return QAccessible::queryAccessibleInterface(m_list); }
    QAccessibleInterface *child(int) const override { return nullptr; }
    QAccessibleInterface *childAt(int, int) const override { return nullptr; }
    int childCount() const override { return 0; }
    int indexOfChild(const QAccessibleInterface *) const override { return -1; }
    void setText(QAccessible::Text, const QString &) override { }

protected:
    QPointer<ListView> m_list;
};

// One column's header: its caption, and pressing it is a click on it (the list sorts by it).
class HeaderCell : public Leaf, public QAccessibleActionInterface {
public:
    HeaderCell(ListView *list, int logical)
        : Leaf(list)
        , m_logical(logical)
    {
    }

    bool isValid() const override { return m_list && m_logical < m_list->header()->count(); }
    QString text(QAccessible::Text t) const override
    {
        if (!isValid() || (t != QAccessible::Name && t != QAccessible::Description))
            return QString();
        return t == QAccessible::Name
            ? m_list->itemView()->model()->headerData(m_logical, Qt::Horizontal).toString()
            : QString();
    }
    QRect rect() const override
    {
        if (!isValid())
            return QRect();
        const QHeaderView *header = m_list->header();
        return globalRect(header,
            QRect(header->sectionViewportPosition(m_logical), 0, header->sectionSize(m_logical),
                header->height()));
    }
    QAccessible::Role role() const override { return QAccessible::ColumnHeader; }
    QAccessible::State state() const override
    {
        QAccessible::State s;
        if (!isValid())
            return s;
        const QHeaderView *header = m_list->header();
        s.invisible = !header->isVisible();
        const QRect shown(header->sectionViewportPosition(m_logical), 0, header->sectionSize(m_logical), 1);
        s.offscreen = !header->rect().intersects(shown);
        s.disabled = !header->isEnabled();
        return s;
    }
    void *interface_cast(QAccessible::InterfaceType t) override
    {
        return t == QAccessible::ActionInterface ? static_cast<QAccessibleActionInterface *>(this) : nullptr;
    }

    QStringList actionNames() const override
    {
        return isValid() && m_list->header()->sectionsClickable() ? QStringList { pressAction() }
                                                                  : QStringList();
    }
    void doAction(const QString &name) override
    {
        // Later, as a button pressed from assistive technology clicks: the caller returns first.
        if (name == pressAction() && isValid() && m_list->header()->sectionsClickable())
            QTimer::singleShot(0, m_list->header(),
                [header = m_list->header(), logical = m_logical] { Q_EMIT header->sectionClicked(logical); });
    }
    QStringList keyBindingsForAction(const QString &) const override { return QStringList(); }

    int logical() const { return m_logical; }

private:
    int m_logical;
};

// One cell of a shown row, as painted. It follows its row through insertions, removals and moves.
class Cell : public Leaf, public QAccessibleTableCellInterface {
public:
    Cell(ListView *list, const QModelIndex &index)
        : Leaf(list)
        , m_index(index)
    {
    }

    bool isValid() const override { return m_list && m_index.isValid(); }
    QString text(QAccessible::Text t) const override
    {
        return isValid() && t == QAccessible::Name ? m_index.data(Qt::DisplayRole).toString() : QString();
    }
    QRect rect() const override
    {
        if (!isValid())
            return QRect();
        const QAbstractItemView *view = m_list->itemView();
        return globalRect(view->viewport(), view->visualRect(m_index));
    }
    QAccessible::Role role() const override { return QAccessible::Cell; }
    QAccessible::State state() const override
    {
        QAccessible::State s;
        if (!isValid())
            return s;
        const QAbstractItemView *view = m_list->itemView();
        s.selectable = view->selectionMode() != QAbstractItemView::NoSelection;
        s.selected = isSelected();
        s.focusable = true;
        s.focused = view->hasFocus() && view->currentIndex().row() == m_index.row();
        s.offscreen = !view->viewport()->rect().intersects(view->visualRect(m_index));
        s.invisible = !view->isVisible();
        s.disabled = !view->isEnabled();
        return s;
    }
    void *interface_cast(QAccessible::InterfaceType t) override
    {
        return t == QAccessible::TableCellInterface ? static_cast<QAccessibleTableCellInterface *>(this)
                                                    : nullptr;
    }

    bool isSelected() const override
    {
        const QItemSelectionModel *selection = isValid() ? m_list->itemView()->selectionModel() : nullptr;
        return selection && selection->isSelected(m_index);
    }
    QList<QAccessibleInterface *> columnHeaderCells() const override;
    QList<QAccessibleInterface *> rowHeaderCells() const override { return {}; }
    int columnIndex() const override
    {
        return isValid() ? int(shownColumns(m_list).indexOf(m_index.column())) : -1;
    }
    int rowIndex() const override { return isValid() ? m_index.row() : -1; }
    int columnExtent() const override { return 1; }
    int rowExtent() const override { return 1; }
    QAccessibleInterface *table() const override { return parent(); }

    const QPersistentModelIndex &index() const { return m_index; }

private:
    // Kept up to date by the model as rows come and go, for the few cells asked for.
    QPersistentModelIndex m_index;
};

// Children: the header cells of the visible columns, then the cells row by row, as Qt's item views
// number them.
class ListTable : public QAccessibleWidget, public QAccessibleTableInterface {
public:
    explicit ListTable(ListView *list)
        : QAccessibleWidget(list, QAccessible::Table)
        , m_key(list)
    {
        s_tables.insert(m_key, this);
    }

    ~ListTable() override
    {
        s_tables.remove(m_key);
        forget();
    }

    static QHash<const QObject *, ListTable *> s_tables;

    ListView *list() const { return static_cast<ListView *>(widget()); }
    QAbstractItemView *view() const { return list()->itemView(); }
    QAbstractItemModel *model() const { return view()->model(); }

    QAccessible::State state() const override
    {
        QAccessible::State s = QAccessibleWidget::state();
        // Keyboard focus is the view's, which the list passes it on to.
        s.focusable = view()->focusPolicy() != Qt::NoFocus;
        s.focused = view()->hasFocus();
        return s;
    }

    int childCount() const override
    {
        const qint64 columns = shownColumns(list()).size();
        return columns == 0 ? 0 : int(std::min<qint64>((qint64(rowCount()) + 1) * columns, INT_MAX));
    }

    QAccessibleInterface *child(int index) const override
    {
        const QList<int> columns = shownColumns(list());
        if (index < 0 || columns.isEmpty())
            return nullptr;
        const int row = index / int(columns.size()) - 1;
        const int column = index % int(columns.size());
        if (row >= rowCount())
            return nullptr;
        if (const QAccessible::Id id = m_children.value(index))
            return QAccessible::accessibleInterface(id);
        QAccessibleInterface *made = row < 0
            ? static_cast<QAccessibleInterface *>(new HeaderCell(list(), columns[column]))
            : new Cell(list(), model()->index(row, columns[column]));
        m_children.insert(index, QAccessible::registerAccessibleInterface(made));
        return made;
    }

    int indexOfChild(const QAccessibleInterface *child) const override
    {
        const QList<int> columns = shownColumns(list());
        if (const auto *header = dynamic_cast<const HeaderCell *>(child))
            return header->isValid() ? int(columns.indexOf(header->logical())) : -1;
        const auto *cell = dynamic_cast<const Cell *>(child);
        if (!cell || !cell->isValid())
            return -1;
        const int column = int(columns.indexOf(cell->index().column()));
        return column < 0 ? -1 : (cell->index().row() + 1) * int(columns.size()) + column;
    }

    QAccessibleInterface *childAt(int x, int y) const override
    {
        const QPoint global(x, y);
        const QHeaderView *header = list()->header();
        const QPoint inHeader = header->mapFromGlobal(global);
        const QList<int> columns = shownColumns(list());
        if (header->rect().contains(inHeader))
            return child(int(columns.indexOf(header->logicalIndexAt(inHeader.x()))));
        const QModelIndex at = view()->indexAt(view()->viewport()->mapFromGlobal(global));
        return at.isValid() ? cellAt(at.row(), int(columns.indexOf(at.column()))) : nullptr;
    }

    QAccessibleInterface *focusChild() const override
    {
        const QModelIndex current = view()->currentIndex();
        if (!view()->hasFocus() || !current.isValid())
            return nullptr;
        return focusedCell(current);
    }

    // The cell a row's focus is on: its column when that is shown, else the first shown column.
    QAccessibleInterface *focusedCell(const QModelIndex &current) const
    {
        const int column = int(shownColumns(list()).indexOf(current.column()));
        return cellAt(current.row(), column < 0 ? 0 : column);
    }

    void *interface_cast(QAccessible::InterfaceType t) override
    {
        if (t == QAccessible::TableInterface)
            return static_cast<QAccessibleTableInterface *>(this);
        return QAccessibleWidget::interface_cast(t);
    }

    QAccessibleInterface *caption() const override { return nullptr; }
    QAccessibleInterface *summary() const override { return nullptr; }

    QAccessibleInterface *cellAt(int row, int column) const override
    {
        const int columns = columnCount();
        if (row < 0 || column < 0 || row >= rowCount() || column >= columns)
            return nullptr;
        return child((row + 1) * columns + column);
    }

    int selectedCellCount() const override { return int(selectedRows().size()) * columnCount(); }
    QList<QAccessibleInterface *> selectedCells() const override
    {
        QList<QAccessibleInterface *> out;
        const int columns = columnCount();
        for (int row : selectedRows())
            for (int c = 0; c < columns; ++c)
                out.push_back(cellAt(row, c));
        return out;
    }

    QString columnDescription(int column) const override
    {
        const QList<int> columns = shownColumns(list());
        return column >= 0 && column < columns.size()
            ? model()->headerData(columns[column], Qt::Horizontal).toString()
            : QString();
    }
    QString rowDescription(int) const override { return QString(); }
    int selectedColumnCount() const override { return 0; }
    int selectedRowCount() const override { return int(selectedRows().size()); }
    int columnCount() const override { return int(shownColumns(list()).size()); }
    int rowCount() const override { return model()->rowCount(); }
    QList<int> selectedColumns() const override { return {}; }

    QList<int> selectedRows() const override
    {
        // The list selects one row at a time: the selection is a range or none, never a walk.
        QList<int> out;
        if (const QItemSelectionModel *selection = view()->selectionModel())
            for (const QItemSelectionRange &range : selection->selection())
                for (int row = range.top(); row <= range.bottom() && out.size() < rowCount(); ++row)
                    if (!out.contains(row))
                        out.push_back(row);
        return out;
    }

    bool isColumnSelected(int) const override { return false; }
    bool isRowSelected(int row) const override
    {
        const QItemSelectionModel *selection = view()->selectionModel();
        return selection && row >= 0 && row < rowCount() && selection->isSelected(model()->index(row, 0));
    }

    bool selectRow(int row) override
    {
        QItemSelectionModel *selection = view()->selectionModel();
        if (!selection || row < 0 || row >= rowCount()
            || view()->selectionMode() == QAbstractItemView::NoSelection)
            return false;
        // As a click does: the row becomes the current one and the only one selected, and the list
        // reports the row clicked, so that a host's choice of row follows.
        selection->setCurrentIndex(
            model()->index(row, view()->currentIndex().isValid() ? view()->currentIndex().column() : 0),
            QItemSelectionModel::ClearAndSelect | QItemSelectionModel::Rows);
        ListView *list = this->list();
        Q_EMIT list->ItemClick(list->ListItems().Item(row + 1));
        return true;
    }
    bool selectColumn(int) override { return false; }
    bool unselectRow(int row) override
    {
        QItemSelectionModel *selection = view()->selectionModel();
        if (!selection || row < 0 || row >= rowCount())
            return false;
        selection->select(model()->index(row, 0), QItemSelectionModel::Deselect | QItemSelectionModel::Rows);
        return true;
    }
    bool unselectColumn(int) override { return false; }

    void modelChange(QAccessibleTableModelChangeEvent *event) override { follow(event->modelChangeType()); }

    // Qt hands a table its change notices only while its platform listens; the list hands them on
    // itself, so a table asked for earlier never numbers a cell by a row that has moved.
    void follow(QAccessibleTableModelChangeEvent::ModelChangeType change)
    {
        if (m_children.isEmpty())
            return;
        switch (change) {
        case QAccessibleTableModelChangeEvent::RowsInserted:
        case QAccessibleTableModelChangeEvent::RowsRemoved: {
            // The cells asked for follow their rows by themselves; only their numbers change. Cells of
            // removed rows go, as Qt's own tables let them go.
            QHash<int, QAccessible::Id> renumbered;
            for (auto it = m_children.cbegin(); it != m_children.cend(); ++it) {
                QAccessibleInterface *iface = QAccessible::accessibleInterface(it.value());
                const int index = iface ? indexOfChild(iface) : -1;
                if (index >= 0 && !renumbered.contains(index))
                    renumbered.insert(index, it.value());
                else if (iface)
                    QAccessible::deleteAccessibleInterface(it.value());
            }
            m_children = renumbered;
            break;
        }
        case QAccessibleTableModelChangeEvent::DataChanged:
            break;
        default:
            forget();
            break;
        }
    }

private:
    void forget()
    {
        for (const QAccessible::Id id : std::as_const(m_children))
            QAccessible::deleteAccessibleInterface(id);
        m_children.clear();
    }

    const QObject *m_key;
    // Only the children asked for, by child number.
    mutable QHash<int, QAccessible::Id> m_children;
};

QHash<const QObject *, ListTable *> ListTable::s_tables;

QList<QAccessibleInterface *> Cell::columnHeaderCells() const
{
    const int column = columnIndex();
    QAccessibleInterface *table = parent();
    QAccessibleInterface *header = column >= 0 && table ? table->child(column) : nullptr;
    return header ? QList<QAccessibleInterface *> { header } : QList<QAccessibleInterface *> {};
}

ListTable *tableOf(ListView *list)
{
    return static_cast<ListTable *>(QAccessible::queryAccessibleInterface(list));
}

QAccessibleInterface *factory(const QString &className, QObject *object)
{
    if (className == QLatin1String("Brennvox10::ListView") && object && object->isWidgetType())
        return new ListTable(static_cast<ListView *>(object));
    return nullptr;
}

void send(ListView *list, QAccessibleTableModelChangeEvent::ModelChangeType type, int firstRow = -1,
    int lastRow = -1)
{
    if (ListTable *table = ListTable::s_tables.value(list))
        table->follow(type);
    if (!s_listening)
        return;
    QAccessibleTableModelChangeEvent event(list, type);
    if (firstRow >= 0) {
        event.setFirstRow(firstRow);
        event.setLastRow(lastRow);
    }
    QAccessible::updateAccessibility(&event);
}

// A row's cell as an event's child: the focused column, or the first shown one.
void sendForRow(ListView *list, QAccessible::Event type, const QModelIndex &at)
{
    const QAccessibleInterface *cell = at.isValid() ? tableOf(list)->focusedCell(at) : nullptr;
    QAccessibleEvent event(list, type);
    if (cell)
        event.setChild(tableOf(list)->indexOfChild(cell));
    QAccessible::updateAccessibility(&event);
}

// Tells assistive technology what changed, as Qt's item views tell it of theirs: a batch of rows is
// one notice, whatever its length.
class Announcer : public QObject {
public:
    explicit Announcer(ListView *list)
        : QObject(list)
        , m_list(list)
    {
        using Change = QAccessibleTableModelChangeEvent;
        const QAbstractItemModel *model = list->itemView()->model();
        connect(
            model, &QAbstractItemModel::rowsInserted, this, [this](const QModelIndex &, int first, int last) {
                send(m_list, Change::RowsInserted, first, last);
            });
        connect(
            model, &QAbstractItemModel::rowsRemoved, this, [this](const QModelIndex &, int first, int last) {
                send(m_list, Change::RowsRemoved, first, last);
            });
        connect(model, &QAbstractItemModel::dataChanged, this,
            [this](const QModelIndex &topLeft, const QModelIndex &bottomRight) {
                send(m_list, Change::DataChanged, topLeft.row(), bottomRight.row());
            });
        // A sort, a row moved to its sorted place, new columns: the numbering of every cell changes.
        const auto reset = [this] { send(m_list, Change::ModelReset); };
        connect(model, &QAbstractItemModel::modelReset, this, reset);
        connect(model, &QAbstractItemModel::layoutChanged, this, reset);
        connect(model, &QAbstractItemModel::rowsMoved, this, reset);
        connect(model, &QAbstractItemModel::columnsInserted, this, reset);
        connect(model, &QAbstractItemModel::columnsRemoved, this, reset);
        connect(list->header(), &QHeaderView::sectionResized, this, [this](int, int before, int after) {
            if ((before == 0) != (after == 0))
                send(m_list, Change::ModelReset);
        });

        QAbstractItemView *view = list->itemView();
        connect(view->selectionModel(), &QItemSelectionModel::currentChanged, this,
            [this](const QModelIndex &current) {
                if (s_listening && m_list->itemView()->hasFocus())
                    sendForRow(m_list, QAccessible::Focus, current);
            });
        connect(view->selectionModel(), &QItemSelectionModel::selectionChanged, this,
            [this](const QItemSelection &selected, const QItemSelection &deselected) {
                if (!s_listening)
                    return;
                if (!deselected.isEmpty())
                    sendForRow(m_list, QAccessible::SelectionRemove, deselected.first().topLeft());
                if (!selected.isEmpty())
                    sendForRow(m_list, QAccessible::SelectionAdd, selected.first().topLeft());
            });
        view->installEventFilter(this);
    }

protected:
    bool eventFilter(QObject *watched, QEvent *event) override
    {
        if (s_listening && event->type() == QEvent::FocusIn && watched == m_list->itemView()) {
            // Qt announces the view itself once focus has moved; the row's cell is told after that.
            QTimer::singleShot(0, this, [this] {
                QAbstractItemView *view = m_list->itemView();
                if (s_listening && view->hasFocus())
                    sendForRow(m_list, QAccessible::Focus, view->currentIndex());
            });
        }
        return false;
    }

private:
    ListView *m_list;
};

} // namespace

namespace accessible {

void attach(ListView *list)
{
    static const bool registered = [] {
        static Activation observer;
        QAccessible::installActivationObserver(&observer);
        s_listening = QAccessible::isActive();
        QAccessible::installFactory(factory);
        return true;
    }();
    Q_UNUSED(registered);
    new Announcer(list);
}

} // namespace accessible
} // namespace Brennvox10

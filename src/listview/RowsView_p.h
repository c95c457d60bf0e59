// SPDX-License-Identifier: MIT
#pragma once
// A report view of one-line rows under a column header. Every row has the same height, so a row's
// place is its number times that height: inserting, removing or moving a row costs the view nothing
// beyond a repaint of what is on screen, however many rows the model has. (Qt's tree view lays out
// every row again on each insertion or removal.)

#include <QAbstractItemView>

class QHeaderView;
class QPainter;
class QStyleOptionViewItem;

namespace Brennvox10 {

class RowsView : public QAbstractItemView {
    Q_OBJECT
public:
    explicit RowsView(QWidget *parent = nullptr);

    QHeaderView *header() const { return m_header; }
    int rowHeight() const;

    void setModel(QAbstractItemModel *model) override;
    QRect visualRect(const QModelIndex &index) const override;
    void scrollTo(const QModelIndex &index, ScrollHint hint = EnsureVisible) override;
    QModelIndex indexAt(const QPoint &point) const override;

Q_SIGNALS:
    // The user moved to a row with the keyboard, or pressed Space on it: picking it as a click would.
    void rowPicked(int row);

protected:
    void keyPressEvent(QKeyEvent *event) override;
    QModelIndex moveCursor(CursorAction action, Qt::KeyboardModifiers modifiers) override;
    int horizontalOffset() const override;
    int verticalOffset() const override;
    bool isIndexHidden(const QModelIndex &index) const override;
    void setSelection(const QRect &rect, QItemSelectionModel::SelectionFlags command) override;
    QRegion visualRegionForSelection(const QItemSelection &selection) const override;
    void paintEvent(QPaintEvent *event) override;
    void updateGeometries() override;
    void scrollContentsBy(int dx, int dy) override;
    void rowsInserted(const QModelIndex &parent, int start, int end) override;
    void changeEvent(QEvent *event) override;
    QSize viewportSizeHint() const override;

private:
    void contentsChanged();
    int rowCount() const;
    int rowsPerPage() const;
    // The current row's focus frame, over the whole row, drawn on the row's own background.
    void paintFocus(QPainter &painter, const QStyleOptionViewItem &row, bool selected) const;

    QHeaderView *m_header;
    mutable int m_rowHeight = 0;
    bool m_inGeometries = false;
};

} // namespace Brennvox10

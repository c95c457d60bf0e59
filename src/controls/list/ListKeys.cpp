// SPDX-License-Identifier: MIT
#include "controls/list/ListKeys.h"

#include "controls/list/ListControl_p.h"
#include "widgets/Twips.h"

#include <QAbstractItemView>
#include <QKeyEvent>
#include <QToolButton>

#include <algorithm>

namespace Brennvox10 {

namespace {

class ListKeys : public QObject {
public:
    ListKeys(ListControlPrivate &d, QObject *parent)
        : QObject(parent)
        , d(d)
    {
    }

protected:
    bool eventFilter(QObject *, QEvent *event) override
    {
        if (event->type() != QEvent::KeyPress)
            return false;
        const auto *e = static_cast<QKeyEvent *>(event);
        const Qt::KeyboardModifiers mods = e->modifiers() & ~Qt::KeypadModifier;
        if ((e->key() == Qt::Key_Return || e->key() == Qt::Key_Enter) && mods == Qt::NoModifier) {
            const QPointF at = atCurrentRow();
            d.lastX = float(at.x());
            d.lastY = float(at.y());
            d.onDblClick();
            return true;
        }
        if ((e->key() == Qt::Key_Menu && mods == Qt::NoModifier)
            || (e->key() == Qt::Key_F10 && mods == Qt::ShiftModifier)) {
            const QPointF at = atCurrentRow();
            d.onMouseUp(2, float(at.x()), float(at.y()));
            return true;
        }
        if (mods == Qt::ControlModifier && e->key() >= Qt::Key_1 && e->key() <= Qt::Key_9) {
            const int position = e->key() - Qt::Key_0;
            ColumnHeaders &columns = d.ListView1->ColumnHeaders();
            for (int i = 1; i <= columns.Count(); ++i) {
                if (columns.Item(i)->Position() == position) {
                    d.onColumnClick(columns.Item(i));
                    return true;
                }
            }
        }
        return false;
    }

private:
    // A point on the current row, a few pixels in from its left edge, in the list's twips: where a
    // pointer over that row would be. With no current row, the list's top-left corner.
    QPointF atCurrentRow() const
    {
        QAbstractItemView *view = d.ListView1->itemView();
        QPoint at = view->viewport()->mapTo(d.ListView1, QPoint(0, 0));
        const QModelIndex current = view->currentIndex();
        if (current.isValid()) {
            view->scrollTo(current);
            const QRect row = view->visualRect(current);
            at = view->viewport()->mapTo(d.ListView1, QPoint(std::max(row.left(), 0) + 4, row.center().y()));
        }
        return QPointF(at) * TwipsPerPixel;
    }

    ListControlPrivate &d;
};

} // namespace

void installListKeys(ListControlPrivate &d)
{
    d.ListView1->itemView()->installEventFilter(new ListKeys(d, d.ListView1));

    // The tab strips come first by themselves: a face makes them before the rest.
    QWidget *last = d.ListView1->itemView();
    for (int i = 0;; ++i) {
        auto *button = d.ctlMenu1->findChild<QToolButton *>(QStringLiteral("cmdButtom(%1)").arg(i));
        if (!button)
            break;
        QWidget::setTabOrder(last, button);
        last = button;
    }
    QWidget::setTabOrder(last, d.Label1);
    QWidget::setTabOrder(d.Label1, d.Label2);
}

} // namespace Brennvox10

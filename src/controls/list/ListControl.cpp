// SPDX-License-Identifier: MIT
#include "controls/list/ListControl_p.h"

#include "controls/list/Cells.h"
#include "controls/list/ListKeys.h"

#include "core/Conversions.h"
#include "core/Guard.h"

#include "widgets/LabelButton_p.h"
#include "widgets/Twips.h"
#include <Brennvox10/Dispatch.h>
#include <Brennvox10/Failure.h>
#include <Brennvox10/Services.h>
#include <Brennvox10/clsButton.h>

#include <QEvent>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QResizeEvent>
#include <QStyleOptionFocusRect>
#include <QStylePainter>

#include <cmath>
#include <functional>

namespace Brennvox10 {

namespace {

// Labels that report a click, as the status strip's labels do.
class ClickableLabel : public QLabel {
public:
    ClickableLabel(const QString &text, QWidget *parent, std::function<void()> onClick)
        : QLabel(text, parent)
        , m_onClick(std::move(onClick))
    {
        setCursor(Qt::PointingHandCursor);
        setFocusPolicy(Qt::StrongFocus);
    }

protected:
    // Space or Enter presses the label as a click does.
    void keyPressEvent(QKeyEvent *e) override
    {
        if (e->modifiers() == Qt::NoModifier || e->modifiers() == Qt::KeypadModifier) {
            if (e->key() == Qt::Key_Space || e->key() == Qt::Key_Return || e->key() == Qt::Key_Enter) {
                e->accept();
                m_onClick();
                return;
            }
        }
        QLabel::keyPressEvent(e);
    }

    void paintEvent(QPaintEvent *e) override
    {
        QLabel::paintEvent(e);
        if (!hasFocus())
            return;
        QStylePainter painter(this);
        QStyleOptionFocusRect frame;
        frame.initFrom(this);
        frame.backgroundColor = palette().color(backgroundRole());
        painter.drawPrimitive(QStyle::PE_FrameFocusRect, frame);
    }

    void mouseReleaseEvent(QMouseEvent *e) override
    {
        QLabel::mouseReleaseEvent(e);
        if (e->button() == Qt::LeftButton && rect().contains(e->position().toPoint())) {
            // Accepted before the handler runs: a handler may destroy the label (the filter dialog's
            // host may close the list), and an ignored event would then be offered to its parent.
            e->accept();
            m_onClick();
        }
    }

private:
    std::function<void()> m_onClick;
};

// The status strip keeps its labels' design rectangles in twips, but lets a label grow in pixels
// to its text, so a longer limit or a larger font is never cut off.
class StatusStrip : public QFrame {
public:
    using QFrame::QFrame;

    void fitLabels()
    {
        for (QLabel *label : findChildren<QLabel *>(Qt::FindDirectChildrenOnly)) {
            const QRectF design = twipsGeometry(label);
            const QSize hint = label->sizeHint();
            label->resize(std::max(twips::toPixels(float(design.width())), hint.width()),
                std::max(twips::toPixels(float(design.height())), hint.height()));
        }
    }

protected:
    bool event(QEvent *e) override
    {
        if (e->type() == QEvent::LayoutRequest)
            fitLabels();
        return QFrame::event(e);
    }

    void resizeEvent(QResizeEvent *e) override
    {
        QFrame::resizeEvent(e);
        fitLabels();
    }
};

} // namespace

ListControlPrivate::ListControlPrivate(ListControl &q, std::array<TabStrip *, 2> strips)
    : q(q)
    , strips(strips)
    , ListView1(new ListView(&q))
    , Picture1(new StatusStrip(&q))
    , Label1(new ClickableLabel(limitCaption(QStringLiteral("1000")), Picture1, [this] { onLimitClick(); }))
    , Label2(new ClickableLabel(QStringLiteral("Cambiar filtro"), Picture1,
          [this] { listFilter.open(list.connection(), list.filtersXml()); }))
    , ctlMenu1(new ctlMenu(&q))
    , list(q, *ListView1, *Label1, strips)
    , listFilter(q, list.userFilter(), [this] { list.LoadList(); })
{
    ListView1->setObjectName(QStringLiteral("ListView1"));
    Picture1->setObjectName(QStringLiteral("Picture1"));
    Label1->setObjectName(QStringLiteral("Label1"));
    Label2->setObjectName(QStringLiteral("Label2"));
    ctlMenu1->setObjectName(QStringLiteral("ctlMenu1"));
    accessible::offerAsButton(Label1);
    accessible::offerAsButton(Label2);
    twips::setRect(Label1, 60, 45, 1485, 195);
    twips::setRect(Label2, 1965, 60, 990, 210);
    QFont small = Picture1->font();
    small.setPointSizeF(8);
    Picture1->setFont(small);
    static_cast<StatusStrip *>(Picture1)->fitLabels();

    // The header sorting starts unsorted with the ascending order stored.
    ListView1->setSorted(false);
    ListView1->setSortOrder(0);

    for (int i = 0; i < 2; ++i) {
        if (strips[size_t(i)])
            QObject::connect(strips[size_t(i)], &TabStrip::Click, &q, [this, i] { list.tabChoice(i); });
    }
    QObject::connect(ctlMenu1, &ctlMenu::cmdClick, &q, [this](QString &key) { onCommand(key); });
    QObject::connect(ListView1, &ListView::ItemClick, &q, [this](ListItem item) { onItemClick(item); });
    QObject::connect(ListView1, &ListView::ColumnClick, &q, [this](ColumnHeader *c) { onColumnClick(c); });
    QObject::connect(ListView1, &ListView::MouseUp, &q,
        [this](qint16 b, qint16, float x, float y) { onMouseUp(b, x, y); });
    QObject::connect(ListView1, &ListView::DblClick, &q, [this] { onDblClick(); });
    installListKeys(*this);
}

ListControlPrivate::~ListControlPrivate() = default;

void ListControlPrivate::onItemClick(const ListItem &item)
{
    guarded(q, [&](Guard &g) { g.step([&] { list.selectedKey() = rowKeyOf(item.Key()); }); });
}

void ListControlPrivate::onColumnClick(ColumnHeader *column)
{
    guarded(q, [&](Guard &g) {
        g.step([&] { ListView1->setSorted(true); });
        g.step([&] { ListView1->setSortOrder(ListView1->SortOrder() == 0 ? 1 : 0); });
        g.step([&] {
            if (!column)
                throw failureFor(FailureNumber::ObjectNotSet);
            ListView1->setSortKey(qint16(column->Position() - 1));
        });
    });
}

void ListControlPrivate::onMouseUp(qint16 button, float x, float y)
{
    guarded(q, [&](Guard &g) {
        g.step([&] {
            lastX = x;
            lastY = y;
        });
        if (button == 2)
            g.step([&] { Q_EMIT q.ClickMenuContextual(); });
    });
}

void ListControlPrivate::onDblClick()
{
    guarded(q, [&](Guard &g) {
        ListItem item;
        g.step([&] { item = ListView1->HitTest(lastX, lastY); });
        if (!item)
            return;
        g.step([&] { list.selectedKey() = rowKeyOf(item.Key()); });
        g.step([&] { raiseOpen(); });
    });
}

void ListControlPrivate::onLimitClick()
{
    std::optional<QString> answer;
    guarded(q, [&](Guard &g) {
        g.step([&] { answer = services().inputBox(QStringLiteral("Ingrese nueva configuracion: ")); });
    });
    if (!answer || answer->isEmpty())
        return;
    // From here failures are passed over without asking anyone.
    if (list.maxLines() <= 0)
        return;
    try {
        list.setMaxLines(toLong(*answer));
    } catch (const Failure &) {
        return; // not a number: the limit, the list and the label stay as they are
    }
    list.LoadList();
    Label1->setText(limitCaption(*answer));
}

ListControl::ListControl(QWidget *parent, PrivateFactory makePrivate, const QString &name, QSizeF designSize)
    : QWidget(parent)
    , d(makePrivate(*this))
{
    setObjectName(name);
    setTwipsSize(this, float(designSize.width()), float(designSize.height()));
}

ListControl::~ListControl() = default;

void ListControl::lrConnectionString(const QString &value)
{
    d->list.connection().connectionString = value;
}

void ListControl::lrDataSource(const QString &value)
{
    d->list.connection().dataSource = value;
}

void ListControl::lrUser(const QString &) { }

void ListControl::lrPassword(const QString &value)
{
    d->list.connection().password = value;
}

void ListControl::lrConfigFileName(const QString &value)
{
    d->list.setConfigFileName(value);
}

QString ListControl::lrTabFilter(qint16 Index) const
{
    if (Index < 0 || Index > 1)
        throw failureFor(FailureNumber::SubscriptOutOfRange);
    return d->list.tab(Index).TabFilter;
}

QString ListControl::lrSelectedKey() const
{
    return d->list.selectedKey();
}

QVariant ListControl::Showme()
{
    d->list.Showme();
    return QVariant();
}

QVariant ListControl::SaveConfig()
{
    d->list.SaveConfig();
    return QVariant();
}

qint16 ListControl::lrAddListItem(const QString &pItem)
{
    d->list.addRow(pItem);
    return 0;
}

qint16 ListControl::lrUpdateListItem(const QString &pItem)
{
    d->list.updateRow(pItem);
    return 0;
}

qint16 ListControl::lrDelListItem(const QString &pItem)
{
    d->list.deleteRow(pItem);
    return 0;
}

bool ListControl::HideButton(const qint16 &pIndex)
{
    clsButton button;
    button.Visible(false);
    d->configureButton(pIndex, button);
    return false;
}

QSize ListControl::sizeHint() const
{
    const QSizeF given = twips::givenSize(this);
    return QSize(twips::toPixels(float(given.width())), twips::toPixels(float(given.height())));
}

QSize ListControl::minimumSizeHint() const
{
    const QSizeF least = d->minimumSize();
    // Rounded up: a pixel short would still leave the list a negative size in twips.
    return QSize(
        int(std::ceil(least.width() / TwipsPerPixel)), int(std::ceil(least.height() / TwipsPerPixel)));
}

void ListControl::resizeEvent(QResizeEvent *event)
{
    QWidget::resizeEvent(event);
    guarded(*this, [&](Guard &g) {
        const QSizeF size = twips::clientSize(this);
        d->arrange(g, float(size.width()), float(size.height()));
    });
}

} // namespace Brennvox10

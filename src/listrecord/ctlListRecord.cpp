#include "listrecord/ctlListRecord_p.h"

#include "common/Conversions.h"
#include "failure/Guard.h"
#include "platform/widgets/Twips.h"

#include <Brennvox10/Failure.h>
#include <Brennvox10/Services.h>

#include <QEvent>
#include <QMouseEvent>
#include <QResizeEvent>

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
    }

protected:
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

const char *const MonthNames[] = { "Enero", "Febrero", "Marzo", "Abril", "Mayo", "Junio", "Julio", "Agosto",
    "Septiembre", "Octubre", "Noviembre", "Diciembre" };

} // namespace

ctlListRecordPrivate::ctlListRecordPrivate(ctlListRecord &q)
    : q(q)
    , strips { new TabStrip(&q), new TabStrip(&q) }
    , ListView1(new ListView(&q))
    , Picture1(new StatusStrip(&q))
    , Label1(
          new ClickableLabel(QStringLiteral("Limitar lineas a 1000"), Picture1, [this] { onLimitClick(); }))
    , Label2(new ClickableLabel(QStringLiteral("Cambiar filtro"), Picture1, [this] { onFilterClick(); }))
    , ctlMenu1(new ctlMenu(&q))
    , list(q, *ListView1, *Label1, { strips[0], strips[1] })
    , filterDialog(q, list.UserFilter, [this] { list.LoadList(); })
{
    strips[0]->setObjectName(QStringLiteral("ctlTabStrip(0)"));
    strips[1]->setObjectName(QStringLiteral("ctlTabStrip(1)"));
    ListView1->setObjectName(QStringLiteral("ListView1"));
    Picture1->setObjectName(QStringLiteral("Picture1"));
    Label1->setObjectName(QStringLiteral("Label1"));
    Label2->setObjectName(QStringLiteral("Label2"));
    ctlMenu1->setObjectName(QStringLiteral("ctlMenu1"));

    // The tabs a new control shows until its first definition load.
    strips[0]->Tabs().Add(QStringLiteral("tabTodo"), QStringLiteral("Todo"));
    for (const char *month : MonthNames)
        strips[1]->Tabs().Add(QStringLiteral("Tab") + QLatin1String(month), QLatin1String(month));
    strips[1]->Tabs().Add(QStringLiteral("TabTodos"), QStringLiteral("Todos"));

    twips::setRect(strips[0], 0, 0, 6690, 435);
    twips::setRect(ListView1, 0, 330, 6690, 4740);
    twips::setRect(strips[1], 0, 5055, 6675, 360);
    twips::setRect(Picture1, 0, 5490, 8160, 405);
    twips::setRect(ctlMenu1, 6840, 315, 1335, 4620);
    twips::setRect(Label1, 60, 45, 1485, 195);
    twips::setRect(Label2, 1965, 60, 990, 210);
    QFont small = Picture1->font();
    small.setPointSizeF(8);
    Picture1->setFont(small);
    static_cast<StatusStrip *>(Picture1)->fitLabels();
    ListView1->raise(); // the list overlaps the upper strip's lower edge

    // The list's header sorting starts unsorted with the ascending order stored.
    ListView1->setSorted(false);
    ListView1->setSortOrder(0);

    QObject::connect(strips[0], &TabStrip::Click, &q, [this] { list.tabChoice(0); });
    QObject::connect(strips[1], &TabStrip::Click, &q, [this] { list.tabChoice(1); });
    QObject::connect(ctlMenu1, &ctlMenu::cmdClick, &q, [this](QString &key) { onCommand(key); });
    QObject::connect(ListView1, &ListView::ItemClick, &q, [this](ListItem item) { onItemClick(item); });
    QObject::connect(ListView1, &ListView::ColumnClick, &q, [this](ColumnHeader *c) { onColumnClick(c); });
    QObject::connect(ListView1, &ListView::MouseUp, &q,
        [this](qint16 b, qint16 s, float x, float y) { onMouseUp(b, s, x, y); });
    QObject::connect(ListView1, &ListView::DblClick, &q, [this] { onDblClick(); });
}

void ctlListRecordPrivate::arrange()
{
    guarded(q, [&](Guard &g) {
        const QSizeF size = twips::clientSize(&q);
        const float W = float(size.width());
        const float H = float(size.height());
        const auto rect = [](QWidget *w) { return twipsGeometry(w); };
        TabStrip *top = strips[0];
        TabStrip *bottom = strips[1];
        g.step([&] { twips::setLeft(ctlMenu1, W - float(rect(ctlMenu1).width()) - 100); });
        g.step([&] { twips::setWidth(ListView1, W - (float(rect(ctlMenu1).width()) + 250)); });
        g.step([&] { twips::setLeft(ListView1, 100); });
        g.step([&] {
            twips::setHeight(ListView1,
                H - float(rect(top).height()) - float(rect(bottom).height()) - float(rect(Picture1).height())
                    - float(rect(top).top()) - 500);
        });
        g.step([&] { twips::setTop(ListView1, float(rect(top).top()) + float(rect(top).height()) - 100); });
        g.step([&] { twips::setLeft(bottom, 100); });
        g.step([&] { twips::setLeft(top, 100); });
        g.step([&] {
            twips::setTop(bottom, float(rect(ListView1).top()) + float(rect(ListView1).height()) + 100);
        });
        g.step([&] { twips::setWidth(top, float(rect(ListView1).width())); });
        g.step([&] { twips::setWidth(bottom, float(rect(ListView1).width())); });
        g.step([&] { twips::setWidth(Picture1, W); });
        g.step([&] { twips::setTop(Picture1, float(rect(bottom).top()) + float(rect(bottom).height())); });
    });
}

void ctlListRecordPrivate::onCommand(QString &pCmdKey)
{
    guarded(q, [&](Guard &g) {
        g.step([&] {
            QString &item = list.selectedKey;
            if (pCmdKey == QLatin1String("Add"))
                Q_EMIT q.cmdAdd(item);
            else if (pCmdKey == QLatin1String("Open"))
                Q_EMIT q.cmdOpen(item);
            else if (pCmdKey == QLatin1String("Del"))
                Q_EMIT q.cmdDel(item);
            else if (pCmdKey == QLatin1String("Anular"))
                Q_EMIT q.cmdAnular(item);
            else if (pCmdKey == QLatin1String("Print"))
                Q_EMIT q.cmdPrint(item);
            else if (pCmdKey == QLatin1String("Recodificar"))
                Q_EMIT q.cmdRecodificar(item);
            else if (pCmdKey == QLatin1String("Close"))
                Q_EMIT q.cmdClose();
        });
    });
}

void ctlListRecordPrivate::onItemClick(const ListItem &item)
{
    guarded(q, [&](Guard &g) { g.step([&] { list.selectedKey = item.Key().mid(1); }); });
}

void ctlListRecordPrivate::onColumnClick(ColumnHeader *column)
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

void ctlListRecordPrivate::onMouseUp(qint16 button, qint16, float x, float y)
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

void ctlListRecordPrivate::onDblClick()
{
    guarded(q, [&](Guard &g) {
        ListItem item;
        g.step([&] { item = ListView1->HitTest(lastX, lastY); });
        if (!item)
            return;
        g.step([&] { list.selectedKey = item.Key().mid(1); });
        g.step([&] { Q_EMIT q.cmdOpen(list.selectedKey); });
    });
}

void ctlListRecordPrivate::onLimitClick()
{
    std::optional<QString> answer;
    guarded(q, [&](Guard &g) {
        g.step([&] { answer = services().inputBox(QStringLiteral("Ingrese nueva configuracion: ")); });
    });
    if (!answer || answer->isEmpty())
        return;
    // From here failures are passed over without asking anyone.
    if (list.MaxLines <= 0)
        return;
    try {
        list.MaxLines = toLong(*answer);
    } catch (const Failure &) {
        return; // not a number: the limit, the list and the label stay as they are
    }
    list.LoadList();
    Label1->setText(QStringLiteral("Limitar lineas a ") + *answer);
}

void ctlListRecordPrivate::onFilterClick()
{
    filterDialog.open(list.connection, list.FiltersXml);
}

ctlListRecord::ctlListRecord(QWidget *parent)
    : QWidget(parent)
    , d(std::make_unique<ctlListRecordPrivate>(*this))
{
    setObjectName(QStringLiteral("ctlListRecord"));
    setTwipsSize(this, 8190, 5925);
}

ctlListRecord::~ctlListRecord() = default;

void ctlListRecord::lrConnectionString(const QString &value)
{
    d->list.connection.connectionString = value;
}

void ctlListRecord::lrDataSource(const QString &value)
{
    d->list.connection.dataSource = value;
}

void ctlListRecord::lrUser(const QString &value)
{
    d->list.connection.user = value;
}

void ctlListRecord::lrPassword(const QString &value)
{
    d->list.connection.password = value;
}

void ctlListRecord::lrConfigFileName(const QString &value)
{
    d->list.configFileName = value;
}

QString ctlListRecord::lrTabFilter(qint16 Index) const
{
    if (Index < 0 || Index > 1)
        throw failureFor(FailureNumber::SubscriptOutOfRange);
    return d->list.tabs[size_t(Index)].TabFilter;
}

QString ctlListRecord::lrTabFieldValue(qint16 Index) const
{
    if (Index < 0 || Index > 1)
        throw failureFor(FailureNumber::SubscriptOutOfRange);
    return d->list.tabs[size_t(Index)].TabFieldValue;
}

QString ctlListRecord::lrSelectedKey() const
{
    return d->list.selectedKey;
}

QVariant ctlListRecord::Showme()
{
    guarded(*this, [&](Guard &g) {
        g.step([&] { d->list.LoadDefinition(); });
        g.step([&] { d->list.Loading = 1; });
        for (int i = 0; i < 2; ++i) {
            g.step([&] {
                TabStrip *strip = d->strips[i];
                const int n = strip->Tabs().Count();
                const int p = d->list.tabs[size_t(i)].SelectedTab;
                strip->selectTab(p >= 1 && p <= n ? p : 1);
            });
        }
        g.step([&] { d->list.Loading = 0; });
        g.step([&] { d->list.LoadList(); });
    });
    return QVariant();
}

QVariant ctlListRecord::SaveConfig()
{
    d->list.SaveConfig();
    return QVariant();
}

QVariant ctlListRecord::lrListRefresh()
{
    d->list.LoadList();
    return QVariant();
}

qint16 ctlListRecord::lrAddListItem(QString &pItem)
{
    d->list.addRow(pItem);
    return 0;
}

qint16 ctlListRecord::lrUpdateListItem(QString &pItem)
{
    d->list.updateRow(pItem);
    return 0;
}

qint16 ctlListRecord::lrDelListItem(QString &pItem)
{
    d->list.deleteRow(pItem);
    return 0;
}

bool ctlListRecord::HideButton(qint16 &pIndex)
{
    clsButton button;
    button.Visible(false);
    d->ctlMenu1->ConfigureButton(pIndex, &button);
    return false;
}

bool ctlListRecord::ChangeCaptionButton(qint16 &pIndex, QString &pCaption)
{
    clsButton button;
    button.Caption(pCaption);
    button.Visible(true);
    d->ctlMenu1->ConfigureButton(pIndex, &button);
    return false;
}

ListView *ctlListRecord::ActiveListView() const
{
    return d->ListView1;
}

void ctlListRecord::resizeEvent(QResizeEvent *event)
{
    QWidget::resizeEvent(event);
    d->arrange();
}

} // namespace Brennvox10

// SPDX-License-Identifier: MIT
#include <Brennvox10/Dispatch.h>
#include <Brennvox10/ctlListRecord.h>

#include "core/Guard.h"
#include "widgets/Twips.h"
#include "controls/list/ListControl_p.h"

#include <Brennvox10/Failure.h>
#include <Brennvox10/clsButton.h>

namespace Brennvox10 {

namespace {

const char *const MonthNames[] = { "Enero", "Febrero", "Marzo", "Abril", "Mayo", "Junio", "Julio", "Agosto",
    "Septiembre", "Octubre", "Noviembre", "Diciembre" };

class ctlListRecordPrivate final : public ListControlPrivate {
public:
    explicit ctlListRecordPrivate(ListControl &q)
        : ListControlPrivate(q, { new TabStrip(&q), new TabStrip(&q) })
    {
        strips[0]->setObjectName(QStringLiteral("ctlTabStrip(0)"));
        strips[1]->setObjectName(QStringLiteral("ctlTabStrip(1)"));
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
        ListView1->raise(); // the list overlaps the upper strip's lower edge
    }

    ctlListRecord &face() const { return static_cast<ctlListRecord &>(q); }

    void arrange(Guard &g, float W, float H) override
    {
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
    }

    QSizeF minimumSize() const override
    {
        const QRectF top = twipsGeometry(strips[0]);
        return QSizeF(twipsGeometry(ctlMenu1).width() + 250,
            top.top() + top.height() + twipsGeometry(strips[1]).height() + twipsGeometry(Picture1).height()
                + 500);
    }

    // Each known key raises its own event; any other key (in any other case or spacing) nothing.
    void onCommand(QString &pCmdKey) override
    {
        using Event = void (ctlListRecord::*)(QString &);
        static const std::pair<QLatin1String, Event> events[]
            = { { QLatin1String("Add"), &ctlListRecord::cmdAdd },
                  { QLatin1String("Open"), &ctlListRecord::cmdOpen },
                  { QLatin1String("Del"), &ctlListRecord::cmdDel },
                  { QLatin1String("Anular"), &ctlListRecord::cmdAnular },
                  { QLatin1String("Print"), &ctlListRecord::cmdPrint },
                  { QLatin1String("Recodificar"), &ctlListRecord::cmdRecodificar } };
        guarded(q, [&](Guard &g) {
            g.step([&] {
                if (pCmdKey == QLatin1String("Close")) {
                    Q_EMIT face().cmdClose();
                    return;
                }
                for (const auto &[key, event] : events) {
                    if (pCmdKey == key) {
                        Q_EMIT(face().*event)(list.selectedKey());
                        return;
                    }
                }
            });
        });
    }

    void raiseOpen() override { Q_EMIT face().cmdOpen(list.selectedKey()); }
};

} // namespace

ctlListRecord::ctlListRecord(QWidget *parent)
    : ListControl(
        parent, [](ListControl &q) -> ListControlPrivate * { return new ctlListRecordPrivate(q); },
        QStringLiteral("ctlListRecord"), QSizeF(8190, 5925))
{
}

QString ctlListRecord::lrTabFieldValue(qint16 Index) const
{
    if (Index < 0 || Index > 1)
        throw failureFor(FailureNumber::SubscriptOutOfRange);
    return d->list.tab(Index).TabFieldValue;
}

QVariant ctlListRecord::lrListRefresh()
{
    d->list.LoadList();
    return QVariant();
}

bool ctlListRecord::ChangeCaptionButton(const qint16 &pIndex, const QString &pCaption)
{
    clsButton button;
    button.Caption(pCaption);
    button.Visible(true);
    d->configureButton(pIndex, button);
    return false;
}

ListView *ctlListRecord::ActiveListView() const
{
    return d->ListView1;
}

} // namespace Brennvox10

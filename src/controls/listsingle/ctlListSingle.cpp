// SPDX-License-Identifier: MIT
#include <Brennvox10/ctlListSingle.h>

#include "core/Guard.h"
#include "widgets/Twips.h"
#include "controls/list/ListControl_p.h"

namespace Brennvox10 {

namespace {

class ctlListSinglePrivate final : public ListControlPrivate {
public:
    explicit ctlListSinglePrivate(ListControl &q)
        : ListControlPrivate(q, { nullptr, nullptr })
    {
        twips::setRect(ListView1, 0, 15, 6690, 4740);
        twips::setRect(ctlMenu1, 6840, 195, 1335, 4620);
        twips::setRect(Picture1, 0, 4755, 8160, 405);
    }

    ctlListSingle &face() const { return static_cast<ctlListSingle &>(q); }

    void arrange(Guard &g, float W, float H) override
    {
        g.step([&] { twips::setLeft(ctlMenu1, W - float(twipsGeometry(ctlMenu1).width()) - 100); });
        g.step([&] { twips::setWidth(ListView1, W - (float(twipsGeometry(ctlMenu1).width()) + 250)); });
        g.step([&] { twips::setLeft(ListView1, 100); });
        g.step([&] { twips::setHeight(ListView1, H - float(twipsGeometry(Picture1).height()) - 500); });
        g.step([&] { twips::setTop(ListView1, 100); });
        g.step([&] { twips::setWidth(Picture1, W); });
        g.step([&] {
            const QRectF list = twipsGeometry(ListView1);
            twips::setTop(Picture1, float(list.top()) + float(list.height()));
        });
    }

    QSizeF minimumSize() const override
    {
        return QSizeF(twipsGeometry(ctlMenu1).width() + 250, twipsGeometry(Picture1).height() + 500);
    }

    // Every key goes to the host as it is; the bar keeps its own copy of it.
    void onCommand(QString &pCmdKey) override
    {
        guarded(q, [&](Guard &g) { g.step([&] { Q_EMIT face().cmdClick(pCmdKey, list.selectedKey()); }); });
    }

    void raiseOpen() override
    {
        QString open = QStringLiteral("Open");
        Q_EMIT face().cmdClick(open, list.selectedKey());
    }
};

} // namespace

ctlListSingle::ctlListSingle(QWidget *parent)
    : ListControl(
        parent, [](ListControl &q) -> ListControlPrivate * { return new ctlListSinglePrivate(q); },
        QStringLiteral("ctlListSingle"), QSizeF(8250, 5235))
{
}

} // namespace Brennvox10

// SPDX-License-Identifier: MIT
#include <Brennvox10/ctlMenu.h>

#include <Brennvox10/Failure.h>

#include "widgets/Icons.h"
#include "widgets/Twips.h"

#include <QIcon>
#include <QResizeEvent>
#include <QToolButton>

#include <array>
#include <cmath>

// The icons live in this layer's object files; tests and hosts linking a static archive would drop
// them unless something refers to their registration. The macro must be used at global scope.
static void initMenuResources()
{
    Q_INIT_RESOURCE(bv_menu);
}

namespace Brennvox10 {

namespace {

constexpr int ButtonCount = 7;
constexpr float ButtonHeight = 630.0f;
constexpr float ButtonSpacing = 10.0f;
constexpr float DesignWidth = 1335.0f;
constexpr float DesignHeight = 4500.0f;
constexpr int IndexVoid = 3;
constexpr int IndexRecode = 5;

// The command key is the button's tag text, independent of its caption.
constexpr const char *TagProperty = "Tag";

struct ButtonDesign {
    const char16_t *caption;
    const char16_t *key;
    const char16_t *icon;
};

constexpr std::array<ButtonDesign, ButtonCount> Buttons { {
    { u"Adicionar", u"Add", u"add" },
    { u"Abrir", u"Open", u"open" },
    { u"Eliminar", u"Del", u"del" },
    { u"Anular", u"Anular", u"void" },
    { u"Imprimir", u"Print", u"print" },
    { u"Recodificar", u"Recodificar", u"recode" },
    { u"Cerrar", u"Close", u"close" },
} };

QIcon buttonIcon(const QString &name)
{
    return drawnIcon(QStringLiteral(":/brennvox10/menu/icons/") + name);
}

} // namespace

class ctlMenuPrivate {
public:
    explicit ctlMenuPrivate(ctlMenu *q)
        : q(q)
    {
    }

    // Stacks the enabled buttons from the top; a disabled button keeps its top and takes no place.
    void ArrangeButtons()
    {
        float top = 0.0f;
        for (QToolButton *button : cmdButtom) {
            // The button's own state, not the bar's: a disabled bar must not collapse the stack.
            if (!button->isEnabledTo(q))
                continue;
            twips::setTop(button, top);
            // Half to even, as the platform rounds a float to a whole twip.
            top = std::nearbyint(top + float(twipsGeometry(button).height()) + ButtonSpacing);
        }
    }

    void setShown(int index, bool shown)
    {
        QToolButton *button = cmdButtom[std::size_t(index)];
        button->setHidden(!shown);
        button->setEnabled(shown);
    }

    // Type 1 leaves out "Anular" and "Recodificar"; type 0 brings them back; other types keep them.
    bool applyType(qint16 type)
    {
        if (type != 0 && type != 1)
            return false;
        setShown(IndexVoid, type == 0);
        setShown(IndexRecode, type == 0);
        return true;
    }

    void fitWidth()
    {
        const float width = float(twips::clientSize(q).width());
        for (QToolButton *button : cmdButtom) {
            const QRectF r = twipsGeometry(button);
            twips::setRect(button, 0.0f, float(r.top()), width, float(r.height()));
        }
    }

    ctlMenu *const q;
    std::array<QToolButton *, ButtonCount> cmdButtom {};
    qint16 type = 0;
};

ctlMenu::ctlMenu(QWidget *parent)
    : QWidget(parent)
    , d(std::make_unique<ctlMenuPrivate>(this))
{
    initMenuResources();

    for (int i = 0; i < ButtonCount; ++i) {
        const ButtonDesign &design = Buttons[std::size_t(i)];
        auto *button = new QToolButton(this);
        button->setObjectName(QStringLiteral("cmdButtom(%1)").arg(i));
        button->setToolButtonStyle(Qt::ToolButtonTextUnderIcon);
        button->setIconSize(QSize(16, 16));
        button->setIcon(buttonIcon(QString::fromUtf16(design.icon)));
        button->setText(QString::fromUtf16(design.caption));
        button->setProperty(TagProperty, QString::fromUtf16(design.key));
        twips::setRect(button, 0.0f, 0.0f, DesignWidth, ButtonHeight);
        connect(button, &QToolButton::clicked, this, [this, button] {
            // Handlers get a copy: whatever they write to it never reaches the button.
            QString key = button->property(TagProperty).toString();
            Q_EMIT cmdClick(key);
        });
        d->cmdButtom[std::size_t(i)] = button;
    }

    setTwipsSize(this, DesignWidth, DesignHeight);
    // A hidden widget gets its resize event only when shown; the buttons must fit already.
    d->fitWidth();
    d->applyType(d->type);
    d->ArrangeButtons();
}

ctlMenu::~ctlMenu() = default;

QVariant ctlMenu::ConfigureButton(qint16 pIndex, const clsButton *pBtn)
{
    if (!pBtn || pIndex >= ButtonCount)
        return QVariant();
    if (pIndex < 0)
        throw failureFor(FailureNumber::ControlArrayElementMissing);

    d->setShown(pIndex, pBtn->Visible());
    QToolButton *button = d->cmdButtom[std::size_t(pIndex)];
    if (!pBtn->Caption().isEmpty())
        button->setText(pBtn->Caption());
    if (!pBtn->CmdKey().isEmpty())
        button->setProperty(TagProperty, pBtn->CmdKey());
    d->ArrangeButtons();
    return QVariant();
}

void ctlMenu::mnuType(qint16 pType)
{
    d->type = pType;
    if (d->applyType(pType))
        d->ArrangeButtons();
}

qint16 ctlMenu::mnuType() const
{
    return d->type;
}

void ctlMenu::resizeEvent(QResizeEvent *event)
{
    QWidget::resizeEvent(event);
    d->fitWidth();
}

} // namespace Brennvox10

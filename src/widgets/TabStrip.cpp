// SPDX-License-Identifier: MIT
#include <Brennvox10/Failure.h>
#include <Brennvox10/TabStrip.h>

#include "widgets/Keyed_p.h"
#include "widgets/Twips.h"

#include <QPainter>
#include <QStyle>
#include <QStyleOptionTabWidgetFrame>
#include <QTabBar>
#include <QToolButton>
#include <QVBoxLayout>

#include <vector>

namespace Brennvox10 {

class TabStripPrivate {
public:
    explicit TabStripPrivate(TabStrip *q)
        : q(q)
        , tabs(this)
    {
    }

    // Changes the bar without letting its own current-tab notice reach the owner.
    template <typename F> void quietly(F &&change)
    {
        const bool was = quiet;
        quiet = true;
        change();
        quiet = was;
    }

    TabStrip *q;
    QTabBar *bar = nullptr;
    Brennvox10::Tabs tabs;
    std::vector<std::unique_ptr<Tab>> items;
    bool quiet = false;
    bool pane = false;

    int barHeight() const { return bar->sizeHint().height(); }
    int frameWidth() const { return pane ? q->style()->pixelMetric(QStyle::PM_DefaultFrameWidth, nullptr, q) : 0; }
    // The page area's inside, in the strip's own pixels.
    QRect client() const
    {
        const int f = frameWidth();
        return QRect(f, barHeight() + f, std::max(0, q->width() - 2 * f), std::max(0, q->height() - barHeight() - 2 * f));
    }
};

int Tabs::Count() const
{
    return int(d->items.size());
}

Tab *Tabs::Item(int index) const
{
    return keyed::at(d->items, index);
}

Tab *Tabs::Item(const QString &key) const
{
    return keyed::byKey(d->items, key);
}

Tab *Tabs::Add(const QString &key, const QString &caption)
{
    keyed::checkUnique(d->items, key);
    auto tab = std::make_unique<Tab>();
    tab->m_key = key;
    tab->m_caption = caption;
    tab->m_index = Count() + 1;
    Tab *added = tab.get();
    d->items.push_back(std::move(tab));
    // The bar makes its first tab current by itself: that is no choice of the user's.
    d->quietly([&] { d->bar->addTab(caption); });
    return added;
}

void Tabs::Clear()
{
    d->quietly([&] {
        while (d->bar->count() > 0)
            d->bar->removeTab(d->bar->count() - 1);
    });
    d->items.clear();
}

TabStrip::TabStrip(QWidget *parent)
    : QWidget(parent)
    , d(std::make_unique<TabStripPrivate>(this))
{
    d->bar = new QTabBar(this);
    d->bar->setExpanding(false);
    d->bar->setUsesScrollButtons(true);
    d->bar->setDrawBase(true);
    // The arrow keys already walk the tabs; the scroll buttons would be two more stops on every Tab.
    for (QToolButton *scroll : d->bar->findChildren<QToolButton *>())
        scroll->setFocusPolicy(Qt::NoFocus);
    connect(d->bar, &QTabBar::currentChanged, this, [this](int) {
        if (!d->quiet)
            Q_EMIT Click();
    });
    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);
    layout->addWidget(d->bar);
    layout->addStretch(1);
    setFocusProxy(d->bar);
}

TabStrip::~TabStrip()
{
    // The bar goes while its notice handler can still reach the strip's state.
    delete d->bar;
    d->bar = nullptr;
}

Brennvox10::Tabs &TabStrip::Tabs()
{
    return d->tabs;
}

Tab *TabStrip::SelectedItem() const
{
    const int current = d->bar->currentIndex();
    if (current < 0 || current >= int(d->items.size()))
        return nullptr;
    return d->items[size_t(current)].get();
}

void TabStrip::selectTab(int position)
{
    keyed::at(d->items, position); // out of range fails before anything changes
    d->quietly([&] { d->bar->setCurrentIndex(position - 1); });
    Q_EMIT Click();
}

QTabBar *TabStrip::tabBar() const
{
    return d->bar;
}

void TabStrip::setPaneVisible(bool visible)
{
    d->pane = visible;
    d->bar->setDrawBase(!visible);
    update();
}

// The strip's own twips rectangle plus the client's pixel offsets: what lies inside the strip is
// only known in pixels, and the page must sit exactly where the frame is drawn.
float TabStrip::ClientLeft() const
{
    return float(twipsGeometry(this).left()) + float(d->client().left()) * TwipsPerPixel;
}

float TabStrip::ClientTop() const
{
    return float(twipsGeometry(this).top()) + float(d->client().top()) * TwipsPerPixel;
}

float TabStrip::ClientWidth() const
{
    return float(d->client().width()) * TwipsPerPixel;
}

float TabStrip::ClientHeight() const
{
    return float(d->client().height()) * TwipsPerPixel;
}

void TabStrip::paintEvent(QPaintEvent *event)
{
    QWidget::paintEvent(event);
    if (!d->pane)
        return;
    QStyleOptionTabWidgetFrame frame;
    frame.initFrom(this);
    const int overlap = style()->pixelMetric(QStyle::PM_TabBarBaseOverlap, nullptr, this);
    frame.rect = QRect(0, d->barHeight() - overlap, width(), height() - d->barHeight() + overlap);
    frame.shape = d->bar->shape();
    frame.tabBarSize = d->bar->sizeHint();
    frame.tabBarRect = QRect(QPoint(0, 0), d->bar->sizeHint());
    frame.lineWidth = style()->pixelMetric(QStyle::PM_DefaultFrameWidth, nullptr, this);
    QPainter painter(this);
    style()->drawPrimitive(QStyle::PE_FrameTabWidget, &frame, &painter, this);
}

} // namespace Brennvox10

#include "Brennvox10/moc_TabStrip.cpp"
